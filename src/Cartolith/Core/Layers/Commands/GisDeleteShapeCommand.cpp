#include <Cartolith/Core/Layers/Commands/GisDeleteShapeCommand.h>
#include <Cartolith/Core/Layers/GisLayerVector.h>

#include <utility>

namespace Cartolith::Core::Layers::Commands {

GisDeleteShapeCommand::GisDeleteShapeCommand(int shapeId) : m_shapeId(shapeId) {}

GisDeleteShapeCommand::~GisDeleteShapeCommand() = default;

QString GisDeleteShapeCommand::text() const {
    return QStringLiteral("Delete shape");
}

bool GisDeleteShapeCommand::redo(GisLayerVector& layer) {
    if (m_shape != nullptr) { // the id is that of another shape by now
        return false;
    }
    m_position = -1;
    m_shape = layer.takeShapeById(m_shapeId, &m_position);
    return m_shape != nullptr;
}

bool GisDeleteShapeCommand::undo(GisLayerVector& layer) {
    if (m_shape == nullptr) {
        return false;
    }
    layer.reserveShapes(layer.count() + 1); // the shape is not given away where it could not be kept
    if (!layer.insertShapeAt(m_position, std::move(m_shape))) {
        return false;
    }
    m_shapeId = m_position + 1;
    return true;
}

} // namespace Cartolith::Core::Layers::Commands
