#include <Cartolith/Core/Common/BytesInternal.h>
#include <Cartolith/Core/Common/LogChannels.h>
#include <Cartolith/Core/Common/LogStepInternal.h>
#include <Cartolith/Core/Layers/Files/IndexFileInternal.h>
#include <Cartolith/Core/Layers/Files/SourceStateInternal.h>
#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Layers/GisOgrProvider.h>
#include <Cartolith/Core/Layers/Ogr/EditConflictsInternal.h>
#include <Cartolith/Core/Layers/Ogr/FeatureTraceInternal.h>
#include <Cartolith/Core/Layers/Ogr/LayerFactsInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrContentInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrFormatInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrReadStateInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrSnapshotInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrSourceInternal.h>
#include <Cartolith/Core/Layers/Postgres/PostgresTableInternal.h>
#include <Cartolith/Core/Layers/Postgres/ServerSelectionInternal.h>
#include <Cartolith/Core/Spatial/RTreeSpatialIndex.h>

#include <QFileInfo>

#include <algorithm>
#include <limits>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <utility>

namespace Cartolith::Core::Layers {

using Shapes::GisExtent;
using Shapes::GisShape;

namespace {

/// Begins to read a server's table: what GDAL does not say of it. GDAL takes the system of the first geometry
/// for that of all.
struct TableBegun {
    Internal::ExactTexts texts = {};
    int otherGeometries = 0;
};
TableBegun beginTable(const Internal::OgrSource& source, OGRLayer& layer) {
    try {
        // What is read of the table in several ways is that of one moment.
        source.dataset().StartTransaction();
        Internal::execute(source.dataset(), "SET TRANSACTION ISOLATION LEVEL REPEATABLE READ READ ONLY");
        Internal::PostgresTable table(source.dataset(), layer);
        table.requireOneSystem();
        return {table.exactTexts(), table.otherGeometries()};
    } catch (const std::runtime_error& error) {
        source.fail(QString::fromUtf8(error.what()));
    }
}

void correctValues(Internal::OgrContent& content) {
    content.state.texts.forEach([&content](Internal::ExactTexts::Place place, QByteArrayView text) {
        auto at = std::lower_bound(content.features.cbegin(), content.features.cend(), place.first);
        for (; at != content.features.cend() && *at == place.first; ++at) {
            Internal::correctValue(
                content.shapes[static_cast<std::size_t>(at - content.features.cbegin())]->attributeSlot(),
                content.definitions.at(place.second), text);
        }
    });
}

} // namespace

GisLayerOgrVector::GisLayerOgrVector(const QString& path, const QString& layerName)
    : GisLayerVector(path), m_layerName(layerName),
      m_provider(std::make_unique<Providers::GisOgrProvider>(path)),
      m_trace(std::make_unique<Internal::FeatureTrace>()), m_read(std::make_unique<Internal::OgrReadState>()),
      m_sourceState(std::make_unique<Internal::SourceState>()),
      m_leftOpen(std::make_unique<Internal::EditsLeftOpen>()) {}

GisLayerOgrVector::~GisLayerOgrVector() = default;

bool GisLayerOgrVector::open() {
    if (isLocked()) {
        return false;
    }
    std::optional<ChangeLock> lock(*this);
    Common::Internal::LogStep step(Common::LogChannels::load, "vector");
    step.set("source", Internal::shownPath(path()));
    Internal::OgrSnapshot snapshot(path(), m_layerName, m_saveWait);
    Internal::OgrSource& source = snapshot.source();
    OGRLayer& layer = snapshot.layer();
    const auto& stamp = snapshot.stamp();
    const bool isServer = Internal::OgrFormat::isServerOf(source.driverName());
    TableBegun table = isServer ? beginTable(source, layer) : TableBegun();
    const ProgressCallback progress = m_progress; // one that replaces itself goes on living here
    const auto total = static_cast<double>(layer.GetFeatureCount(FALSE));
    double reported = 0.0;
    const auto goOn = [&](double done) {
        reported = std::max(reported, total > 0.0 ? std::min(done / total, 1.0) : 0.0);
        return !progress || progress(total > 0.0 ? reported : std::numeric_limits<double>::quiet_NaN());
    };
    auto content = std::make_unique<Internal::OgrContent>(source, layer);
    auto outcome = content->readColumns(goOn);
    if (outcome == Internal::OgrContent::Outcome::Unfit) {
        content = std::make_unique<Internal::OgrContent>(source, layer);
        outcome = content->readFeatures(goOn);
    }
    if (outcome == Internal::OgrContent::Outcome::Cancelled) {
        lock.reset();
        close();
        return false;
    }
    // This driver stops at the end of a file cut short without a word; its header holds the exact count.
    if (source.driverName() == QLatin1String("FlatGeobuf") &&
        static_cast<double>(content->state.featureCount) < total) {
        source.fail(QStringLiteral("it ends after %1 of %2 features")
                        .arg(content->state.featureCount)
                        .arg(static_cast<qint64>(total)));
    }
    if (!goOn(total)) {
        lock.reset();
        close();
        return false;
    }

    if (isServer) { // gives rows in any order
        content->sort();
        content->state.texts = std::move(table.texts);
        content->state.otherGeometries = table.otherGeometries;
        correctValues(*content);
        source.dataset().RollbackTransaction();
    }
    const bool areUnique = content->state.features.sort();
    content->state.hasStableIds = content->state.hasStableIds && areUnique;
    const auto system = source.systemOf(layer);
    // A server keeps estimates.
    const GisExtent extent = Internal::storedExtent(layer, !isServer && !content->shapes.empty());
    const QString sourceName = Common::Internal::wholeText(layer.GetName());
    auto provider =
        std::make_unique<Providers::GisOgrProvider>(path(), source.driverName(), source.layerNames());

    step.set("features", content->state.featureCount);
    step.set("shapes", static_cast<qint64>(content->shapes.size()));
    step.set("skipped", content->skippedCount);

    const qint64 sourceSize = stamp && Internal::IndexFile::isFor(source.driverName()) ? stamp->size : -1;
    auto trace = std::make_unique<Internal::FeatureTrace>();
    trace->reset(content->features);
    auto read = std::make_unique<Internal::OgrReadState>(std::move(content->state));
    const bool isNamedBySource = name() == Internal::nameOfSource(path()) || name() == m_readName;

    // From here on nothing fails.
    lock.reset();
    const ChangeGroup group(*this);
    resetVectorLayerState();
    setAttributeDefinitions(content->definitions);
    m_trace = std::move(trace);
    replaceShapes(std::move(content->shapes));
    m_trace->reset(content->features);
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
    m_skippedCount = content->skippedCount;
    m_skipped = std::move(content->skipped);
    m_read = std::move(read);
    m_sourcePath = path();
    *m_sourceState = snapshot.state();
    m_sourceSystem = system;
    m_isUnsafe = false;
    *m_leftOpen = {};
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
    *m_leftOpen = {};
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
    lost.geometries = m_read->otherGeometries;
    lost.withoutGeometry = m_read->rowsWithoutGeometry;
    std::set<qint64> counted; // each once, whatever it is made of
    for (const auto& entry : m_trace->entries()) {
        const Internal::ReadFeature* const found = m_read->features.find(entry.feature);
        if (found == nullptr || (found->shapes > 1 && !counted.insert(entry.feature).second)) {
            continue;
        }
        const Internal::ReadFeature& feature = *found;
        lost.withZ += feature.hasZ ? 1 : 0;
        lost.withM += feature.hasM ? 1 : 0;
        lost.withCurves += feature.hasCurves ? 1 : 0;
        lost.collections += feature.isCollection ? 1 : 0;
        lost.incomplete += feature.isPartlyRead ? 1 : 0;
        lost.otherTexts += feature.hasOtherText ? 1 : 0;
        lost.fractions += feature.hasFraction ? 1 : 0;
    }
    return lost;
}

bool GisLayerOgrVector::isOfThisLibrary() const {
    return typeid(*this) == typeid(GisLayerOgrVector);
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
