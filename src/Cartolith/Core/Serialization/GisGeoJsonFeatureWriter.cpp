#include <Cartolith/Core/Serialization/GisGeoJsonFeatureWriter.h>
#include <Cartolith/Core/Serialization/GisGeoJsonWriter.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Core/Shapes/RingNestingInternal.h>

#include <QByteArray>
#include <QDateTime>
#include <QIODevice>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace Cartolith::Core::Serialization::GeoJson {

using Shapes::GisShape;
using Shapes::GisShapePoint;
using Shapes::GisShapePolygon;
using Shapes::GisShapePolyline;

namespace {

using Layout = GisGeoJsonWriteOptions::Layout;
using Polygons = GisGeoJsonWriteOptions::Polygons;

bool isFinite(const GisShapePoint& point) {
    return std::isfinite(point.x()) && std::isfinite(point.y());
}

void requireFinite(bool finite) {
    if (!finite) {
        throw std::runtime_error("A coordinate that is not finite cannot be written as GeoJSON.");
    }
}

void requireFinite(const QList<QList<GisShapePoint>>& parts) {
    requireFinite(std::all_of(parts.begin(), parts.end(), [](const auto& part) {
        return std::all_of(part.begin(), part.end(), isFinite);
    }));
}

QJsonObject polygonByRightHandRule(const GisShapePolygon& shape) {
    QJsonArray polygons;
    for (const auto& rings : Shapes::Internal::shellsWithHoles(shape.parts())) {
        QJsonArray polygon;
        for (const auto& ring : rings) {
            polygon.append(GisGeoJsonWriter::writePointArray(GisGeoJsonWriter::ensureClosed(ring)));
        }
        polygons.append(polygon);
    }
    const bool multi = polygons.size() > 1;
    return {{QStringLiteral("type"), multi ? QStringLiteral("MultiPolygon") : QStringLiteral("Polygon")},
            {QStringLiteral("coordinates"), multi ? polygons : polygons.first().toArray()}};
}

QJsonValue geometry(const GisShape* shape, Polygons polygons) {
    if (const auto* const point = dynamic_cast<const GisShapePoint*>(shape)) {
        if (point->isEmpty()) {
            return QJsonValue::Null;
        }
        requireFinite(isFinite(*point));
        return GisGeoJsonWriter::writePoint(*point);
    }
    if (const auto* const line = dynamic_cast<const GisShapePolyline*>(shape)) {
        requireFinite(line->parts());
        return GisGeoJsonWriter::writePolyline(*line);
    }
    if (const auto* const polygon = dynamic_cast<const GisShapePolygon*>(shape)) {
        requireFinite(polygon->parts());
        return polygons == Polygons::RightHandRule ? polygonByRightHandRule(*polygon)
                                                   : GisGeoJsonWriter::writePolygon(*polygon);
    }
    return QJsonValue::Null;
}

QJsonValue valueOf(const QVariant& value);

template <typename Values>
QJsonArray arrayOf(const Values& values) {
    QJsonArray array;
    for (const auto& value : values) {
        array.append(valueOf(value));
    }
    return array;
}

template <typename Values>
QJsonObject objectOf(const Values& values) {
    QJsonObject object;
    for (auto it = values.begin(); it != values.end(); ++it) {
        object.insert(it.key(), valueOf(it.value()));
    }
    return object;
}

QJsonValue textOrNull(bool valid, const QVariant& value) {
    return valid ? QJsonValue(value.toString()) : QJsonValue(QJsonValue::Null);
}

QJsonValue valueOf(const QVariant& value) {
    if (value.isNull()) {
        return QJsonValue::Null;
    }
    switch (value.typeId()) {
    case QMetaType::QDate:
        return textOrNull(value.toDate().isValid(), value);
    case QMetaType::QTime:
        return textOrNull(value.toTime().isValid(), value);
    case QMetaType::QDateTime:
        return textOrNull(value.toDateTime().isValid(), value);
    case QMetaType::QByteArray:
        return QString::fromLatin1(value.toByteArray().toBase64());
    case QMetaType::QVariantList:
        return arrayOf(value.toList());
    case QMetaType::QVariantMap:
        return objectOf(value.toMap());
    case QMetaType::QVariantHash:
        return objectOf(value.toHash());
    case QMetaType::Long: // Qt would make texts of these two
    case QMetaType::ULong:
        return QJsonValue::fromVariant(value.typeId() == QMetaType::Long ? QVariant(value.toLongLong())
                                                                         : QVariant(value.toULongLong()));
    case QMetaType::Float: {
        const double number = value.toDouble();
        return std::isfinite(number) ? QJsonValue(number) : QJsonValue(QJsonValue::Null);
    }
    default: {
        const QJsonValue json = QJsonValue::fromVariant(value);
        const bool textless = json.isString() && !value.canConvert<QString>();
        return textless ? QJsonValue(QJsonValue::Null) : json;
    }
    }
}

} // namespace

GisGeoJsonFeatureWriter::GisGeoJsonFeatureWriter(QIODevice& device, const GisGeoJsonWriteOptions& options)
    : m_device(device), m_options(options) {}

void GisGeoJsonFeatureWriter::begin() {
    require(State::Before);
    if (m_options.layout == Layout::FeatureCollection) {
        put(R"({"type":"FeatureCollection","features":[)");
    }
    m_state = State::Within;
}

void GisGeoJsonFeatureWriter::end() {
    require(State::Within);
    if (m_options.layout == Layout::FeatureCollection) {
        put("\n]}\n");
    }
    m_state = State::After;
}

void GisGeoJsonFeatureWriter::write(const GisGeoJsonFeature& feature) {
    write(feature.id, feature.shape.get(), feature.attributes);
}

void GisGeoJsonFeatureWriter::write(const GisShape& shape) {
    write(shape.id() == 0 ? QVariant() : QVariant(shape.id()), &shape, shape.attributeSlot().copyOfTable());
}

void GisGeoJsonFeatureWriter::write(const QVariant& id, const GisShape* shape,
                                    const QHash<QString, QVariant>& attributes) {
    require(State::Within);
    QJsonObject feature{{QStringLiteral("type"), QStringLiteral("Feature")},
                        {QStringLiteral("geometry"), geometry(shape, m_options.polygons)},
                        {QStringLiteral("properties"), objectOf(attributes)}};
    const QJsonValue jsonId = valueOf(id);
    if (jsonId.isString() || jsonId.isDouble()) {
        feature.insert(QStringLiteral("id"), jsonId);
    }
    const QByteArray text = QJsonDocument(feature).toJson(QJsonDocument::Compact);
    switch (m_options.layout) {
    case Layout::FeatureCollection:
        put((m_first ? "\n" : ",\n") + text);
        break;
    case Layout::NewlineDelimited:
        put(text + '\n');
        break;
    case Layout::TextSequence:
        put('\x1e' + text + '\n');
        break;
    }
    m_first = false;
}

void GisGeoJsonFeatureWriter::require(State state) const {
    if (m_state != state) {
        throw std::logic_error("GeoJSON features are written between begin() and end(), each called once.");
    }
}

void GisGeoJsonFeatureWriter::put(const QByteArray& bytes) {
    if (!m_device.isWritable()) {
        throw std::runtime_error("GeoJSON cannot be written: the device is not open for writing.");
    }
    if (m_device.write(bytes) != bytes.size()) {
        throw std::runtime_error(
            QStringLiteral("GeoJSON cannot be written: %1").arg(m_device.errorString()).toStdString());
    }
}

} // namespace Cartolith::Core::Serialization::GeoJson
