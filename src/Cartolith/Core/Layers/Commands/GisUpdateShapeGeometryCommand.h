#pragma once

#include <Cartolith/Core/Layers/Commands/GisEditCommand.h>

#include <memory>

namespace Cartolith::Core::Shapes {
class GisShape;
}

namespace Cartolith::Core::Layers::Commands {

/// Puts another shape in the place of one. Its attributes come with it: give it those that it is to have.
/// Both are kept, so that the layer only ever gets clones.
class CARTOLITH_CORE_EXPORT GisUpdateShapeGeometryCommand : public GisEditCommand {
public:
    /// A null shape makes a command that always fails, and so does one of another kind than the layer's.
    GisUpdateShapeGeometryCommand(int shapeId, std::unique_ptr<Shapes::GisShape> geometry);
    ~GisUpdateShapeGeometryCommand() override;
    QString text() const override;
    bool redo(GisLayerVector& layer) override;
    bool undo(GisLayerVector& layer) override;

private:
    int m_shapeId;
    std::unique_ptr<Shapes::GisShape> m_geometry;
    std::unique_ptr<Shapes::GisShape> m_previous; // null until executed
};

} // namespace Cartolith::Core::Layers::Commands
