#include "OutputFile.h"

#include <QFileInfo>
#include <QTemporaryFile>

#include <stdexcept>

void OutputFile::requireWritable(const QString& path) {
    const auto fail = [&path](const QString& reason) {
        throw std::runtime_error(
            QStringLiteral("'%1' could not be written: %2").arg(path, reason).toStdString());
    };
    const QFileInfo link(path);
    const QFileInfo file(link.isSymLink() ? link.symLinkTarget() : path);
    if (file.isDir()) {
        fail(QStringLiteral("it is a folder"));
    }
    if (file.exists() && !file.isFile()) {
        return; // a device: writing tells
    }
    // The folder decides whether a file can be replaced; but one that is protected is meant to stay.
    constexpr auto anybody = QFile::WriteOwner | QFile::WriteGroup | QFile::WriteOther;
    if (file.exists() && ((file.permissions() & anybody) == 0 || !file.isWritable())) {
        fail(QStringLiteral("it is write-protected"));
    }
    // Permissions do not tell of a read-only disk, and root has all of them.
    QTemporaryFile probe(file.absolutePath() + QStringLiteral("/.cartolith-XXXXXX"));
    if (!probe.open()) {
        fail(probe.errorString());
    }
}
