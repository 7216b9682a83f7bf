#include <Cartolith/Core/CoordinateSystems/CuttingTransformer.h>
#include <Cartolith/Core/Layers/GisLayer.h>
#include <Cartolith/Map/MapView.h>
#include <Cartolith/Map/Projection.h>
#include <Cartolith/Map/Snapshot/BendingInternal.h>

#include <algorithm>

using namespace Cartolith::Core;

namespace Cartolith::Map::Internal {

namespace {

constexpr double halfPixel = 0.5;

} // namespace

double Bending::ofAll(const Layers::GisLayer& layer, const CoordinateSystems::CoordinateSystem& mapSystem,
                      double pixels) {
    const Shapes::GisExtent onMap =
        Projection::meshIn(layer.extent(), *layer.coordinateSystem(), mapSystem).extent;
    const double side = std::max(onMap.width(), onMap.height());
    return side > 0.0 ? halfPixel * side / pixels : std::numeric_limits<double>::infinity();
}

Bending Bending::within(const Shapes::GisExtent& part, double unitsPerPixel, double ofAll) {
    const double fine = halfPixel * unitsPerPixel;
    return fine < ofAll ? Bending{ofAll, part, fine} : Bending{fine, {}, 0.0};
}

Bending Bending::of(const Layers::GisLayer& layer, const MapView& view,
                    const CoordinateSystems::CoordinateSystem& mapSystem) {
    if (!view.isUsable()) {
        constexpr double large = 2000.0; // pixels
        return {ofAll(layer, mapSystem, large), {}, 0.0};
    }
    const Shapes::GisExtent seen = view.visibleExtent();
    const double around = std::max(seen.width(), seen.height());
    return within(seen.inflate(around, around), view.unitsPerPixel(), ofAll(layer, mapSystem));
}

bool Bending::isFineEnough(const MapView& view) const {
    constexpr double coarsest = 2.0; // pixels
    const double most = coarsest * view.unitsPerPixel();
    const Shapes::GisExtent seen = view.visibleExtent();
    const bool isInPart = seen.xMin() >= part.xMin() && seen.xMax() <= part.xMax() &&
                          seen.yMin() >= part.yMin() && seen.yMax() <= part.yMax();
    return !(tolerance > most) || (toleranceThere > 0.0 && toleranceThere <= most && isInPart);
}

void Bending::applyTo(CoordinateSystems::CuttingTransformer& cutting) const {
    cutting.setTolerance(tolerance);
    cutting.setFinerWithin(part, toleranceThere > 0.0 ? toleranceThere : tolerance);
}

} // namespace Cartolith::Map::Internal
