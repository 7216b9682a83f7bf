#include "MarkedPicture.h"

#include "Arguments.h"
#include "LicenceMark.h"

#include <Cartolith/Map/Output/PictureFile.h>

#include <QImage>

using Cartolith::Map::Output::PictureFile;

void MarkedPicture::checkName(const QString& command, const QString& path) {
    if (path.isEmpty()) {
        throw UsageError(QStringLiteral("%1 wants -o PICTURE").arg(command));
    }
    try {
        PictureFile::requireFormat(path);
    } catch (const std::runtime_error& error) {
        throw UsageError(QString::fromUtf8(error.what()));
    }
}

void MarkedPicture::save(QImage image, const QString& path) {
    if (LicenceMark::isNeeded()) {
        LicenceMark::draw(image);
    }
    Cartolith::Map::Output::PictureOptions options;
    constexpr double inch = 0.0254;
    options.dotsPerInch = image.dotsPerMeterX() * inch;
    PictureFile::save(image, path, options);
}
