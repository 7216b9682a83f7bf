#pragma once

#include <array>
#include <optional>

class OGRSpatialReference;

namespace Cartolith::Core::CoordinateSystems::Internal {

/// Where a coordinate system has a continuous image of the earth, as a region of a chart.
///
/// A chart is a net of longitudes `u` and latitudes `v`, in degrees, whose poles may lie anywhere: upright
/// with the system's central meridian in the middle, around the centre of an azimuthal projection, or along
/// the meridian of a transverse one. In it the region is a rectangle, cut open where the map is (the
/// antimeridian of the central meridian), or a cap around the chart's north pole. Either has one closed line
/// as its boundary; places on it are counted in degrees from 0 to perimeter().
class MapDomain {
public:
    struct Place {
        double u = 0.0;
        double v = 0.0;
    };

    /// Degrees (a tenth of a millimetre) within which a place counts as on the boundary.
    static constexpr double closeness = 1e-9;

    /// What PROJ's name and parameters of the projection say; for a projection not known here, the area of
    /// use and as much around it as has an image. Geographic systems are open at 180 degrees.
    static MapDomain of(const OGRSpatialReference& target);

    /// Longitude and latitude of the chart, in degrees of the system's own datum and prime meridian. With an
    /// upright chart u follows the longitude beyond 180 degrees; else it is from -180 to 180.
    Place toChart(double longitude, double latitude) const;
    Place fromChart(const Place& place) const;

    /// Whether u and v are longitude and latitude, moved.
    bool isUpright() const { return m_isUpright; }
    bool isCap() const { return m_isCap; }
    /// The bounds; of a cap, only the lower one of v counts.
    double uMin() const { return m_uMin; }
    double uMax() const { return m_uMax; }
    double vMin() const { return m_vMin; }
    double vMax() const { return m_vMax; }
    /// Where an upright rectangle is cut open: a longitude.
    std::optional<double> seam() const;

    /// Whether everything within that many degrees of a place lies inside for sure.
    bool surelyHolds(double longitude, double latitude, double radius) const;
    /// Whether the image near there is bent no more than a map commonly is.
    bool isFarFromEdge(double longitude, double latitude) const;

    double perimeter() const;
    /// The place of the boundary that is nearest to one near it.
    double boundaryAt(const Place& place) const;
    Place placeAt(double boundary) const;
    /// Whether a place is on the boundary of a rectangle, and whether two of those are on one side of it.
    bool isOnBoundary(const Place& place) const;
    bool areOnOneSide(const Place& a, const Place& b) const;
    /// The places between two of the boundary, with all corners, no more than some degrees apart; not the
    /// two.
    template <typename Visit>
    void walk(double from, double to, const Visit& visit) const;

private:
    MapDomain() = default;
    using Vector = std::array<double, 3>;
    static MapDomain upright(double middle, double vMin, double vMax);
    static MapDomain cap(double longitude, double latitude, double radius);
    static MapDomain transverse(double longitude, double reach);
    /// All around a meridian where the area is not known.
    static MapDomain aroundAreaOfUse(const OGRSpatialReference& target, double longitude);
    static Vector vectorOf(double longitude, double latitude);

    bool m_isUpright = true;
    bool m_isCap = false;
    double m_middle = 0.0;
    double m_uMin = -180.0;
    double m_uMax = 180.0;
    double m_vMin = -90.0;
    double m_vMax = 90.0;
    Vector m_first{1, 0, 0};
    Vector m_second{0, 1, 0};
    Vector m_pole{0, 0, 1};
};

template <typename Visit>
void MapDomain::walk(double from, double to, const Visit& visit) const {
    const double step = m_isCap ? 90.0 : 2.0 * perimeter();
    const double width = m_uMax - m_uMin;
    const double height = m_vMax - m_vMin;
    const bool isRising = to >= from;
    double at = from;
    for (;;) {
        // The next multiple of the step, or corner.
        double next = isRising ? at + step : at - step;
        if (!m_isCap) {
            for (int turn = -1; turn <= 2; ++turn) {
                for (const double corner : {0.0, width, width + height, 2 * width + height}) {
                    const double place = corner + turn * perimeter();
                    const bool isNext = isRising ? place > at && place < next : place < at && place > next;
                    next = isNext ? place : next;
                }
            }
        }
        if (isRising ? next >= to : next <= to) {
            return;
        }
        visit(next);
        at = next;
    }
}

} // namespace Cartolith::Core::CoordinateSystems::Internal
