#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Core/Shapes/RingNestingInternal.h>
#include <Cartolith/Core/Topology/CoveredSidesInternal.h>
#include <Cartolith/Core/Topology/CrossingsInternal.h>
#include <Cartolith/Core/Topology/FacePolygonsInternal.h>
#include <Cartolith/Core/Topology/NodingInternal.h>
#include <Cartolith/Core/Topology/RingMeasuresInternal.h>
#include <Cartolith/Core/Topology/RingOrderInternal.h>
#include <Cartolith/Core/Topology/ShapeCheckInternal.h>
#include <Cartolith/Core/Topology/WorkingScaleInternal.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>

namespace Cartolith::Core::Topology {

using Internal::Boundary;
using Internal::Segment;
using Internal::SegmentList;
using Shapes::GisShape;
using Shapes::GisShapePoint;
using Shapes::GisShapePolygon;
using Shapes::GisShapePolyline;
using Shapes::Internal::Ring;
using ShapeList = std::vector<std::unique_ptr<GisShape>>;

namespace {

/// How the text of each failure begins.
constexpr const char* splitFailing = "GisTopology::SplitByLine failed: ";

template <typename Shape>
std::unique_ptr<GisShape> pieceOf(const GisShape& whole, const QList<QList<GisShapePoint>>& parts) {
    auto piece = std::make_unique<Shape>();
    whole.copyAttributesTo(*piece);
    piece->parts() = parts;
    return piece;
}

ShapeList oneCopy(const GisShape& shape) {
    ShapeList pieces;
    if (!shape.isEmpty()) {
        pieces.push_back(shape.clone());
    }
    return pieces;
}

/// The cuts of a polyline. One from which the line does not go away before the next cut or its end is none,
/// so that each piece leads somewhere.
class LineCuts {
public:
    LineCuts(const GisShapePolyline& line, const GisTopology& topology)
        : m_line(line), m_tolerance(topology.Tolerance()), m_work(&topology) {}

    /// A place, where one or more passages may be cut.
    std::size_t addPlace(const GisShapePoint& point) {
        m_places.push_back({point, m_places.size(), false});
        return m_places.size() - 1;
    }

    /// In any order.
    void add(GisBoundaryPosition at, std::size_t place) {
        if (at.fraction >= 1.0) {
            at = {at.part, at.segment + 1, 0.0};
        }
        m_places[place].isVertex = m_places[place].isVertex || at.fraction == 0.0;
        m_cuts.push_back({at, place});
    }

    ShapeList pieces() {
        std::stable_sort(m_cuts.begin(), m_cuts.end(),
                         [](const Cut& a, const Cut& b) { return Internal::isBefore(a.at, b.at); });
        takeOutIdle();
        ShapeList pieces;
        auto cut = m_cuts.cbegin();
        for (int i = 0; i < m_line.parts().size(); ++i) {
            const QList<GisShapePoint>& part = m_line.parts()[i];
            int next = 0; // of the vertices that are on no piece yet
            QList<GisShapePoint> piece;
            const auto goOnTo = [&](int vertex) {
                piece.append(part.mid(next, vertex - next));
                next = vertex;
            };
            for (; cut != m_cuts.cend() && cut->at.part == i; ++cut) {
                goOnTo(cut->at.segment + 1);
                const GisShapePoint place = pointOf(*cut);
                if (cut->at.fraction > 0.0) {
                    piece.append(place);
                }
                pieces.push_back(pieceOf<GisShapePolyline>(m_line, {std::exchange(piece, {place})}));
            }
            goOnTo(static_cast<int>(part.size()));
            if (piece.size() > 1) {
                pieces.push_back(pieceOf<GisShapePolyline>(m_line, {piece}));
            }
        }
        return pieces;
    }

private:
    struct Cut {
        GisBoundaryPosition at;
        std::size_t place;
    };
    struct Place {
        GisShapePoint point;
        std::size_t same; ///< leads to the one that stands for this one
        bool isVertex;
    };

    const QList<GisShapePoint>& partOf(const Cut& cut) const { return m_line.parts()[cut.at.part]; }

    std::size_t standingFor(std::size_t place) {
        while (m_places[place].same != place) {
            place = std::exchange(m_places[place].same, m_places[m_places[place].same].same);
        }
        return place;
    }

    GisShapePoint pointOf(const Cut& cut) {
        const GisShapePoint& point =
            cut.at.fraction == 0.0 ? partOf(cut)[cut.at.segment] : m_places[standingFor(cut.place)].point;
        return {point.x(), point.y()};
    }

    /// Other passages of the two places end in one, too.
    void unite(std::size_t a, std::size_t b) {
        a = standingFor(a);
        b = standingFor(b);
        if (m_places[b].isVertex && !m_places[a].isVertex) {
            std::swap(a, b);
        }
        m_places[b].same = a;
    }

    /// Whether the line goes away from the place of the cut on its vertices from `from` to `to`.
    bool goesAway(const Cut& cut, int from, int to) {
        const QList<GisShapePoint>& part = partOf(cut);
        const GisShapePoint place = pointOf(cut);
        for (int i = from; i < to; ++i) {
            m_work.add(1);
            if (!GisTopology::SamePoint(part[i], place, m_tolerance)) {
                return true;
            }
        }
        return false;
    }

    void takeOutIdle() {
        std::vector<Cut> kept;
        for (const Cut& cut : m_cuts) {
            const int behind = cut.at.segment + 1;
            const bool isFirst = kept.empty() || kept.back().at.part != cut.at.part;
            const int from = isFirst ? 0 : kept.back().at.segment + 1;
            const bool leavesLast =
                !isFirst && !GisTopology::SamePoint(pointOf(kept.back()), pointOf(cut), m_tolerance);
            if (!leavesLast && !goesAway(cut, from, behind)) {
                if (!isFirst) {
                    unite(kept.back().place, cut.place);
                }
            } else if (goesAway(cut, behind, static_cast<int>(partOf(cut).size()))) {
                kept.push_back(cut);
            }
        }
        m_cuts = std::move(kept);
    }

    const GisShapePolyline& m_line;
    double m_tolerance;
    Internal::Work m_work;
    std::vector<Place> m_places;
    std::vector<Cut> m_cuts;
};

ShapeList cutAt(const GisShapePolyline& line, const QList<GisCrossing>& crossings, bool atBothPassages,
                const GisTopology& topology) {
    LineCuts cuts(line, topology);
    for (const GisCrossing& crossing : crossings) {
        const std::size_t place = cuts.addPlace(crossing.point);
        cuts.add(crossing.position, place);
        if (atBothPassages) {
            cuts.add(crossing.other, place);
        }
    }
    return cuts.pieces();
}

/// Cut where the points lie on the line: of the segments of one passage within the tolerance at the nearest.
ShapeList cutAt(const GisShapePolyline& line, const QList<GisShapePoint>& points,
                const GisTopology& topology) {
    const SegmentList segments(line);
    const double tolerance = topology.Tolerance();
    GisShapePolyline places;
    for (const GisShapePoint& p : points) {
        places.parts().append({p});
    }
    const SegmentList targets(places);
    struct Hit {
        std::size_t point;
        std::size_t segment;
        double distance;
    };
    std::vector<Hit> hits;
    Internal::Work work(&topology);
    const Internal::SegmentPairs pairs(targets, segments, tolerance);
    pairs.visitAll(work, [&](std::size_t i, std::size_t j) {
        const Segment& s = segments.segments()[j];
        const double distance =
            GisTopology::DistancePointToSegment(*targets.segments()[i].start, *s.start, *s.end);
        if (distance <= tolerance) {
            hits.push_back({i, j, distance});
        }
    });
    std::sort(hits.begin(), hits.end(), [](const Hit& a, const Hit& b) {
        return std::tie(a.point, a.segment) < std::tie(b.point, b.segment);
    });
    // In a corner the line may be a little more than the tolerance away between two segments that are not.
    const auto isOnePassage = [&](const Hit& a, const Hit& b) {
        const Segment& before = segments.segments()[a.segment];
        const Segment& behind = segments.segments()[b.segment];
        bool stays = a.point == b.point && before.part == behind.part;
        for (int i = before.index + 1; stays && i <= behind.index; ++i) {
            work.add(1);
            const GisShapePoint& vertex = segments.parts()[static_cast<std::size_t>(before.part)].vertices[i];
            stays = GisTopology::SamePoint(vertex, *targets.segments()[a.point].start, 2 * tolerance);
        }
        return stays;
    };
    LineCuts cuts(line, topology);
    for (std::size_t i = 0; i < hits.size(); ++i) {
        std::size_t nearest = i;
        for (; i + 1 < hits.size() && isOnePassage(hits[i], hits[i + 1]); ++i) {
            nearest = hits[i + 1].distance < hits[nearest].distance ? i + 1 : nearest;
        }
        const Segment& s = segments.segments()[hits[nearest].segment];
        const GisShapePoint& p = *targets.segments()[hits[nearest].point].start;
        GisBoundaryPosition at{s.part, s.index, Internal::fractionAlong(p, *s.start, *s.end)};
        if (GisTopology::SamePoint(p, *s.start, tolerance)) {
            at.fraction = 0.0;
        } else if (GisTopology::SamePoint(p, *s.end, tolerance)) {
            at.fraction = 1.0;
        }
        cuts.add(at, cuts.addPlace(segments.pointAt(at)));
    }
    return cuts.pieces();
}

/// Lines with boxes around those that follow each other along a curve.
struct BoxedLines {
    explicit BoxedLines(const QList<Ring>& lines)
        : order(Internal::alongCurve(lines)), boundary(boxed(lines, order)) {}

    std::vector<int> order; ///< the number of each line of the boundary
    Boundary boundary;

private:
    static Boundary boxed(const QList<Ring>& lines, const std::vector<int>& order) {
        GisShapePolyline ordered;
        ordered.parts() = Internal::inOrder(lines, order);
        return Boundary(ordered, ordered.extent(), 0.0, nullptr, Boundary::Boxes::Bare);
    }
};

/// The segments of some lines that meet the box, as lines in their order.
QList<Ring> linesIn(const Internal::Box& box, const BoxedLines& all) {
    const Boundary& lines = all.boundary;
    std::vector<std::pair<int, Ring>> found; // with the numbers of the lines
    qsizetype next = -1;                     // the vertex that ends the last segment taken
    lines.walk([&](int level, qsizetype node) {
        if (!box.meets(lines.box(level, node))) {
            return Boundary::Step::Skip;
        }
        if (level > 0) {
            return Boundary::Step::Down;
        }
        const Boundary::Run& run = lines.run(node);
        for (qsizetype i = run.start; i < run.start + run.segments; ++i) {
            if (box.meets(lines.segmentBox(i))) {
                if (i != next) {
                    found.push_back({all.order[run.part - 1], {{lines.vertex(i).x, lines.vertex(i).y}}});
                }
                next = i + 1;
                const GisShapePoint end(lines.vertex(next).x, lines.vertex(next).y);
                if (Ring& line = found.back().second; !Internal::isSamePlace(line.constLast(), end)) {
                    line.append(end);
                }
            }
        }
        return Boundary::Step::Skip;
    });
    std::stable_sort(found.begin(), found.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    QList<Ring> parts;
    for (auto& [number, line] : found) {
        if (line.size() > 1) {
            parts.append(std::move(line));
        }
    }
    return parts;
}

/// The rings and lines with vertices where they meet, lines edge by edge from left to right: of a way forth
/// and back nothing would be left.
QList<Ring> nodedEdges(const QList<Ring>& rings, const QList<Ring>& lines, Internal::Work& work) {
    const QList<Ring> noded = Internal::nodedLines(rings + lines, Internal::NodedAs::Lines, {}, work);
    QList<Ring> edges = noded.mid(0, rings.size());
    for (qsizetype line = rings.size(); line < noded.size(); ++line) {
        for (qsizetype i = 1; i < noded[line].size(); ++i) {
            const GisShapePoint& a = noded[line][i - 1];
            const GisShapePoint& b = noded[line][i];
            const bool isForth = std::pair(a.x(), a.y()) < std::pair(b.x(), b.y());
            edges.append(isForth ? Ring{a, b} : Ring{b, a});
        }
        work.add(16 * noded[line].size());
    }
    return edges;
}

/// The areas that lines cut a polygon into: of the faces that lines and rings make together those in it.
QList<QList<Ring>> areasBetween(const QList<Ring>& shellAndHoles, const QList<Ring>& lines,
                                Internal::Work& work) {
    const QList<Ring> edges = nodedEdges(shellAndHoles, lines, work);
    const Internal::EdgeMap map(edges, work);
    Internal::Cover cover{shellAndHoles, {}, 1};
    for (qsizetype i = 0; i < shellAndHoles.size(); ++i) {
        cover.roles.push_back({{0, i > 0}});
    }
    const std::vector<bool> isCovered = Internal::coveredSides(cover, edges, map, work);
    std::vector<int> areas = map.faces();
    for (std::size_t half = 0; half < areas.size(); ++half) {
        areas[half] = isCovered[half] ? areas[half] : Internal::EdgeMap::noArea;
    }
    return Internal::facePolygons(map, areas, work);
}

/// The pieces of one shell with its holes; none when it is not cut.
ShapeList cutPolygon(const GisShapePolygon& polygon, const BoxedLines& line, const GisTopology& topology) {
    ShapeList pieces;
    const Shapes::GisExtent extent = polygon.extent();
    const QList<Ring> cutting = linesIn({extent.xMin(), extent.yMin(), extent.xMax(), extent.yMax()}, line);
    if (cutting.isEmpty()) {
        return pieces;
    }
    Internal::Work work(&topology);
    try {
        const QList<QList<Ring>> areas = areasBetween(polygon.parts(), cutting, work);
        for (qsizetype i = 0; areas.size() > 1 && i < areas.size(); ++i) {
            pieces.push_back(pieceOf<GisShapePolygon>(polygon, areas[i]));
        }
    } catch (const Internal::NotNoded& failure) {
        throw std::runtime_error(std::string(splitFailing) + failure.reason);
    }
    return pieces;
}

ShapeList cutPolygons(const GisShape& polygon, const GisShape& line, const GisTopology& topology) {
    if (const double scale = Internal::workingScale(polygon); scale != 1.0) {
        ShapeList pieces =
            cutPolygons(*Internal::scaledCopy(polygon, scale), *Internal::scaledCopy(line, scale), topology);
        for (std::unique_ptr<GisShape>& piece : pieces) {
            piece = Internal::scaledCopy(*piece, 1 / scale);
        }
        return pieces;
    }
    const std::unique_ptr<GisShape> sound = Internal::fixedShape(polygon, topology, splitFailing).shape;
    const SegmentList segments(line);
    const BoxedLines cutting(segments.lines().parts());
    const QList<Ring>& rings = std::as_const(static_cast<GisShapePolygon&>(*sound)).parts();
    const QList<QList<Ring>> polygons = Shapes::Internal::shellsWithHoles(rings);
    const int count = static_cast<int>(polygons.size());
    ShapeList pieces;
    for (int i = 0; i < count; ++i) {
        if (!topology.reportBusy(i + 1, count)) {
            return {};
        }
        auto whole = pieceOf<GisShapePolygon>(polygon, polygons[i]);
        ShapeList cut = cutPolygon(static_cast<const GisShapePolygon&>(*whole), cutting, topology);
        if (cut.empty()) {
            cut.push_back(std::move(whole));
        }
        std::move(cut.begin(), cut.end(), std::back_inserter(pieces));
    }
    return pieces;
}

} // namespace

ShapeList GisTopology::SplitAtPoints(const GisShape& line, const QList<GisShapePoint>& points) const {
    const auto* polyline = dynamic_cast<const GisShapePolyline*>(&line);
    if (polyline == nullptr) {
        return oneCopy(line);
    }
    return Internal::unlessStopped([&] { return cutAt(*polyline, points, *this); });
}

ShapeList GisTopology::SplitAtSelfCrossings(const GisShape& line) const {
    const auto* polyline = dynamic_cast<const GisShapePolyline*>(&line);
    if (polyline == nullptr) {
        return oneCopy(line);
    }
    return Internal::unlessStopped([&] {
        const SegmentList segments(line);
        return cutAt(*polyline, Internal::CrossingSearch(segments, segments, *this).all(), true, *this);
    });
}

ShapeList GisTopology::SplitByLine(const GisShape& shape, const GisShape& line) const {
    if (const auto* polyline = dynamic_cast<const GisShapePolyline*>(&shape)) {
        return Internal::unlessStopped([&] {
            const SegmentList first(shape);
            const SegmentList second(line);
            return cutAt(*polyline, Internal::CrossingSearch(first, second, *this).all(), false, *this);
        });
    }
    if (dynamic_cast<const GisShapePolygon*>(&shape) == nullptr) {
        return oneCopy(shape);
    }
    return Internal::unlessStopped([&] { return cutPolygons(shape, line, *this); });
}

} // namespace Cartolith::Core::Topology
