#include <Cartolith/Core/Common/LogChannels.h>
#include <Cartolith/Core/Common/LogStepInternal.h>
#include <Cartolith/Core/Layers/GisFeatureReader.h>
#include <Cartolith/Core/Layers/GisLayerOgrOnDemand.h>
#include <Cartolith/Core/Layers/GisOgrProvider.h>
#include <Cartolith/Core/Layers/Ogr/EditConflictsInternal.h>
#include <Cartolith/Core/Layers/Ogr/FeatureTraceInternal.h>
#include <Cartolith/Core/Layers/Ogr/LayerFactsInternal.h>
#include <Cartolith/Core/Layers/Ogr/PendingEditsInternal.h>
#include <Cartolith/Core/Layers/OnDemand/FeatureCacheInternal.h>
#include <Cartolith/Core/Layers/OnDemand/OnDemandSyncInternal.h>
#include <Cartolith/Core/Layers/OnDemand/WindowSourceInternal.h>
#include <Cartolith/Core/Layers/Postgres/PostgresTextInternal.h>

#include <QFileInfo>
#include <QScopeGuard>

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <tuple>
#include <utility>

namespace Cartolith::Core::Layers {

using Internal::CachedFeature;
using Internal::FeatureTrace;
using Shapes::GisExtent;
using Shapes::GisShape;
using Shapes::GisShapeType;

namespace {

GisShapeType kindOf(OGRwkbGeometryType type) {
    switch (wkbFlatten(OGR_GT_GetLinear(type))) {
    case wkbPoint:
    case wkbMultiPoint:
        return GisShapeType::Point;
    case wkbLineString:
    case wkbMultiLineString:
        return GisShapeType::Polyline;
    case wkbPolygon:
    case wkbMultiPolygon:
        return GisShapeType::Polygon;
    default:
        return GisShapeType::Null;
    }
}

} // namespace

GisLayerOgrOnDemand::GisLayerOgrOnDemand(const QString& path, const QString& layerName)
    : GisLayerVector(path), m_layerName(layerName),
      m_provider(std::make_unique<Providers::GisOgrProvider>(path)),
      m_cache(std::make_unique<Internal::FeatureCache>()), m_trace(std::make_unique<FeatureTrace>()),
      m_sync(std::make_unique<Sync>()), m_leftOpen(std::make_unique<Internal::EditsLeftOpen>()) {}

GisLayerOgrOnDemand::~GisLayerOgrOnDemand() = default;

bool GisLayerOgrOnDemand::open() {
    if (isLocked()) {
        return false;
    }
    Common::Internal::LogStep step(Common::LogChannels::load, "on demand");
    step.set("source", Internal::shownPath(path()));
    auto source = std::make_unique<Internal::WindowSource>(path(), m_layerName, m_saveWait);
    const auto system = source->system();
    auto provider =
        std::make_unique<Providers::GisOgrProvider>(path(), source->driverName(), source->layerNames());
    const QString sourceName = source->layerName();
    const bool isNamedBySource = name() == Internal::nameOfSource(path()) || name() == m_readName;
    source->setFields(m_fields);
    source->content().setComparing(false);

    const ChangeGroup group(*this);
    resetVectorLayerState();
    setAttributeDefinitions(source->content().definitions);
    setShapeType(kindOf(source->layer().GetGeomType()));
    setCoordinateSystem(system);
    if (isNamedBySource) {
        setName(sourceName);
    }
    m_readName = sourceName;
    m_provider = std::move(provider);
    m_source = std::move(source);
    m_sourcePath = path();
    m_sourceSystem = system;
    m_lastError = {};
    *m_leftOpen = {};
    m_isOutdated = false;
    m_lastReading = Reading::Whole;
    setIsOpen(true);
    return true;
}

void GisLayerOgrOnDemand::close() {
    if (isLocked()) {
        return;
    }
    auto provider = std::make_unique<Providers::GisOgrProvider>(path());
    const ChangeGroup group(*this);
    resetVectorLayerState();
    setCoordinateSystem(nullptr);
    m_provider = std::move(provider);
    m_source.reset();
    m_sourceSystem.reset();
    m_standIns.clear();
    m_lastError = {};
    *m_leftOpen = {};
    m_isOutdated = false;
}

const Providers::GisLayerProvider* GisLayerOgrOnDemand::layerProvider() const {
    return m_provider.get();
}

Providers::GisLayerProvider* GisLayerOgrOnDemand::layerProvider() {
    return m_provider.get();
}

qint64 GisLayerOgrOnDemand::featureCount() const noexcept {
    return m_source != nullptr ? m_source->featureCount() : -1;
}

bool GisLayerOgrOnDemand::isIndexed() const noexcept {
    return m_source != nullptr && m_source->isIndexed();
}

GisExtent GisLayerOgrOnDemand::extent() const {
    if (const auto set = metadataExtent()) {
        return *set;
    }
    GisExtent extent = m_source != nullptr ? m_source->extent() : GisExtent();
    if (extent.isEmpty()) {
        return calculateExtent();
    }
    for (const GisShape* const shape : editedShapes()) {
        extent = extent.expand(shape->extent());
    }
    return extent;
}

bool GisLayerOgrOnDemand::holdsAllShapes() const {
    return false;
}

// Reading

template <typename Work>
void GisLayerOgrOnDemand::reading(const Work& work) {
    m_sync->begin();
    const auto end = qScopeGuard([this] { m_sync->end(); });
    try {
        work();
    } catch (const std::runtime_error&) {
        if (!m_sync->isCancelled()) {
            throw;
        }
    }
    if (m_sync->isCancelled()) {
        m_lastReading = Reading::Cancelled;
    }
}

std::unique_ptr<GisFeatureReader> GisLayerOgrOnDemand::read(const GisFeatureRequest& request) {
    if (m_source == nullptr) {
        return GisLayerVector::read(request);
    }
    if (!Internal::pendingEdits(m_sourcePath, readForEdits(), *m_trace, items()).isEmpty()) {
        Internal::OgrSource::failToRead(
            m_sourcePath, QStringLiteral("edits of the layer are not in it yet: save them first"));
    }
    return GisFeatureReader::fromSource(m_sourcePath, m_source->layerName(), request);
}

void GisLayerOgrOnDemand::cancel() noexcept {
    m_sync->cancel(
        [this] { m_pictureReader != nullptr ? m_pictureReader->cancel() : m_source->interrupt(); });
}

const Internal::ReadWindow& GisLayerOgrOnDemand::readWindow(const GisExtent& extent) {
    m_lastReading = Reading::Whole;
    letGoOfOutdated();
    if (const Internal::ReadWindow* const known = m_cache->covering(extent)) {
        return *known;
    }
    Internal::ReadWindow& window = m_cache->open(extent);
    m_source->content().forget();
    const auto isKnown = [this](qint64 id, const OGRGeometry* /*geometry*/) {
        CachedFeature* const known = m_cache->find(id);
        if (known != nullptr) {
            m_cache->use(*known);
        }
        return known != nullptr;
    };
    bool fits = true;
    const auto goOn = [&](double /*done*/) { return (fits = takeRead()) && !m_sync->isCancelled(); };
    reading([&] { window.isWhole = m_source->read(extent, isKnown, goOn); });
    fits = takeRead() && fits;
    window.isWhole = window.isWhole && fits && m_lastReading == Reading::Whole;
    if (!fits && m_lastReading == Reading::Whole) {
        m_lastReading = Reading::Cut;
    }
    const auto isBefore = [](const CachedFeature* a, const CachedFeature* b) {
        return a->read.id < b->read.id;
    };
    if (!std::is_sorted(window.features.begin(), window.features.end(), isBefore)) {
        std::sort(window.features.begin(), window.features.end(), isBefore);
    }
    return window;
}

bool GisLayerOgrOnDemand::takeRead() {
    Internal::OgrContent& content = m_source->content();
    std::size_t next = 0;
    reserveShapes(count() + static_cast<int>(content.shapes.size()));
    content.state.texts.sort();
    for (const Internal::ReadFeature& read : content.state.features) {
        const std::size_t end = next + read.shapes;
        Internal::FieldTexts texts = content.state.texts.of(read.id);
        CachedFeature* const feature = m_cache->add(read);
        if (feature == nullptr) { // a reading that was begun anew met it before
            next = end;
            continue;
        }
        m_cache->give(*feature, std::move(texts)); // from here on nothing fails
        for (; next < end; ++next) {
            m_cache->give(*feature, *content.shapes[next]);
            const int place = freePlace();
            holdShape(place, std::move(content.shapes[next]));
            m_trace->hold(place, read.id);
        }
    }
    content.forget();
    return m_cache->trim([this](const CachedFeature& feature) { leave(feature); });
}

int GisLayerOgrOnDemand::freePlace() {
    if (isEditing()) { // what the session's commands call by an id is nothing else meanwhile
        return count();
    }
    if (!m_freeIsKnown) {
        m_free.clear();
        for (int i = count(); i-- > 0;) {
            if (items()[static_cast<std::size_t>(i)] == nullptr) {
                m_free.push_back(i);
            }
        }
        m_freeIsKnown = true;
    }
    if (m_free.empty()) {
        return count();
    }
    const int place = m_free.back();
    m_free.pop_back();
    return place;
}

void GisLayerOgrOnDemand::reserveShapes(int count) {
    GisLayerVector::reserveShapes(count);
    m_trace->makeRoom(count);
    m_free.reserve(items().capacity());
    m_kindBefore = shapeType();
}

int GisLayerOgrOnDemand::placeOf(const GisShape& shape) const {
    const int place = shape.id() - 1;
    const bool isThere =
        place >= 0 && place < count() && items()[static_cast<std::size_t>(place)].get() == &shape;
    return isThere ? place : -1;
}

void GisLayerOgrOnDemand::leave(const CachedFeature& feature) {
    for (const GisShape* const shape : feature.shapes) {
        if (const int place = placeOf(*shape); place >= 0) {
            m_trace->hold(place, FeatureTrace::none);
            holdShape(place, nullptr);
            m_free.push_back(place); // has room for every place
        }
    }
}

void GisLayerOgrOnDemand::letGoOfOutdated() {
    if (m_isOutdated) {
        m_cache->open({});
        m_cache->keepFront([this](const CachedFeature& feature) { leave(feature); });
        m_isOutdated = false;
    }
}

void GisLayerOgrOnDemand::forgetRead() {
    for (int place = 0; place < count(); ++place) {
        m_trace->hold(place, FeatureTrace::none);
        holdShape(place, nullptr);
    }
    m_cache->clear();
    m_freeIsKnown = false;
    m_editedIsKnown = false;
}

void GisLayerOgrOnDemand::setFields(const std::optional<QStringList>& fields) {
    m_fields = fields;
    if (m_source != nullptr && !isEditing()) {
        m_cache->open({});
        m_cache->keepFront([this](const CachedFeature& feature) { leave(feature); });
        readForEditing(false);
    }
}

void GisLayerOgrOnDemand::readForEditing(bool isForEditing) {
    m_source->setFields(isForEditing ? std::nullopt : m_fields);
    m_source->content().setComparing(isForEditing && m_source->content().isOfDatabase());
}

qint64 GisLayerOgrOnDemand::cacheBudget() const noexcept {
    return m_cache->budget();
}

void GisLayerOgrOnDemand::setCacheBudget(qint64 bytes) noexcept {
    m_cache->setBudget(bytes);
}

qint64 GisLayerOgrOnDemand::cachedBytes() const noexcept {
    return m_cache->bytes();
}

// Queries

const std::vector<GisShape*>& GisLayerOgrOnDemand::editedShapes() const {
    if (!m_editedIsKnown) {
        m_edited.clear();
        for (std::size_t i = 0; i < items().size(); ++i) {
            const qint64 id = m_trace->entries()[i].feature;
            const CachedFeature* const feature = id != FeatureTrace::none ? m_cache->find(id) : nullptr;
            if (items()[i] != nullptr && (feature == nullptr || feature->isEdited)) {
                m_edited.push_back(items()[i].get());
            }
        }
        m_editedIsKnown = true;
    }
    return m_edited;
}

void GisLayerOgrOnDemand::sortBySource(QList<GisShape*>& shapes) const {
    const auto key = [this](const GisShape* shape) {
        const qint64 id = m_trace->entries()[static_cast<std::size_t>(shape->id()) - 1].feature;
        return std::tuple(id == FeatureTrace::none, id, shape->id());
    };
    std::sort(shapes.begin(), shapes.end(),
              [&key](const GisShape* a, const GisShape* b) { return key(a) < key(b); });
}

QList<GisShape*> GisLayerOgrOnDemand::query(const GisExtent& extent) {
    if (extent.isEmpty() || m_source == nullptr) {
        return {};
    }
    const Internal::ReadWindow& window = readWindow(extent);
    QList<GisShape*> found;
    found.reserve(static_cast<qsizetype>(window.features.size()));
    for (const CachedFeature* const feature : window.features) {
        if (feature->isEdited || !feature->box.intersects(extent)) {
            continue;
        }
        for (GisShape* const shape : feature->shapes) {
            if (feature->shapes.size() == 1 || shape->intersects(extent)) {
                found.append(shape);
            }
        }
    }
    if (!editedShapes().empty()) {
        std::copy_if(m_edited.begin(), m_edited.end(), std::back_inserter(found),
                     [&extent](const GisShape* shape) { return shape->intersects(extent); });
        sortBySource(found);
    }
    return found;
}

GisShape* GisLayerOgrOnDemand::findShapeAt(const Shapes::GisShapePoint& point, double tolerance) {
    return topmostAt(query(GisExtent(point.x() - tolerance, point.y() - tolerance, point.x() + tolerance,
                                     point.y() + tolerance)),
                     point, tolerance);
}

QList<GisShape*> GisLayerOgrOnDemand::queryLod(const GisExtent& extent, int level) {
    if (level != 1) {
        return level < 1 ? query(extent) : queryOverviewPoints(extent);
    }
    const QList<GisShape*> shapes = query(extent);
    m_standIns.clear();
    for (const GisShape* const shape : shapes) {
        m_standIns.push_back(simplifiedStandIn(*shape));
    }
    return standInsMeeting(extent);
}

QList<GisShape*> GisLayerOgrOnDemand::queryOverviewPoints(const GisExtent& extent) {
    const QList<GisShape*> shapes = query(extent);
    m_standIns.clear();
    for (const GisShape* const shape : shapes) {
        m_standIns.push_back(getOverviewPoint(*shape));
        m_standIns.back()->setId(shape->id());
    }
    return standInsMeeting(extent);
}

QList<GisShape*> GisLayerOgrOnDemand::standInsMeeting(const GisExtent& extent) const {
    QList<GisShape*> found;
    for (const auto& standIn : m_standIns) {
        if (standIn != nullptr && standIn->intersects(extent)) {
            found.append(standIn.get());
        }
    }
    return found;
}

QString GisLayerOgrOnDemand::Picture::text() const {
    return GisFeatureReader::shownText(shownCount, featureCount);
}

GisLayerOgrOnDemand::Picture GisLayerOgrOnDemand::queryPicture(const GisExtent& extent, double unitsPerPixel,
                                                               qint64 most) {
    Picture picture;
    if (m_source == nullptr || extent.isEmpty()) {
        return picture;
    }
    GisFeatureRequest request;
    request.extent = extent;
    request.fields = m_fields;
    request.picture = {unitsPerPixel, most};
    const auto reader = GisFeatureReader::fromSource(m_sourcePath, m_source->layerName(), request);
    picture.featureCount = reader->sourceCount();
    picture.isWhole = reader->detail() == GisFeatureReader::Detail::Everything;
    std::optional<qint64> last;
    const auto count = [&](std::optional<qint64> id) {
        picture.shownCount += !id || id != last ? 1 : 0;
        last = id;
    };
    if (picture.isWhole) {
        picture.shapes = query(extent);
        for (const GisShape* const shape : std::as_const(picture.shapes)) {
            count(featureId(*shape));
        }
        picture.isWhole = m_lastReading == Reading::Whole;
        return picture;
    }
    m_lastReading = Reading::Whole;
    m_standIns.clear();
    m_pictureReader = reader.get();
    const auto end = qScopeGuard([this] { m_pictureReader = nullptr; });
    reading([&] {
        while (!m_sync->isCancelled() && reader->next()) {
            const CachedFeature* const known = m_cache->find(reader->featureId());
            if (known == nullptr || !known->isEdited) {
                count(reader->featureId());
                m_standIns.push_back(reader->takeShape());
                picture.shapes.append(m_standIns.back().get());
            }
        }
    });
    for (GisShape* const shape : editedShapes()) {
        if (shape->intersects(extent)) {
            count(featureId(*shape));
            picture.shapes.append(shape);
        }
    }
    return picture;
}

bool GisLayerOgrOnDemand::isWithoutFields(int row) const {
    return m_fields && !isEditing() && row >= 0 && row < count() &&
           items()[static_cast<std::size_t>(row)] != nullptr &&
           m_trace->entries()[static_cast<std::size_t>(row)].feature != FeatureTrace::none && !isEdited(row);
}

bool GisLayerOgrOnDemand::isEdited(int row) const {
    const CachedFeature* const feature =
        m_cache->find(m_trace->entries()[static_cast<std::size_t>(row)].feature);
    return feature != nullptr && feature->isEdited;
}

GisLayerVector::Attributes GisLayerOgrOnDemand::attributesForFeatureId(int id) const {
    return attributesForRow(indexOfShapeId(id));
}

GisLayerVector::Attributes GisLayerOgrOnDemand::attributesForRow(int row) const {
    if (!isWithoutFields(row)) {
        return GisLayerVector::attributesForRow(row);
    }
    Internal::OgrContent& content = m_source->content();
    const auto end = qScopeGuard([&content] { content.forget(); });
    content.forget();
    const bool isRead = m_source->readFeature(m_trace->entries()[static_cast<std::size_t>(row)].feature);
    return isRead && !content.shapes.empty() ? content.shapes.front()->attributeSlot().copyOfTable()
                                             : GisLayerVector::attributesForRow(row);
}

QVariant GisLayerOgrOnDemand::attributeValueForRow(int row, const QString& field) const {
    if (isWithoutFields(row) && !m_fields->contains(field)) {
        return attributesForRow(row).value(field);
    }
    const bool isThere =
        row >= 0 && row < count() && items()[static_cast<std::size_t>(row)] != nullptr && !field.isEmpty();
    return isThere ? items()[static_cast<std::size_t>(row)]->attributeValue(field) : QVariant();
}

// Feature ids

std::optional<qint64> GisLayerOgrOnDemand::featureId(const GisShape& shape) const {
    const int place = placeOf(shape);
    const qint64 id =
        place >= 0 ? m_trace->entries()[static_cast<std::size_t>(place)].feature : FeatureTrace::none;
    return id != FeatureTrace::none ? std::optional(id) : std::nullopt;
}

GisShape* GisLayerOgrOnDemand::shapeForFeatureId(qint64 id) {
    if (m_source == nullptr) {
        return nullptr;
    }
    m_lastReading = Reading::Whole;
    letGoOfOutdated();
    CachedFeature* feature = m_cache->find(id);
    if (feature != nullptr && feature->isEdited) {
        const auto& edited = editedShapes();
        const auto found = std::find_if(edited.begin(), edited.end(),
                                        [&](const GisShape* shape) { return featureId(*shape) == id; });
        return found != edited.end() ? *found : nullptr;
    }
    m_cache->open({});
    if (feature != nullptr) {
        m_cache->use(*feature);
        m_cache->trim([this](const CachedFeature& left) { leave(left); });
    } else {
        m_source->content().forget();
        reading([&] { m_source->readFeature(id); });
        takeRead();
        feature = m_cache->find(id);
    }
    return feature != nullptr && !feature->shapes.isEmpty() ? feature->shapes.front() : nullptr;
}

QString GisLayerOgrOnDemand::exactText(const GisShape& shape, const QString& field) const {
    const auto& fields = attributeDefinitions();
    const auto found = std::find_if(fields.begin(), fields.end(),
                                    [&field](const auto& definition) { return definition.name() == field; });
    const int place = placeOf(shape);
    const CachedFeature* const feature =
        place >= 0 ? m_cache->find(m_trace->entries()[static_cast<std::size_t>(place)].feature) : nullptr;
    if (feature == nullptr || found == fields.end() ||
        !m_trace->entries()[static_cast<std::size_t>(place)].isAsRead(shape, field)) {
        return {};
    }
    Internal::FieldTexts texts;
    const bool isRead = !isWithoutFields(place) || m_fields->contains(field);
    if (!isRead) {
        Internal::OgrContent& content = m_source->content();
        const auto end = qScopeGuard([&content] { content.forget(); });
        content.forget();
        m_source->readFeature(feature->read.id);
        content.state.texts.sort();
        texts = content.state.texts.of(feature->read.id);
    }
    for (const auto& [index, text] : isRead ? feature->texts : texts) {
        if (index == found - fields.begin()) {
            return QString::fromUtf8(text);
        }
    }
    return {};
}

bool GisLayerOgrOnDemand::hasStableFeatureIds() const {
    return m_source != nullptr && m_source->hasStableIds();
}

} // namespace Cartolith::Core::Layers
