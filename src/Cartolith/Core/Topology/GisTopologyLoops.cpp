#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Core/Topology/CrossingsInternal.h>
#include <Cartolith/Core/Topology/RingMeasuresInternal.h>

#include <algorithm>
#include <iterator>
#include <list>
#include <utility>

namespace Cartolith::Core::Topology {

using Internal::isBefore;
using Internal::SegmentList;
using Internal::SegmentPart;
using Shapes::GisShape;
using Shapes::GisShapePoint;

namespace {

/// Takes the loops out of one line or ring on a walk along it: to come back to a place on the way so far is
/// to close a loop, which is then no longer part of the way.
class LoopWalk {
public:
    /// The crossings are those of the part with itself.
    LoopWalk(const SegmentPart& part, const QList<GisCrossing>& crossings, double minArea)
        : m_part(part), m_crossings(crossings), m_minArea(minArea) {
        for (qsizetype i = 0; i < crossings.size(); ++i) {
            m_passages.push_back({ofVertex(crossings[i].position), i});
            m_passages.push_back({ofVertex(crossings[i].other), i});
        }
        std::stable_sort(m_passages.begin(), m_passages.end(),
                         [](const Passage& a, const Passage& b) { return isBefore(a.at, b.at); });
        walk(0);
        if (part.isClosed && !m_loops.isEmpty()) {
            const auto largest =
                std::max_element(m_loops.cbegin(), m_loops.cend(),
                                 [](const GisLoop& a, const GisLoop& b) { return a.area < b.area; });
            if (largest->area > areaOf(m_way.cbegin())) {
                // The walk began on a loop: begin on the ring instead.
                const auto passage =
                    std::lower_bound(m_passages.begin(), m_passages.end(), largest->start,
                                     [](const Passage& other, const GisBoundaryPosition& at) {
                                         return isBefore(other.at, at);
                                     });
                walk(passage - m_passages.begin() + 1);
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
    struct Passage {
        GisBoundaryPosition at;
        qsizetype crossing;
    };
    struct Kept {
        GisShapePoint point;
        int vertex; ///< -1 for a new one
    };
    /// A vertex on the way, or the place of a crossing.
    struct Stop {
        GisShapePoint point;
        int vertex; ///< -1 for a place
        GisBoundaryPosition at;
        bool isCut = false;    ///< a loop was removed here
        double largest = 0.0;  ///< of the loops that hang here, with those that hang on them
        std::list<Kept> loops; ///< those that stay

        void appendTo(std::list<Kept>& kept) const {
            // A place at a vertex follows that vertex.
            if (vertex >= 0 || (isCut && at.fraction > 0.0)) {
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

    /// From the passage before the given one once round a ring, or from one end of a line to the other.
    void walk(std::ptrdiff_t firstPassage) {
        constexpr qsizetype unseen = -1;
        constexpr qsizetype gone = -2;
        m_loops.clear();
        m_way.clear();
        m_hasRemoved = false;
        std::vector<qsizetype> placeOf(static_cast<std::size_t>(m_crossings.size()), unseen);
        std::vector<std::size_t> onWay; // crossings, in the order of their places
        const int vertexCount = static_cast<int>(m_part.vertices.size()) - (m_part.isClosed ? 1 : 0);
        const auto first = static_cast<std::size_t>(firstPassage);
        int vertex = first == 0 ? 0 : m_passages[first - 1].at.segment + 1;
        const auto takeVerticesTo = [&](int end) {
            for (; vertex < end; ++vertex) {
                m_way.push_back({m_part.vertices[vertex], vertex, {}, false, 0.0, {}});
            }
        };
        for (std::size_t i = 0; i < m_passages.size(); ++i) {
            const std::size_t index = (first + i) % m_passages.size();
            if (index == 0 && first > 0) {
                takeVerticesTo(vertexCount);
                vertex = 0;
            }
            const Passage& passage = m_passages[index];
            takeVerticesTo(std::min(passage.at.segment + 1, vertexCount));
            const auto crossing = static_cast<std::size_t>(passage.crossing);
            if (const qsizetype place = placeOf[crossing]; place == unseen) {
                placeOf[crossing] = static_cast<qsizetype>(m_way.size());
                onWay.push_back(crossing);
                m_way.push_back({m_crossings[passage.crossing].point, -1, passage.at, false, 0.0, {}});
            } else if (place != gone) {
                closeLoop(place, passage.at);
                while (!onWay.empty() && placeOf[onWay.back()] >= place) {
                    placeOf[onWay.back()] = gone;
                    onWay.pop_back();
                }
            }
        }
        if (first == 0) {
            takeVerticesTo(vertexCount);
        }
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

    void closeLoop(qsizetype place, const GisBoundaryPosition& end) {
        const auto start = m_way.begin() + place;
        QList<GisShapePoint> points = pointsFrom(start);
        points.append(GisShapePoint(points.constFirst()));
        m_loops.append({start->point, start->at, end, areaOf(start), Internal::lengthOf(points)});
        double largest = m_loops.constLast().area;
        for (auto stop = start; stop != m_way.end(); ++stop) {
            largest = std::max(largest, stop->largest);
        }
        start->largest = largest;
        if (largest < m_minArea) {
            start->isCut = true;
            m_hasRemoved = true;
        } else {
            for (auto stop = start + 1; stop != m_way.end(); ++stop) {
                stop->appendTo(start->loops);
            }
        }
        m_way.erase(start + 1, m_way.end());
    }

    const SegmentPart& m_part;
    const QList<GisCrossing>& m_crossings;
    double m_minArea;
    std::vector<Passage> m_passages;
    Way m_way;
    QList<GisLoop> m_loops;
    bool m_hasRemoved = false;
};

/// For each part the places where it crosses or touches itself; nothing when the busy callback stops it.
std::optional<std::vector<QList<GisCrossing>>> ownCrossings(const SegmentList& segments,
                                                            const GisTopology& topology) {
    const auto crossings = Internal::crossingsOf(segments, segments, topology);
    if (!crossings.has_value()) {
        return std::nullopt;
    }
    std::vector<QList<GisCrossing>> ofParts(segments.parts().size());
    for (const GisCrossing& crossing : *crossings) {
        if (crossing.position.part == crossing.other.part && crossing.kind != GisCrossingKind::OverlapStart &&
            crossing.kind != GisCrossingKind::OverlapEnd) {
            ofParts[static_cast<std::size_t>(crossing.position.part)].append(crossing);
        }
    }
    return ofParts;
}

} // namespace

QList<GisLoop> GisTopology::FindLoops(const GisShape& shape) const {
    QList<GisLoop> loops;
    const SegmentList segments(shape);
    const auto crossings = ownCrossings(segments, *this);
    for (std::size_t i = 0; crossings.has_value() && i < segments.parts().size(); ++i) {
        loops.append(LoopWalk(segments.parts()[i], (*crossings)[i], 0.0).loops());
    }
    return loops;
}

std::unique_ptr<GisShape> GisTopology::RemoveLoops(const GisShape& shape, double minArea) const {
    const SegmentList segments(shape);
    const auto crossings = ownCrossings(segments, *this);
    if (!crossings.has_value()) {
        return nullptr;
    }
    std::unique_ptr<GisShape> result = shape.clone();
    auto* const parts = Internal::mutablePartsOf(*result);
    for (std::size_t i = 0; parts != nullptr && i < segments.parts().size(); ++i) {
        const LoopWalk walk(segments.parts()[i], (*crossings)[i], minArea);
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
}

} // namespace Cartolith::Core::Topology
