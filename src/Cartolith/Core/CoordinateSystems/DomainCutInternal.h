#pragma once

#include <Cartolith/Core/CoordinateSystems/MapDomainInternal.h>

#include <functional>
#include <limits>
#include <optional>
#include <span>
#include <vector>

namespace Cartolith::Core::CoordinateSystems::Internal {

/// Cuts lines and rings along the boundary of a MapDomain.
///
/// What is left of a path inside the domain are chains, whose ends lie on the boundary, in the order of their
/// crossings. The boundary of an area alternates there: of the stretches between neighbouring ends, every
/// other one lies inside the area. So one question, whether some place of the boundary is inside, tells how
/// all chains are joined to rings; their number of ends is even, however the crossings came out, so every
/// ring closes. It takes no orientation of rings and no nesting.
class DomainCut {
public:
    struct Vertex {
        double x = 0.0; ///< source
        double y = 0.0;
    };
    struct Node {
        Vertex source; ///< not of those between two chains
        MapDomain::Place place;
        double boundary = std::numeric_limits<double>::quiet_NaN(); ///< its number, where it lies there
        bool alongBoundary =
            false; ///< the edge that ends here, which is straight there and not in the source
    };
    using Path = std::vector<Node>;

    /// The chart's place of a vertex, none where it has no longitude and latitude. Upright charts are taken
    /// for linear, and places as continuous, where `isLinear`.
    using ToChart = std::function<std::optional<MapDomain::Place>(const Vertex&)>;
    DomainCut(const MapDomain& domain, bool isLinear, double stepsPerUnit, ToChart toChart);

    /// A ring is closed: its last vertex is the first one, or the first one moved by full turns. Vertices
    /// have places.
    void add(std::span<const Vertex> vertices, bool isRing);

    /// Whether something crossed the boundary.
    bool isCrossed() const { return m_isCrossed; }
    /// Whether nothing lies inside.
    bool isEmpty() const { return m_chains.empty() && m_rings.empty(); }
    /// The chains; whole lines are chains, too.
    std::vector<Path> takeLines();
    /// Rings, whose last node is the first one again, maybe some turns on. `isInside` says whether a place on
    /// the boundary is in the area.
    std::vector<Path> takeRings(const std::function<bool(const MapDomain::Place&)>& isInside);
    /// The whole boundary as a ring.
    Path wholeBoundary() const;

private:
    class Walk;
    struct Event {
        double at = 0.0;
        MapDomain::Place place;
    };

    MapDomain::Place placeOf(const Vertex& vertex, const MapDomain::Place& before) const;
    int copyOf(const MapDomain::Place& place, int preferred) const;
    std::optional<double> beyond(const Vertex& a, const Vertex& b, const MapDomain::Place& from,
                                 const MapDomain::Place& to, bool isU, double line) const;
    std::vector<Event> events(const Vertex& a, const Vertex& b, const MapDomain::Place& from,
                              const MapDomain::Place& to) const;
    void refine(Event& event, const Vertex& a, const Vertex& b, double before, double after, bool isU,
                double line) const;
    void walk(Path& path, double from, double to) const;

    const MapDomain& m_domain;
    bool m_isLinear;
    double m_stepsPerUnit;
    ToChart m_toChart;
    std::vector<Path> m_chains;
    std::vector<Path> m_rings;
    bool m_isCrossed = false;
};

} // namespace Cartolith::Core::CoordinateSystems::Internal
