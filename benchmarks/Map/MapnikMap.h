#pragma once

#include <Cartolith/Core/Layers/GisLayerVector.h>
#include <Cartolith/Core/Shapes/GisExtent.h>

#include <memory>
#include <string>

namespace Bench {

/// A layer as a map of Mapnik's: its shapes and the field "name" in a shapefile of their own, which Mapnik
/// reads whenever it draws.
class MapnikMap {
public:
    /// Symbolizers as in Mapnik's XML.
    MapnikMap(const Cartolith::Core::Layers::GisLayerVector& layer, const std::string& symbolizers);
    ~MapnikMap();

    /// 1920 x 1080; the share of pixels that are not empty.
    double draw(const Cartolith::Core::Shapes::GisExtent& extent);

private:
    class Private;
    std::unique_ptr<Private> d;
};

} // namespace Bench
