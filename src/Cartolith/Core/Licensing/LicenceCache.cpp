#include <Cartolith/Core/Licensing/LicenceCache.h>
#include <Cartolith/Core/Licensing/LicenceTextInternal.h>

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QTemporaryFile>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace Cartolith::Core::Licensing {

namespace {

// More licences than this are not taken back on one machine.
constexpr qsizetype mostRevocations = 64;

[[noreturn]] void failToWrite(const QString& path, const QString& reason) {
    throw Internal::StorageError(QStringLiteral("Cannot write '%1': %2").arg(path, reason).toStdString());
}

QString reasonOf(int error) {
    return QString::fromStdString(std::generic_category().message(error));
}

} // namespace

LicenceCache::LicenceCache(const QString& folder) : m_folder(folder) {}

QString LicenceCache::defaultFolder() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
           QStringLiteral("/cartolith");
}

QString LicenceCache::pathOf(const QString& name) const {
    return m_folder.isEmpty() ? QString() : m_folder + QLatin1Char('/') + name;
}

QString LicenceCache::licencePath() const {
    return pathOf(QStringLiteral("licence.json"));
}

QString LicenceCache::revocationPath(const QString& id) const {
    constexpr qsizetype digits = 16; // ids may hold what a file's name may not
    const QByteArray hash = QCryptographicHash::hash(id.toUtf8(), QCryptographicHash::Sha256).toHex();
    return pathOf(QStringLiteral("revocation-%1.json").arg(QString::fromLatin1(hash.left(digits))));
}

QString LicenceCache::latestPath() const {
    return pathOf(QStringLiteral("latest.json"));
}

QByteArray LicenceCache::readText(const QString& path) {
    // Without waiting for the other end of a pipe; a device is opened at most, never read.
    const int handle =
        ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (handle < 0) {
        return {};
    }
    QFile file;
    struct stat status {};
    if (::fstat(handle, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size > Internal::mostBytes ||
        !file.open(handle, QIODevice::ReadOnly | QIODevice::Unbuffered, QFileDevice::AutoCloseHandle)) {
        ::close(handle);
        return {};
    }
    const QByteArray text = file.read(Internal::mostBytes + 1);
    return text.size() > Internal::mostBytes ? QByteArray() : text;
}

QByteArray LicenceCache::licence() const {
    return readText(licencePath());
}

QByteArray LicenceCache::revocation(const QString& id) const {
    return readText(revocationPath(id));
}

QList<QByteArray> LicenceCache::revocations() const {
    QList<QByteArray> texts;
    if (m_folder.isEmpty()) {
        return texts;
    }
    const QStringList names =
        QDir(m_folder).entryList({QStringLiteral("revocation-*.json")}, QDir::Files, QDir::Time);
    for (const QString& name : names.first(std::min(names.size(), mostRevocations))) {
        texts.append(readText(pathOf(name)));
    }
    return texts;
}

QByteArray LicenceCache::latest() const {
    return readText(latestPath());
}

void LicenceCache::store(const QString& path, const QByteArray& text) const {
    if (m_folder.isEmpty() || !QDir().mkpath(m_folder)) {
        failToWrite(path, QStringLiteral("the folder cannot be made"));
    }
    QTemporaryFile file(path + QStringLiteral(".XXXXXX")); // of mode 0600 from the start
    if (!file.open() || file.write(text) != text.size() || !file.flush()) {
        failToWrite(path, file.errorString());
    }
    if (::fsync(file.handle()) != 0 || std::rename(QFile::encodeName(file.fileName()).constData(),
                                                   QFile::encodeName(path).constData()) != 0) {
        failToWrite(path, reasonOf(errno));
    }
    file.setAutoRemove(false);
}

void LicenceCache::storeLicence(const QByteArray& text) const {
    store(licencePath(), text);
}

void LicenceCache::storeRevocation(const QString& id, const QByteArray& text) const {
    store(revocationPath(id), text);
}

void LicenceCache::storeLatest(const QByteArray& text) const {
    store(latestPath(), text);
}

void LicenceCache::removeLicence() const {
    if (::unlink(QFile::encodeName(licencePath()).constData()) != 0 && errno != ENOENT && errno != ENOTDIR) {
        throw std::runtime_error(
            QStringLiteral("Cannot remove '%1': %2").arg(licencePath(), reasonOf(errno)).toStdString());
    }
}

} // namespace Cartolith::Core::Licensing
