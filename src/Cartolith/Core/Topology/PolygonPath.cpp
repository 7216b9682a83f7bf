#include <Cartolith/Core/Topology/PolygonPathInternal.h>

#include <QPolygonF>
#include <QTransform>

#include <algorithm>
#include <utility>

namespace Cartolith::Core::Topology::Internal {

using Shapes::GisShape;
using Shapes::GisShapePoint;
using Shapes::GisShapePolygon;

namespace {

QPainterPath combined(const QPainterPath& a, const QPainterPath& b, GisTopologyCombineType type) {
    switch (type) {
    case GisTopologyCombineType::Intersection:
        return a.intersected(b);
    case GisTopologyCombineType::Difference:
        return a.subtracted(b);
    case GisTopologyCombineType::SymmetricalDifference:
        return a.united(b).subtracted(a.intersected(b));
    case GisTopologyCombineType::Union:
        break;
    }
    return a.united(b);
}

} // namespace

QList<GisShapePoint> cleanPathRing(const QList<GisShapePoint>& ring) {
    QList<GisShapePoint> clean;
    clean.reserve(ring.size() + 1);
    for (const GisShapePoint& vertex : ring) {
        if (clean.isEmpty() || !isSamePlace(clean.constLast(), vertex)) {
            clean.append(GisShapePoint(vertex.x(), vertex.y()));
        }
    }
    if (clean.size() <= 2) {
        return {};
    }
    if (!isSamePlace(clean.constFirst(), clean.constLast())) {
        clean.append(GisShapePoint(clean.constFirst()));
    }
    return clean.size() <= 3 ? QList<GisShapePoint>() : clean;
}

QPainterPath painterPathFromPolygon(const GisShapePolygon& polygon) {
    QPainterPath path;
    path.setFillRule(Qt::WindingFill);
    for (const QList<GisShapePoint>& part : polygon.parts()) {
        QList<GisShapePoint> ring = part;
        if (!std::all_of(part.begin(), part.end(), canOverlay)) {
            ring.removeIf([](const GisShapePoint& vertex) { return !canOverlay(vertex); });
        }
        ring = cleanPathRing(ring);
        if (ring.isEmpty()) {
            continue;
        }
        QPolygonF outline;
        outline.reserve(ring.size());
        for (const GisShapePoint& vertex : std::as_const(ring)) {
            outline.append(QPointF(vertex.x(), vertex.y()));
        }
        path.addPolygon(outline);
    }
    return path.simplified();
}

std::unique_ptr<GisShape> internalPolygonPathOperation(const GisShape& a, const GisShape& b,
                                                       GisTopologyCombineType type,
                                                       const std::function<bool(int)>& proceed) {
    const auto* first = dynamic_cast<const GisShapePolygon*>(&a);
    const auto* second = dynamic_cast<const GisShapePolygon*>(&b);
    const auto stopped = [&proceed](int step) { return proceed && !proceed(step); };
    if (first == nullptr || second == nullptr || stopped(0)) {
        return nullptr;
    }
    const QPainterPath pathOfA = painterPathFromPolygon(*first);
    const QPainterPath pathOfB = painterPathFromPolygon(*second);
    if (stopped(1)) {
        return nullptr;
    }
    const QPainterPath path = combined(pathOfA, pathOfB, type);
    if (stopped(2)) {
        return nullptr;
    }
    auto result = std::make_unique<GisShapePolygon>();
    if (!path.isEmpty()) {
        for (const QPolygonF& outline : path.simplified().toSubpathPolygons(QTransform())) {
            QList<GisShapePoint> ring;
            ring.reserve(outline.size());
            for (const QPointF& vertex : outline) {
                ring.append(GisShapePoint(vertex.x(), vertex.y()));
            }
            ring = cleanPathRing(ring);
            if (!ring.isEmpty()) {
                result->parts().append(std::move(ring));
            }
        }
    }
    result->attributeSlot() = a.attributeSlot();
    result->setId(a.id());
    return result;
}

} // namespace Cartolith::Core::Topology::Internal
