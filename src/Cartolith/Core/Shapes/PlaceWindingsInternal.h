#pragma once

#include <Cartolith/Core/Shapes/GisShapePoint.h>

#include <QList>

#include <cstddef>
#include <utility>
#include <vector>

namespace Cartolith::Core::Shapes::Internal {

/// How often each of many rings goes round each of many places, handed on as changes from one place to the
/// next.
///
/// The places are halved again and again, and an edge that lies to the left of all places of a half, or to
/// the right, above or below, is done with for all of them at once. What counts is the line from a place to
/// the left. The cut goes along x, along y or along the edges, whichever leaves the fewest edges to both
/// halves: n log n for n edges and places where no cut goes across many edges; else a step for each place and
/// edge near it, at worst all. Memory is linear, times the logarithm.
class PlaceWindings {
public:
    struct Place {
        double x;
        double y;
    };

    /// What is asked and told.
    class Visitor {
    public:
        Visitor() = default;
        virtual ~Visitor() = default;
        Visitor(const Visitor&) = delete;
        Visitor& operator=(const Visitor&) = delete;

        /// Whether the edge, which crosses the horizontal line through the place, does so left of it.
        virtual bool isLeft(const GisShapePoint& a, const GisShapePoint& b, const Place& place) = 0;
        /// What the ring winds round the places to come is this much more, counterclockwise.
        virtual void change(int ring, int by) = 0;
        /// All changes for this place have been told.
        virtual void arrive(int place) = 0;
        /// So many edges were looked at. May throw, which ends the walk.
        virtual void look(qint64 edges) { (void)edges; }
    };

    /// Coordinates, those of places too, have to be finite and below 1e200. The ring, closed or not, must
    /// live as long as this.
    void addRing(const QList<GisShapePoint>& ring, int number);

    /// Each place once, in any order.
    void visit(const std::vector<Place>& places, Visitor& visitor) const;

private:
    struct Edge {
        const GisShapePoint* a;
        const GisShapePoint* b;
        double low;
        double high;
        double slope; ///< in x for a step in y
        int ring;

        /// What a place to the right of it is gone round more, counterclockwise.
        int direction() const noexcept { return b->y() > a->y() ? -1 : 1; }
    };
    class Walk;

    std::vector<Edge> m_edges; ///< without horizontal ones; those of a ring follow each other
    double m_largest = 0.0;    ///< coordinate
};

} // namespace Cartolith::Core::Shapes::Internal
