#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/Layers/GisFeatureRequest.h>

#include <cmath>

namespace Cartolith::Core::Layers {

double GisFeatureRequest::toleranceForScale(double denominator,
                                            const CoordinateSystems::CoordinateSystem& system,
                                            double pixelsPerInch) {
    constexpr double metersPerInch = 0.0254;
    constexpr double metersPerDegree = 6378137.0 * 3.14159265358979323846 / 180.0;
    const double tolerance =
        0.5 * denominator * metersPerInch / pixelsPerInch / system.metersPerUnit().value_or(metersPerDegree);
    return std::isfinite(tolerance) && tolerance > 0.0 ? tolerance : 0.0;
}

} // namespace Cartolith::Core::Layers
