#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateTransformer.h>
#include <Cartolith/Core/Layers/GisLayerOgrOnDemand.h>
#include <Cartolith/Core/Layers/GisVectorOverviews.h>
#include <Cartolith/Map/Projection.h>
#include <Cartolith/Map/SmallestPixel.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>

using namespace Cartolith::Core;
using CoordinateSystems::CoordinateSystem;

namespace Cartolith::Map {

double smallestPixel(const Layers::GisVectorOverviews& overviews, QSize size,
                     const CoordinateSystem* mapSystem) {
    const Shapes::GisExtent& all = overviews.extent();
    const double own = std::max(all.width() / size.width(), all.height() / size.height());
    if (mapSystem == nullptr) {
        return own;
    }
    Layers::GisLayerOgrOnDemand source(overviews.path(), overviews.levels().constLast().tableName);
    source.open(); // reads no feature
    if (!overviews.hasCoordinateSystem() || source.coordinateSystem() == nullptr) {
        return std::numeric_limits<double>::quiet_NaN();
    }
    if (Projection::isIn(source, *mapSystem)) {
        return own;
    }
    // What a small step is on the map, at places all over it.
    const CoordinateSystems::CoordinateTransformer transformer(*source.coordinateSystem(), *mapSystem);
    constexpr int places = 16;
    const double step = std::max(all.width(), all.height()) * 1e-6;
    Shapes::GisExtent onMap;
    double longest = 0.0;
    for (int i = 0; i <= places * (places + 2); ++i) {
        const int row = i / (places + 1);
        const double x = all.xMin() + all.width() * (i % (places + 1)) / places;
        const double y = all.yMin() + all.height() * row / places;
        try {
            const auto here = transformer.transform({x, y});
            const auto east =
                transformer.transform({x + (2 * x < all.xMin() + all.xMax() ? step : -step), y});
            const auto north =
                transformer.transform({x, y + (2 * y < all.yMin() + all.yMax() ? step : -step)});
            onMap = onMap.expand(here.extent());
            longest = std::max({longest, std::hypot(east.x() - here.x(), east.y() - here.y()),
                                std::hypot(north.x() - here.x(), north.y() - here.y())});
        } catch (const std::runtime_error&) { // no place on the map
            continue;
        }
    }
    return std::max(onMap.width() / size.width(), onMap.height() / size.height()) * step / longest;
}

} // namespace Cartolith::Map
