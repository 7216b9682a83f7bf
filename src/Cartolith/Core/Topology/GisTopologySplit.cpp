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

struct Cut {
    GisBoundaryPosition at;
    GisShapePoint point;
};

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

bool isOnePlace(const QList<GisShapePoint>& part) {
    return std::all_of(part.begin(), part.end(), [&part](const GisShapePoint& vertex) {
        return vertex.x() == part.constFirst().x() && vertex.y() == part.constFirst().y();
    });
}

/// The cuts in any order.
ShapeList cutAt(const GisShapePolyline& line, std::vector<Cut> cuts) {
    std::stable_sort(cuts.begin(), cuts.end(),
                     [](const Cut& a, const Cut& b) { return Internal::isBefore(a.at, b.at); });
    ShapeList pieces;
    auto cut = cuts.cbegin();
    for (qsizetype i = 0; i < line.parts().size(); ++i) {
        const QList<GisShapePoint>& part = line.parts()[i];
        QList<GisShapePoint> piece;
        const auto finishPiece = [&] {
            if (piece.size() > 1) {
                pieces.push_back(pieceOf<GisShapePolyline>(line, {std::exchange(piece, {})}));
            }
        };
        for (int vertex = 0; vertex < part.size(); ++vertex) {
            piece.append(part[vertex]);
            for (; cut != cuts.cend() && cut->at.part == i && cut->at.segment == vertex; ++cut) {
                if (cut->at.fraction == 0.0) {
                    if (vertex > 0 && vertex + 1 < part.size() && piece.size() > 1) {
                        finishPiece();
                        piece.append(part[vertex]);
                    }
                } else if (cut->at.fraction < 1.0) {
                    piece.append(cut->point);
                    if (piece.size() > 2 || !isOnePlace(piece)) {
                        finishPiece();
                        piece.append(cut->point);
                    } else {
                        piece.removeLast();
                    }
                }
            }
        }
        finishPiece();
    }
    return pieces;
}

ShapeList cutAt(const GisShapePolyline& line, const QList<GisCrossing>& crossings, bool atBothPassages) {
    std::vector<Cut> cuts;
    for (const GisCrossing& crossing : crossings) {
        cuts.push_back({crossing.position, crossing.point});
        if (atBothPassages) {
            cuts.push_back({crossing.other, crossing.point});
        }
    }
    return cutAt(line, std::move(cuts));
}

/// Where the points lie on the line: for each point, of neighbouring segments within the tolerance the
/// nearest.
std::vector<Cut> cutsAt(const SegmentList& segments, const QList<GisShapePoint>& points,
                        const GisTopology& topology) {
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
    std::vector<Cut> cuts;
    for (std::size_t i = 0; i < hits.size(); ++i) {
        std::size_t nearest = i;
        while (i + 1 < hits.size() && hits[i + 1].point == hits[i].point &&
               hits[i + 1].segment == hits[i].segment + 1 &&
               segments.segments()[hits[i + 1].segment].part == segments.segments()[hits[i].segment].part) {
            ++i;
            nearest = hits[i].distance < hits[nearest].distance ? i : nearest;
        }
        const Segment& s = segments.segments()[hits[nearest].segment];
        const GisShapePoint& p = *targets.segments()[hits[nearest].point].start;
        GisBoundaryPosition at{s.part, s.index, Internal::fractionAlong(p, *s.start, *s.end)};
        if (GisTopology::SamePoint(p, *s.start, tolerance)) {
            at.fraction = 0.0;
        } else if (GisTopology::SamePoint(p, *s.end, tolerance)) {
            at = {s.part, s.index + 1, 0.0};
        }
        cuts.push_back({at, {}});
    }
    for (Cut& cut : cuts) {
        cut.point = cut.at.fraction > 0.0 ? segments.pointAt(cut.at) : GisShapePoint();
    }
    return cuts;
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
    return Internal::unlessStopped(
        [&] { return cutAt(*polyline, cutsAt(SegmentList(line), points, *this)); });
}

ShapeList GisTopology::SplitAtSelfCrossings(const GisShape& line) const {
    const auto* polyline = dynamic_cast<const GisShapePolyline*>(&line);
    if (polyline == nullptr) {
        return oneCopy(line);
    }
    return Internal::unlessStopped([&] {
        const SegmentList segments(line);
        return cutAt(*polyline, Internal::CrossingSearch(segments, segments, *this).all(), true);
    });
}

ShapeList GisTopology::SplitByLine(const GisShape& shape, const GisShape& line) const {
    if (const auto* polyline = dynamic_cast<const GisShapePolyline*>(&shape)) {
        return Internal::unlessStopped([&] {
            const SegmentList first(shape);
            const SegmentList second(line);
            return cutAt(*polyline, Internal::CrossingSearch(first, second, *this).all(), false);
        });
    }
    if (dynamic_cast<const GisShapePolygon*>(&shape) == nullptr) {
        return oneCopy(shape);
    }
    return Internal::unlessStopped([&] { return cutPolygons(shape, line, *this); });
}

} // namespace Cartolith::Core::Topology
