#include <Cartolith/Core/Licensing/LicenceCache.h>
#include <Cartolith/Core/Licensing/LicenceTextInternal.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

#include <stdexcept>

namespace Cartolith::Core::Licensing {

namespace {

[[noreturn]] void fail(const QString& path, const QString& reason) {
    throw std::runtime_error(QStringLiteral("Cannot write '%1': %2").arg(path, reason).toStdString());
}

} // namespace

LicenceCache::LicenceCache(const QString& folder) : m_folder(folder) {}

QString LicenceCache::defaultFolder() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
           QStringLiteral("/cartolith");
}

QString LicenceCache::licencePath() const {
    return m_folder + QStringLiteral("/licence.json");
}

QByteArray LicenceCache::readText(const QString& path) {
    QFile file(path);
    // Opening a pipe would wait for its other end.
    if (!QFileInfo(path).isFile() || file.size() > Internal::mostBytes || !file.open(QIODevice::ReadOnly)) {
        return {};
    }
    const QByteArray text = file.read(Internal::mostBytes + 1);
    return text.size() > Internal::mostBytes ? QByteArray() : text;
}

QByteArray LicenceCache::licence() const {
    return readText(licencePath());
}

QByteArray LicenceCache::revocation() const {
    return readText(m_folder + QStringLiteral("/revocation.json"));
}

void LicenceCache::store(const QString& path, const QByteArray& text) const {
    if (!QDir().mkpath(m_folder)) {
        fail(path, QStringLiteral("the folder cannot be made"));
    }
    QSaveFile file(path);
    file.setDirectWriteFallback(false);
    if (!file.open(QIODevice::WriteOnly) ||
        !file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner) ||
        file.write(text) != text.size() || !file.commit()) {
        fail(path, file.errorString());
    }
}

void LicenceCache::storeLicence(const QByteArray& text) const {
    store(licencePath(), text);
}

void LicenceCache::storeRevocation(const QByteArray& text) const {
    store(m_folder + QStringLiteral("/revocation.json"), text);
}

void LicenceCache::removeLicence() const {
    QFile file(licencePath());
    if (file.exists() && !file.remove()) {
        fail(licencePath(), file.errorString());
    }
}

} // namespace Cartolith::Core::Licensing
