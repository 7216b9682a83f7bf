#pragma once

#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Shapes/RingBoxTreeInternal.h>

#include <QList>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

namespace Cartolith::Core::Shapes::Internal {

/// Whether the edge crosses the horizontal line just above y.
inline bool crossesLine(const GisShapePoint& a, const GisShapePoint& b, double y) noexcept {
    return (a.y() > y) != (b.y() > y);
}

/// Where it does. Never NaN, which could not be sorted.
inline double crossingWithLine(const GisShapePoint& a, const GisShapePoint& b, double y) noexcept {
    const double t = (y - a.y()) / (b.y() - a.y());
    return std::lerp(a.x(), b.x(), t > 0.0 ? std::min(t, 1.0) : 0.0);
}

/// The edges of a ring, closed or not, by height: those at one height are found without a look at all others.
/// The ring must live as long as this.
class RingEdges {
public:
    explicit RingEdges(const QList<GisShapePoint>& ring) : m_ring(ring) {}

    const QList<GisShapePoint>& ring() const noexcept { return m_ring; }

    /// Calls `visit(a, b)` for each edge that reaches the line at y. In time linear in the ring when asked
    /// the first times, then in the edges found and their logarithm.
    template <typename Visit>
    void visitAt(double y, Visit visit) {
        if (m_levels.empty() && m_ring.size() > worthIndexing && ++m_visits > visitsBefore) {
            makeIndex();
        }
        if (m_levels.empty()) {
            visitRun(0, m_ring.size(), y, visit);
        } else {
            descend(m_levels.size() - 1, 0, y, visit);
        }
    }

    /// 1 where the ring goes round the place, -1 where it does not, 0 on the ring. Exact; the scale is a
    /// power of two that brings the coordinates to a size whose products neither overflow nor underflow.
    int side(double x, double y, double scale);

    /// A place where a line crosses the ring, 1 where the ring runs up, -1 where it runs down.
    using Crossing = std::pair<double, int>;
    /// In order.
    const std::vector<Crossing>& crossingsAt(double y);

    /// What the ring goes round on a line: from, to, from, to, in order.
    std::vector<double> chordsAt(double y);

private:
    static constexpr qsizetype worthIndexing = 64;
    static constexpr int visitsBefore = 8;
    static constexpr qsizetype fanOut = 8;

    struct Range {
        double low;
        double high;
    };

    void makeIndex();

    template <typename Visit>
    void visitRun(qsizetype first, qsizetype end, double y, Visit& visit) const {
        const GisShapePoint* a = first == 0 ? &m_ring.constLast() : &m_ring[first - 1];
        for (qsizetype i = first; i < end; ++i) {
            const GisShapePoint& b = m_ring[i];
            if (!(a->y() > y && b.y() > y) && !(a->y() < y && b.y() < y)) {
                visit(*a, b);
            }
            a = &b;
        }
    }

    /// Level 0 has the runs of edges.
    template <typename Visit>
    void descend(std::size_t level, qsizetype index, double y, Visit& visit) const {
        const Range& range = m_levels[level][static_cast<std::size_t>(index)];
        if (range.low > y || range.high < y) {
            return;
        }
        const qsizetype below =
            level == 0 ? m_ring.size() : static_cast<qsizetype>(m_levels[level - 1].size());
        const qsizetype first = index * fanOut;
        const qsizetype end = std::min(first + fanOut, below);
        if (level == 0) {
            visitRun(first, end, y, visit);
            return;
        }
        for (qsizetype i = first; i < end; ++i) {
            descend(level - 1, i, y, visit);
        }
    }

    const QList<GisShapePoint>& m_ring;
    int m_visits = 0;
    std::vector<std::vector<Range>> m_levels; ///< the topmost has one
    std::vector<Crossing> m_crossings;
};

/// Whether a ring lies in another: with most of its chords on a few horizontal lines. So rounding that moves
/// a vertex across the other ring does not count. Where a chord lies in part in the other ring, so that the
/// rings overlap, 64 more lines are measured, which tells half of an area from a few hundredths more or less.
/// Where the ring is so thin that rounding changes the chords themselves, its vertices decide, by exact
/// orientation.
class RingChords {
public:
    /// The scale, a power of two, brings the coordinates to a size whose products neither overflow nor
    /// underflow. The ring must live as long as this.
    RingChords(const QList<GisShapePoint>& ring, double scale);

    /// No coordinate of either ring is farther than `largest` from 0.
    bool lieIn(RingEdges& outer, double largest);

    /// True when the chords decide: then the middle of one is in the box of the other ring, or this one is
    /// not in that ring.
    bool areLong(double largest) const noexcept {
        // A crossing is wrong by some 2^-51 of the largest coordinate, and there may be many on a line.
        return m_length > 0x1p-36 * largest;
    }
    /// Around the middles of all chords, or of the ring where they do not decide.
    RingBox middles(double largest) const;
    /// That of the longest one halfway up, of the longest of all where that one is next to nothing.
    GisShapePoint middle() const;

private:
    struct Line {
        double y;
        std::vector<double> chords; ///< their ends
        double length;
    };
    static constexpr int few = 7;

    /// One of many.
    Line line(RingEdges& edges, int number, int many) const;
    bool mostLiesIn(RingEdges& outer);
    bool verticesLieIn(RingEdges& outer) const;

    const QList<GisShapePoint>& m_ring;
    double m_scale;
    double m_bottom;
    double m_top;
    std::array<Line, few> m_lines;
    double m_length = 0.0;
    std::vector<Line> m_manyLines; ///< once they are asked
    double m_manyLength = 0.0;
};

} // namespace Cartolith::Core::Shapes::Internal
