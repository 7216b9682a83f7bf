#include <Cartolith/Map/SymbolLookInternal.h>

#include <algorithm>

using Cartolith::Core::Layers::GisLayerStyle;

namespace Cartolith::Map::Internal {

namespace {

/// Sizes may come from a file: no size of a picture is beyond this, and NaN is none.
double sane(double size) {
    constexpr double widest = 10000.0;
    return size > 0.0 ? std::min(size, widest) : 0.0;
}

} // namespace

SymbolLook symbolLook(const GisLayerStyle& style, double pixels, const LineCasing& casing) {
    constexpr double beside = 0.8; // pixels of a casing on each side
    SymbolLook look;
    look.fill = QColor(style.fillColor());
    look.fill.setAlpha(look.fill.alpha() * std::clamp(style.fillOpacity(), 0, 255) / 255);
    look.line.color = QColor(style.lineColor());
    look.line.width = sane(style.lineWidth()) * pixels;
    if (casing.lines.contains(style.lineColor())) {
        look.casing = look.line;
        look.casing->color = casing.colour;
        look.casing->width += 2.0 * beside * pixels;
    }
    look.markerSize = sane(style.pointSize()) * pixels;
    look.markerColor = QColor(style.pointColor());
    return look;
}

Core::Shapes::GisExtent extentWithSymbols(const LayerSnapshot& snapshot, const MapView& view) {
    double reach = 1.0;
    for (const GisLayerStyle& style : snapshot.styles()) {
        reach = std::max(reach, sane(style.pointSize()) + 4.0 * sane(style.lineWidth()) + 2.0);
    }
    const double margin = reach * view.devicePixelRatio() * view.unitsPerPixel();
    return view.pictureExtent().inflate(margin, margin);
}

} // namespace Cartolith::Map::Internal
