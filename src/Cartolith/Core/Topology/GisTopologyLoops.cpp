#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Core/Topology/CrossingsInternal.h>
#include <Cartolith/Core/Topology/RingMeasuresInternal.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <list>
#include <utility>

namespace Cartolith::Core::Topology {

using Internal::CrossingSearch;
using Internal::isBefore;
using Internal::SegmentList;
using Internal::SegmentPart;
using Shapes::GisShape;
using Shapes::GisShapePoint;

namespace {

/// Takes the loops out of one line or ring on a walk along it: to come back to a place on the way so far is
/// to close a loop, which is then no longer part of the way. Keeps the way and the loops, not the meetings.
class LoopWalk {
public:
    LoopWalk(const SegmentPart& part, int number, CrossingSearch& crossings, double minArea)
        : m_part(part), m_number(number), m_minArea(minArea),
          m_vertexCount(static_cast<int>(part.vertices.size()) - (part.isClosed ? 1 : 0)) {
        walk(crossings);
        if (part.isClosed && !m_loops.isEmpty()) {
            const auto largest =
                std::max_element(m_loops.cbegin(), m_loops.cend(),
                                 [](const GisLoop& a, const GisLoop& b) { return a.area < b.area; });
            if (largest->area > areaOf(m_way.cbegin())) {
                // The walk began on a loop: begin on the ring instead.
                m_after = GisBoundaryPosition(largest->start);
                walk(crossings);
            }
        }
    }

    const QList<GisLoop>& loops() const { return m_loops; }

    /// True when a loop was smaller than the minimum.
    bool hasRemoved() const { return m_hasRemoved; }

    /// What is left then. A ring starts with the first of its vertices that is left, and is closed.
    QList<GisShapePoint> rest() const {
        std::list<Kept> kept;
        for (const Stop& stop : m_way) {
            stop.appendTo(kept);
        }
        if (m_part.isClosed && !kept.empty()) {
            const auto first = std::min_element(kept.begin(), kept.end(), [](const Kept& a, const Kept& b) {
                return static_cast<unsigned>(a.vertex) < static_cast<unsigned>(b.vertex); // -1 last
            });
            kept.splice(kept.end(), kept, kept.begin(), first);
            kept.push_back(kept.front());
        }
        QList<GisShapePoint> points;
        for (const Kept& point : kept) {
            points.append(point.point);
        }
        return points;
    }

private:
    struct Kept {
        GisShapePoint point;
        int vertex; ///< -1 for a new one
    };
    /// A place on the way round: a ring need not be walked from its first vertex.
    struct Moment {
        bool isSecondHalf;
        GisBoundaryPosition at;

        bool isBefore(const Moment& other) const {
            return isSecondHalf != other.isSecondHalf ? other.isSecondHalf : Internal::isBefore(at, other.at);
        }
    };
    /// A vertex on the way, or a place where loops hang.
    struct Stop {
        GisShapePoint point;
        int vertex; ///< -1 for a place
        Moment from;
        Moment to;             ///< where the way goes on
        bool isCut = false;    ///< a loop was removed here
        double largest = 0.0;  ///< of the loops that hang here, with those that hang on them
        std::list<Kept> loops; ///< those that stay

        void appendTo(std::list<Kept>& kept) const {
            // A place at a vertex follows that vertex.
            if (vertex >= 0 || (isCut && from.at.fraction > 0.0)) {
                kept.push_back({point, vertex});
            }
            kept.insert(kept.end(), loops.begin(), loops.end());
        }
    };
    using Way = std::vector<Stop>;

    /// The last vertex of a line is a vertex like any other.
    static GisBoundaryPosition ofVertex(const GisBoundaryPosition& at) {
        return at.fraction >= 1.0 ? GisBoundaryPosition{at.part, at.segment + 1, 0.0} : at;
    }

    Moment momentOf(const GisBoundaryPosition& at) const {
        return {m_after.has_value() && !isBefore(*m_after, at), at};
    }

    /// Once round a ring, or from one end of a line to the other.
    void walk(CrossingSearch& crossings) {
        m_loops.clear();
        m_way.clear();
        m_hasRemoved = false;
        m_isSecondHalf = false;
        m_nextVertex = m_after.has_value() ? m_after->segment + 1 : 0;
        crossings.visitPassages(m_number, m_after, [this](const CrossingSearch::Passage& passage) {
            const Moment now = momentOf(ofVertex(passage.at));
            takeVerticesTo(now.isSecondHalf, now.at.segment + 1);
            const Moment before = momentOf(ofVertex(passage.other));
            if (before.isBefore(now)) {
                comeBackTo(before, now, passage.point);
            }
        });
        takeVerticesTo(m_after.has_value(), m_after.has_value() ? m_after->segment + 1 : m_vertexCount);
    }

    void takeVerticesTo(bool isSecondHalf, int end) {
        const auto take = [this](int last) {
            for (; m_nextVertex < std::min(last, m_vertexCount); ++m_nextVertex) {
                const Moment moment{m_isSecondHalf, {m_number, m_nextVertex, 0.0}};
                m_way.push_back(
                    {m_part.vertices[m_nextVertex], m_nextVertex, moment, moment, false, 0.0, {}});
            }
        };
        if (isSecondHalf && !m_isSecondHalf) {
            take(m_vertexCount);
            m_isSecondHalf = true;
            m_nextVertex = 0;
        }
        take(end);
    }

    double areaOf(Way::const_iterator from) const {
        return std::fabs(Internal::signedArea(pointsFrom(from)));
    }

    QList<GisShapePoint> pointsFrom(Way::const_iterator from) const {
        QList<GisShapePoint> points;
        points.reserve(m_way.cend() - from + 1);
        std::transform(from, m_way.cend(), std::back_inserter(points),
                       [](const Stop& stop) { return stop.point; });
        return points;
    }

    /// Closes a loop if the earlier time was not on a loop that is closed already.
    void comeBackTo(const Moment& before, const Moment& now, const GisShapePoint& point) {
        const auto behind =
            std::upper_bound(m_way.begin(), m_way.end(), before, [](const Moment& moment, const Stop& stop) {
                return moment.isBefore(stop.from);
            });
        if (behind != m_way.begin() && before.isBefore(std::prev(behind)->to)) {
            return;
        }
        Stop place{point, -1, before, now, false, 0.0, {}};
        QList<GisShapePoint> points{point};
        points.append(pointsFrom(behind));
        const double area = std::fabs(Internal::signedArea(points));
        points.append(point);
        m_loops.append({point, before.at, now.at, area, Internal::lengthOf(points)});
        place.largest = area;
        for (auto stop = behind; stop != m_way.end(); ++stop) {
            place.largest = std::max(place.largest, stop->largest);
        }
        if (place.largest < m_minArea) {
            place.isCut = true;
            m_hasRemoved = true;
        } else {
            for (auto stop = behind; stop != m_way.end(); ++stop) {
                stop->appendTo(place.loops);
            }
        }
        m_way.erase(behind, m_way.end());
        m_way.push_back(std::move(place));
    }

    const SegmentPart& m_part;
    int m_number;
    double m_minArea;
    int m_vertexCount;
    std::optional<GisBoundaryPosition> m_after; ///< where a walk begins that does not at the first vertex
    bool m_isSecondHalf = false;
    int m_nextVertex = 0;
    Way m_way;
    QList<GisLoop> m_loops;
    bool m_hasRemoved = false;
};

} // namespace

QList<GisLoop> GisTopology::FindLoops(const GisShape& shape) const {
    return Internal::unlessStopped([&] {
        QList<GisLoop> loops;
        const SegmentList segments(shape);
        CrossingSearch crossings(segments, segments, *this);
        for (std::size_t i = 0; i < segments.parts().size(); ++i) {
            loops.append(LoopWalk(segments.parts()[i], static_cast<int>(i), crossings, 0.0).loops());
        }
        return loops;
    });
}

std::unique_ptr<GisShape> GisTopology::RemoveLoops(const GisShape& shape, double minArea) const {
    return Internal::unlessStopped([&] {
        const SegmentList segments(shape);
        CrossingSearch crossings(segments, segments, *this);
        std::unique_ptr<GisShape> result = shape.clone();
        auto* const parts = Internal::mutablePartsOf(*result);
        for (std::size_t i = 0; parts != nullptr && i < segments.parts().size(); ++i) {
            const LoopWalk walk(segments.parts()[i], static_cast<int>(i), crossings, minArea);
            if (walk.hasRemoved()) {
                QList<GisShapePoint>& part = (*parts)[static_cast<qsizetype>(i)];
                const bool wasOpen = part.size() < segments.parts()[i].vertices.size();
                part = walk.rest();
                if (wasOpen) {
                    part.removeLast();
                }
            }
        }
        return result;
    });
}

} // namespace Cartolith::Core::Topology
