#include <Cartolith/Map/Drawing/PictureBlendInternal.h>
#include <Cartolith/Map/Drawing/PictureMemoryInternal.h>
#include <Cartolith/Map/Raster/BlendInternal.h>
#include <Cartolith/Map/Raster/WholeInternal.h>

#include <QTransform>

namespace Cartolith::Map::Internal {

QPainter::CompositionMode compositionMode(LayerBlend blend) {
    switch (blend) {
    case LayerBlend::Multiply:
        return QPainter::CompositionMode_Multiply;
    case LayerBlend::Screen:
        return QPainter::CompositionMode_Screen;
    case LayerBlend::Overlay:
        return QPainter::CompositionMode_Overlay;
    case LayerBlend::Darken:
        return QPainter::CompositionMode_Darken;
    case LayerBlend::Lighten:
        return QPainter::CompositionMode_Lighten;
    case LayerBlend::Normal:
        break;
    }
    return QPainter::CompositionMode_SourceOver;
}

void layOver(QImage& below, const QImage& picture, double opacity, LayerBlend blend) {
    if (picture.isNull() || !(opacity > 0.0)) {
        return;
    }
    std::uint32_t* const pixels = ownPixels(below);
    if (blend != LayerBlend::Normal) {
        QPainter painter(&below);
        painter.setCompositionMode(compositionMode(blend));
        painter.setOpacity(opacity);
        painter.drawImage(0, 0, picture);
        return;
    }
    const auto share = static_cast<std::uint32_t>(Raster::Internal::levelOf(opacity));
    const int width = below.width();
    for (int row = 0; row < below.height(); ++row) {
        std::uint32_t* const to = pixels + static_cast<std::ptrdiff_t>(row) * width; // no gap between rows
        const auto* const from = reinterpret_cast<const std::uint32_t*>(picture.constScanLine(row));
        if (share == 255) {
            // Without conditions, so that the compiler takes several pixels at a time.
            for (int i = 0; i < width; ++i) {
                to[i] = from[i] + Raster::Internal::scaled(to[i], 255U - (from[i] >> 24));
            }
            continue;
        }
        for (int i = 0; i < width; ++i) {
            Raster::Internal::blendOver(to[i], Raster::Internal::scaled(from[i], share));
        }
    }
}

QImage placed(const QImage& picture, const Core::Shapes::GisExtent& extent, const MapView& view) {
    const QRect frame = view.pictureFrame();
    const Core::Shapes::GisExtent shown = view.pictureExtent();
    const bool isOfAll = extent.xMin() == shown.xMin() && extent.yMin() == shown.yMin() &&
                         extent.xMax() == shown.xMax() && extent.yMax() == shown.yMax();
    if (isOfAll && picture.size() == frame.size() && view.rotation() == 0.0) {
        return orNoMemory(picture.convertToFormat(QImage::Format_ARGB32_Premultiplied), frame.size());
    }
    QImage result = emptyPicture(frame.size(), Qt::transparent);
    const QPointF topLeft = view.toPixel(extent.xMin(), extent.yMax()) - frame.topLeft();
    const QPointF right =
        (view.toPixel(extent.xMax(), extent.yMax()) - frame.topLeft() - topLeft) / picture.width();
    const QPointF down =
        (view.toPixel(extent.xMin(), extent.yMin()) - frame.topLeft() - topLeft) / picture.height();
    QPainter painter(&result);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.setTransform({right.x(), right.y(), down.x(), down.y(), topLeft.x(), topLeft.y()});
    painter.drawImage(0, 0, picture);
    return result;
}

} // namespace Cartolith::Map::Internal
