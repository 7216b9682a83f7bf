#pragma once

#include <Cartolith/Map/LayerSnapshot.h>
#include <Cartolith/Map/Raster/Stroke.h>
#include <Cartolith/Map/SymbolPainter.h>

#include <QColor>

#include <optional>

namespace Cartolith::Map::Internal {

/// What a style looks like, in pixels of the device: the same on a picture and as vectors.
struct SymbolLook {
    QColor fill;
    Raster::Stroke line; ///< also the outline of areas and markers
    std::optional<Raster::Stroke> casing;
    double markerSize = 0.0;
    QColor markerColor;
};

/// `pixels` are the device's for each of the style's.
SymbolLook symbolLook(const Core::Layers::GisLayerStyle& style, double pixels, const LineCasing& casing);

/// The picture of the view, and as much around it as the snapshot's widest symbol reaches in.
Core::Shapes::GisExtent extentWithSymbols(const LayerSnapshot& snapshot, const MapView& view);

} // namespace Cartolith::Map::Internal
