#include <Cartolith/Core/Layers/Commands/GisUpdateShapeGeometryCommand.h>
#include <Cartolith/Core/Layers/GisLayerVector.h>

#include <utility>

namespace Cartolith::Core::Layers::Commands {

GisUpdateShapeGeometryCommand::GisUpdateShapeGeometryCommand(int shapeId,
                                                             std::unique_ptr<Shapes::GisShape> geometry)
    : m_shapeId(shapeId), m_geometry(std::move(geometry)) {}

GisUpdateShapeGeometryCommand::~GisUpdateShapeGeometryCommand() = default;

QString GisUpdateShapeGeometryCommand::text() const {
    return QStringLiteral("Update shape geometry");
}

bool GisUpdateShapeGeometryCommand::redo(GisLayerVector& layer) {
    auto clone = m_geometry != nullptr ? m_geometry->clone() : nullptr;
    auto displaced = layer.replaceShapeById(m_shapeId, std::move(clone));
    if (displaced == nullptr) {
        return false;
    }
    if (m_previous == nullptr) {
        m_previous = std::move(displaced);
    }
    return true;
}

bool GisUpdateShapeGeometryCommand::undo(GisLayerVector& layer) {
    return m_previous != nullptr && layer.replaceShapeById(m_shapeId, m_previous->clone()) != nullptr;
}

} // namespace Cartolith::Core::Layers::Commands
