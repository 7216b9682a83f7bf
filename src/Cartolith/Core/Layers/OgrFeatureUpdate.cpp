#include <Cartolith/Core/Layers/OgrEditsInternal.h>
#include <Cartolith/Core/Layers/OgrFieldWritingInternal.h>
#include <Cartolith/Core/Layers/OgrFieldsInternal.h>
#include <Cartolith/Core/Layers/OgrShapeWritingInternal.h>
#include <Cartolith/Core/Serialization/OgrGeometryInternal.h>

#include <stdexcept>
#include <utility>

namespace Cartolith::Core::Layers::Internal {

using Common::Internal::GeometryPtr;
using Shapes::GisShape;

namespace {

/// Whether the feature's geometry is what the shape says; one that says more counts when its shape is equal.
bool hasGeometryOf(const GisShape& shape, const OGRGeometry* geometry) {
    const auto read = Serialization::Ogr::Internal::shapesOf(
        GeometryPtr(geometry != nullptr ? geometry->clone() : nullptr));
    return read.shapes.empty() ? shape.isEmpty()
                               : read.shapes.size() == 1 && haveSameGeometry(*read.shapes.front(), shape);
}

void setGeometry(OGRFeature& feature, OGRwkbGeometryType layerType, const GisShape& shape) {
    const OGRGeometry* const old = feature.GetGeometryRef();
    GeometryPtr geometry = savedGeometryOf(shape);
    geometry = promoted(std::move(geometry), layerType);
    if (wkbFlatten(layerType) == wkbUnknown && old != nullptr) {
        geometry = promoted(std::move(geometry), old->getGeometryType());
    }
    feature.SetGeometryDirectly(geometry.release());
}

/// Null for one that loses nothing when a shape takes its place.
const char* whatIsLostOf(const OGRGeometry* geometry) {
    if (geometry == nullptr || geometry->IsEmpty()) {
        return nullptr;
    }
    if (geometry->Is3D() || geometry->IsMeasured()) {
        return "its Z or M values would be lost";
    }
    return geometry->hasCurveGeometry() ? "its curves would be lost" : nullptr;
}

void setFields(OGRFeature& feature, const GisShape& shape, bool isNew) {
    const QList<Defs::GisAttributeDefinition> definitions = attributeDefinitions(*feature.GetDefnRef());
    const QHash<QString, QVariant> before = attributes(feature, definitions);
    QHash<QString, int> fields; // of fields of one name, the last counts, as in reading
    for (int i = 0; i < definitions.size(); ++i) {
        fields.insert(definitions[i].name(), i);
    }
    const auto& values = shape.attributes();
    for (auto it = values.cbegin(); it != values.cend(); ++it) {
        if (it->isValid() && !fields.contains(it.key())) {
            throw std::runtime_error(
                QStringLiteral("the attribute '%1' is no field of the layer").arg(it.key()).toStdString());
        }
    }
    for (auto it = fields.cbegin(); it != fields.cend(); ++it) {
        const QVariant value = values.value(it.key());
        const bool isDefault = isNew && !value.isValid(); // unset: the source's own default
        if (!isDefault && value != before.value(it.key())) {
            setField(feature, it.value(), value);
        }
    }
}

} // namespace

void update(OGRFeature& feature, OGRwkbGeometryType layerType, const GisShape& shape) {
    const OGRGeometry* const geometry = feature.GetGeometryRef();
    if (!hasGeometryOf(shape, geometry)) {
        if (const char* const lost = whatIsLostOf(geometry)) {
            throw std::runtime_error(lost);
        }
        setGeometry(feature, layerType, shape);
    }
    setFields(feature, shape, false);
}

void fill(OGRFeature& feature, OGRwkbGeometryType layerType, const GisShape& shape) {
    setGeometry(feature, layerType, shape);
    setFields(feature, shape, true);
}

} // namespace Cartolith::Core::Layers::Internal
