#include <Cartolith/Map/Output/OutputFile.h>
#include <Cartolith/Map/Output/TileContainerInternal.h>

#include <QDir>
#include <QFile>
#include <QHash>
#include <QJsonDocument>
#include <QtEndian>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace Cartolith::Map::Output::Internal {

namespace {

/// Tiles as files, each written beside its name. Those of a single colour are one file with many names.
class TileFolder : public TileContainer {
public:
    TileFolder(const QString& path, const QByteArray& job, const QByteArray& format)
        : m_path(path), m_ending('.' + QString::fromLatin1(format)) {
        // Also one that a run left that ended in its first moment.
        if (!QDir(path).exists() ||
            QDir(path).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot)) {
            makeFolder(path);
            OutputFile::write(jobPath(path), [&](QIODevice& file) { file.write(job); });
        } else {
            QFile file(jobPath(path));
            if (!file.open(QIODevice::ReadOnly) || file.read(job.size() + 1) != job) {
                refuseOtherJob(path);
            }
        }
        if (format == "png") {
            m_tail = QByteArray("IEND\xAE\x42\x60\x82", 8);
        } else if (format == "jpg" || format == "jpeg") {
            m_tail = "\xFF\xD9";
        }
    }

    bool has(const TileId& tile) override {
        QFile file(pathOf(tile));
        if (m_ending == QLatin1String(".webp")) { // which says its length, and has no end
            const bool isRead = file.open(QIODevice::ReadOnly) && file.seek(4);
            const QByteArray length = isRead ? file.read(4) : QByteArray();
            return length.size() == 4 &&
                   file.size() == 8 + qint64{qFromLittleEndian<quint32>(length.constData())};
        }
        return file.open(QIODevice::ReadOnly) && file.size() > m_tail.size() &&
               file.seek(file.size() - m_tail.size()) && file.read(m_tail.size()) == m_tail;
    }
    void put(const TileId& tile, const QByteArray& bytes) override {
        const QString path = placeFor(tile);
        const QString beside = m_path + QStringLiteral("/.tile");
        QFile file(beside);
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.flush()) {
            refuseTiles(path, file.errorString());
        }
        file.close();
        rename(beside, path);
    }
    void putSingle(const TileId& tile, QRgb colour, const Bytes& bytes) override {
        const QByteArray first = m_singles.value(colour);
        const QString path = placeFor(tile);
        QFile::remove(path); // half of one, from before a power cut
        if (first.isEmpty() || ::link(first.constData(), QFile::encodeName(path).constData()) != 0) {
            put(tile, bytes()); // also when a file has all the names that it can have
            m_singles.insert(colour, QFile::encodeName(path));
        }
    }
    void commit() override {}
    void finish(const QJsonObject& metadata) override {
        OutputFile::write(m_path + QStringLiteral("/metadata.json"),
                          [&](QIODevice& file) { file.write(QJsonDocument(metadata).toJson()); });
        const int folder = ::open(QFile::encodeName(m_path).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        const bool isSafe = folder >= 0 && ::syncfs(folder) == 0;
        const QString reason = QString::fromLocal8Bit(std::strerror(errno)); // NOLINT(concurrency-mt-unsafe)
        if (folder >= 0) {
            ::close(folder);
        }
        if (!isSafe) {
            refuseTiles(m_path, reason);
        }
    }
    void renamed(const QString& path) override { QFile::remove(jobPath(path)); }

private:
    static QString jobPath(const QString& folder) { return folder + QStringLiteral("/.job"); }
    QString folderOf(const TileId& tile) const {
        return QStringLiteral("%1/%2/%3").arg(m_path).arg(tile.zoom).arg(tile.x);
    }
    QString pathOf(const TileId& tile) const {
        return QStringLiteral("%1/%2%3").arg(folderOf(tile)).arg(tile.y).arg(m_ending);
    }
    /// The path, with its folder made.
    QString placeFor(const TileId& tile) {
        makeFolder(folderOf(tile));
        return pathOf(tile);
    }
    void makeFolder(const QString& path) {
        if (!QDir().mkpath(path)) {
            refuseTiles(path, QStringLiteral("the folder could not be made"));
        }
    }
    static void rename(const QString& from, const QString& to) {
        if (std::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) != 0) {
            refuseTiles(to, QString::fromLocal8Bit(std::strerror(errno))); // NOLINT(concurrency-mt-unsafe)
        }
    }

    QString m_path;
    QString m_ending;
    QByteArray m_tail;
    QHash<QRgb, QByteArray> m_singles;
};

} // namespace

std::unique_ptr<TileContainer> openTileFolder(const QString& path, const QByteArray& job,
                                              const QByteArray& format) {
    return std::make_unique<TileFolder>(path, job, format);
}

} // namespace Cartolith::Map::Output::Internal
