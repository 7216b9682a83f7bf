#include <Cartolith/Map/Output/OutputFile.h>

#include <QFileInfo>
#include <QSaveFile>
#include <QTemporaryFile>

#include <cerrno>
#include <stdexcept>
#include <unistd.h>

namespace Cartolith::Map::Output {

namespace {

[[noreturn]] void refuse(const QString& path, const QString& reason) {
    throw std::runtime_error(QStringLiteral("'%1' could not be written: %2").arg(path, reason).toStdString());
}

/// What is at the end of a link. Not when a file cannot take its place.
QFileInfo placeOf(const QString& path) {
    const QFileInfo link(path);
    QFileInfo file(link.isSymLink() ? link.symLinkTarget() : path);
    if (file.isDir()) {
        refuse(path, QStringLiteral("it is a folder"));
    }
    if (file.exists() && !file.isFile()) {
        refuse(path, QStringLiteral("it is a device or a pipe, which no file can take the place of"));
    }
    return file;
}

} // namespace

void OutputFile::requireWritable(const QString& path) {
    const QFileInfo file = placeOf(path);
    // The folder decides whether a file can be replaced; but one that is protected is meant to stay.
    constexpr auto anybody = QFile::WriteOwner | QFile::WriteGroup | QFile::WriteOther;
    if (file.exists() && ((file.permissions() & anybody) == 0 || !file.isWritable())) {
        refuse(path, QStringLiteral("it is write-protected"));
    }
    // Permissions do not tell of a read-only disk, and root has all of them.
    QTemporaryFile probe(file.absolutePath() + QStringLiteral("/.cartolith-XXXXXX"));
    if (!probe.open()) {
        refuse(path, probe.errorString());
    }
}

void OutputFile::write(const QString& path, const std::function<void(QIODevice&)>& content) {
    placeOf(path);
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        refuse(path, file.errorString());
    }
    try {
        content(file);
    } catch (...) {
        if (file.error() != QFileDevice::NoError) {
            refuse(path, file.errorString());
        }
        throw;
    }
    // A writer that does not look, as QPdfWriter does not, leaves its mark on the file.
    if (file.error() != QFileDevice::NoError || !file.flush()) {
        refuse(path, file.errorString());
    }
    if (::fsync(file.handle()) != 0) { // of which commit() does not tell
        refuse(path, qt_error_string(errno));
    }
    if (!file.commit()) {
        refuse(path, file.errorString());
    }
}

} // namespace Cartolith::Map::Output
