#pragma once

#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>

#include <QList>
#include <QString>

#include <algorithm>
#include <cmath>

/// What the predicates mean, word for word and pair by pair: the reference that every faster way is compared with.
namespace test::plain {

using Cartolith::Core::Shapes::GisShape;
using Cartolith::Core::Shapes::GisShapePoint;
using Cartolith::Core::Shapes::GisShapePolygon;
using Cartolith::Core::Shapes::GisShapePolyline;
using P = GisShapePoint;
using Parts = QList<QList<P>>;

inline bool samePoint(const P& a, const P& b, double tolerance) {
    return tolerance * tolerance >= (a.x() - b.x()) * (a.x() - b.x()) + (a.y() - b.y()) * (a.y() - b.y());
}

inline double distance(const P& p, const P& a, const P& b) {
    const double dx = b.x() - a.x();
    const double dy = b.y() - a.y();
    const double square = dx * dx + dy * dy;
    const auto to = [&p](double x, double y) {
        return std::sqrt((p.x() - x) * (p.x() - x) + (p.y() - y) * (p.y() - y));
    };
    if (square <= 2.220446049250313e-16) {
        return to(a.x(), a.y());
    }
    const double t = std::clamp(((p.x() - a.x()) * dx + (p.y() - a.y()) * dy) / square, 0.0, 1.0);
    return to(a.x() + t * dx, a.y() + t * dy);
}

inline bool onSegment(const P& p, const P& a, const P& b, double tolerance) {
    return distance(p, a, b) <= tolerance && p.x() >= std::min(a.x(), b.x()) - tolerance &&
           p.x() <= std::max(a.x(), b.x()) + tolerance && p.y() >= std::min(a.y(), b.y()) - tolerance &&
           p.y() <= std::max(a.y(), b.y()) + tolerance;
}

inline bool meet(const P& p1, const P& p2, const P& q1, const P& q2, double tolerance, P& out) {
    const double rx = p2.x() - p1.x(), ry = p2.y() - p1.y();
    const double sx = q2.x() - q1.x(), sy = q2.y() - q1.y();
    const double denominator = rx * sy - ry * sx;
    if (std::abs(denominator) > tolerance) {
        const double t = ((q1.x() - p1.x()) * sy - sx * (q1.y() - p1.y())) / denominator;
        const double u = ((q1.x() - p1.x()) * ry - (q1.y() - p1.y()) * rx) / denominator;
        if (t < -tolerance || t > 1 + tolerance || u < -tolerance || u > 1 + tolerance) {
            return false;
        }
        out = P(p1.x() + t * rx, p1.y() + t * ry);
        return true;
    }
    for (const auto& [p, a, b] :
         {std::tie(p1, q1, q2), std::tie(p2, q1, q2), std::tie(q1, p1, p2), std::tie(q2, p1, p2)}) {
        if (onSegment(p, a, b, tolerance)) {
            out = p;
            return true;
        }
    }
    return false;
}

inline bool meetProperly(const P& p1, const P& p2, const P& q1, const P& q2, double tolerance) {
    P out;
    return meet(p1, p2, q1, q2, tolerance, out) && !samePoint(out, p1, tolerance) && !samePoint(out, p2, tolerance) &&
           !samePoint(out, q1, tolerance) && !samePoint(out, q2, tolerance);
}

inline Parts boundary(const GisShape& shape) {
    if (const auto* line = dynamic_cast<const GisShapePolyline*>(&shape)) {
        return line->parts();
    }
    if (const auto* polygon = dynamic_cast<const GisShapePolygon*>(&shape)) {
        return polygon->parts();
    }
    const auto* point = dynamic_cast<const P*>(&shape);
    return point != nullptr && !point->isEmpty() ? Parts{{*point}} : Parts();
}

inline QList<P> vertices(const GisShape& shape) {
    QList<P> result;
    for (const QList<P>& part : boundary(shape)) {
        std::copy_if(part.begin(), part.end(), std::back_inserter(result), [](const P& p) { return !p.isEmpty(); });
    }
    return result;
}

inline bool onPart(const P& p, const QList<P>& part, double tolerance) {
    bool on = part.size() == 1 && samePoint(part[0], p, tolerance);
    for (qsizetype i = 1; i < part.size() && !on; ++i) {
        on = onSegment(p, part[i - 1], part[i], tolerance);
    }
    return on;
}

inline bool onBoundary(const GisShape& shape, const P& p, double tolerance) {
    const Parts parts = boundary(shape);
    return std::any_of(parts.begin(), parts.end(), [&](const auto& part) { return onPart(p, part, tolerance); });
}

inline bool containsPoint(const GisShape& shape, const P& p, double tolerance) {
    return shape.contains(p, tolerance) || onBoundary(shape, p, tolerance);
}

inline bool boundariesMeet(const GisShape& a, const GisShape& b, double tolerance, bool proper) {
    const Parts partsB = boundary(b);
    for (const QList<P>& partA : boundary(a)) {
        for (const QList<P>& partB : partsB) {
            if (partA.size() == 1 ? onPart(partA[0], partB, tolerance)
                                  : partB.size() == 1 && onPart(partB[0], partA, tolerance)) {
                return true;
            }
            P out;
            for (qsizetype i = 1; i < partA.size(); ++i) {
                for (qsizetype j = 1; j < partB.size(); ++j) {
                    if (proper ? meetProperly(partA[i - 1], partA[i], partB[j - 1], partB[j], tolerance)
                               : meet(partA[i - 1], partA[i], partB[j - 1], partB[j], tolerance, out)) {
                        return true;
                    }
                }
            }
        }
    }
    return false;
}

inline bool allIn(const GisShape& a, const GisShape& b, double tolerance) {
    const QList<P> all = vertices(a);
    return !all.isEmpty() &&
           std::all_of(all.begin(), all.end(), [&](const P& p) { return containsPoint(b, p, tolerance); });
}

inline bool anyInside(const GisShape& a, const GisShape& b, double tolerance) {
    const QList<P> all = vertices(a);
    return std::any_of(all.begin(), all.end(),
                       [&](const P& p) { return containsPoint(b, p, tolerance) && !onBoundary(b, p, tolerance); });
}

inline bool same(const GisShape& a, const GisShape& b, double tolerance) {
    const QList<P> verticesA = vertices(a), verticesB = vertices(b);
    return a.shapeType() == b.shapeType() &&
           std::equal(verticesA.begin(), verticesA.end(), verticesB.begin(), verticesB.end(),
                      [&](const P& p, const P& q) { return samePoint(p, q, tolerance); });
}

/// The predicates in the order of the pattern table, and the pattern.
struct Answers {
    bool meet, proper, aInB, bInA, aInsideB, bInsideA;
    bool equal, disjoint, touch, cross, within, contains, overlap;
    QString pattern;

    Answers(const GisShape& a, const GisShape& b, double tolerance)
        : meet(boundariesMeet(a, b, tolerance, false)), proper(boundariesMeet(a, b, tolerance, true)),
          aInB(allIn(a, b, tolerance)), bInA(allIn(b, a, tolerance)), aInsideB(anyInside(a, b, tolerance)),
          bInsideA(anyInside(b, a, tolerance)), equal(same(a, b, tolerance)) {
        const bool empty = a.isEmpty() || b.isEmpty();
        disjoint = empty || !a.extent().intersects(b.extent()) || (!meet && !aInB && !bInA);
        touch = !disjoint && !equal && meet && !aInsideB && !bInsideA && !aInB && !bInA;
        cross = !disjoint && proper;
        within = !empty && !equal && aInB;
        contains = !empty && !equal && bInA;
        overlap = !disjoint && !equal && !within && !contains && a.shapeType() == b.shapeType();
        pattern = equal      ? "T*F**FF*"
                  : disjoint ? "FF*FF****"
                  : touch    ? "F***T****"
                  : cross    ? "T*T******"
                  : within   ? "T*F**F***"
                  : contains ? "T*****FF*"
                  : overlap  ? "T*T***T**"
                             : "T********";
    }
};

} // namespace test::plain
