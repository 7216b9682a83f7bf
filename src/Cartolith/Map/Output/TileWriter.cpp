#include <Cartolith/Map/Output/TileContainerInternal.h>
#include <Cartolith/Map/Output/TileWriter.h>

#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QList>
#include <QLockFile>
#include <QTemporaryFile>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <unistd.h>

namespace Cartolith::Map::Output {

namespace Internal {

int blockOf(const TileJob& job) {
    constexpr int most = 16384; // pixels
    return std::max(most / job.tileSize / job.metatile, 1) * job.metatile;
}

void refuseTiles(const QString& path, const QString& reason) {
    throw std::runtime_error(QStringLiteral("'%1' could not be written: %2").arg(path, reason).toStdString());
}

void refuseOtherJob(const QString& path) {
    refuseTiles(path,
                QStringLiteral("it was begun with another map or other settings; remove it to begin anew"));
}

} // namespace Internal

namespace {

using Core::Shapes::GisExtent;
using Internal::TileContainer;

void requireUsable(const TileJob& job) {
    const auto isWithin = [](int value, int least, int most) { return value >= least && value <= most; };
    if (!isWithin(job.minZoom, 0, job.maxZoom) || job.maxZoom > TileScheme::maxZoom ||
        !isWithin(job.tileSize, 64, 1024) || !isWithin(job.metatile, 1, 16) ||
        !isWithin(job.buffer, 0, 1024)) {
        throw std::invalid_argument("a setting of the tiles is out of its range");
    }
    if (!TileScheme::tilesOf(job.extent, job.minZoom)) {
        throw std::invalid_argument("the extent of the tiles is not in the world");
    }
    PictureFile::requireFormat(QStringLiteral("tile.") + QString::fromLatin1(job.format));
}

/// Whatever makes tiles differ.
QByteArray textOf(const TileJob& job) {
    constexpr int exact = 17; // digits
    QJsonArray extent;
    for (const double bound : {job.extent.xMin(), job.extent.yMin(), job.extent.xMax(), job.extent.yMax()}) {
        extent.append(QString::number(bound, 'g', exact));
    }
    const QJsonObject object{{"extent", extent},
                             {"minZoom", job.minZoom},
                             {"maxZoom", job.maxZoom},
                             {"tileSize", job.tileSize},
                             {"metatile", job.metatile},
                             {"buffer", job.buffer},
                             {"format", QString::fromLatin1(job.format)},
                             {"compression", job.picture.compression},
                             {"quality", job.picture.quality},
                             {"dotsPerInch", job.picture.dotsPerInch},
                             {"mark", job.mark}};
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QJsonObject metadataOf(const TileJob& job) {
    const auto longitude = [](double x) { return x / TileScheme::halfWorld * 180.0; };
    const auto latitude = [](double y) {
        return std::atan(std::sinh(y / TileScheme::halfWorld * M_PI)) / M_PI * 180.0;
    };
    const auto inWorld = [](double value) {
        return std::clamp(value, -TileScheme::halfWorld, TileScheme::halfWorld);
    };
    const double west = longitude(inWorld(job.extent.xMin()));
    const double east = longitude(inWorld(job.extent.xMax()));
    const double south = latitude(inWorld(job.extent.yMin()));
    const double north = latitude(inWorld(job.extent.yMax()));
    const auto listOf = [](std::initializer_list<double> numbers) {
        QStringList texts;
        for (const double number : numbers) {
            texts.append(QString::number(number, 'f', 7));
        }
        return texts.join(u',');
    };
    return {
        {"name", job.name.isEmpty() ? QStringLiteral("map") : job.name},
        {"format", job.format == "jpeg" ? QStringLiteral("jpg") : QString::fromLatin1(job.format)},
        {"bounds", listOf({west, south, east, north})},
        {"center", listOf({(west + east) / 2, (south + north) / 2}) + u',' + QString::number(job.minZoom)},
        {"minzoom", QString::number(job.minZoom)},
        {"maxzoom", QString::number(job.maxZoom)},
        {"type", "baselayer"},
        {"version", "1"},
        {"description", job.description},
        {"attribution", job.attribution}};
}

/// The colour of a picture that has one only.
std::optional<QRgb> singleColour(const QImage& picture) {
    // Of less than a byte each, pixels cannot be compared by bytes.
    const QImage image = picture.depth() < 8 ? picture.convertToFormat(QImage::Format_ARGB32) : picture;
    const QRgb first = image.pixel(0, 0);
    const QImage row = image.copy(0, 0, image.width(), 1);
    const auto size = static_cast<std::size_t>(image.width()) * static_cast<std::size_t>(image.depth()) / 8;
    for (int x = 1; x < image.width(); ++x) {
        if (image.pixel(x, 0) != first) {
            return std::nullopt;
        }
    }
    for (int y = 1; y < image.height(); ++y) {
        if (std::memcmp(row.constScanLine(0), image.constScanLine(y), size) != 0) {
            return std::nullopt;
        }
    }
    return first;
}

QList<TileId> missingOf(const TileRange& range, TileContainer& container) {
    QList<TileId> missing;
    for (int y = range.top; y <= range.bottom; ++y) {
        for (int x = range.left; x <= range.right; ++x) {
            if (!container.has({range.zoom, x, y})) {
                missing.append({range.zoom, x, y});
            }
        }
    }
    return missing;
}

void writeMetatile(const TileRange& range, const TileJob& job, const TileWriter::Draw& draw,
                   TileContainer& container) {
    const QList<TileId> missing = missingOf(range, container);
    if (missing.isEmpty()) {
        return;
    }
    const QSize inside((range.right - range.left + 1) * job.tileSize,
                       (range.bottom - range.top + 1) * job.tileSize);
    const QSize size = inside.grownBy({job.buffer, job.buffer, job.buffer, job.buffer});
    const GisExtent extent = TileScheme::extentOf(range);
    const double around = extent.width() / inside.width() * job.buffer;
    const QImage image = draw(extent.inflate(around, around), size);
    if (image.size() != size) {
        throw std::runtime_error("the picture of the tiles has another size than was asked for");
    }
    for (const TileId& tile : missing) {
        const QImage picture =
            image.copy((tile.x - range.left) * job.tileSize + job.buffer,
                       (tile.y - range.top) * job.tileSize + job.buffer, job.tileSize, job.tileSize);
        const auto bytes = [&] { return PictureFile::encoded(picture, job.format, job.picture); };
        if (const std::optional<QRgb> colour = singleColour(picture)) {
            container.putSingle(tile, *colour, bytes);
        } else {
            container.put(tile, bytes());
        }
    }
    container.commit();
}

/// Of a database of that name that is in use, or was when its program ended: SQLite would apply it to the new
/// one.
void requireNoLog(const QString& path) {
    for (const char* ending : {"-journal", "-wal"}) {
        if (QFileInfo::exists(path + QLatin1String(ending))) {
            Internal::refuseTiles(path,
                                  QStringLiteral("a program writes the file that is there, or has left '%1'")
                                      .arg(path + QLatin1String(ending)));
        }
    }
}

bool isMbTiles(const QString& path) {
    return path.endsWith(QStringLiteral(".mbtiles"), Qt::CaseInsensitive);
}

void requireFree(const QString& path) {
    const QFileInfo there(path);
    if (there.isDir() || (!isMbTiles(path) && (there.exists() || there.isSymLink()))) {
        Internal::refuseTiles(path, QStringLiteral("it is there already"));
    }
    requireNoLog(path);
}

/// The parts of a range that begin at multiples of a number of tiles, row by row.
template <typename Function>
bool forEachPart(const TileRange& range, int side, Function function) {
    for (int top = range.top - range.top % side; top <= range.bottom; top += side) {
        for (int left = range.left - range.left % side; left <= range.right; left += side) {
            if (!function(TileRange{range.zoom, std::max(left, range.left), std::max(top, range.top),
                                    std::min(left + side - 1, range.right),
                                    std::min(top + side - 1, range.bottom)})) {
                return false;
            }
        }
    }
    return true;
}

bool writeAll(const TileJob& job, const TileWriter::Draw& draw, const TileWriter::Progress& progress,
              TileContainer& container) {
    double total = 0;
    for (int zoom = job.minZoom; zoom <= job.maxZoom; ++zoom) {
        total += static_cast<double>(TileScheme::tilesOf(job.extent, zoom)->count());
    }
    double done = 0;
    const auto write = [&](const TileRange& range) {
        writeMetatile(range, job, draw, container);
        done += static_cast<double>(range.count());
        return !progress || progress(done / total);
    };
    for (int zoom = job.minZoom; zoom <= job.maxZoom; ++zoom) {
        const auto writeBlock = [&](const TileRange& block) {
            return forEachPart(block, job.metatile, write);
        };
        if (!forEachPart(*TileScheme::tilesOf(job.extent, zoom), Internal::blockOf(job), writeBlock)) {
            return false;
        }
    }
    return true;
}

} // namespace

void TileWriter::requireWritable(const QString& path) {
    requireFree(path);
    QTemporaryFile probe(QFileInfo(QDir::cleanPath(path)).absolutePath() +
                         QStringLiteral("/.cartolith-XXXXXX"));
    if (!probe.open()) {
        Internal::refuseTiles(path, QStringLiteral("its folder cannot be written"));
    }
}

TileWriter::Result TileWriter::write(const QString& path, const TileJob& wanted, const Draw& draw,
                                     const Progress& progress) {
    TileJob job = wanted;
    job.format = job.format.toLower();
    requireUsable(job);
    const bool isFile = isMbTiles(path);
    requireFree(path);
    const QString part = QDir::cleanPath(path) + QStringLiteral(".part");
    QLockFile lock(part + QStringLiteral(".lock"));
    lock.setStaleLockTime(0); // that of a process that is no more
    if (!lock.tryLock()) {
        Internal::refuseTiles(path,
                              lock.error() == QLockFile::LockFailedError
                                  ? QStringLiteral("another program is writing it; if none is, remove '%1'")
                                        .arg(lock.fileName())
                                  : QStringLiteral("its folder cannot be written"));
    }
    const QFileInfo found(part);
    if (found.isSymLink() || (found.exists() && found.isDir() == isFile)) {
        Internal::refuseTiles(part, QStringLiteral("it is not this user's"));
    }
    for (const char* ending : {"", "-journal", "-wal"}) { // SQLite would apply these
        const QFileInfo file(part + QLatin1String(ending));
        if (file.isSymLink() || (file.exists() && file.ownerId() != ::geteuid())) {
            Internal::refuseTiles(file.filePath(), QStringLiteral("it is not this user's"));
        }
    }
    const std::unique_ptr<TileContainer> container =
        isFile ? Internal::openMbTiles(part, textOf(job))
               : Internal::openTileFolder(part, textOf(job), job.format);
    if (!writeAll(job, draw, progress, *container)) {
        return Result::Cancelled;
    }
    container->finish(metadataOf(job));
    requireNoLog(path);
    const QString place = QDir::cleanPath(path);
    if (std::rename(QFile::encodeName(part).constData(), QFile::encodeName(place).constData()) != 0) {
        Internal::refuseTiles(path,
                              QString::fromLocal8Bit(std::strerror(errno))); // NOLINT(concurrency-mt-unsafe)
    }
    container->renamed(place);
    return Result::Complete;
}

} // namespace Cartolith::Map::Output
