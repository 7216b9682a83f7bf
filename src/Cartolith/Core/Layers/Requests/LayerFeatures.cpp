#include <Cartolith/Core/Layers/GisLayerVector.h>
#include <Cartolith/Core/Layers/LayerFieldsInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrFieldsInternal.h>
#include <Cartolith/Core/Layers/Requests/LayerFeaturesInternal.h>

#include <algorithm>
#include <stdexcept>

namespace Cartolith::Core::Layers::Internal {

LayerFeatures::LayerFeatures(GisLayerVector& layer)
    : m_layer(layer), m_revision(layer.contentRevision()), m_hasSource(layer.layerProvider() != nullptr) {}

QList<Defs::GisAttributeDefinition> LayerFeatures::definitions() const {
    return m_layer.attributeDefinitions();
}

QList<FieldType> LayerFeatures::fieldTypes() const {
    QList<FieldType> types;
    for (const auto& field : fieldsOf(m_layer)) {
        types.append(
            {field.name(), field.type(),
             field.type() == QMetaType::QVariantList ? elementTypeOf(field.name()) : QMetaType::QString});
    }
    return types;
}

/// Which no definition tells.
QMetaType::Type LayerFeatures::elementTypeOf(const QString& field) const {
    std::optional<QMetaType::Type> found;
    for (const auto& shape : m_layer.items()) {
        const QVariantList list =
            shape != nullptr ? shape->attributeSlot().value(field).toList() : QVariantList();
        for (const QVariant& element : list) {
            const auto type = static_cast<QMetaType::Type>(element.typeId());
            if (element.isValid()) {
                found = commonType(found.value_or(type), type);
            }
        }
    }
    return found.value_or(QMetaType::UnknownType);
}

std::shared_ptr<const CoordinateSystems::CoordinateSystem> LayerFeatures::system() const {
    return m_layer.coordinateSystem();
}

void LayerFeatures::begin(const Plan& plan) {
    m_plan = &plan;
    if (!plan.test.extent()) {
        return;
    }
    m_rows.emplace();
    for (const Shapes::GisShape* shape : m_layer.query(*plan.test.extent())) {
        if (const int row = m_layer.indexOfShapeId(shape->id()); row >= 0) {
            m_rows->push_back(row);
        }
    }
    std::sort(m_rows->begin(), m_rows->end());
}

bool LayerFeatures::isWanted() const {
    const auto& shape = m_layer.items()[static_cast<std::size_t>(m_row)];
    const FeatureTest& test = m_plan->test;
    return shape != nullptr && (!test.ids() || test.wantsId(idOf(*shape))) &&
           test.wants(shape->attributeSlot());
}

qint64 LayerFeatures::idOf(const Shapes::GisShape& shape) const {
    return m_hasSource ? m_layer.featureId(shape).value_or(-1) : shape.id();
}

void LayerFeatures::requireUnchanged() const {
    if (m_layer.contentRevision() != m_revision) {
        throw std::runtime_error("The layer was changed while its features were read.");
    }
}

bool LayerFeatures::next() {
    requireUnchanged();
    const std::size_t count = m_rows ? m_rows->size() : m_layer.items().size();
    while (m_at < count && !m_plan->isCancelled) {
        m_row = m_rows ? (*m_rows)[m_at] : static_cast<int>(m_at);
        ++m_at;
        if (isWanted()) {
            return true;
        }
    }
    return false;
}

qint64 LayerFeatures::id() const {
    return idOf(shape());
}

QString LayerFeatures::exactText(const Shapes::GisShape& shape, const QString& field) const {
    return m_layer.exactText(shape, field);
}

const Shapes::GisShape& LayerFeatures::shape() const {
    return *m_layer.items()[static_cast<std::size_t>(m_row)];
}

} // namespace Cartolith::Core::Layers::Internal
