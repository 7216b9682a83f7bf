#include <Cartolith/Core/Common/BytesInternal.h>
#include <Cartolith/Core/Layers/Ogr/ArrowFeaturesInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrContentInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrFormatInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrSourceInternal.h>
#include <Cartolith/Core/Layers/Postgres/ServerSelectionInternal.h>
#include <Cartolith/Core/Serialization/OgrGeometryInternal.h>
#include <Cartolith/Core/Serialization/PlainWkbInternal.h>

#include <cpl_vsi.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <utility>

namespace Cartolith::Core::Layers::Internal {

using Common::Internal::GeometryPtr;
using Shapes::GisShape;
using Shapes::Internal::AttributeRow;

namespace {

constexpr qint64 unlessInParts = 256; // features between two questions whether to go on

ReadFeature kindOf(const OGRGeometry& geometry) {
    const OGRwkbGeometryType type = wkbFlatten(geometry.getGeometryType());
    ReadFeature kind;
    kind.isMultiPoint = type == wkbMultiPoint;
    kind.hasZ = geometry.Is3D() != 0;
    kind.hasM = geometry.IsMeasured() != 0;
    kind.hasCurves = geometry.hasCurveGeometry() != 0;
    kind.isCollection = type == wkbGeometryCollection || type == wkbTriangle ||
                        OGR_GT_IsSubClassOf(type, wkbPolyhedralSurface) != 0;
    return kind;
}

} // namespace

OgrContent::OgrContent(OgrSource& source, OGRLayer& layer)
    : definitions(attributeDefinitions(*layer.GetLayerDefn())), m_source(source), m_layer(layer),
      m_rows(*layer.GetLayerDefn()) {
    const OgrFormat* const format = OgrFormat::forDriver(source.driverName());
    m_isNumbered = format != nullptr && !format->isDatabase;
    m_isDatabase = format != nullptr && format->isDatabase;
    m_isCompared = m_isDatabase;
    state.hasStableIds = !m_isNumbered && !QByteArrayView(layer.GetFIDColumn()).isEmpty();
    state.fieldNames = OgrDigest::ofFields(layer);
    state.system = OgrDigest::ofSystem(layer);
    OGRFeatureDefn& schema = *layer.GetLayerDefn();
    state.otherGeometries = std::max(0, schema.GetGeomFieldCount() - 1);
    for (int i = 0; i < schema.GetFieldCount(); ++i) {
        const OGRFieldDefn& field = *schema.GetFieldDefn(i);
        const bool isKept = field.GetSubType() == OFSTNone || field.GetSubType() == OFSTBoolean;
        state.subtypes += isKept ? 0 : 1;
        if (field.GetSubType() == OFSTJSON) {
            state.jsonFields.insert(Common::Internal::wholeName(field.GetNameRef()));
        }
        state.defaults += field.GetDefault() != nullptr ? 1 : 0;
    }
    m_mostShapes = mostShapes();
}

/// A text that names a field for each feature would take the square of its size: a row has room for all
/// fields. What others write has a value in most of them.
qint64 OgrContent::mostShapes() const {
    constexpr qsizetype manyFields = 256;
    constexpr qint64 least = qint64{256} << 20; // bytes of rows
    constexpr qint64 timesSource = 64;
    VSIStatBufL file;
    if (m_isDatabase || definitions.size() <= manyFields || VSIStatL(m_source.gdalName(), &file) != 0) {
        return std::numeric_limits<int>::max();
    }
    const qint64 rowSize = definitions.size() * static_cast<qint64>(sizeof(quint64));
    return std::max(least, timesSource * static_cast<qint64>(file.st_size)) / rowSize;
}

bool OgrContent::isInterrupted(const GoOn& goOn, qint64 interval) const {
    if (static_cast<qint64>(shapes.size()) > m_mostShapes && !m_isInParts) {
        m_source.fail(QStringLiteral("its rows would have more room for %1 fields than it has values")
                          .arg(definitions.size()));
    }
    if (shapes.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        m_source.fail(QStringLiteral("it has more shapes than a layer can number"));
    }
    return state.featureCount % interval == 0 && !goOn(static_cast<double>(state.featureCount));
}

OgrContent::Outcome OgrContent::readColumns(const GoOn& goOn) {
    const auto columns = ArrowFeatures::of(
        m_layer, m_isDatabase, m_areColumnsKnown ? QByteArray() : m_source.gdalName(), m_isInParts);
    m_areColumnsKnown = columns != nullptr;
    while (columns != nullptr && columns->next()) {
        if (!take(*columns)) {
            return Outcome::Unfit;
        }
        constexpr qint64 few = 16; // beside the batch that they are of
        if (isInterrupted(goOn, m_isInParts ? few : unlessInParts)) {
            return Outcome::Cancelled;
        }
    }
    const bool isWhole = columns != nullptr && !columns->hasFailed() &&
                         (m_isInParts || state.featureCount >= m_layer.GetFeatureCount(FALSE));
    return isWhole ? Outcome::Whole : Outcome::Unfit;
}

OgrContent::Outcome OgrContent::readFeatures(const GoOn& goOn, ServerSelection* selection) {
    OGRLayer& rows = selection != nullptr ? *selection->rows() : m_layer;
    rows.ResetReading();
    std::optional<Common::Internal::GdalErrorCapture> errors;
    if (m_isInParts) { // else a host's callback is asked in between
        errors.emplace();
    }
    while (const auto feature = errors ? m_source.next(rows, *errors) : m_source.next(rows)) {
        take(*feature, m_source.complaint(), selection);
        if (isInterrupted(goOn, m_isInParts ? 1 : unlessInParts)) {
            return Outcome::Cancelled;
        }
    }
    return Outcome::Whole;
}

void OgrContent::sort() {
    if (std::is_sorted(features.cbegin(), features.cend())) {
        return;
    }
    std::vector<std::pair<qint64, std::unique_ptr<GisShape>>> all;
    all.reserve(shapes.size());
    for (std::size_t i = 0; i < shapes.size(); ++i) {
        all.emplace_back(features.at(static_cast<qsizetype>(i)), std::move(shapes[i]));
    }
    std::stable_sort(all.begin(), all.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    for (std::size_t i = 0; i < all.size(); ++i) {
        features[static_cast<qsizetype>(i)] = all[i].first;
        shapes[i] = std::move(all[i].second);
    }
}

void OgrContent::readParts(Skip skip) {
    m_skip = std::move(skip);
    m_isInParts = true;
    m_isNumbered = false;
}

bool OgrContent::readFeature(qint64 id, ServerSelection* selection) {
    QString complaint;
    Common::Internal::FeaturePtr feature;
    {
        const Common::Internal::GdalErrorCapture errors;
        feature.reset(selection != nullptr ? selection->rows()->GetNextFeature() : m_layer.GetFeature(id));
        complaint = errors.message();
    }
    if (feature == nullptr) {
        if (m_isDatabase && !complaint.isEmpty()) { // others complain about ids that they do not have
            m_source.fail(complaint);
        }
        return false;
    }
    if (feature->GetFID() != id) { // that of the lower 32 bits
        return false;
    }
    const Skip skip = std::exchange(m_skip, {});
    take(*feature, complaint, selection);
    m_skip = skip;
    return true;
}

void OgrContent::forget() {
    shapes.clear();
    features.clear();
    state.features.clear();
    state.texts = {};
}

qint64 OgrContent::count(qint64 id) {
    const qint64 key = m_isNumbered ? state.featureCount : id;
    ++state.featureCount;
    if (m_isNumbered) {
        state.numberedIds.append(id);
    }
    return key;
}

bool OgrContent::take(const ArrowFeatures& feature) {
    const QByteArrayView wkb = feature.geometry();
    if (wkb.isEmpty()) {
        return false;
    }
    if (m_skip && m_skip(feature.id(), nullptr)) {
        ++state.featureCount;
        return true;
    }
    OGRFeatureDefn& schema = *m_layer.GetLayerDefn();
    if (auto shape = Serialization::Wkb::Internal::shapeOfPlainWkb(wkb)) {
        ReadFeature read;
        read.id = count(feature.id());
        read.digest = m_isCompared ? m_digest.of(schema, feature, nullptr) : 0;
        read.shapes = 1;
        state.digest += read.digest;
        const AttributeRow row = m_rows.of(feature);
        read.hasOtherText = m_rows.hadOtherText();
        read.hasFraction = m_rows.hadFraction();
        state.features.append(read);
        keep(std::move(shape), read.id, row);
        return true;
    }
    OGRGeometry* made = nullptr;
    const Common::Internal::GdalErrorCapture errors;
    const OGRErr error =
        OGRGeometryFactory::createFromWkb(wkb.data(), nullptr, &made, static_cast<std::size_t>(wkb.size()));
    GeometryPtr geometry(made);
    if (error != OGRERR_NONE || geometry == nullptr || !errors.message().isEmpty()) {
        return false;
    }
    ReadFeature read = geometry->IsEmpty() ? ReadFeature() : kindOf(*geometry);
    read.id = count(feature.id());
    read.digest = m_isCompared ? m_digest.of(schema, feature, geometry.get()) : 0;
    takeGeometry(read, feature.id(), std::move(geometry), {}, [&] { return m_rows.of(feature); });
    return true;
}

void OgrContent::take(OGRFeature& feature, const QString& complaint, ServerSelection* selection) {
    const OGRGeometry* const geometry = feature.GetGeometryRef();
    if (selection != nullptr) {
        selection->requireSystemOf(feature);
    }
    if (m_skip && m_skip(feature.GetFID(), geometry)) {
        ++state.featureCount;
        return;
    }
    const bool hasGeometry = geometry != nullptr && !geometry->IsEmpty();
    ReadFeature read = hasGeometry ? kindOf(*geometry) : ReadFeature();
    read.id = count(feature.GetFID());
    // Behind the fields of the layer, what is selected has texts.
    read.digest = m_isCompared ? m_digest.of(feature, m_layer.GetLayerDefn()->GetFieldCount()) : 0;
    const std::size_t first = shapes.size();
    takeGeometry(read, feature.GetFID(), GeometryPtr(feature.StealGeometry()), complaint,
                 [&] { return m_rows.of(feature); });
    if (selection == nullptr || shapes.size() == first) {
        return;
    }
    for (const auto& [field, text] : selection->textsOf(feature)) {
        state.texts.add({read.id, field}, text);
        for (std::size_t i = first; i < shapes.size(); ++i) {
            correctValue(shapes[i]->attributeSlot(), definitions.at(field), text);
        }
    }
}

void OgrContent::takeGeometry(ReadFeature feature, qint64 id, GeometryPtr geometry, const QString& complaint,
                              const std::function<AttributeRow()>& attributes) {
    state.digest += feature.digest;
    const bool hasGeometry = geometry != nullptr && !geometry->IsEmpty();
    auto read = Serialization::Ogr::Internal::shapesOf(std::move(geometry));
    if (!read.problem.isEmpty()) {
        constexpr qsizetype most = 1000;
        ++skippedCount;
        if (skipped.size() < most) {
            skipped.append({id, complaint.isEmpty() ? read.problem : complaint});
            state.skippedFeatures.append(feature.id);
        }
    }
    if (read.shapes.empty()) {
        ++(hasGeometry ? state.unreadable : state.rowsWithoutGeometry);
        return;
    }
    constexpr quint32 most = (1U << 24U) - 1;
    feature.shapes = static_cast<quint32>(std::min<std::size_t>(read.shapes.size(), most)) & most;
    feature.isPartlyRead = !read.problem.isEmpty();
    const AttributeRow row = attributes();
    feature.hasOtherText = m_rows.hadOtherText();
    feature.hasFraction = m_rows.hadFraction();
    state.features.append(feature);
    for (auto& shape : read.shapes) {
        keep(std::move(shape), feature.id, row);
    }
}

void OgrContent::keep(std::unique_ptr<GisShape> shape, qint64 key, const AttributeRow& row) {
    shape->attributeSlot().setRow(row);
    shapes.push_back(std::move(shape));
    features.append(key);
}

} // namespace Cartolith::Core::Layers::Internal
