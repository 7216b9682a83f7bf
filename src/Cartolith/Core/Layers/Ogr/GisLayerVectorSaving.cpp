// GisLayerVector::saveAs().

#include <Cartolith/Core/Common/LogChannels.h>
#include <Cartolith/Core/Common/LogStepInternal.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/SpatialReferenceInternal.h>
#include <Cartolith/Core/Layers/Files/SourceMembersInternal.h>
#include <Cartolith/Core/Layers/GisLayerVector.h>
#include <Cartolith/Core/Layers/LayerFieldsInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrFieldWritingInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrFieldsInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrShapeWritingInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrTargetInternal.h>
#include <Cartolith/Core/Layers/Ogr/SystemKeptInternal.h>
#include <Cartolith/Core/Spatial/RTreeOrderInternal.h>

#include <QFileInfo>
#include <QMap>

#include <algorithm>
#include <cmath>
#include <optional>
#include <set>
#include <stdexcept>
#include <utility>

namespace Cartolith::Core::Layers {

using Defs::GisAttributeDefinition;
using Internal::fieldsOf;
using Internal::OgrFormat;
using Internal::OgrTarget;
using Shapes::GisShape;
using Shapes::GisShapeType;

namespace {

/// A dBASE number has 24 places: as many after the point as what stands before it leaves free.
int dbaseDecimals(const GisLayerVector& layer, const QString& field) {
    double largest = 1.0;
    for (const GisShape* shape : layer.rawShapes()) {
        const double value = std::abs(shape->attributeValue(field).toDouble());
        largest = std::isfinite(value) ? std::max(largest, value) : largest;
    }
    constexpr int places = 24;
    const int before = static_cast<int>(std::log10(largest)) + 1;
    return std::clamp(places - 2 - before, 0, 15);
}

/// Whether a column of declared decimals has them for all values.
bool keepsDecimals(const GisLayerVector& layer, const QString& field, int decimals) {
    const auto& shapes = layer.rawShapes();
    return std::all_of(shapes.begin(), shapes.end(), [&](const GisShape* shape) {
        const double value = shape->attributeValue(field).toDouble();
        return !std::isfinite(value) || Internal::isKeptBy(decimals, value);
    });
}

/// Whether there are times in a field, and the first has no zone.
bool hasClockTimes(const GisLayerVector& layer, const QString& field) {
    for (const GisShape* shape : layer.rawShapes()) {
        const QVariant value = shape->attributeValue(field);
        if (!value.isNull()) {
            return value.typeId() == QMetaType::QDate || value.toDateTime().timeSpec() == Qt::LocalTime;
        }
    }
    return false;
}

/// Null when the shapes are of several kinds, or there are none and the layer does not say.
GisShapeType kindOf(const GisLayerVector& layer) {
    std::optional<GisShapeType> kind;
    for (const GisShape* shape : layer.rawShapes()) {
        if (kind.value_or(shape->shapeType()) != shape->shapeType()) {
            return GisShapeType::Null;
        }
        kind = shape->shapeType();
    }
    return kind.value_or(layer.shapeType());
}

/// The shapes that are a feature each: several points or one shape, in the order of the first of them.
using Feature = QList<const GisShape*>;

std::vector<Feature> featuresOf(const GisLayerVector& layer,
                                const std::vector<std::vector<int>>& multiPoints) {
    std::vector<const std::vector<int>*> groups(layer.items().size());
    for (const std::vector<int>& positions : multiPoints) {
        for (const int position : positions) {
            groups[static_cast<std::size_t>(position)] = &positions;
        }
    }
    std::vector<Feature> features;
    for (std::size_t i = 0; i < groups.size(); ++i) {
        Feature feature;
        if (groups[i] == nullptr) {
            feature.append(layer.items()[i].get());
        } else if (groups[i]->front() == static_cast<int>(i)) {
            for (const int position : *groups[i]) {
                feature.append(layer.items()[static_cast<std::size_t>(position)].get());
            }
        }
        feature.removeAll(nullptr);
        if (!feature.isEmpty()) {
            features.push_back(feature);
        }
    }
    return features;
}

std::vector<Feature> alongCurve(std::vector<Feature> features) {
    std::vector<Shapes::GisExtent> boxes;
    boxes.reserve(features.size());
    Shapes::GisExtent frame;
    for (const Feature& feature : features) {
        Shapes::GisExtent box;
        for (const GisShape* const shape : feature) {
            box = box.expand(shape->extent());
        }
        frame = frame.expand(box);
        boxes.push_back(box);
    }
    std::vector<std::pair<quint32, std::size_t>> places;
    places.reserve(features.size());
    for (const Shapes::GisExtent& box : boxes) {
        places.emplace_back(Spatial::RTree::hilbertKey(box, frame), places.size());
    }
    std::sort(places.begin(), places.end());
    std::vector<Feature> ordered;
    ordered.reserve(features.size());
    for (const auto& [key, place] : places) {
        ordered.push_back(std::move(features[place]));
    }
    return ordered;
}

/// The types that hold one part of a shape, and several.
std::pair<OGRwkbGeometryType, OGRwkbGeometryType> geometryTypesOf(GisShapeType kind) {
    switch (kind) {
    case GisShapeType::Point:
    case GisShapeType::PointZ:
        return {wkbPoint, wkbMultiPoint};
    case GisShapeType::MultiPoint:
    case GisShapeType::MultiPointZ:
        return {wkbMultiPoint, wkbMultiPoint};
    case GisShapeType::Polyline:
    case GisShapeType::PolylineZ:
        return {wkbLineString, wkbMultiLineString};
    case GisShapeType::Polygon:
    case GisShapeType::PolygonZ:
        return {wkbPolygon, wkbMultiPolygon};
    default:
        return {wkbUnknown, wkbUnknown};
    }
}

/// Names of the columns that a database adds by itself, other than those of the fields.
QStringList columnOptions(const OgrFormat& format, const QList<GisAttributeDefinition>& fields) {
    if (!format.isDatabase) {
        return {};
    }
    const auto freeName = [&fields](const QString& wanted) {
        QString name = wanted;
        const auto isTaken = [&name](const auto& field) {
            return field.name().compare(name, Qt::CaseInsensitive) == 0;
        };
        while (std::any_of(fields.begin(), fields.end(), isTaken)) {
            name += QLatin1Char('_');
        }
        return name;
    };
    return QStringList() << QStringLiteral("FID=") + freeName(QStringLiteral("fid"))
                         << QStringLiteral("GEOMETRY_NAME=") + freeName(QStringLiteral("geom"));
}

/// So many bytes of a name, or fewer where they would end within a letter.
QByteArray beginningOf(const QByteArray& name, qsizetype bytes) {
    qsizetype end = std::min(bytes, name.size());
    while (end > 0 && end < name.size() && (static_cast<uchar>(name[end]) & 0xC0U) == 0x80U) {
        --end;
    }
    return name.left(end);
}

/// A Shapefile's names have ten bytes, which GDAL cuts within a letter, also where it tells names apart, as
/// is done here.
void cutName(OGRFieldDefn& field, std::set<QByteArray>& taken) {
    constexpr qsizetype most = 10;
    constexpr int digits = 10;
    const QByteArray whole = field.GetNameRef();
    QByteArray name = beginningOf(whole, most);
    for (int i = 1; !taken.insert(name.toLower()).second && i < digits * digits; ++i) {
        name = beginningOf(whole, most - 2) + (i < digits ? "_" : "") + QByteArray::number(i);
    }
    field.SetName(name.constData());
}

class Saver {
public:
    Saver(const GisLayerVector& layer, const std::vector<Feature>& features, const OgrFormat& format,
          const QString& path, std::chrono::milliseconds wait, std::set<QString> jsonFields)
        : m_layer(layer), m_features(features), m_format(format), m_path(path), m_target(format, path, wait),
          m_fields(fieldsOf(layer)), m_jsonFields(std::move(jsonFields)) {}

    void makeLayer(const QString& wantedName) {
        const GisShapeType kind = kindOf(m_layer);
        if (!m_format.takesMixedKinds && kind == GisShapeType::Null) {
            m_target.fail(
                m_layer.rawShapes().isEmpty()
                    ? QStringLiteral("the format wants to know a kind of shapes, and there are none")
                    : QStringLiteral("the format takes shapes of one kind only"));
        }
        OGRSpatialReference system;
        if (m_layer.coordinateSystem() != nullptr &&
            !CoordinateSystems::Internal::toSpatialReference(*m_layer.coordinateSystem(), system)) {
            m_target.fail(QStringLiteral("its coordinate system is of no use to GDAL"));
        }
        if (m_layer.coordinateSystem() != nullptr && !m_format.suffixes.isEmpty()) {
            try {
                Internal::requireSystemKept(m_format, system, m_layer.extent());
            } catch (const std::runtime_error& error) {
                m_target.fail(QString::fromUtf8(error.what()));
            }
        }
        // Without one, GDAL leaves longitudes beyond 180 degrees as they are.
        const bool hasSystem = m_layer.coordinateSystem() != nullptr &&
                               !(m_format.isLongLat && Internal::isLongLatOfWgs84(system));
        const QString fileName = Internal::nameOfSource(m_path);
        const QString own = m_layer.name().isEmpty() ? fileName : m_layer.name();
        const bool isNamedByFile = !m_format.family.isEmpty();
        m_type = geometryType(kind);
        OGRLayer& target =
            m_target.createLayer(isNamedByFile ? fileName : (wantedName.isEmpty() ? own : wantedName),
                                 hasSystem ? &system : nullptr, m_type, columnOptions(m_format, m_fields));
        std::set<QByteArray> names;
        for (const GisAttributeDefinition& field : std::as_const(m_fields)) {
            const auto definition = definitionOf(field);
            if (!m_format.family.isEmpty()) {
                cutName(*definition, names);
            }
            const bool isDecimal = !m_format.family.isEmpty() && definition->GetType() == OFTReal;
            if (isDecimal && (definition->GetWidth() == 0 ||
                              !keepsDecimals(m_layer, field.name(), definition->GetPrecision()))) {
                definition->SetWidth(24);
                definition->SetPrecision(dbaseDecimals(m_layer, field.name()));
            }
            m_target.addField(*definition);
            if (m_format.isServer && definition->GetType() == OFTDateTime &&
                hasClockTimes(m_layer, field.name())) {
                m_target.dropZone();
            }
        }
        if (m_format.isServer && m_layer.coordinateSystem() != nullptr) {
            m_target.requireSystem(system, m_layer.extent());
        }
        m_definition = target.GetLayerDefn();
    }

    void add(const Feature& shapes) {
        auto geometry = geometryOf(shapes);
        // A Shapefile of multipoints has no points; in its lines and polygons one part or several are one
        // kind.
        if (m_format.isTyped || (m_type == wkbMultiPoint && !m_format.takesMixedKinds)) {
            geometry = Internal::promoted(std::move(geometry), m_type);
        }
        add(nameOf(*shapes.front()), shapes.front()->attributeSlot().copyOfTable(), std::move(geometry));
    }

    /// Not where the format has no place for it.
    void addWithoutGeometry(const GisLayerVector::Attributes& attributes) {
        if (!m_format.needsGeometry) {
            add(QStringLiteral("a row without geometry"), attributes, nullptr);
        }
    }

    OgrTarget& target() { return m_target; }

private:
    std::unique_ptr<OGRFieldDefn> definitionOf(const GisAttributeDefinition& field) const {
        try {
            auto definition = Internal::fieldOf(field, m_target.driver());
            if (m_target.isGeoJson() && m_jsonFields.contains(field.name())) {
                definition->SetSubType(OFSTJSON);
            }
            return definition;
        } catch (const std::runtime_error& error) {
            QString name = field.name();
            m_target.fail(QStringLiteral("no field '%1': %2")
                              .arg(name.replace(QChar(0), QChar(QChar::ReplacementCharacter)),
                                   QString::fromUtf8(error.what())));
        }
    }

    static QString nameOf(const GisShape& shape) { return QStringLiteral("shape %1").arg(shape.id()); }

    void add(const QString& name, const GisLayerVector::Attributes& attributes,
             Common::Internal::GeometryPtr geometry) {
        OGRFeature feature(m_definition);
        try {
            Internal::place(std::move(geometry), feature);
            for (int i = 0; i < m_fields.size(); ++i) {
                const QVariant value = attributes.value(m_fields[i].name());
                // What is unset gets the default of the data source, if there is one.
                if (value.isValid() || m_fields[i].isNullable()) {
                    Internal::setField(feature, i, value);
                }
            }
        } catch (const std::runtime_error& error) {
            fail(name, error);
        }
        m_target.add(feature, name);
    }

    [[noreturn]] void fail(const QString& name, const std::runtime_error& error) const {
        m_target.fail(QStringLiteral("%1: %2").arg(name, QString::fromUtf8(error.what())));
    }

    Common::Internal::GeometryPtr geometryOf(const GisShape& shape) const {
        try {
            return Internal::savedGeometryOf(shape);
        } catch (const std::runtime_error& error) {
            fail(nameOf(shape), error);
        }
    }

    Common::Internal::GeometryPtr geometryOf(const Feature& shapes) const {
        if (shapes.size() == 1) {
            return geometryOf(*shapes.front());
        }
        auto points = std::make_unique<OGRMultiPoint>();
        for (const GisShape* shape : shapes) {
            if (auto point = geometryOf(*shape)) {
                points->addGeometryDirectly(point.release());
            }
        }
        return Common::Internal::GeometryPtr(points->IsEmpty() ? nullptr : points.release());
    }

    /// That of all shapes: a layer is of multi geometries when one of them is.
    OGRwkbGeometryType geometryType(GisShapeType kind) const {
        const auto [single, multi] = geometryTypesOf(kind);
        const bool isMulti =
            single != multi &&
            std::any_of(m_features.begin(), m_features.end(), [this](const Feature& feature) {
                const auto geometry = geometryOf(feature);
                return geometry != nullptr &&
                       OGR_GT_IsSubClassOf(geometry->getGeometryType(), wkbGeometryCollection);
            });
        return isMulti ? multi : single;
    }

    const GisLayerVector& m_layer;
    const std::vector<Feature>& m_features;
    const OgrFormat& m_format;
    QString m_path;
    OgrTarget m_target;
    QList<GisAttributeDefinition> m_fields;
    std::set<QString> m_jsonFields;
    OGRwkbGeometryType m_type = wkbUnknown;
    OGRFeatureDefn* m_definition = nullptr;
};

} // namespace

bool GisLayerVector::canSaveAs(const QString& path) {
    return OgrFormat::forPath(path) != nullptr;
}

bool GisLayerVector::saveAs(const QString& path, const GisVectorSaveOptions& options) const {
    const auto refuse = [&path](const QString& reason) {
        throw std::runtime_error(
            QStringLiteral("Cannot write '%1': %2").arg(Internal::shownPath(path), reason).toStdString());
    };
    const OgrFormat* const format = OgrFormat::forPath(path);
    if (format == nullptr) {
        refuse(QStringLiteral("the name ends in none of the known formats (%1)")
                   .arg(OgrFormat::knownSuffixes()));
    }
    if (format->needsName && QFileInfo(path).completeBaseName().isEmpty()) {
        refuse(QStringLiteral("the name has nothing before its suffix"));
    }
    if (!holdsAllShapes()) {
        refuse(QStringLiteral("the layer holds only a part of its source; open that whole to save it"));
    }
    const auto check = [&] {
        if (options.existing != GisVectorSaveOptions::Existing::Refuse) {
            return;
        }
        if (QFileInfo::exists(path)) {
            refuse(QStringLiteral("there is such a file"));
        }
        // Where there are several, also those of something else; in any case, as on other systems they are
        // one and the same.
        if (const QStringList beside =
                format->family.isEmpty()
                    ? QStringList()
                    : Internal::membersOf(path, format->suffixes + format->family, Qt::CaseInsensitive);
            !beside.isEmpty()) {
            refuse(QStringLiteral("there is such a file: '%1'").arg(beside.first()));
        }
    };
    Common::Internal::LogStep step(Common::LogChannels::save, "export");
    step.set("target", Internal::shownPath(path));
    step.set("shapes", count());
    std::vector<Feature> features = featuresOf(*this, multiPoints());
    if (options.order == GisVectorSaveOptions::Order::Hilbert) {
        features = alongCurve(std::move(features));
    }
    if (format->family.isEmpty()) {
        check();
    }
    // Before the target is begun: a server would have the one wait for the other.
    QList<Attributes> rowsWithoutGeometry;
    forRowsWithoutGeometry([&](const Attributes& attributes) { rowsWithoutGeometry.append(attributes); });
    Saver saver(*this, features, *format, path, options.wait, jsonFields());
    if (options.existing == GisVectorSaveOptions::Existing::Replace) {
        saver.target().replaceTable();
    }
    check(); // of several files, what a save that failed has left is gone now
    saver.makeLayer(options.layerName);
    constexpr std::size_t interval = 256;
    for (std::size_t i = 0; i < features.size(); ++i) {
        saver.add(features[i]);
        if ((i + 1) % interval == 0 && options.progress &&
            !options.progress(static_cast<double>(i + 1) / static_cast<double>(features.size()))) {
            return false;
        }
    }
    for (const Attributes& attributes : std::as_const(rowsWithoutGeometry)) {
        saver.addWithoutGeometry(attributes);
    }
    saver.target().close();
    if (options.progress && !options.progress(1.0)) {
        return false;
    }
    saver.target().publish(check);
    return true;
}

} // namespace Cartolith::Core::Layers
