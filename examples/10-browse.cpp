// Browsing a file of any size: a picture of everything, then windows across it, each read when it is looked
// at. Read 04-open-file first. Takes the file as its argument, and for the pictures a folder, if they are
// wanted.

#include <Cartolith/Core/Layers/GisLayerOgrOnDemand.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>

#include <QDir>
#include <QImage>
#include <QPainter>
#include <QPainterPath>

#include <cstdio>
#include <exception>

using namespace Cartolith::Core;

namespace {

constexpr int size = 600; // pixels

QImage drawn(const QList<Shapes::GisShape*>& shapes, const Shapes::GisExtent& window, double unitsPerPixel) {
    QImage picture(size, size, QImage::Format_RGB32);
    picture.fill(Qt::white);
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::darkGray);
    const auto place = [&](const Shapes::GisShapePoint& vertex) {
        return QPointF((vertex.x() - window.xMin()) / unitsPerPixel,
                       (window.yMax() - vertex.y()) / unitsPerPixel);
    };
    for (const Shapes::GisShape* shape : shapes) {
        if (const auto* point = dynamic_cast<const Shapes::GisShapePoint*>(shape)) {
            painter.drawEllipse(place(*point), 2.0, 2.0);
            continue;
        }
        const auto* polygon = dynamic_cast<const Shapes::GisShapePolygon*>(shape);
        const auto* line = dynamic_cast<const Shapes::GisShapePolyline*>(shape);
        QPainterPath path;
        for (const auto& part : polygon != nullptr ? polygon->parts() : line->parts()) {
            QPolygonF corners;
            for (const Shapes::GisShapePoint& vertex : part) {
                corners.append(place(vertex));
            }
            path.addPolygon(corners);
        }
        painter.setBrush(polygon != nullptr ? QBrush(QColor(0xD8, 0xE2, 0xC8)) : QBrush(Qt::NoBrush));
        painter.drawPath(path);
    }
    return picture;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2 && argc != 3) {
        std::fprintf(stderr, "usage: %s FILE [FOLDER]\n", argv[0]);
        return 2;
    }
    try {
        Layers::GisLayerOgrOnDemand layer(QString::fromLocal8Bit(argv[1]));
        layer.open();                      // reads the schema
        layer.setCacheBudget(64LL << 20U); // bytes
        layer.setFields(QStringList());    // no attribute is drawn

        const Shapes::GisExtent all = layer.extent();
        const double side = all.width() > all.height() ? all.width() : all.height();
        // From afar: the overviews of the file, if somebody has made them, else a sample.
        const auto seen = layer.queryPicture(all, side / size);
        std::printf("everything: %s\n", qPrintable(seen.text()));
        const auto save = [&](const QImage& picture, int number) {
            return argc == 2 ||
                   picture.save(
                       QDir(QString::fromLocal8Bit(argv[2])).filePath(QStringLiteral("%1.png").arg(number)));
        };
        bool isSaved = save(drawn(seen.shapes, all, side / size), 0);

        // From near: windows from west to east, each half over the one before, which the cache keeps.
        constexpr int windows = 8;
        const double width = side / windows;
        for (int i = 0; i < 2 * windows - 1; ++i) {
            const Shapes::GisExtent window(all.xMin() + i * width / 2, all.center().y() - width / 2,
                                           all.xMin() + i * width / 2 + width, all.center().y() + width / 2);
            const QList<Shapes::GisShape*> shapes = layer.query(window); // valid until the next one
            isSaved = save(drawn(shapes, window, width / size), i + 1) && isSaved;
            std::printf("window %2d: %6lld shapes%s, %.1f MB kept\n", i + 1,
                        static_cast<long long>(shapes.size()),
                        layer.lastReading() == Layers::GisLayerOgrOnDemand::Reading::Cut ? " of more" : "",
                        static_cast<double>(layer.cachedBytes()) / 1e6);
        }
        return isSaved ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
