#include <Cartolith/Map/Output/OutputFile.h>
#include <Cartolith/Map/Output/PictureFile.h>
#include <Cartolith/Map/Output/PngEncoderInternal.h>

#include <QBuffer>
#include <QFileInfo>
#include <QImage>
#include <QImageWriter>
#include <QPainter>

#include <stdexcept>

namespace Cartolith::Map::Output {

namespace {

void requireKnown(const QByteArray& format, const QString& name) {
    if (format == "png" || QImageWriter::supportedImageFormats().contains(format)) {
        return;
    }
    QString text = QStringLiteral("no picture format is known for '%1'").arg(name);
    if (format == "webp") {
        text += QStringLiteral(": Qt's plugin for WebP is not installed (qt6-image-formats-plugins)");
    }
    throw std::runtime_error(text.toStdString());
}

QImage onWhite(const QImage& image) {
    QImage ground(image.size(), QImage::Format_RGB32);
    if (ground.isNull()) {
        throw std::bad_alloc();
    }
    ground.fill(Qt::white);
    QPainter(&ground).drawImage(ground.rect(), image, image.rect());
    return ground;
}

} // namespace

QByteArray PictureFile::formatOf(const QString& path) {
    return QFileInfo(path).suffix().toLower().toLatin1();
}

void PictureFile::requireFormat(const QString& path) {
    requireKnown(formatOf(path), path);
}

void PictureFile::save(const QImage& image, const QString& path, const PictureOptions& options) {
    requireFormat(path);
    OutputFile::write(path, [&](QIODevice& file) { write(image, file, formatOf(path), options); });
}

void PictureFile::write(const QImage& image, QIODevice& device, const QByteArray& format,
                        const PictureOptions& options) {
    requireKnown(format, QString::fromLatin1(format));
    if (image.isNull()) {
        throw std::runtime_error("the picture is empty");
    }
    if (format == "png") {
        Internal::PngEncoder(device, options.compression).write(image, options.dotsPerInch);
        return;
    }
    const bool isJpeg = format == "jpg" || format == "jpeg";
    QImage picture = isJpeg && image.hasAlphaChannel() ? onWhite(image) : image;
    if (options.dotsPerInch > 0) {
        const int dotsPerMeter = qRound(std::min(options.dotsPerInch, 1e6) / 0.0254);
        picture.setDotsPerMeterX(dotsPerMeter);
        picture.setDotsPerMeterY(dotsPerMeter);
    }
    QImageWriter writer(&device, format);
    writer.setQuality(options.quality);
    if (!writer.write(picture)) {
        throw std::runtime_error(
            QStringLiteral("the picture could not be written: %1").arg(writer.errorString()).toStdString());
    }
}

QByteArray PictureFile::encoded(const QImage& image, const QByteArray& format,
                                const PictureOptions& options) {
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    write(image, buffer, format, options);
    return buffer.data();
}

} // namespace Cartolith::Map::Output
