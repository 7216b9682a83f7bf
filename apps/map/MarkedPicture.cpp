#include "MarkedPicture.h"

#include "Arguments.h"
#include "LicenceMark.h"

#include <Cartolith/Map/Output/PictureFile.h>
#include <Cartolith/Map/Output/VectorFile.h>

#include <QImage>

using namespace Cartolith::Map;
using Output::PictureFile;

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
    Output::PictureOptions options;
    constexpr double inch = 0.0254;
    options.dotsPerInch = image.dotsPerMeterX() * inch;
    PictureFile::save(image, path, options);
}

Output::VectorReport MarkedPicture::save(const MapDrawing& drawing, const QString& path,
                                         Output::VectorOptions options, const QSize& sheet) {
    if (LicenceMark::isNeeded()) {
        options.above = [above = options.above, sheet](QPainter& painter) {
            if (above) {
                above(painter);
            }
            LicenceMark::draw(painter, sheet);
        };
    }
    return Output::VectorFile::save(drawing, path, options);
}
