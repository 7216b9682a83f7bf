#include <Cartolith/Core/Layers/Commands/GisUpdateShapeAttributesCommand.h>
#include <Cartolith/Core/Layers/GisLayerVector.h>

namespace Cartolith::Core::Layers::Commands {

GisUpdateShapeAttributesCommand::GisUpdateShapeAttributesCommand(int shapeId,
                                                                 const QHash<QString, QVariant>& attributes)
    : m_shapeId(shapeId), m_attributes(attributes) {}

GisUpdateShapeAttributesCommand::~GisUpdateShapeAttributesCommand() = default;

QString GisUpdateShapeAttributesCommand::text() const {
    return QStringLiteral("Update shape attributes");
}

bool GisUpdateShapeAttributesCommand::redo(GisLayerVector& layer) {
    const Shapes::GisShape* const shape = layer.getShape(m_shapeId);
    if (shape == nullptr) {
        return false;
    }
    if (!m_hasPrevious) {
        m_previous = shape->attributeSlot().copyOfTable();
        m_hasPrevious = true;
    }
    return layer.setShapeAttributesById(m_shapeId, m_attributes);
}

bool GisUpdateShapeAttributesCommand::undo(GisLayerVector& layer) {
    return m_hasPrevious && layer.setShapeAttributesById(m_shapeId, m_previous);
}

} // namespace Cartolith::Core::Layers::Commands
