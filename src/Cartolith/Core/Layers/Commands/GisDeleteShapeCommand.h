#pragma once

#include <Cartolith/Core/Layers/Commands/GisEditCommand.h>

#include <memory>

namespace Cartolith::Core::Shapes {
class GisShape;
}

namespace Cartolith::Core::Layers::Commands {

/// Takes a shape out, and keeps it to put it back where it was.
class CARTOLITH_CORE_EXPORT GisDeleteShapeCommand : public GisEditCommand {
public:
    explicit GisDeleteShapeCommand(int shapeId);
    ~GisDeleteShapeCommand() override;
    QString text() const override;
    bool redo(GisLayerVector& layer) override;
    bool undo(GisLayerVector& layer) override;

private:
    friend class GisMacroCommand; // which takes out, and puts back, many at once

    int m_shapeId;
    int m_position = -1;
    std::unique_ptr<Shapes::GisShape> m_shape; // while it is outside the layer
};

} // namespace Cartolith::Core::Layers::Commands
