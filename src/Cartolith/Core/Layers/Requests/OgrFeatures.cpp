#include <Cartolith/Core/Common/BytesInternal.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/Layers/Ogr/OgrFormatInternal.h>
#include <Cartolith/Core/Layers/Postgres/PostgresTableInternal.h>
#include <Cartolith/Core/Layers/Postgres/ServerGuardInternal.h>
#include <Cartolith/Core/Layers/Requests/BoxFilterInternal.h>
#include <Cartolith/Core/Layers/Requests/OgrFeaturesInternal.h>
#include <Cartolith/Core/Layers/Requests/ServerLimitsInternal.h>
#include <Cartolith/Core/Layers/Requests/SqlFilterInternal.h>
#include <Cartolith/Core/Serialization/OgrGeometryInternal.h>

#include <algorithm>
#include <initializer_list>
#include <stdexcept>
#include <utility>

namespace Cartolith::Core::Layers::Internal {

using Common::Internal::FeaturePtr;
using Common::Internal::GdalErrorCapture;
using Common::Internal::GeometryPtr;

namespace {

constexpr std::chrono::seconds saveWait(2);

bool isOneOf(const QString& driver, std::initializer_list<const char*> drivers) {
    return std::any_of(drivers.begin(), drivers.end(),
                       [&](const char* one) { return driver == QLatin1String(one); });
}

} // namespace

OgrFeatures::OgrFeatures(const QString& path, const QString& layerName,
                         const GisFeatureRequest::ServerLimits& limits)
    : m_snapshot(withServerLimits(path, limits), layerName, saveWait), m_table(m_snapshot.layer()),
      m_driver(m_snapshot.source().driverName()),
      m_definitions(attributeDefinitions(*m_table.GetLayerDefn())),
      m_system(m_snapshot.source().systemOf(m_table)), m_isView(isView(m_snapshot.source(), m_table)) {
    if (OgrFormat::isServerOf(m_driver)) {
        try {
            m_guard = ServerGuard(m_snapshot.source().dataset(), m_table).condition();
        } catch (const std::runtime_error& error) {
            m_snapshot.source().fail(QString::fromUtf8(error.what()));
        }
        m_table.SetAttributeFilter(m_guard.constData());
    }
    m_snapshot.source().stopListening();
}

OgrFeatures::~OgrFeatures() {
    const GdalErrorCapture errors;
    m_sorted.clear();
    m_selection.reset();
    m_server.reset();
}

QList<FieldType> OgrFeatures::fieldTypes() const {
    QList<FieldType> types;
    OGRFeatureDefn& schema = *m_table.GetLayerDefn();
    for (qsizetype i = 0; i < m_definitions.size(); ++i) {
        const QString& name = m_definitions[i].name();
        const OGRFieldType type = schema.GetFieldDefn(static_cast<int>(i))->GetType();
        types.removeIf([&name](const FieldType& other) { return other.name == name; });
        types.append({name, m_definitions[i].type(),
                      type == OFTIntegerList     ? QMetaType::Int
                      : type == OFTInteger64List ? QMetaType::LongLong
                      : type == OFTRealList      ? QMetaType::Double
                                                 : QMetaType::QString});
    }
    return types;
}

void OgrFeatures::interrupt() noexcept {
    if (OgrFormat::isServerOf(m_driver) || isOneOf(m_driver, {"GPKG", "SQLite"})) { // others complain
        m_snapshot.source().interrupt();
    }
}

bool OgrFeatures::isRead(int field) const {
    const auto& fields = m_plan->fields;
    return !fields || fields->contains(Common::Internal::wholeName(
                          m_table.GetLayerDefn()->GetFieldDefn(field)->GetNameRef()));
}

bool OgrFeatures::isFoundById() const {
    const bool hasKey = !QByteArrayView(m_table.GetFIDColumn()).isEmpty();
    return m_table.TestCapability(OLCRandomRead) != 0 &&
           (isOneOf(m_driver, {"ESRI Shapefile", "FlatGeobuf"}) ||
            (hasKey && !m_isView && isOneOf(m_driver, {"GPKG", "SQLite"})));
}

std::optional<std::pair<qint64, qint64>> OgrFeatures::idRange() {
    if (!isFoundById()) {
        return std::nullopt;
    }
    if (isOneOf(m_driver, {"ESRI Shapefile", "FlatGeobuf"})) {
        return std::pair(qint64{0}, featureCount() - 1);
    }
    const QString key = sqlName(QString::fromUtf8(m_table.GetFIDColumn()));
    const auto found = m_snapshot.source().select(
        QStringLiteral("SELECT MIN(") + key + QStringLiteral(") AS a, MAX(") + key +
        QStringLiteral(") AS z FROM ") + sqlName(QString::fromUtf8(m_table.GetName())));
    const FeaturePtr range(found != nullptr ? found->GetNextFeature() : nullptr);
    return range != nullptr && range->GetFieldCount() == 2
               ? std::optional(
                     std::pair(qint64{range->GetFieldAsInteger64(0)}, qint64{range->GetFieldAsInteger64(1)}))
               : std::nullopt;
}

void OgrFeatures::begin(const Plan& plan) {
    const GdalErrorCapture errors;
    const Common::Internal::EpsgCodesAsGiven codes;
    m_plan = &plan;
    m_layer = &m_table;
    // Of these, features come in the order of their ids, and each is found at once.
    const bool hasKey = !QByteArrayView(m_table.GetFIDColumn()).isEmpty();
    m_isById = plan.test.ids() && isFoundById();
    if (m_isById || !selectRows()) {
        ignoreFields();
        filterByExtent(hasKey);
    }
    m_rows.emplace(*(m_server ? m_table : *m_layer).GetLayerDefn());
    m_layer->ResetReading();
    m_snapshot.source().stopListening();
}

// Statements of our own

/// What the source itself is asked; empty for nothing.
QString OgrFeatures::conditions(bool isServer) const {
    const FeatureTest& test = m_plan->test;
    using Dialect = SqlFilter::Dialect;
    SqlFilter filter(isServer ? Dialect::PostgreSql : Dialect::Sqlite, *m_table.GetLayerDefn());
    QStringList conditions{filter.condition(test.filter())};
    const bool isIndexed =
        isServer || (m_driver == QLatin1String("GPKG") && m_table.TestCapability(OLCFastSpatialFilter) != 0);
    if (isIndexed && test.extent() && !test.extent()->isEmpty()) {
        OGREnvelope box;
        BoxFilter(*test.extent()).getEnvelope(&box);
        conditions.append(
            isServer   ? QString::fromUtf8(ServerSelection::boxesMeeting(m_table, box))
            : m_isView ? QStringLiteral("TRUE") // all in their order: GDAL may ask the index of another row
                       : boxesMeeting(m_table, box));
    }
    if (isServer && test.ids()) {
        conditions.append(QString::fromUtf8(ServerSelection::isOf(m_table, *test.ids())));
    }
    constexpr std::size_t mostIds = 20'000; // a statement may have a million bytes
    if (m_isView && test.ids() && test.ids()->size() <= mostIds) {
        conditions.append(sqlName(QString::fromUtf8(m_table.GetFIDColumn())) + QLatin1String(" IN (") +
                          QString::fromLatin1(listOf(*test.ids())) + QLatin1Char(')'));
    }
    conditions.removeAll(QString());
    return conditions.isEmpty()
               ? QString()
               : QLatin1Char('(') + conditions.join(QStringLiteral(") AND (")) + QLatin1Char(')');
}

bool OgrFeatures::isLike(OGRFeatureDefn& selected) const {
    OGRFeatureDefn& schema = *m_table.GetLayerDefn();
    int at = 0;
    for (int i = 0; i < schema.GetFieldCount(); ++i) {
        if (!isRead(i)) {
            continue;
        }
        const OGRFieldDefn* const field = schema.GetFieldDefn(i);
        const OGRFieldDefn* const other = at < selected.GetFieldCount() ? selected.GetFieldDefn(at) : nullptr;
        if (other == nullptr || field->GetType() != other->GetType() ||
            field->GetSubType() != other->GetSubType() ||
            QByteArrayView(field->GetNameRef()) != QByteArrayView(other->GetNameRef())) {
            return false;
        }
        ++at;
    }
    return at == selected.GetFieldCount() && selected.GetGeomFieldCount() == 1;
}

/// Also where nothing is asked: what OGR does not say comes with the rows, and these in the order of the key.
bool OgrFeatures::selectRowsOfServer() {
    m_server.emplace(m_snapshot.source(), m_table, m_guard);
    try {
        m_layer = m_server->select(conditions(true).toUtf8(), m_plan->fields, true);
    } catch (const std::runtime_error&) {
        if (!m_plan->isCancelled) {
            throw;
        }
        m_layer = nullptr;
    }
    if (m_layer == nullptr) {
        m_server->requireOneSystem(); // what OGR reads does not say its system
        m_server.reset();
        m_layer = &m_table;
    }
    return m_server.has_value();
}

/// A statement says more than a filter of OGR, and in which order the rows come. False where there is nothing
/// to say, and where what comes would not be read as the table is.
bool OgrFeatures::selectRows() {
    if (OgrFormat::isServerOf(m_driver)) {
        return selectRowsOfServer();
    }
    OGRFeatureDefn& schema = *m_table.GetLayerDefn();
    const QString key = QString::fromUtf8(m_table.GetFIDColumn());
    if (!isOneOf(m_driver, {"GPKG", "SQLite"}) || key.isEmpty() || schema.GetGeomFieldCount() != 1) {
        return false;
    }
    const QString wanted = conditions(false);
    if (wanted.isEmpty()) {
        return false;
    }
    QStringList columns{sqlName(key)};
    for (int i = 0; i < schema.GetFieldCount(); ++i) {
        if (isRead(i)) {
            columns.append(sqlName(Common::Internal::wholeName(schema.GetFieldDefn(i)->GetNameRef())));
        }
    }
    columns.append(sqlName(QString::fromUtf8(m_table.GetGeometryColumn())));
    // Not by arg(): the words of a host may have a place marker in them.
    m_selection = m_snapshot.source().select(
        QStringLiteral("SELECT ") + columns.join(QStringLiteral(", ")) + QStringLiteral(" FROM ") +
        sqlName(Common::Internal::wholeText(m_table.GetName())) + QStringLiteral(" WHERE ") + wanted +
        QStringLiteral(" ORDER BY ") + sqlName(key));
    if (m_selection == nullptr || QByteArrayView(m_selection->GetFIDColumn()).isEmpty() ||
        !isLike(*m_selection->GetLayerDefn())) {
        m_selection.reset();
        return false;
    }
    m_layer = m_selection.get();
    return true;
}

// Filters of OGR

void OgrFeatures::ignoreFields() {
    std::vector<const char*> ignored;
    OGRFeatureDefn& schema = *m_table.GetLayerDefn();
    for (int i = 0; i < schema.GetFieldCount(); ++i) {
        if (!isRead(i)) {
            ignored.push_back(schema.GetFieldDefn(i)->GetNameRef());
        }
    }
    if (!ignored.empty()) {
        ignored.push_back(nullptr);
        m_table.SetIgnoredFields(ignored.data());
    }
}

void OgrFeatures::filterByExtent(bool hasKey) {
    const auto& extent = m_plan->test.extent();
    // A database may give what is in an extent in the order of its index. PostGIS, of which nothing could be
    // selected, would compare on the globe.
    const bool isDatabase = isOneOf(m_driver, {"GPKG", "SQLite", "MySQL", "MSSQLSpatial", "OCI"});
    const bool isOtherIndex = m_isView && m_table.TestCapability(OLCFastSpatialFilter) != 0;
    if (!m_isById && !isOtherIndex && !OgrFormat::isServerOf(m_driver) && extent && !extent->isEmpty() &&
        (!isDatabase || hasKey)) {
        BoxFilter box(*extent);
        m_table.SetSpatialFilter(&box);
        m_isFiltered = true;
        m_isSorted = isDatabase;
    }
}

// Features

FeaturePtr OgrFeatures::nextById() {
    const auto& ids = *m_plan->test.ids();
    const GdalErrorCapture errors; // of a Shapefile that there is none of an id
    const qint64 count = m_driver == QLatin1String("FlatGeobuf") ? featureCount() : -1;
    while (m_atId < ids.size() && !m_plan->isCancelled) {
        const qint64 id = ids[m_atId++];
        if (count >= 0 && (id < 0 || id >= count)) { // which this driver calls an error
            continue;
        }
        FeaturePtr feature(m_layer->GetFeature(id));
        if (feature != nullptr && feature->GetFID() == id) { // not that of the lower 32 bits
            return feature;
        }
        if (m_driver != QLatin1String("ESRI Shapefile") && !errors.message().isEmpty()) {
            m_snapshot.source().fail(errors.message());
        }
    }
    return nullptr;
}

FeaturePtr OgrFeatures::nextSorted() {
    if (!m_isCollected) {
        while (FeaturePtr feature = m_snapshot.source().next(*m_layer)) {
            if (m_plan->isCancelled) {
                return nullptr;
            }
            m_sorted.push_back(std::move(feature));
        }
        std::sort(m_sorted.begin(), m_sorted.end(),
                  [](const FeaturePtr& a, const FeaturePtr& b) { return a->GetFID() > b->GetFID(); });
        m_isCollected = true;
    }
    FeaturePtr feature;
    if (!m_sorted.empty()) {
        feature = std::move(m_sorted.back());
        m_sorted.pop_back();
    }
    return feature;
}

FeaturePtr OgrFeatures::nextFeature() {
    if (m_isById) {
        return nextById();
    }
    if (m_isSorted) {
        return nextSorted();
    }
    FeaturePtr feature = m_snapshot.source().next(*m_layer);
    m_count += feature != nullptr ? 1 : 0;
    // This driver stops at the end of a file cut short without a word; its header holds the exact count.
    if (feature == nullptr && !m_isFiltered && m_driver == QLatin1String("FlatGeobuf")) {
        if (const qint64 all = m_layer->GetFeatureCount(FALSE); m_count < all) {
            m_snapshot.source().fail(QStringLiteral("it ends after %1 of %2 features").arg(m_count).arg(all));
        }
    }
    return feature;
}

/// Makes shapes of it, if it is wanted.
void OgrFeatures::take(OGRFeature& feature) {
    const FeatureTest& test = m_plan->test;
    m_id = feature.GetFID();
    Shapes::AttributeSlot attributes;
    if (!test.wantsId(m_id)) {
        return;
    }
    attributes.setRow(m_rows->of(feature));
    if (m_server) {
        m_server->requireSystemOf(feature);
    }
    m_texts = m_server ? m_server->textsOf(feature) : FieldTexts();
    for (const auto& [field, text] : m_texts) {
        correctValue(attributes, m_definitions.at(field), text);
    }
    if (!test.wants(attributes)) {
        return;
    }
    m_pending = Serialization::Ogr::Internal::shapesOf(GeometryPtr(feature.StealGeometry())).shapes;
    for (const auto& shape : m_pending) {
        shape->attributeSlot() = attributes;
    }
    std::reverse(m_pending.begin(), m_pending.end());
}

bool OgrFeatures::next() {
    const GdalErrorCapture errors;
    const FeatureTest& test = m_plan->test;
    const bool isNone = (test.extent() && test.extent()->isEmpty()) || (test.ids() && test.ids()->empty());
    while (!m_plan->isCancelled && !isNone) {
        if (m_pending.empty()) {
            const FeaturePtr feature = nextFeature();
            if (feature == nullptr) {
                return false;
            }
            take(*feature);
            continue;
        }
        m_shape = std::move(m_pending.back());
        m_pending.pop_back();
        if (test.wants(*m_shape)) {
            return true;
        }
    }
    return false;
}

} // namespace Cartolith::Core::Layers::Internal
