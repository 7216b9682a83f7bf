#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Map/MapPreparation.h>
#include <Cartolith/Map/MapScene.h>
#include <Cartolith/Map/Output/DeviceInternal.h>
#include <Cartolith/Map/Output/OutputFile.h>
#include <Cartolith/Map/Output/PdfGeoreference.h>
#include <Cartolith/Map/Output/PdfTargetInternal.h>
#include <Cartolith/Map/Output/PictureFile.h>
#include <Cartolith/Map/Output/SvgPaintingInternal.h>
#include <Cartolith/Map/Output/SvgTargetInternal.h>
#include <Cartolith/Map/Output/VectorDrawingInternal.h>
#include <Cartolith/Map/Output/VectorFile.h>

#include <QBuffer>
#include <QPainter>
#include <QPdfWriter>

#include <stdexcept>

namespace Cartolith::Map::Output {

namespace {

/// Thrown to leave the file as it was.
struct Cancelled {};

/// Pixels of the sheet.
QSizeF sheetOf(const MapDrawing& drawing, const VectorOptions& options) {
    const QPointF end = drawing.view.frame().bottomRight();
    return options.page ? options.page->sizeInPixels() : QSizeF(end.x(), end.y());
}

void drawMap(const MapDrawing& drawing, Internal::VectorTarget& target, const VectorOptions& options,
             VectorReport& report) {
    Internal::VectorDrawing vectors(drawing, target, options.progress);
    const bool isDone = vectors.draw();
    report.pictures = vectors.pictures();
    if (!isDone) {
        throw Cancelled();
    }
}

void writeSvg(const MapDrawing& drawing, QIODevice& device, const VectorOptions& options,
              VectorReport& report) {
    constexpr int decimals = 2;
    SvgWriter svg(device, {.size = sheetOf(drawing, options),
                           .dotsPerInch = drawing.view.dotsPerInch(),
                           .title = options.title,
                           .decimals = decimals});
    const QRectF frame = drawing.view.frame();
    Internal::paintSvg(svg, sheetOf(drawing, options), [&](QPainter& painter) {
        if (options.below) {
            options.below(painter);
        }
        painter.fillRect(frame, drawing.options.background);
    });
    Internal::SvgTarget target(svg, frame, decimals);
    drawMap(drawing, target, options, report);
    if (options.above) {
        Internal::paintSvg(svg, sheetOf(drawing, options), options.above);
    }
    svg.finish();
}

QByteArray pdfOf(const MapDrawing& drawing, const VectorOptions& options, VectorReport& report) {
    PageSetup page;
    if (options.page) {
        page = *options.page;
    } else {
        page.dotsPerInch = drawing.view.dotsPerInch();
        page.size = sheetOf(drawing, options) * (25.4 / page.dotsPerInch);
    }
    constexpr int steps = Internal::PdfTarget::steps;
    page.dotsPerInch *= steps;
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    const QRectF frame = drawing.view.frame();
    Internal::PdfForms forms(QRectF(frame.topLeft() * steps, frame.size() * steps));
    {
        QPdfWriter writer(&buffer);
        page.apply(writer);
        writer.setTitle(options.title);
        writer.setCreator(QStringLiteral("Cartolith"));
        QPainter painter(&writer);
        painter.scale(steps, steps);
        if (options.below) {
            painter.save();
            options.below(painter);
            painter.restore();
        }
        painter.fillRect(frame, drawing.options.background);
        Internal::PdfTarget target(painter, frame, forms);
        drawMap(drawing, target, options, report);
        if (options.above) {
            options.above(painter);
        }
        target.drawMarkers();
    }
    QByteArray pdf = forms.isEmpty() ? buffer.data() : forms.applied(buffer.data());
    if (options.isGeoreferenced && drawing.system != nullptr) {
        try {
            pdf += PdfGeoreference::update(pdf, drawing.view, *drawing.system);
        } catch (const std::runtime_error&) { // the map has no place on earth
        }
    }
    return pdf;
}

} // namespace

bool VectorFile::isFormat(const QString& path) {
    const QByteArray format = PictureFile::formatOf(path);
    return format == "svg" || format == "pdf";
}

VectorReport VectorFile::save(const MapDrawing& drawing, const QString& path, const VectorOptions& options) {
    if (!isFormat(path)) {
        throw std::invalid_argument("a file of vectors ends with .svg or .pdf");
    }
    if (!drawing.view.isUsable()) {
        throw std::invalid_argument("the view cannot be used");
    }
    VectorReport report;
    try {
        OutputFile::write(path, [&](QIODevice& file) {
            if (PictureFile::formatOf(path) == "svg") {
                writeSvg(drawing, file, options, report);
            } else {
                Internal::writeAll(file, pdfOf(drawing, options, report));
            }
        });
        report.isComplete = true;
    } catch (const Cancelled&) {
    }
    return report;
}

VectorReport VectorFile::save(MapScene& scene, const MapView& view, const QString& path,
                              const VectorOptions& options) {
    MapPreparation preparation(scene, view);
    while (!preparation.step(std::chrono::hours(1))) {
    }
    VectorReport report = save(preparation.drawing(), path, options);
    report.problems = preparation.problems();
    return report;
}

} // namespace Cartolith::Map::Output
