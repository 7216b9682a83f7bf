#include "PictureFile.h"

#include "Arguments.h"
#include "LicenceMark.h"

#include <QFileInfo>
#include <QImage>
#include <QImageWriter>
#include <QSaveFile>

void PictureFile::checkName(const QString& command, const QString& path) {
    if (path.isEmpty()) {
        throw UsageError(QStringLiteral("%1 wants -o PICTURE").arg(command));
    }
    const QByteArray format = QFileInfo(path).suffix().toLower().toLatin1();
    if (!QImageWriter::supportedImageFormats().contains(format)) {
        throw UsageError(QStringLiteral("no picture format is known for '%1'").arg(path));
    }
}

void PictureFile::save(QImage image, const QString& path) {
    if (LicenceMark::isNeeded()) {
        LicenceMark::draw(image);
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) ||
        !image.save(&file, QFileInfo(path).suffix().toLatin1().constData()) || !file.commit()) {
        throw std::runtime_error(
            QStringLiteral("'%1' could not be written: %2").arg(path, file.errorString()).toStdString());
    }
}
