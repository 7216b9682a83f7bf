#pragma once

#include <Cartolith/Core/Shapes/GisShapePoint.h>

#include <QList>

/// What the writers of text formats share.
namespace Cartolith::Core::Serialization::Internal {

/// True when the last vertex differs from the first one in x or y.
inline bool isOpen(const QList<Shapes::GisShapePoint>& ring) {
    if (ring.isEmpty()) {
        return false;
    }
    const Shapes::GisShapePoint& first = ring.constFirst();
    const Shapes::GisShapePoint& last = ring.constLast();
    return first.x() != last.x() || first.y() != last.y();
}

/// The ring, with a copy of its first vertex at the end if it is open.
inline QList<Shapes::GisShapePoint> closedRing(const QList<Shapes::GisShapePoint>& ring) {
    QList<Shapes::GisShapePoint> closed = ring;
    if (isOpen(ring)) {
        closed.append(ring.constFirst());
    }
    return closed;
}

} // namespace Cartolith::Core::Serialization::Internal
