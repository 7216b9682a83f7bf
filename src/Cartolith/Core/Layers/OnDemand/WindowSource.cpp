#include <Cartolith/Core/Common/BytesInternal.h>
#include <Cartolith/Core/Layers/GisVectorOverviews.h>
#include <Cartolith/Core/Layers/Ogr/LayerFactsInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrFormatInternal.h>
#include <Cartolith/Core/Layers/OnDemand/WindowSourceInternal.h>
#include <Cartolith/Core/Layers/Postgres/PostgresTableInternal.h>
#include <Cartolith/Core/Layers/Requests/BoxFilterInternal.h>
#include <Cartolith/Core/Layers/Requests/SqlFilterInternal.h>

#include <QScopeGuard>
#include <cpl_string.h>

#include <algorithm>
#include <stdexcept>
#include <unordered_set>

namespace Cartolith::Core::Layers::Internal {

using Shapes::GisExtent;

namespace {

/// The ids that a scan has met. Most sources count their features, so that they are one range.
class SeenIds {
public:
    bool isNew(qint64 id) {
        if (m_last < m_first) {
            m_first = m_last = id;
            return true;
        }
        if (id == m_last + 1) {
            ++m_last;
            return !m_others.contains(id);
        }
        return (id < m_first || id > m_last) && m_others.insert(id).second;
    }

private:
    qint64 m_first = 0;
    qint64 m_last = -1;
    std::unordered_set<qint64> m_others;
};

void tell(GDALDataset& server, const char* sql) {
    const Common::Internal::GdalErrorCapture errors; // without a server reading fails, too
    server.ReleaseResultSet(server.ExecuteSQL(sql, nullptr, nullptr));
}

/// What is asked of a server meanwhile is one transaction.
class OneTransaction {
public:
    OneTransaction(GDALDataset& dataset, bool isServer) : m_server(isServer ? &dataset : nullptr) {
        say("BEGIN");
    }
    ~OneTransaction() { say("ROLLBACK"); }
    /// After a failure, behind which nothing is answered.
    void beginAnew() {
        say("ROLLBACK");
        say("BEGIN");
    }
    OneTransaction(const OneTransaction&) = delete;
    OneTransaction& operator=(const OneTransaction&) = delete;

    /// GDAL 3.6 counts transactions, and after a failure one too many: nothing else could then be asked.
    /// Taking itself to be in one, it leaves them to whoever asks.
    static void takeOver(GDALDataset& server) {
        const Common::Internal::GdalErrorCapture errors;
        server.StartTransaction();
        tell(server, "ROLLBACK");
    }

private:
    void say(const char* sql) {
        if (m_server != nullptr) {
            tell(*m_server, sql);
        }
    }

    GDALDataset* m_server;
};

} // namespace

WindowSource::WindowSource(const QString& path, const QString& layerName, std::chrono::milliseconds wait)
    : m_snapshot(path, layerName, wait), m_content(m_snapshot.source(), m_snapshot.layer()),
      m_driverName(m_snapshot.source().driverName()),
      m_layerName(Common::Internal::wholeText(layer().GetName())) {
    OgrSource& source = m_snapshot.source();
    const auto onServer = [&source](const auto& ask) {
        try {
            return ask();
        } catch (const std::runtime_error& error) {
            source.fail(QString::fromUtf8(error.what()));
        }
    };
    m_isView = isView(source, layer());
    m_content.readParts({}); // features have their own ids from the first one on
    const bool isServer = OgrFormat::isServerOf(m_driverName);
    // As a server estimates; GDAL would have it count all rows.
    m_featureCount = isServer ? onServer([&] { return estimatedCount(source.dataset(), layer()); })
                              : layer().GetFeatureCount(FALSE);
    if (isServer) {
        m_guard = onServer([&] { return ServerGuard(source.dataset(), layer()); });
        layer().SetAttributeFilter(m_guard->condition().constData());
        OneTransaction::takeOver(source.dataset());
    }
    m_extent = storedExtent(layer(), m_featureCount != 0);
    const bool isTree = layer().TestCapability(OLCFastSpatialFilter) != 0;
    if (isServer && QByteArrayView(layer().GetFIDColumn()).isEmpty()) { // ids are places in each answer
        source.fail(
            QStringLiteral("'%1' has no key by which its rows can be known; read it whole").arg(m_layerName));
    }
    if (isTree && m_driverName == QLatin1String("GPKG") &&
        !QByteArrayView(layer().GetFIDColumn()).isEmpty()) {
        if (m_isView) {
            source.fail(QStringLiteral("'%1' is a view; read it whole").arg(m_layerName));
        }
        m_boxes = Boxes::Table;
    } else if (isTree && m_driverName == QLatin1String("FlatGeobuf")) {
        m_boxes = Boxes::Columns;
    } else if (isTree && isServer && !m_guard->isGeography()) {
        m_boxes = Boxes::Filter;
    }
    const OgrFormat* const format = OgrFormat::forDriver(m_driverName);
    m_hasTransactions =
        format != nullptr ? format->isDatabase : source.dataset().TestCapability(ODsCTransactions) != 0;
    // This driver does not say that a file was cut short: then its last feature is not there.
    if (m_driverName == QLatin1String("FlatGeobuf") && m_featureCount > 0 && isIndexed() &&
        !m_content.readFeature(m_featureCount - 1)) {
        source.fail(QStringLiteral("it ends before its last feature"));
    }
    if (isServer) {
        m_selection.emplace(source, layer(), m_guard->condition());
        m_selection->requireOneSystem();
    }
    m_content.forget();
    source.stopListening();
}

void WindowSource::requireOneSystem() {
    if (m_selection) {
        m_selection->requireOneSystem();
    }
}

void WindowSource::setFields(const std::optional<QStringList>& fields) {
    m_fields = fields;
    ignoreFields(fields);
    m_areColumnsFit = true;
}

void WindowSource::ignoreFields(const std::optional<QStringList>& fields) {
    CPLStringList ignored;
    OGRFeatureDefn& schema = *layer().GetLayerDefn();
    for (int i = 0; fields && i < schema.GetFieldCount(); ++i) {
        const char* const name = schema.GetFieldDefn(i)->GetNameRef();
        if (!fields->contains(Common::Internal::wholeName(name))) {
            ignored.AddString(name);
        }
    }
    const Common::Internal::GdalErrorCapture errors; // a driver that cannot leave fields out reads them
    layer().SetIgnoredFields(const_cast<const char**>(ignored.List()));
}

bool WindowSource::isServer() const {
    return OgrFormat::isServerOf(m_driverName);
}

ServerSelection* WindowSource::selection() {
    return m_selection ? &*m_selection : nullptr;
}

/// Columns take longer to begin, and less for each feature.
bool WindowSource::isForColumns(const GisExtent& extent) const {
    constexpr double few = 100.0;
    return m_boxes == Boxes::Columns && m_areColumnsFit &&
           (m_extent.isEmpty() ||
            static_cast<double>(m_featureCount) * GisVectorOverviews::shareInSight(extent, m_extent) >= few);
}

void WindowSource::filter(const GisExtent& extent) {
    const Common::Internal::GdalErrorCapture errors;
    if (m_boxes == Boxes::Columns) { // OGR's own rectangle would ask whether the geometry meets it
        BoxFilter box(extent);
        layer().SetSpatialFilter(&box);
    } else if (m_boxes == Boxes::Filter) {
        layer().SetSpatialFilterRect(extent.xMin(), extent.yMin(), extent.xMax(), extent.yMax());
    } else if (m_boxes == Boxes::Table) {
        OGREnvelope box;
        box.MinX = extent.xMin();
        box.MinY = extent.yMin();
        box.MaxX = extent.xMax();
        box.MaxY = extent.yMax();
        layer().SetAttributeFilter(boxesMeeting(layer(), box).toUtf8().constData());
    }
}

bool WindowSource::read(const GisExtent& extent, const OgrContent::Skip& skip, const OgrContent::GoOn& goOn) {
    OneTransaction transaction(m_snapshot.source().dataset(), isServer());
    // A statement that is left open keeps others from writing.
    ServerSelection* selected = m_selection && m_selection->saysMore() ? &*m_selection : nullptr;
    const auto end = qScopeGuard([this, &selected] {
        const Common::Internal::GdalErrorCapture errors;
        if (selected != nullptr) {
            selected->release();
        }
        layer().ResetReading();
    });
    if (selected != nullptr) {
        OGREnvelope box;
        BoxFilter(extent).getEnvelope(&box);
        const bool isByBox = m_boxes == Boxes::Filter;
        const QByteArray condition = isByBox ? ServerSelection::boxesMeeting(layer(), box) : QByteArray();
        bool isSelected = false;
        try {
            isSelected = selected->select(condition, m_fields, false) != nullptr;
        } catch (const std::runtime_error&) {
            if (goOn(0.0)) { // else it was broken off
                throw;
            }
        }
        if (!isSelected) {
            if (!goOn(0.0)) {
                return false;
            }
            selected = nullptr;
            transaction.beginAnew();
        }
    }
    const bool isByColumns = isForColumns(extent);
    if (isByColumns) {
        filter(extent);
        layer().ResetReading();
        // By columns, FlatGeobuf's driver would read behind its list of hits where there are none.
        if (m_snapshot.source().next(layer()) == nullptr) {
            return true;
        }
    }
    SeenIds seen;
    m_content.readParts([&skip, &extent, &seen, this](qint64 id, const OGRGeometry* geometry) {
        if (m_boxes == Boxes::None && (m_isView || !m_hasTransactions) && !seen.isNew(id)) {
            m_snapshot.source().fail(
                QStringLiteral(
                    "several features have the id %1, so that they cannot be told apart; read it whole")
                    .arg(id));
        }
        if (geometry != nullptr) {
            OGREnvelope box;
            geometry->getEnvelope(&box);
            if (box.MinX > extent.xMax() || box.MaxX < extent.xMin() || box.MinY > extent.yMax() ||
                box.MaxY < extent.yMin()) {
                return true;
            }
        }
        return skip(id, geometry);
    });
    auto outcome = OgrContent::Outcome::Unfit;
    if (isByColumns) { // a GeoPackage would be read by a thread of GDAL's
        outcome = m_content.readColumns(goOn);
        m_areColumnsFit = outcome != OgrContent::Outcome::Unfit;
    }
    if (outcome == OgrContent::Outcome::Unfit) {
        if (selected == nullptr && !isByColumns) {
            filter(extent);
        }
        outcome = m_content.readFeatures(goOn, selected);
    }
    return outcome == OgrContent::Outcome::Whole;
}

bool WindowSource::readFeature(qint64 id) {
    OneTransaction transaction(m_snapshot.source().dataset(), isServer());
    ServerSelection* const selected = selection();
    if (selected != nullptr &&
        selected->select(ServerSelection::isOf(layer(), {id}), std::nullopt, false) != nullptr) {
        const auto end = qScopeGuard([selected] { selected->release(); });
        return m_content.readFeature(id, selected);
    }
    transaction.beginAnew();
    const auto end = qScopeGuard([this] {
        if (m_fields) {
            ignoreFields(m_fields);
        }
    });
    if (m_fields) {
        ignoreFields(std::nullopt);
    }
    if (m_boxes == Boxes::Columns) {
        layer().SetSpatialFilter(nullptr);
    }
    return m_content.readFeature(id);
}

void WindowSource::readFeatures(const std::vector<qint64>& ids) {
    if (isServer()) {
        const OneTransaction transaction(m_snapshot.source().dataset(), true);
        ServerSelection& selected = *selection();
        if (selected.select(ServerSelection::isOf(layer(), ids), std::nullopt, false) != nullptr) {
            const auto end = qScopeGuard([&selected] {
                const Common::Internal::GdalErrorCapture errors;
                selected.release();
            });
            m_content.readParts({});
            m_content.readFeatures([](double /*done*/) { return true; }, &selected);
            return;
        }
    }
    for (const qint64 id : ids) {
        readFeature(id);
    }
}

} // namespace Cartolith::Core::Layers::Internal
