#include <Cartolith/Core/Common/BytesInternal.h>
#include <Cartolith/Core/Layers/Ogr/ArrowFeaturesInternal.h>
#include <Cartolith/Core/Layers/Ogr/LayerFactsInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrFormatInternal.h>
#include <Cartolith/Core/Layers/Ogr/PostgresTableInternal.h>
#include <Cartolith/Core/Layers/OnDemand/WindowSourceInternal.h>
#include <Cartolith/Core/Layers/Requests/SqlFilterInternal.h>

#include <QScopeGuard>
#include <cpl_string.h>

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <unordered_set>
#include <vector>

namespace Cartolith::Core::Layers::Internal {

using Shapes::GisExtent;

namespace {

/// Whether extents would be compared on the globe, where edges and boxes are others.
bool isGeography(OgrSource& source, OGRLayer& layer) {
    const QByteArray name = layer.GetName();
    return !execute(source.dataset(),
                    "SELECT 1 FROM geography_columns WHERE f_table_name IN (" + quotedText(name) + ',' +
                        quotedText(name.mid(name.indexOf('.') + 1)) +
                        ") AND f_geography_column =" + quotedText(layer.GetGeometryColumn()))
                .isEmpty();
}

bool hasTable(OgrSource& source, const QString& name) {
    const auto found =
        source.select(QStringLiteral("SELECT 1 FROM sqlite_master WHERE name = ") + sqlText(name));
    return found != nullptr && OGRFeatureUniquePtr(found->GetNextFeature()) != nullptr;
}

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

} // namespace

WindowSource::WindowSource(const QString& path, const QString& layerName, std::chrono::milliseconds wait)
    : m_snapshot(path, layerName, wait), m_content(m_snapshot.source(), m_snapshot.layer()),
      m_driverName(m_snapshot.source().driverName()),
      m_layerName(Common::Internal::wholeText(layer().GetName())) {
    OgrSource& source = m_snapshot.source();
    m_content.readParts({}); // features have their own ids from the first one on
    const bool isServer = OgrFormat::isServerOf(m_driverName);
    m_featureCount = isServer ? countOf(source) : layer().GetFeatureCount(FALSE);
    m_extent = storedExtent(layer(), m_featureCount != 0);
    const bool isTree = layer().TestCapability(OLCFastSpatialFilter) != 0;
    if (isServer && QByteArrayView(layer().GetFIDColumn()).isEmpty()) { // ids are places in each answer
        source.fail(
            QStringLiteral("'%1' has no key by which its rows can be known; read it whole").arg(m_layerName));
    }
    if (isTree && m_driverName == QLatin1String("GPKG") &&
        !QByteArrayView(layer().GetFIDColumn()).isEmpty()) {
        if (!hasTable(source, boxTableOf(layer()))) { // of a view, whose rows may share an id
            source.fail(QStringLiteral("'%1' is a view; read it whole").arg(m_layerName));
        }
        m_boxes = Boxes::Table;
    } else if (isTree && m_driverName == QLatin1String("FlatGeobuf")) {
        m_boxes = Boxes::Columns;
    } else if (isTree && isServer && !isGeography(source, layer())) {
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
    m_content.forget();
    source.stopListening();
}

/// As the server estimates; GDAL would have it count all rows.
qint64 WindowSource::countOf(const OgrSource& source) {
    try {
        return estimatedCount(source.dataset(), layer());
    } catch (const std::runtime_error& error) {
        source.fail(QString::fromUtf8(error.what()));
    }
}

void WindowSource::setFields(const std::optional<QStringList>& fields) {
    m_fields = fields;
    ignoreFields(fields);
    m_isByColumns = true;
}

void WindowSource::ignoreFields(const std::optional<QStringList>& fields, bool geometry) {
    CPLStringList ignored;
    if (geometry) {
        ignored.AddString("OGR_GEOMETRY");
    }
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

/// Reading by columns what no box meets, FlatGeobuf's driver reads behind its list of hits. Feature by
/// feature it does not, and finds none where there is none; so the extent is grown until it finds one. What
/// lies between is little: in half the extent there was nothing.
bool WindowSource::filterByColumns(const GisExtent& extent) {
    if (!m_extent.isEmpty() && !extent.intersects(m_extent)) {
        return false;
    }
    GisExtent grown = extent;
    for (;;) {
        layer().SetSpatialFilterRect(grown.xMin(), grown.yMin(), grown.xMax(), grown.yMax());
        layer().ResetReading();
        if (m_snapshot.source().next(layer()) != nullptr) {
            return true;
        }
        constexpr double most = 1e299; // of a file that does not say its extent
        const bool isAll = m_extent.isEmpty()
                               ? !(std::max(grown.width(), grown.height()) < most)
                               : (grown.xMin() <= m_extent.xMin() && grown.yMin() <= m_extent.yMin() &&
                                  grown.xMax() >= m_extent.xMax() && grown.yMax() >= m_extent.yMax());
        if (isAll) {
            return false;
        }
        constexpr double least = 1e-4; // of the whole
        const double start = m_extent.isEmpty() ? 1.0 : 0.0;
        const double by = std::max({grown.width() / 2, grown.height() / 2, m_extent.width() * least,
                                    m_extent.height() * least, start});
        grown = grown.inflate(by, by);
    }
}

bool WindowSource::filter(const GisExtent& extent) {
    if (m_boxes == Boxes::Columns) {
        return filterByColumns(extent);
    }
    const Common::Internal::GdalErrorCapture errors;
    if (m_boxes == Boxes::Filter) {
        layer().SetSpatialFilterRect(extent.xMin(), extent.yMin(), extent.xMax(), extent.yMax());
    } else if (m_boxes == Boxes::Table) {
        OGREnvelope box;
        box.MinX = extent.xMin();
        box.MinY = extent.yMin();
        box.MaxX = extent.xMax();
        box.MaxY = extent.yMax();
        layer().SetAttributeFilter(boxesMeeting(layer(), box).toUtf8().constData());
    }
    return true;
}

bool WindowSource::read(const GisExtent& extent, const OgrContent::Skip& skip, const OgrContent::GoOn& goOn) {
    // A statement that is left open keeps others from writing.
    const auto end = qScopeGuard([this] {
        const Common::Internal::GdalErrorCapture errors;
        layer().ResetReading();
    });
    if (!filter(extent)) {
        return true;
    }
    SeenIds seen;
    m_content.readParts([&skip, &extent, &seen, this](qint64 id, const OGRGeometry* geometry) {
        if (m_boxes == Boxes::None && !m_hasTransactions && !seen.isNew(id)) {
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
    if (m_boxes == Boxes::Columns && m_isByColumns) { // a GeoPackage would be read by a thread of GDAL's
        outcome = m_content.readColumns(goOn);
        m_isByColumns = outcome != OgrContent::Outcome::Unfit;
    }
    if (outcome == OgrContent::Outcome::Unfit) {
        outcome = m_boxes == Boxes::Columns ? readById(skip, goOn) : m_content.readFeatures(goOn);
    }
    return outcome == OgrContent::Outcome::Whole;
}

OgrContent::Outcome WindowSource::readById(const OgrContent::Skip& skip, const OgrContent::GoOn& goOn) {
    std::vector<qint64> ids;
    {
        const auto end = qScopeGuard([this] { ignoreFields(m_fields); });
        ignoreFields(QStringList(), true);
        const auto found = ArrowFeatures::idsOf(layer());
        while (found != nullptr && found->next()) {
            ids.push_back(found->id());
        }
        if (found == nullptr || found->hasFailed()) {
            m_snapshot.source().fail(QStringLiteral("its index cannot be read"));
        }
    }
    // Most of them come quickly, one after the other; the rest are those of which only the box meets it.
    std::vector<qint64> met;
    m_content.readParts([&](qint64 id, const OGRGeometry* geometry) {
        met.push_back(id);
        return skip(id, geometry);
    });
    const auto outcome = m_content.readFeatures(goOn);
    if (outcome != OgrContent::Outcome::Whole) {
        return outcome;
    }
    std::sort(ids.begin(), ids.end());
    std::sort(met.begin(), met.end());
    std::vector<qint64> rest;
    std::set_difference(ids.begin(), ids.end(), met.begin(), met.end(), std::back_inserter(rest));
    layer().SetSpatialFilter(nullptr); // the driver counts ids among the hits otherwise
    for (const qint64 id : rest) {
        if (!skip(id, nullptr) && !m_content.readFeature(id)) {
            m_snapshot.source().fail(QStringLiteral("it ends before feature %1").arg(id));
        }
        if (!goOn(static_cast<double>(id))) {
            return OgrContent::Outcome::Cancelled;
        }
    }
    return OgrContent::Outcome::Whole;
}

bool WindowSource::readFeature(qint64 id) {
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

} // namespace Cartolith::Core::Layers::Internal
