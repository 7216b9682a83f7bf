#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateTransformer.h>
#include <Cartolith/Map/GroundScale.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <stdexcept>
#include <utility>

namespace Cartolith::Map {

using Core::CoordinateSystems::CoordinateSystem;
using Core::CoordinateSystems::CoordinateSystemFactory;
using Core::CoordinateSystems::CoordinateTransformer;
using Core::Shapes::GisShapePoint;

namespace {

constexpr double radiansPerDegree = std::numbers::pi / 180.0;

/// The distance of two places that are close together, in degrees, on WGS 84: the two radii of curvature in
/// their middle make a plane of the ground there.
double shortDistance(const GisShapePoint& a, const GisShapePoint& b) {
    constexpr double semiMajor = 6378137.0;
    constexpr double eccentricitySquared = 0.0066943799901413165;
    const double latitude = (a.y() + b.y()) * 0.5 * radiansPerDegree;
    const double sine = std::sin(latitude);
    const double w = std::sqrt(1.0 - eccentricitySquared * sine * sine);
    const double acrossMeridian = semiMajor / w;
    const double alongMeridian = semiMajor * (1.0 - eccentricitySquared) / (w * w * w);
    const double east =
        std::remainder(b.x() - a.x(), 360.0) * radiansPerDegree * acrossMeridian * std::cos(latitude);
    const double north = (b.y() - a.y()) * radiansPerDegree * alongMeridian;
    return std::hypot(east, north);
}

} // namespace

GroundScale::GroundScale(std::shared_ptr<const CoordinateSystem> system) : m_system(std::move(system)) {
    if (m_system != nullptr) {
        const auto degrees = CoordinateSystemFactory::fromEpsg(4326);
        if (degrees == nullptr) {
            throw std::runtime_error("PROJ does not know EPSG:4326");
        }
        m_toDegrees = std::make_unique<CoordinateTransformer>(*m_system, *degrees);
    }
}

GroundScale::~GroundScale() = default;
GroundScale::GroundScale(GroundScale&& other) noexcept = default;
GroundScale& GroundScale::operator=(GroundScale&& other) noexcept = default;

double GroundScale::metersPerUnitAt(double x, double y) const {
    return metersPerUnitAlong(x, y, 0.0);
}

double GroundScale::metersPerUnitAlong(double x, double y, double degrees) const {
    if (m_toDegrees == nullptr) {
        return std::isfinite(x) && std::isfinite(y) && std::isfinite(degrees)
                   ? 1.0
                   : std::numeric_limits<double>::quiet_NaN();
    }
    // Some 500 metres to both sides: what PROJ rounds is a millionth of that, and so is the curvature.
    constexpr double stepInDegrees = 0.005;
    constexpr double stepInMeters = 500.0;
    const double step =
        m_system->isGeographic() ? stepInDegrees : stepInMeters / m_system->metersPerUnit().value_or(1.0);
    const auto along = [&](double dx, double dy) {
        try {
            return shortDistance(m_toDegrees->transform({x - dx, y - dy}),
                                 m_toDegrees->transform({x + dx, y + dy})) /
                   (2.0 * step);
        } catch (const std::runtime_error&) {
            return std::numeric_limits<double>::quiet_NaN();
        }
    };
    const double right = step * std::cos(degrees * radiansPerDegree);
    const double up = step * std::sin(degrees * radiansPerDegree);
    const double there = along(right, up);
    constexpr double leadsNowhere = 1e-6; // of a step
    return there * step > stepInMeters * leadsNowhere ? there : along(-up, right);
}

} // namespace Cartolith::Map
