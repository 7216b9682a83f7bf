#include <Cartolith/Core/Layers/GisVectorOverviews.h>
#include <Cartolith/Core/Layers/Ogr/OgrFormatInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrSourceInternal.h>
#include <Cartolith/Core/Layers/Overviews/OverviewFileInternal.h>
#include <Cartolith/Core/Layers/Overviews/OverviewTablesInternal.h>
#include <Cartolith/Core/Layers/Postgres/PostgresTableInternal.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QUrl>
#include <QtEndian>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <stdexcept>

namespace Cartolith::Core::Layers {

using namespace Internal;

namespace {

/// Both walks over the source report to one bar.
class Walk {
public:
    Walk(OGRLayer& layer, const GisVectorOverviews::ProgressCallback& progress, double from)
        : m_progress(progress), m_from(from), m_count(static_cast<double>(layer.GetFeatureCount(FALSE))) {}

    bool goesOn() {
        constexpr qint64 interval = 256;
        const auto done = static_cast<double>(m_done++);
        return !m_progress || (m_done - 1) % interval != 0 ||
               m_progress(m_count > 0.0 ? m_from + std::min(done / m_count, 1.0) / 2.0
                                        : std::numeric_limits<double>::quiet_NaN());
    }

private:
    const GisVectorOverviews::ProgressCallback& m_progress;
    double m_from;
    double m_count;
    qint64 m_done = 0;
};

OGREnvelope boxOf(OGRFeature& feature) {
    OGREnvelope box;
    const OGRGeometry* const geometry = feature.GetGeometryRef();
    if (geometry != nullptr && !geometry->IsEmpty()) {
        geometry->getEnvelope(&box);
    }
    return box;
}

/// Whatever else has the name could send GDAL elsewhere; and of one that was cut short, what is missing would
/// be found in the middle of a picture.
bool isWholeDatabase(const QString& path) {
    constexpr QByteArrayView mark("SQLite format 3");
    constexpr qint64 headerSize = 100;
    QFile file(path);
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly)) {
        return false;
    }
    const QByteArray header = file.read(headerSize);
    if (header.size() < headerSize || !header.startsWith(mark)) {
        return false;
    }
    const qint64 written = qFromBigEndian<quint16>(header.constData() + 16);
    constexpr qint64 largestPage = 65'536; // which is written as 1
    const qint64 pageSize = written == 1 ? largestPage : written;
    const qint64 pages = qFromBigEndian<quint32>(header.constData() + 28);
    const bool isCounted = header.sliced(24, 4) == header.sliced(92, 4); // by who wrote last
    return !isCounted || file.size() >= pageSize * pages;
}

bool areSame(const IndexFile::Stamp& a, const IndexFile::Stamp& b) {
    return a.size == b.size && a.writtenAt == b.writtenAt;
}

} // namespace

QString GisVectorOverviews::pathFor(const QString& source, const QString& layerName) {
    return QStringLiteral("%1.%2.overviews.gpkg")
        .arg(source, QString::fromLatin1(QUrl::toPercentEncoding(layerName)));
}

bool GisVectorOverviews::build(const QString& source, const QString& layerName,
                               const ProgressCallback& progress) {
    const auto fileStamp = IndexFile::stampOf(source);
    OgrSource opened(source);
    const bool isServer = OgrFormat::isServerOf(opened.driverName());
    if (!isServer && (!fileStamp || !IndexFile::isFor(opened.driverName()))) {
        opened.fail(QStringLiteral("overviews are kept for sources of a single file"));
    }
    OGRLayer& layer = opened.layer(layerName);
    const auto stampNow = [&] {
        return isServer ? OverviewTables::stampOf(opened.dataset(), layer) : IndexFile::stampOf(source);
    };
    const auto stamp = isServer ? stampNow() : fileStamp;
    if (isServer) { // both walks meet the same rows in the same order
        if (!stamp) {
            opened.fail(
                QStringLiteral("overviews are kept for tables of which the server counts the changes"));
        }
        opened.dataset().StartTransaction();
        try {
            execute(opened.dataset(), "SET TRANSACTION ISOLATION LEVEL REPEATABLE READ READ ONLY");
            execute(opened.dataset(), "SET LOCAL synchronize_seqscans = off");
            PostgresTable(opened.dataset(), layer).requireOneSystem();
        } catch (const std::runtime_error& error) {
            opened.fail(QString::fromUtf8(error.what()));
        }
    }
    OverviewPlan plan;
    Walk first(layer, progress, 0.0);
    layer.ResetReading();
    while (const auto feature = opened.next(layer)) {
        if (!first.goesOn()) {
            return false;
        }
        plan.add(boxOf(*feature));
    }
    plan.make();
    if (plan.levelCount() == 0) {
        opened.fail(QStringLiteral("no feature has a geometry"));
    }
    const QString name = QString::fromUtf8(layer.GetName());
    std::unique_ptr<OverviewLevels> made;
    if (isServer) {
        made = std::make_unique<OverviewTables>(source, plan, layer);
    } else {
        made = std::make_unique<OverviewFile>(pathFor(source, name), source, plan, layer);
    }
    Walk second(layer, progress, 0.5);
    layer.ResetReading();
    for (qint64 place = 0; const auto feature = opened.next(layer); ++place) {
        if (!second.goesOn()) {
            return false;
        }
        if (const int levels = plan.levelsOf(place); levels > 0) {
            made->add(*feature, levels);
        }
    }
    made->publish(name, opened.layerNames().constFirst() == name, *stamp, [&] {
        if (isServer) {
            opened.dataset().RollbackTransaction(); // within it, the server counts as at its begin
        }
        const auto now = stampNow();
        if (!now || !areSame(*now, *stamp)) {
            opened.fail(QStringLiteral("it has changed meanwhile"));
        }
    });
    if (progress) {
        progress(1.0);
    }
    return true;
}

class GisVectorOverviews::Reading {
public:
    /// Of the first layer when the name is empty.
    static std::optional<GisVectorOverviews> file(const QString& source, const QString& layerName,
                                                  const QString& path) {
        const auto stamp = IndexFile::stampOf(source);
        if (!stamp || !isWholeDatabase(path)) {
            return std::nullopt;
        }
        try {
            OgrSource opened(path);
            return opened.driverName() == QLatin1String("GPKG")
                       ? rows(opened, path, QLatin1String(OverviewRow::table), layerName, *stamp)
                       : std::nullopt;
        } catch (const std::runtime_error&) {
            return std::nullopt;
        }
    }

    static std::optional<GisVectorOverviews> tables(const QString& source, const QString& layerName) {
        try {
            OgrSource server(source);
            OGRLayer& layer = server.layer(layerName);
            const QString name = QString::fromUtf8(layer.GetName());
            const auto stamp = OverviewTables::stampOf(server.dataset(), layer);
            return stamp ? rows(server, source, OverviewTables::tableFor(name), name, *stamp) : std::nullopt;
        } catch (const std::runtime_error&) {
            return std::nullopt;
        }
    }

private:
    static std::optional<GisVectorOverviews> rows(OgrSource& source, const QString& path,
                                                  const QString& tableName, const QString& layerName,
                                                  const IndexFile::Stamp& stamp) {
        GisVectorOverviews found;
        found.m_path = path;
        OGRLayer& table = source.layer(tableName);
        const QStringList tables = source.layerNames();
        while (const auto feature = source.next(table)) {
            const auto row = OverviewRow::read(*feature);
            const bool isNext = row && (found.m_levels.isEmpty() ||
                                        found.m_levels.constLast().unitsPerPixel < row->level.unitsPerPixel);
            const bool isOfLayer = row && (layerName.isEmpty() ? row->isFirst : row->layer == layerName);
            constexpr qsizetype most = 64;
            if (!isNext || !isOfLayer || found.m_levels.size() >= most || !areSame(row->stamp, stamp) ||
                !tables.contains(row->level.tableName)) {
                return std::nullopt;
            }
            found.m_hasSystem = row->hasSystem;
            found.m_featureCount = row->featureCount;
            found.m_extent = row->extent;
            found.m_levels.append(row->level);
        }
        return found.m_levels.isEmpty() ? std::nullopt : std::optional(found);
    }
};

std::optional<GisVectorOverviews> GisVectorOverviews::find(const QString& source, const QString& layerName) {
    if (const OgrFormat* const format = OgrFormat::forPath(source); format != nullptr && format->isServer) {
        return Reading::tables(source, layerName);
    }
    if (!layerName.isEmpty()) {
        return Reading::file(source, layerName, pathFor(source, layerName));
    }
    // Which layer is the first the overviews know: to ask the source may take reading it.
    const QFileInfo info(source);
    constexpr qsizetype most = 100;
    const QString suffix = QStringLiteral(".overviews.gpkg");
    const QStringList names = info.dir().entryList(QDir::Files).filter(suffix);
    qsizetype tried = 0;
    for (const QString& name : names) {
        if (!name.startsWith(info.fileName() + QLatin1Char('.')) || !name.endsWith(suffix) ||
            ++tried > most) {
            continue;
        }
        if (auto found = Reading::file(source, {}, info.dir().filePath(name))) {
            return found;
        }
    }
    return std::nullopt;
}

int GisVectorOverviews::levelFor(double unitsPerPixel) const noexcept {
    const auto coarser = std::find_if(m_levels.begin(), m_levels.end(), [unitsPerPixel](const Level& level) {
        return !(level.unitsPerPixel <= unitsPerPixel);
    });
    return static_cast<int>(coarser - m_levels.begin()) - 1;
}

double GisVectorOverviews::shareInSight(const Shapes::GisExtent& window,
                                        const Shapes::GisExtent& all) noexcept {
    const auto share = [](double from, double to, double least, double greatest) {
        const double length = greatest - least;
        return length > 0.0 ? std::max(0.0, std::min(to, greatest) - std::max(from, least)) / length : 1.0;
    };
    return share(window.xMin(), window.xMax(), all.xMin(), all.xMax()) *
           share(window.yMin(), window.yMax(), all.yMin(), all.yMax());
}

int GisVectorOverviews::levelFor(double unitsPerPixel, const Shapes::GisExtent& window,
                                 qint64 most) const noexcept {
    const double part = shareInSight(window, m_extent);
    const int coarsest = levelFor(unitsPerPixel);
    int level = -1;
    for (qint64 count = m_featureCount; level < coarsest; ++level, count = m_levels[level].featureCount) {
        if (static_cast<double>(count) * part <= static_cast<double>(most)) {
            break;
        }
    }
    return level;
}

} // namespace Cartolith::Core::Layers
