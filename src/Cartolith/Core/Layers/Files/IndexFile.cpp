#include <Cartolith/Core/Layers/Files/IndexFileInternal.h>
#include <Cartolith/Core/Layers/Files/SourcePathInternal.h>
#include <Cartolith/Core/Spatial/RTreeSpatialIndex.h>
#include <Cartolith/Core/Spatial/RTreeTraversalInternal.h>

#include <QFile>
#include <QFileInfo>
#include <QStringList>
#include <QTemporaryFile>
#include <QUrl>
#include <QtEndian>

#include <filesystem>
#include <limits>
#include <stdexcept>
#include <sys/stat.h>
#include <unordered_set>

namespace Cartolith::Core::Layers::Internal {

using Spatial::RTree::RTreeIndexHeader;
using Spatial::RTree::RTreeSpatialIndex;

namespace {

/// To be raised when the shapes that are made from a source, or their order, change.
constexpr int contentVersion = 1;

RTreeIndexHeader headerOf(const IndexFile::Stamp& stamp, qsizetype shapeCount) {
    RTreeIndexHeader header;
    header.setVersion(contentVersion);
    header.setFileSize(stamp.size);
    header.setLastWriteTicks(stamp.writtenAt);
    header.setShapeCount(static_cast<int>(shapeCount));
    return header;
}

/// What stands between the header and the tree: node size, strategy, and the layer's name behind its length.
QByteArray identityOf(const RTreeSpatialIndex& index, const QByteArray& layerName) {
    QByteArray block;
    for (const qint32 value :
         {static_cast<qint32>(index.maxItemsPerNode()), static_cast<qint32>(index.strategy()),
          static_cast<qint32>(layerName.size())}) {
        const qint32 little = qToLittleEndian(value);
        block.append(reinterpret_cast<const char*>(&little), sizeof little);
    }
    return block + layerName;
}

/// A file that was damaged without a change of its length may still be a tree.
bool holdsEachOnce(const RTreeSpatialIndex& index, qsizetype shapeCount) {
    std::unordered_set<const Shapes::GisShape*> found;
    found.reserve(static_cast<std::size_t>(shapeCount));
    qsizetype items = 0;
    Spatial::RTree::visitLeaves(
        *index.root(), [](const Spatial::RTree::RTreeNode& /*node*/, qsizetype /*child*/) { return true; },
        [&](const Spatial::RTree::RTreeNode& leaf) {
            for (const Spatial::SpatialIndexItem& item : leaf.items()) {
                ++items;
                found.insert(item.shape());
            }
        });
    return items == shapeCount && std::ssize(found) == items;
}

} // namespace

std::optional<IndexFile::Stamp> IndexFile::stampOf(const QString& sourcePath) {
    struct stat status {};
    if (::stat(QFile::encodeName(sourcePath).constData(), &status) != 0 || !S_ISREG(status.st_mode) ||
        QFileInfo(besideDatabase(sourcePath, DatabaseLog::wal)).size() > 0) {
        return std::nullopt;
    }
    constexpr qint64 nanoseconds = 1'000'000'000;
    constexpr qint64 most = std::numeric_limits<qint64>::max() / nanoseconds - 1;
    if (status.st_mtim.tv_sec > most || status.st_mtim.tv_sec < -most) {
        return std::nullopt;
    }
    return Stamp{status.st_size, status.st_mtim.tv_sec * nanoseconds + status.st_mtim.tv_nsec};
}

bool IndexFile::isFor(const QString& driverName) {
    static const QStringList drivers{"GPKG", "SQLite", "GeoJSON", "GeoJSONSeq", "FlatGeobuf", "KML"};
    return drivers.contains(driverName);
}

QString IndexFile::pathFor(const QString& sourcePath, const QString& layerName) {
    return QStringLiteral("%1.%2.rtree")
        .arg(sourcePath, QString::fromLatin1(QUrl::toPercentEncoding(layerName)));
}

IndexFile::IndexFile(const QString& sourcePath, const QString& layerName, const Stamp& stamp)
    : m_sourcePath(sourcePath), m_layerName(layerName.toUtf8()), m_path(pathFor(sourcePath, layerName)),
      m_stamp(stamp) {}

bool IndexFile::load(RTreeSpatialIndex& index, const QList<Shapes::GisShape*>& shapes) const {
    const QByteArray identity = identityOf(index, m_layerName);
    // No tree over these shapes is larger: each has an item, and there are at most twice as many nodes.
    const qint64 largest = 24 + identity.size() + 37 + shapes.size() * (36 + 2 * 37);
    if (QFileInfo(m_path).size() > largest) {
        return false;
    }
    return index.load(m_path, headerOf(m_stamp, shapes.size()), shapes,
                      [&identity](RTreeSpatialIndex::MappedReader& reader) {
                          QByteArray found(identity.size(), '\0');
                          return reader.readBytes(found.data(), found.size()) && found == identity;
                      }) &&
           holdsEachOnce(index, shapes.size());
}

bool IndexFile::save(const RTreeSpatialIndex& index, qsizetype shapeCount) const {
    QTemporaryFile file(m_path + QStringLiteral(".XXXXXX"));
    if (!file.open()) {
        return false;
    }
    file.close();
    try {
        const QByteArray identity = identityOf(index, m_layerName);
        index.save(file.fileName(), headerOf(m_stamp, shapeCount),
                   [&identity](QFile& out) { return out.write(identity) == identity.size(); });
    } catch (const std::runtime_error&) {
        return false;
    }
    // Who may read the data may read its index.
    file.setPermissions(QFileInfo(m_sourcePath).permissions());
    std::error_code problem;
    std::filesystem::rename(QFile::encodeName(file.fileName()).constData(),
                            QFile::encodeName(m_path).constData(), problem);
    file.setAutoRemove(static_cast<bool>(problem));
    return !problem;
}

} // namespace Cartolith::Core::Layers::Internal
