#include "KeyFiles.h"

#include "LicenceSigner.h"

#include <Cartolith/Core/Licensing/LicenceCache.h>

#include <QFile>
#include <QRegularExpression>
#include <QSaveFile>

#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

using namespace Cartolith::Core::Licensing;

QByteArray KeyFiles::readText(const QString& path) {
    QByteArray text = LicenceCache::readText(path);
    if (text.isEmpty()) {
        throw std::runtime_error(
            QStringLiteral("'%1' cannot be read, is empty, or larger than 64 KiB.").arg(path).toStdString());
    }
    return text;
}

void KeyFiles::write(const QString& path, const QByteArray& text) {
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size() || !file.flush() ||
        ::fsync(file.handle()) != 0 || !file.commit()) { // which does not tell of a disk that fails
        throw std::runtime_error(
            QStringLiteral("Cannot write '%1': %2").arg(path, file.errorString()).toStdString());
    }
}

void KeyFiles::writeSecret(const QString& path, const QByteArray& text) {
    QFile file(path);
    const mode_t mask = ::umask(S_IRWXG | S_IRWXO); // before the file is there, not after
    const bool isNew = file.open(QIODevice::WriteOnly | QIODevice::NewOnly);
    ::umask(mask);
    if (isNew && file.write(text) == text.size() && file.flush() && ::fsync(file.handle()) == 0) {
        return;
    }
    const QString reason = file.errorString();
    if (isNew) {
        file.remove();
    }
    throw std::runtime_error(QStringLiteral("Cannot write '%1': %2").arg(path, reason).toStdString());
}

bool KeyFiles::isKeyId(const QString& id) {
    static const QRegularExpression pattern(QStringLiteral("\\A[A-Za-z0-9._-]+\\z"));
    return pattern.match(id).hasMatch();
}

namespace {

/// The words of a line "ID BASE64" or "ID revoked". Throws for any other; the key of a withdrawn one is
/// empty.
LicenceKey keyOf(const QByteArray& line, const QString& path) {
    const QList<QByteArray> words = line.trimmed().split(' ');
    const QString id = QString::fromUtf8(words[0]);
    const bool isRevoked = words.size() == 2 && words[1] == "revoked";
    const QByteArray key = words.size() == 2 && !isRevoked ? QByteArray::fromBase64(words[1]) : QByteArray();
    if (words.size() != 2 || !KeyFiles::isKeyId(id) ||
        (!isRevoked && (key.size() != LicenceSigner::keySize || key.toBase64() != words[1]))) {
        // Without the line, which may be a private key.
        throw std::runtime_error(QStringLiteral("'%1' has a line that is no key.").arg(path).toStdString());
    }
    return {id, key};
}

} // namespace

LicenceSigner KeyFiles::readSigner(const QString& path) {
    const LicenceKey key = keyOf(readText(path), path);
    return {key.id, key.publicKey};
}

LicenceKeys KeyFiles::readKeys(const QString& path) {
    LicenceKeys keys;
    const QList<QByteArray> lines = readText(path).split('\n');
    for (const QByteArray& line : lines) {
        if (line.startsWith('#') || line.trimmed().isEmpty()) {
            continue;
        }
        const LicenceKey key = keyOf(line, path);
        if (key.publicKey.isEmpty()) {
            keys.revoked.append(key.id);
        } else {
            keys.trusted.append(key);
        }
    }
    return keys;
}
