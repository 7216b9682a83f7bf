#include <Cartolith/Core/Common/LogChannels.h>
#include <Cartolith/Core/Common/LogStepInternal.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/Layers/FeatureTraceInternal.h>
#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Layers/GisOgrProvider.h>
#include <Cartolith/Core/Layers/IndexFileInternal.h>
#include <Cartolith/Core/Layers/OgrFieldsInternal.h>
#include <Cartolith/Core/Layers/OgrFormatInternal.h>
#include <Cartolith/Core/Layers/OgrSnapshotInternal.h>
#include <Cartolith/Core/Layers/OgrSourceInternal.h>
#include <Cartolith/Core/Layers/SourceStateInternal.h>
#include <Cartolith/Core/Serialization/OgrGeometryInternal.h>
#include <Cartolith/Core/Spatial/RTreeSpatialIndex.h>

#include <QFileInfo>

#include <cmath>
#include <limits>
#include <optional>
#include <utility>

namespace Cartolith::Core::Layers {

using Shapes::GisExtent;
using Shapes::GisShape;

namespace {

/// Everything that open() reads, collected aside so that a failure leaves the layer alone.
struct Content {
    QList<Defs::GisAttributeDefinition> definitions;
    std::vector<std::unique_ptr<GisShape>> shapes;
    QList<qint64> features; // what each shape was read from
    QList<qint64> numberedIds;
    QList<qint64> skippedFeatures;
    bool isNumbered = false;
    QHash<qint64, int> readFeatures;
    QSet<qint64> partlyRead;
    qint64 featureCount = 0;
    qint64 skippedCount = 0;
    QList<GisLayerOgrVector::SkippedFeature> skipped;

    void take(OGRFeature& feature, const QString& complaint) {
        const qint64 key = isNumbered ? featureCount : feature.GetFID();
        ++featureCount;
        if (isNumbered) {
            numberedIds.append(feature.GetFID());
        }
        Serialization::Ogr::Internal::OgrShapes read =
            Serialization::Ogr::Internal::shapesOf(Common::Internal::GeometryPtr(feature.StealGeometry()));
        if (!read.problem.isEmpty()) {
            constexpr qsizetype most = 1000;
            ++skippedCount;
            if (skipped.size() < most) {
                skipped.append({feature.GetFID(), complaint.isEmpty() ? read.problem : complaint});
                skippedFeatures.append(key);
            }
        }
        if (read.shapes.empty()) {
            return;
        }
        readFeatures.insert(key, static_cast<int>(read.shapes.size()));
        if (!read.problem.isEmpty()) {
            partlyRead.insert(key);
        }
        const QHash<QString, QVariant> values = Internal::attributes(feature, definitions);
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
      m_trace(std::make_unique<Internal::FeatureTrace>()),
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
    Content content;
    const Internal::OgrFormat* const format = Internal::OgrFormat::forDriver(source.driverName());
    content.isNumbered = format != nullptr && !format->isDatabase;
    content.definitions = Internal::attributeDefinitions(*layer.GetLayerDefn());

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
        if (content.featureCount % interval == 0 && !goOn(static_cast<double>(content.featureCount))) {
            lock.reset();
            close();
            return false;
        }
    }
    // This driver stops at the end of a file cut short without a word; its header holds the exact count.
    if (source.driverName() == QLatin1String("FlatGeobuf") &&
        static_cast<double>(content.featureCount) < total) {
        source.fail(QStringLiteral("it ends after %1 of %2 features")
                        .arg(content.featureCount)
                        .arg(static_cast<qint64>(total)));
    }
    if (!goOn(total)) {
        lock.reset();
        close();
        return false;
    }

    const auto system = coordinateSystemOf(layer);
    const GisExtent extent = storedExtent(layer);
    const QString sourceName = QString::fromUtf8(layer.GetName());
    auto provider =
        std::make_unique<Providers::GisOgrProvider>(path(), source.driverName(), source.layerNames());

    step.set("features", content.featureCount);
    step.set("shapes", static_cast<qint64>(content.shapes.size()));
    step.set("skipped", content.skippedCount);

    // From here on nothing fails.
    lock.reset();
    const ChangeGroup group(*this);
    resetVectorLayerState();
    for (const Defs::GisAttributeDefinition& definition : std::as_const(content.definitions)) {
        addAttributeDefinition(definition);
    }
    replaceShapes(std::move(content.shapes));
    if (!extent.isEmpty()) {
        setMetadataExtent(extent);
    }
    setCoordinateSystem(system);
    if (name() == QFileInfo(path()).completeBaseName() || name() == m_readName) {
        setName(sourceName);
    }
    m_readName = sourceName;
    m_sourceName = sourceName;
    const auto& stamp = snapshot.stamp();
    m_sourceSize = stamp && Internal::IndexFile::isFor(source.driverName()) ? stamp->size : -1;
    m_sourceWrittenAt = stamp ? stamp->writtenAt : 0;
    m_provider = std::move(provider);
    m_featureCount = content.featureCount;
    m_skippedCount = content.skippedCount;
    m_skipped = std::move(content.skipped);
    m_skippedFeatures = std::move(content.skippedFeatures);
    m_numberedIds = std::move(content.numberedIds);
    m_trace->reset(content.features);
    m_readFeatures = std::move(content.readFeatures);
    m_partlyRead = std::move(content.partlyRead);
    m_sourcePath = path();
    *m_sourceState = snapshot.state();
    m_sourceSystem = system;
    m_lastError.clear();
    setIsOpen(true);
    m_openedRevision = contentRevision();
    return true;
}

void GisLayerOgrVector::close() {
    if (isLocked()) {
        return;
    }
    const ChangeGroup group(*this);
    resetVectorLayerState();
    setCoordinateSystem(nullptr);
    m_provider = std::make_unique<Providers::GisOgrProvider>(path());
    m_featureCount = 0;
    m_skippedCount = 0;
    m_skipped.clear();
    m_skippedFeatures.clear();
    m_numberedIds.clear();
    m_readFeatures.clear();
    m_partlyRead.clear();
    m_sourceSystem.reset();
    m_lastError.clear();
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
