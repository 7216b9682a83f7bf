#include <Cartolith/Core/Serialization/OgrGeometryInternal.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Core/Shapes/RingNestingInternal.h>
#include <Cartolith/Core/Topology/CrossingsInternal.h>
#include <Cartolith/Core/Topology/GeosInternal.h>
#include <Cartolith/Core/Topology/ShapeCheckInternal.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace Cartolith::Core::Topology {

using Common::Internal::GeometryPtr;
using Internal::Segment;
using Internal::SegmentList;
using Shapes::GisShape;
using Shapes::GisShapePoint;
using Shapes::GisShapePolygon;
using Shapes::GisShapePolyline;
using Shapes::Internal::Ring;
using ShapeList = std::vector<std::unique_ptr<GisShape>>;

namespace {

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

GeometryPtr linesOf(const SegmentList& segments) {
    GisShapePolyline lines;
    lines.parts() = segments.lines().parts();
    lines.parts().removeIf(isOnePlace);
    return Serialization::Ogr::Internal::geometryOf(lines);
}

/// Whether points are in a shell and in none of its holes.
class InsideOfArea {
public:
    InsideOfArea(const QList<Ring>& shellAndHoles, const GisTopology& topology)
        : m_rings(shellAndHoles), m_shell(polygonOf(shellAndHoles.first(1))),
          m_holes(polygonOf(shellAndHoles.sliced(1))), m_work(&topology) {}

    /// \throws Stopped
    bool holds(const GisShapePoint& point) {
        const Internal::Position p = Internal::positionOf(point);
        const Internal::Place inShell = m_shellBoundary.locate(p, m_work);
        const Internal::Place inHole = m_holesBoundary.locate(p, m_work);
        if (inShell == Internal::Place::OnBoundary || inHole == Internal::Place::OnBoundary) {
            // The parity is what rounding makes of it.
            return std::count_if(
                       m_rings.begin(), m_rings.end(),
                       [&point](const Ring& ring) { return GisShapePolygon::pointInPolygon(point, ring); }) %
                       2 ==
                   1;
        }
        return inShell == Internal::Place::Inside && inHole == Internal::Place::Outside;
    }

private:
    static GisShapePolygon polygonOf(const QList<Ring>& rings) {
        GisShapePolygon polygon;
        polygon.parts() = rings;
        return polygon;
    }

    const QList<Ring>& m_rings;
    GisShapePolygon m_shell;
    GisShapePolygon m_holes;
    Internal::Boundary m_shellBoundary{m_shell, m_shell.extent(), 0.0};
    Internal::Boundary m_holesBoundary{m_holes, m_holes.extent(), 0.0};
    Internal::Work m_work;
};

/// The pieces of one shell with its holes; itself when it is not cut.
ShapeList cutPolygon(const GisShape& whole, const QList<Ring>& shellAndHoles, const OGRGeometry& line,
                     const GisTopology& topology) {
    ShapeList pieces;
    const auto polygon = pieceOf<GisShapePolygon>(whole, shellAndHoles);
    InsideOfArea area(shellAndHoles, topology);
    const GeometryPtr boundary = linesOf(SegmentList(*polygon));
    OGREnvelope around;
    OGREnvelope other;
    boundary->getEnvelope(&around);
    line.getEnvelope(&other);
    // The box of an empty geometry is a box at the origin.
    if (line.IsEmpty() == 0 && around.Intersects(other) != 0) {
        const Common::Internal::GdalErrorCapture capture;
        const Internal::GeosInterrupt interrupt(topology);
        const GeometryPtr noded(boundary->Union(&line));
        GeometryPtr faces(noded == nullptr ? nullptr : noded->Polygonize());
        interrupt.check();
        if (faces == nullptr) {
            throw std::runtime_error("GisTopology::SplitByLine failed: " + capture.message().toStdString());
        }
        for (OGRGeometry* face : *faces->toGeometryCollection()) {
            auto shapes = Serialization::Ogr::Internal::shapesOf(GeometryPtr(face->clone())).shapes;
            if (shapes.size() != 1) {
                continue;
            }
            // Not in a hole, nor closed by the line alone.
            if (area.holds(GisTopology::PointOnSurface(*shapes.front()))) {
                whole.copyAttributesTo(*shapes.front());
                pieces.push_back(std::move(shapes.front()));
            }
        }
    }
    if (pieces.size() < 2) {
        pieces.clear();
    }
    return pieces;
}

ShapeList cutPolygons(const GisShape& polygon, const SegmentList& line, const GisTopology& topology) {
    const std::unique_ptr<GisShape> sound =
        Internal::fixedShape(polygon, topology, "GisTopology::SplitByLine failed: ").shape;
    const GeometryPtr cutting = linesOf(line);
    const QList<Ring>& rings = std::as_const(static_cast<GisShapePolygon&>(*sound)).parts();
    const QList<QList<Ring>> polygons = Shapes::Internal::shellsWithHoles(rings);
    const int count = static_cast<int>(polygons.size());
    ShapeList pieces;
    for (int i = 0; i < count; ++i) {
        if (!topology.reportBusy(i + 1, count)) {
            return {};
        }
        ShapeList cut = cutPolygon(polygon, polygons[i], *cutting, topology);
        if (cut.empty()) {
            cut.push_back(pieceOf<GisShapePolygon>(polygon, polygons[i]));
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
    const SegmentList other(line);
    if (const auto* polyline = dynamic_cast<const GisShapePolyline*>(&shape)) {
        return Internal::unlessStopped([&] {
            return cutAt(*polyline, Internal::CrossingSearch(SegmentList(shape), other, *this).all(), false);
        });
    }
    if (dynamic_cast<const GisShapePolygon*>(&shape) == nullptr) {
        return oneCopy(shape);
    }
    return Internal::unlessStopped([&] { return cutPolygons(shape, other, *this); });
}

} // namespace Cartolith::Core::Topology
