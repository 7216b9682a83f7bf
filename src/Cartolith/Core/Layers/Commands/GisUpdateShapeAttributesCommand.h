#pragma once

#include <Cartolith/Core/Layers/Commands/GisEditCommand.h>

#include <QHash>
#include <QVariant>

namespace Cartolith::Core::Layers::Commands {

/// Gives a shape another table of attributes, as a whole: what the new table does not have is gone.
class CARTOLITH_CORE_EXPORT GisUpdateShapeAttributesCommand : public GisEditCommand {
public:
    GisUpdateShapeAttributesCommand(int shapeId, const QHash<QString, QVariant>& attributes);
    ~GisUpdateShapeAttributesCommand() override;
    QString text() const override;
    bool redo(GisLayerVector& layer) override;
    bool undo(GisLayerVector& layer) override;

private:
    int m_shapeId;
    QHash<QString, QVariant> m_attributes;
    QHash<QString, QVariant> m_previous;
    bool m_hasPrevious = false;
};

} // namespace Cartolith::Core::Layers::Commands
