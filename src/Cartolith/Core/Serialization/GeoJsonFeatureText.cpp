#include <Cartolith/Core/Serialization/GeoJsonFeatureTextInternal.h>
#include <Cartolith/Core/Serialization/GeoJsonParseInternal.h>
#include <Cartolith/Core/Serialization/GeoJsonScannerInternal.h>
#include <Cartolith/Core/Serialization/GisGeoJsonReader.h>

#include <QByteArray>
#include <QJsonObject>
#include <QJsonValue>

#include <stdexcept>
#include <utility>

namespace Cartolith::Core::Serialization::GeoJson::Internal {

using Shapes::GisShape;

namespace {

using Unsupported = GisGeoJsonReadOptions::Unsupported;

bool isMissing(const QJsonValue& value) {
    return value.isNull() || value.isUndefined();
}

/// Null when it is to be skipped.
std::unique_ptr<GisShape> geometryOf(const QJsonObject& object, Unsupported unsupported) {
    if (unsupported == Unsupported::Skip) {
        const QString type = GisGeoJsonReader::geometryType(object);
        if (type == u"MultiPoint" || type == u"GeometryCollection") {
            return nullptr;
        }
    }
    return GisGeoJsonReader::read(object);
}

/// Sets everything but the shape.
void readMembers(const QJsonObject& object, GisGeoJsonFeature& feature) {
    const QJsonValue id = object.value(QLatin1String("id"));
    if (id.isString() || id.isDouble()) {
        feature.id = id.toVariant();
    } else if (!isMissing(id)) {
        throw std::runtime_error("Invalid GeoJSON: id is neither a string nor a number.");
    }
    const QJsonValue properties = object.value(QLatin1String("properties"));
    if (properties.isObject()) {
        const QJsonObject table = properties.toObject();
        feature.attributes.reserve(table.size());
        for (auto it = table.begin(); it != table.end(); ++it) {
            feature.attributes.insert(it.key(), it->isNull() ? QVariant() : it->toVariant());
        }
    } else if (!isMissing(properties)) {
        throw std::runtime_error("Invalid GeoJSON: properties is not an object.");
    }
}

/// The feature of the object. `scanned` is its geometry, if that was read already and left out.
std::optional<GisGeoJsonFeature> featureOf(const QJsonObject& object, std::unique_ptr<GisShape> scanned,
                                           Unsupported unsupported) {
    GisGeoJsonFeature feature;
    const QJsonValue type = object.value(QLatin1String("type"));
    if (!type.isString()) {
        throw std::runtime_error("Invalid GeoJSON: missing type.");
    }
    const bool bare = type.toString() != u"Feature";
    const QJsonValue geometry = bare ? QJsonValue(object) : object.value(QLatin1String("geometry"));
    if (geometry.isObject()) {
        feature.shape = geometryOf(geometry.toObject(), unsupported);
        if (!feature.shape) {
            return std::nullopt;
        }
    } else if (isMissing(geometry)) {
        feature.shape = std::move(scanned);
    } else {
        throw std::runtime_error("Invalid GeoJSON: geometry is not an object.");
    }
    if (!bare) {
        readMembers(object, feature);
    }
    return feature;
}

} // namespace

std::optional<GisGeoJsonFeature> readFeature(QByteArrayView text, const GeometryText& geometry,
                                             Unsupported unsupported) {
    // The geometry, most of the text, is taken straight from it where that is possible and left out of what
    // goes to Qt's parser.
    if (geometry.found == Found::None) {
        if (auto shape = scanGeometry(text)) {
            GisGeoJsonFeature feature;
            feature.shape = std::move(shape);
            return feature;
        }
    } else if (geometry.found == Found::One) {
        if (auto shape = scanGeometry(text.sliced(geometry.start, geometry.end - geometry.start))) {
            QByteArray rest = text.first(geometry.start).toByteArray();
            rest.append("null").append(text.sliced(geometry.end));
            return featureOf(parseObject(rest), std::move(shape), unsupported); // errors are the same
        }
    }
    return featureOf(parseObject(text), nullptr, unsupported);
}

} // namespace Cartolith::Core::Serialization::GeoJson::Internal
