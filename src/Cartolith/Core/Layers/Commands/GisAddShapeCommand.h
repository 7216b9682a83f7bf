#pragma once

#include <Cartolith/Core/Layers/Commands/GisEditCommand.h>

#include <memory>

namespace Cartolith::Core::Shapes {
class GisShape;
}

namespace Cartolith::Core::Layers::Commands {

/// Appends a shape.
class CARTOLITH_CORE_EXPORT GisAddShapeCommand : public GisEditCommand {
public:
    /// A null shape makes a command that always fails; an empty shape is added.
    explicit GisAddShapeCommand(std::unique_ptr<Shapes::GisShape> shape);
    ~GisAddShapeCommand() override;
    QString text() const override;
    bool redo(GisLayerVector& layer) override;
    bool undo(GisLayerVector& layer) override;

private:
    std::unique_ptr<Shapes::GisShape> m_shape; // while it is outside the layer
    int m_position = -1;                       // below 0: the end
    int m_shapeId = 0;
};

} // namespace Cartolith::Core::Layers::Commands
