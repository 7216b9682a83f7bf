#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Routing/RoutingPlace.h>

#include <QList>

#include <functional>
#include <vector>

namespace Cartolith::Core::Routing {

class RoutingGraph;

/// Finds the place along the edges of a graph that is nearest to a point: where an address meets its street.
///
/// A snapshot of the edges' geometries; the positions it answers with are right while the graph is
/// unchanged. Segments are left out when a coordinate, or the sum of their four, is not finite. Built in n
/// log n, searched in about log n for n segments: a packed tree of boxes over the segments, sorted along a
/// space-filling curve. Const operations may run side by side.
class CARTOLITH_CORE_EXPORT RoutingEdgeIndex {
public:
    /// The index is as it was when memory runs out.
    void build(const RoutingGraph& graph);

    /// Not found when nothing lies within the distance, inclusive, nor for one that is negative or NaN. At
    /// equal distance the first edge in the list of edges counts, and on it the first place.
    RoutingPlace nearestEdge(const RoutingPoint& point,
                             double maxDistance = std::numeric_limits<double>::infinity()) const;

    /// The same among the edges, by their positions, that the caller accepts. `accepts` is not null.
    RoutingPlace nearestEdge(const RoutingPoint& point, double maxDistance,
                             const std::function<bool(int edge)>& accepts) const;

    /// The nearest place on every edge that comes within the distance, in the order of the edges.
    QList<RoutingPlace> edgesWithin(const RoutingPoint& point, double distance) const;

private:
    struct Segment {
        RoutingPoint a;
        RoutingPoint b;
        int edge;
        int number; // within the edge
    };
    struct Box {
        RoutingPoint min;
        RoutingPoint max;
    };
    struct Hit {
        double distance;
        double along; // 0 to 1 on the segment
        RoutingPoint position;
        const Segment* segment;
    };

    void fill(const RoutingGraph& graph);
    static Hit measure(const Segment& segment, const RoutingPoint& point);
    static double distanceTo(const Box& box, const RoutingPoint& point);
    RoutingPlace placeOf(const Hit& hit) const;
    // Calls visit(hit) for segments whose box is at most limit() away, the nearer boxes first.
    template <typename Limit, typename Visit>
    void search(const RoutingPoint& point, Limit limit, Visit visit) const;

    std::vector<Segment> m_segments;
    std::vector<std::vector<Box>> m_levels; // over the segments first, a single box last
    std::vector<QList<RoutingPoint>> m_lines;
};

} // namespace Cartolith::Core::Routing
