#include <Cartolith/Core/Common/LogChannels.h>
#include <Cartolith/Core/Common/LogStepInternal.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/Layers/FeatureTraceInternal.h>
#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Layers/GisOgrProvider.h>
#include <Cartolith/Core/Layers/IndexFileInternal.h>
#include <Cartolith/Core/Layers/OgrDigestInternal.h>
#include <Cartolith/Core/Layers/OgrFieldsInternal.h>
#include <Cartolith/Core/Layers/OgrFormatInternal.h>
#include <Cartolith/Core/Layers/OgrReadStateInternal.h>
#include <Cartolith/Core/Layers/OgrSnapshotInternal.h>
#include <Cartolith/Core/Layers/OgrSourceInternal.h>
#include <Cartolith/Core/Layers/SourceStateInternal.h>
#include <Cartolith/Core/Serialization/OgrGeometryInternal.h>
#include <Cartolith/Core/Spatial/RTreeSpatialIndex.h>

#include <QFileInfo>

#include <cmath>
#include <limits>
#include <optional>
#include <set>
#include <utility>

namespace Cartolith::Core::Layers {

using Shapes::GisExtent;
using Shapes::GisShape;

namespace {

Internal::ReadFeature kindOf(const OGRGeometry& geometry) {
    const OGRwkbGeometryType type = wkbFlatten(geometry.getGeometryType());
    Internal::ReadFeature kind;
    kind.isMultiPoint = type == wkbMultiPoint;
    kind.hasZ = geometry.Is3D() != 0;
    kind.hasM = geometry.IsMeasured() != 0;
    kind.hasCurves = geometry.hasCurveGeometry() != 0;
    kind.isCollection = type == wkbGeometryCollection || type == wkbTriangle ||
                        OGR_GT_IsSubClassOf(type, wkbPolyhedralSurface) != 0;
    return kind;
}

/// Everything that open() reads, collected aside so that a failure leaves the layer alone.
struct Content {
    explicit Content(OGRLayer& layer)
        : definitions(Internal::attributeDefinitions(*layer.GetLayerDefn())), tables(definitions) {
        state.fieldNames = Internal::OgrDigest::ofFields(layer);
        state.system = Internal::OgrDigest::ofSystem(layer);
        OGRFeatureDefn& schema = *layer.GetLayerDefn();
        for (int i = 0; i < schema.GetFieldCount(); ++i) {
            const OGRFieldDefn& field = *schema.GetFieldDefn(i);
            const bool isKept = field.GetSubType() == OFSTNone || field.GetSubType() == OFSTBoolean;
            state.subtypes += isKept ? 0 : 1;
            if (field.GetSubType() == OFSTJSON) {
                state.jsonFields.insert(QString::fromUtf8(field.GetNameRef()));
            }
            state.defaults += field.GetDefault() != nullptr ? 1 : 0;
        }
    }

    QList<Defs::GisAttributeDefinition> definitions;
    Internal::AttributeTables tables;
    std::vector<std::unique_ptr<GisShape>> shapes;
    QList<qint64> features; // what each shape was read from
    bool isNumbered = false;
    bool isCompared = false; // a digest is made of each feature
    Internal::OgrDigest digest;
    Internal::OgrReadState state;
    qint64 skippedCount = 0;
    QList<GisLayerOgrVector::SkippedFeature> skipped;

    void take(OGRFeature& feature, const QString& complaint) {
        const qint64 key = isNumbered ? state.featureCount : feature.GetFID();
        ++state.featureCount;
        if (isNumbered) {
            state.numberedIds.append(feature.GetFID());
        }
        const quint64 sum = isCompared ? digest.of(feature) : 0;
        state.digest += sum;
        const OGRGeometry* const geometry = feature.GetGeometryRef();
        const bool hasGeometry = geometry != nullptr && !geometry->IsEmpty();
        Internal::ReadFeature kind = hasGeometry ? kindOf(*geometry) : Internal::ReadFeature();
        Serialization::Ogr::Internal::OgrShapes read =
            Serialization::Ogr::Internal::shapesOf(Common::Internal::GeometryPtr(feature.StealGeometry()));
        if (!read.problem.isEmpty()) {
            constexpr qsizetype most = 1000;
            ++skippedCount;
            if (skipped.size() < most) {
                skipped.append({feature.GetFID(), complaint.isEmpty() ? read.problem : complaint});
                state.skippedFeatures.append(key);
            }
        }
        if (read.shapes.empty()) {
            ++(hasGeometry ? state.unreadable : state.rowsWithoutGeometry);
            return;
        }
        kind.shapes = static_cast<int>(read.shapes.size());
        kind.isPartlyRead = !read.problem.isEmpty();
        kind.digest = sum;
        state.features.insert_or_assign(key, kind);
        const QHash<QString, QVariant> values = tables.of(feature);
        for (auto& shape : read.shapes) {
            shape->attributes() = values;
            shapes.push_back(std::move(shape));
            features.append(key);
        }
    }
};

std::shared_ptr<CoordinateSystems::CoordinateSystem> coordinateSystemOf(OGRLayer& layer) {
    const OGRSpatialReference* const srs = layer.GetSpatialRef();
    if (srs == nullptr) {
        return nullptr;
    }
    OGRSpatialReference copy(*srs); // the factory changes what it is given
    return CoordinateSystems::CoordinateSystemFactory::fromSpatialReference(copy);
}

/// The extent that the source keeps ready; empty when it would have to read everything to know.
GisExtent storedExtent(OGRLayer& layer) {
    OGREnvelope envelope;
    if (layer.GetExtent(&envelope, FALSE) != OGRERR_NONE || !envelope.IsInit() ||
        !std::isfinite(envelope.MinX) || !std::isfinite(envelope.MinY) || !std::isfinite(envelope.MaxX) ||
        !std::isfinite(envelope.MaxY)) {
        return {};
    }
    return {envelope.MinX, envelope.MinY, envelope.MaxX, envelope.MaxY};
}

} // namespace

GisLayerOgrVector::GisLayerOgrVector(const QString& path, const QString& layerName)
    : GisLayerVector(path), m_layerName(layerName),
      m_provider(std::make_unique<Providers::GisOgrProvider>(path)),
      m_trace(std::make_unique<Internal::FeatureTrace>()), m_read(std::make_unique<Internal::OgrReadState>()),
      m_sourceState(std::make_unique<Internal::SourceState>()) {}

GisLayerOgrVector::~GisLayerOgrVector() = default;

bool GisLayerOgrVector::open() {
    if (isLocked()) {
        return false;
    }
    std::optional<ChangeLock> lock(*this);
    Common::Internal::LogStep step(Common::LogChannels::load, "vector");
    step.set("source", path());
    Internal::OgrSnapshot snapshot(path(), m_layerName, m_saveWait);
    Internal::OgrSource& source = snapshot.source();
    OGRLayer& layer = snapshot.layer();
    const auto& stamp = snapshot.stamp();
    Content content(layer);
    const Internal::OgrFormat* const format = Internal::OgrFormat::forDriver(source.driverName());
    content.isNumbered = format != nullptr && !format->isDatabase;
    content.isCompared = format != nullptr && format->isDatabase;

    const auto total = static_cast<double>(layer.GetFeatureCount(FALSE));
    const ProgressCallback progress = m_progress; // one that replaces itself goes on living here
    const auto goOn = [&](double done) {
        return !progress ||
               progress(total > 0.0 ? std::min(done / total, 1.0) : std::numeric_limits<double>::quiet_NaN());
    };
    constexpr qint64 interval = 256;
    layer.ResetReading();
    while (const auto feature = source.next(layer)) {
        content.take(*feature, source.complaint());
        if (content.shapes.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
            source.fail(QStringLiteral("it has more shapes than a layer can number"));
        }
        if (content.state.featureCount % interval == 0 &&
            !goOn(static_cast<double>(content.state.featureCount))) {
            lock.reset();
            close();
            return false;
        }
    }
    // This driver stops at the end of a file cut short without a word; its header holds the exact count.
    if (source.driverName() == QLatin1String("FlatGeobuf") &&
        static_cast<double>(content.state.featureCount) < total) {
        source.fail(QStringLiteral("it ends after %1 of %2 features")
                        .arg(content.state.featureCount)
                        .arg(static_cast<qint64>(total)));
    }
    if (!goOn(total)) {
        lock.reset();
        close();
        return false;
    }

    const auto system = source.isSystemElsewhere() ? nullptr : coordinateSystemOf(layer);
    const GisExtent extent = storedExtent(layer);
    const QString sourceName = QString::fromUtf8(layer.GetName());
    auto provider =
        std::make_unique<Providers::GisOgrProvider>(path(), source.driverName(), source.layerNames());

    step.set("features", content.state.featureCount);
    step.set("shapes", static_cast<qint64>(content.shapes.size()));
    step.set("skipped", content.skippedCount);

    const qint64 sourceSize = stamp && Internal::IndexFile::isFor(source.driverName()) ? stamp->size : -1;
    auto trace = std::make_unique<Internal::FeatureTrace>();
    trace->reset(content.features);
    auto read = std::make_unique<Internal::OgrReadState>(std::move(content.state));
    const bool isNamedBySource = name() == QFileInfo(path()).completeBaseName() || name() == m_readName;

    // From here on nothing fails.
    lock.reset();
    const ChangeGroup group(*this);
    resetVectorLayerState();
    setAttributeDefinitions(content.definitions);
    m_trace = std::move(trace);
    replaceShapes(std::move(content.shapes));
    m_trace->reset(content.features);
    if (!extent.isEmpty()) {
        setSourceExtent(extent);
    }
    setCoordinateSystem(system);
    if (isNamedBySource) {
        setName(sourceName);
    }
    m_readName = sourceName;
    m_sourceName = sourceName;
    m_sourceSize = sourceSize;
    m_sourceWrittenAt = stamp ? stamp->writtenAt : 0;
    m_provider = std::move(provider);
    m_skippedCount = content.skippedCount;
    m_skipped = std::move(content.skipped);
    m_read = std::move(read);
    m_sourcePath = path();
    *m_sourceState = snapshot.state();
    m_sourceSystem = system;
    m_isUnsafe = false;
    m_lastError = {};
    setIsOpen(true);
    m_openedRevision = contentRevision();
    return true;
}

void GisLayerOgrVector::close() {
    if (isLocked()) {
        return;
    }
    auto provider = std::make_unique<Providers::GisOgrProvider>(path());
    auto read = std::make_unique<Internal::OgrReadState>();
    const ChangeGroup group(*this);
    resetVectorLayerState();
    setCoordinateSystem(nullptr);
    m_provider = std::move(provider);
    m_read = std::move(read);
    m_skippedCount = 0;
    m_skipped = {};
    m_sourceSystem.reset();
    m_isUnsafe = false;
    m_lastError = {};
}

qint64 GisLayerOgrVector::featureCount() const noexcept {
    return m_read->featureCount;
}

GisLayerOgrVector::NotKept GisLayerOgrVector::notKept() const {
    NotKept lost;
    lost.incomplete = m_read->unreadable;
    lost.defaults = m_read->defaults;
    lost.subtypes = m_read->subtypes;
    std::set<qint64> counted; // each once, whatever it is made of
    for (const auto& entry : m_trace->entries()) {
        const auto found = m_read->features.find(entry.feature);
        if (found == m_read->features.end() ||
            (found->second.shapes > 1 && !counted.insert(entry.feature).second)) {
            continue;
        }
        const Internal::ReadFeature& feature = found->second;
        lost.withZ += feature.hasZ ? 1 : 0;
        lost.withM += feature.hasM ? 1 : 0;
        lost.withCurves += feature.hasCurves ? 1 : 0;
        lost.collections += feature.isCollection ? 1 : 0;
        lost.incomplete += feature.isPartlyRead ? 1 : 0;
    }
    return lost;
}

// Index file

using Spatial::RTree::RTreeSpatialIndex;

QString GisLayerOgrVector::indexFilePath() const {
    return Internal::IndexFile::pathFor(path(), m_sourceName);
}

GisLayerOgrVector::IndexOrigin GisLayerOgrVector::indexOrigin() const noexcept {
    return m_indexedRevision == contentRevision() ? m_indexOrigin : IndexOrigin::None;
}

std::optional<Internal::IndexFile> GisLayerOgrVector::indexFile() const {
    if (!m_usesIndexFile || !isOpen() || m_sourceSize < 0 || contentRevision() != m_openedRevision) {
        return std::nullopt;
    }
    return Internal::IndexFile(path(), m_sourceName, {m_sourceSize, m_sourceWrittenAt});
}

bool GisLayerOgrVector::restoreSpatialIndex(Spatial::ISpatialIndex& index) {
    const auto file = indexFile();
    auto* const tree = dynamic_cast<RTreeSpatialIndex*>(&index);
    const bool loaded = file && tree != nullptr && file->load(*tree, rawShapes());
    m_indexedRevision = contentRevision();
    m_indexOrigin = loaded ? IndexOrigin::Loaded : IndexOrigin::Built;
    return loaded;
}

void GisLayerOgrVector::keepSpatialIndex(const Spatial::ISpatialIndex& index) {
    const auto file = indexFile();
    const auto* const tree = dynamic_cast<const RTreeSpatialIndex*>(&index);
    if (file && tree != nullptr && file->save(*tree, count())) {
        m_indexOrigin = IndexOrigin::BuiltAndSaved;
    }
}

const Providers::GisLayerProvider* GisLayerOgrVector::layerProvider() const {
    return m_provider.get();
}

Providers::GisLayerProvider* GisLayerOgrVector::layerProvider() {
    return m_provider.get();
}

void GisLayerOgrVector::setProgressCallback(ProgressCallback callback) {
    m_progress = std::move(callback);
}

} // namespace Cartolith::Core::Layers
