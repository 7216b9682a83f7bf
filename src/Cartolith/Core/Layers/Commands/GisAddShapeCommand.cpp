#include <Cartolith/Core/Layers/Commands/GisAddShapeCommand.h>
#include <Cartolith/Core/Layers/GisLayerVector.h>

#include <utility>

namespace Cartolith::Core::Layers::Commands {

GisAddShapeCommand::GisAddShapeCommand(std::unique_ptr<Shapes::GisShape> shape) : m_shape(std::move(shape)) {}

GisAddShapeCommand::~GisAddShapeCommand() = default;

QString GisAddShapeCommand::text() const {
    return QStringLiteral("Add shape");
}

bool GisAddShapeCommand::redo(GisLayerVector& layer) {
    if (m_shape == nullptr) {
        return false;
    }
    if (m_position < 0) {
        m_position = layer.count();
    }
    layer.reserveShapes(layer.count() + 1); // the shape is not given away where it could not be kept
    if (!layer.insertShapeAt(m_position, std::move(m_shape))) {
        return false;
    }
    m_shapeId = m_position + 1;
    return true;
}

bool GisAddShapeCommand::undo(GisLayerVector& layer) {
    if (m_shape != nullptr) {
        return false;
    }
    m_shape = layer.takeShapeById(m_shapeId, &m_position);
    return m_shape != nullptr;
}

} // namespace Cartolith::Core::Layers::Commands
