#include <Cartolith/Core/Shapes/EnclosedAreaInternal.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Core/Shapes/RingChordsInternal.h>
#include <Cartolith/Core/Shapes/RingNestingInternal.h>
#include <Cartolith/Core/Topology/GisTopology.h>
#include <Cartolith/Core/Topology/RingMeasuresInternal.h>
#include <Cartolith/Core/Topology/SegmentListInternal.h>
#include <Cartolith/Core/Topology/WorkingScaleInternal.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

namespace Cartolith::Core::Topology {

using Internal::SegmentList;
using Internal::SegmentPart;
using Shapes::GisShape;
using Shapes::GisShapePoint;
using Shapes::GisShapePolygon;
using Shapes::GisShapePolyline;
using Shapes::Internal::Ring;
using Shapes::Internal::RingEdges;

namespace {

/// A line across a polygon: of all pieces inside it the longest, and its middle.
struct Chord {
    double length = 0.0;
    GisShapePoint middle;
};

/// Lines across a shell and its holes.
class Chords {
public:
    explicit Chords(const QList<Ring>& rings) : m_edges(rings.begin(), rings.end()) {}

    Chord longestAt(double y) {
        m_crossings.clear();
        for (RingEdges& ring : m_edges) {
            ring.visitAt(y, [&](const GisShapePoint& a, const GisShapePoint& b) {
                if (Shapes::Internal::crossesLine(a, b, y)) {
                    m_crossings.push_back(Shapes::Internal::crossingWithLine(a, b, y));
                }
            });
        }
        m_crossingCount += m_crossings.size();
        std::sort(m_crossings.begin(), m_crossings.end());
        Chord longest;
        for (std::size_t i = 1; i < m_crossings.size(); i += 2) {
            if (m_crossings[i] - m_crossings[i - 1] > longest.length) {
                longest = {m_crossings[i] - m_crossings[i - 1],
                           GisShapePoint(m_crossings[i - 1] / 2 + m_crossings[i] / 2, y)};
            }
        }
        return longest;
    }

    /// Of all lines so far.
    std::size_t crossingCount() const noexcept { return m_crossingCount; }

private:
    std::vector<RingEdges> m_edges;
    std::vector<double> m_crossings;
    std::size_t m_crossingCount = 0;
};

/// Tries the middle of the highest strips without a vertex: away from all edges that are not steep, and far
/// from these by the length of the chord. Lower strips are for polygons whose highest ones hold but spikes;
/// one that covers everything twice, and so nothing, is given up early enough.
GisShapePoint pointInside(const QList<Ring>& shellAndHoles) {
    std::vector<double> heights;
    for (const Ring& ring : shellAndHoles) {
        for (const GisShapePoint& vertex : ring) {
            heights.push_back(vertex.y());
        }
    }
    std::sort(heights.begin(), heights.end());
    struct Strip {
        double height;
        double middle;
    };
    std::vector<Strip> strips;
    for (std::size_t i = 1; i < heights.size(); ++i) {
        strips.push_back({heights[i] - heights[i - 1], heights[i - 1] / 2 + heights[i] / 2});
    }
    std::sort(strips.begin(), strips.end(),
              [](const Strip& a, const Strip& b) { return a.height > b.height; });
    Chords chords(shellAndHoles);
    GisShapePoint best;
    double room = 0.0;
    for (std::size_t i = 0; i < strips.size(); ++i) {
        if (i >= 16 && (room > 0.0 || chords.crossingCount() > 64 * heights.size())) {
            break;
        }
        const Chord chord = chords.longestAt(strips[i].middle);
        if (std::min(chord.length, strips[i].height) > room) {
            room = std::min(chord.length, strips[i].height);
            best = chord.middle;
        }
    }
    return best;
}

GisShapePoint pointInPolygon(const SegmentList& boundary) {
    QList<Ring> rings;
    for (const SegmentPart& part : boundary.parts()) {
        Ring ring = part.vertices;
        ring.removeIf([](const GisShapePoint& vertex) { return !Internal::isFinite(vertex); });
        if (ring.size() > 2) {
            rings.append(ring);
        }
    }
    const QList<QList<Ring>> polygons = Shapes::Internal::shellsWithHoles(rings);
    std::vector<std::pair<double, const QList<Ring>*>> bySize;
    for (const QList<Ring>& polygon : polygons) {
        double size = 0.0;
        for (const Ring& ring : polygon) {
            const double its = Shapes::Internal::enclosedArea(ring, Internal::signedArea(ring), 1.0);
            size += &ring == &polygon.constFirst() ? its : -its;
        }
        bySize.emplace_back(size, &polygon);
    }
    std::stable_sort(bySize.begin(), bySize.end(),
                     [](const auto& a, const auto& b) { return a.first > b.first; });
    for (const auto& [size, polygon] : bySize) { // holes may cover all of one
        if (GisShapePoint inside = pointInside(*polygon); !inside.isEmpty()) {
            return inside;
        }
    }
    return {};
}

GisShapePoint pointOnLine(const SegmentList& boundary) {
    std::vector<double> lengths(boundary.parts().size(), 0.0);
    const auto lengthOf = [](const Internal::Segment& s) {
        return std::hypot(s.end->x() - s.start->x(), s.end->y() - s.start->y());
    };
    for (const Internal::Segment& segment : boundary.segments()) {
        lengths[static_cast<std::size_t>(segment.part)] += lengthOf(segment);
    }
    const auto longest = std::max_element(lengths.begin(), lengths.end());
    double way = longest == lengths.end() ? 0.0 : *longest / 2;
    const Internal::Segment* last = nullptr;
    for (const Internal::Segment& segment : boundary.segments()) {
        if (segment.part == longest - lengths.begin()) {
            last = &segment;
            const double length = lengthOf(segment);
            if (length > 0.0 && way <= length) {
                const double t = way / length;
                return {segment.start->x() + t * (segment.end->x() - segment.start->x()),
                        segment.start->y() + t * (segment.end->y() - segment.start->y())};
            }
            way -= length;
        }
    }
    return last == nullptr ? GisShapePoint() : GisShapePoint(last->end->x(), last->end->y());
}

/// Of finite vertices.
double areaOf(const QList<Ring>& rings) {
    if (rings.size() == 1) {
        return std::fabs(Internal::signedArea(rings.constFirst()));
    }
    Internal::CompensatedSum sum;
    const QList<int> depths = Shapes::Internal::nestingDepths(rings);
    for (qsizetype i = 0; i < rings.size(); ++i) {
        const double area = std::fabs(Internal::signedArea(rings[i]));
        sum.add(depths[i] % 2 == 0 ? area : -area);
    }
    return sum.value() < 0.0 ? 0.0 : sum.value(); // NaN stays
}

} // namespace

double GisTopology::Length(const GisShape& shape) {
    Internal::CompensatedSum sum;
    const SegmentList boundary(shape);
    for (const SegmentPart& part : boundary.parts()) {
        if (!std::all_of(part.vertices.begin(), part.vertices.end(), Internal::isFinite)) {
            return std::numeric_limits<double>::quiet_NaN();
        }
        sum.add(Internal::lengthOf(part.vertices));
    }
    if (std::isfinite(sum.value())) {
        return sum.value();
    }
    const double scale = Internal::workingScale(shape);
    return Length(*Internal::scaledCopy(shape, scale)) / scale;
}

double GisTopology::Area(const GisShape& shape) {
    const auto* polygon = dynamic_cast<const GisShapePolygon*>(&shape);
    if (polygon == nullptr) {
        return 0.0;
    }
    const QList<Ring>& rings = polygon->parts();
    for (const Ring& ring : rings) {
        if (!std::all_of(ring.begin(), ring.end(), Internal::isFinite)) {
            return std::numeric_limits<double>::quiet_NaN();
        }
    }
    const double area = areaOf(rings);
    if (std::isfinite(area)) {
        return area;
    }
    // More than a double can say, or the products alone.
    const double scale = Internal::workingScale(shape);
    return areaOf(static_cast<const GisShapePolygon&>(*Internal::scaledCopy(shape, scale)).parts()) / scale /
           scale;
}

GisShapePoint GisTopology::PointOnSurface(const GisShape& shape) {
    if (const double scale = Internal::workingScale(shape); scale != 1.0) {
        const GisShapePoint point = PointOnSurface(*Internal::scaledCopy(shape, scale));
        return {point.x() / scale, point.y() / scale};
    }
    const SegmentList boundary(shape);
    return dynamic_cast<const GisShapePolygon*>(&shape) != nullptr ? pointInPolygon(boundary)
                                                                   : pointOnLine(boundary);
}

} // namespace Cartolith::Core::Topology
