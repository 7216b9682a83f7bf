#pragma once

#include <Cartolith/Core/Shapes/GisShapePoint.h>

#include <QList>

/// Shells and holes told apart for a format that asks for them; the shapes do not.
namespace Cartolith::Core::Shapes::Internal {

using Ring = QList<GisShapePoint>;

/// The rings as polygons by the right-hand rule: a list for each shell, which runs counterclockwise and comes
/// first, followed by its holes, which run clockwise. Shells and what follows them keep their order.
///
/// What a ring is shows in how many others it lies: an even number makes a shell, an odd one a hole of the
/// smallest of them. A ring lies in a larger one when its first vertex off the other's boundary does, or, if
/// there is none, the middle of an edge. Rings that enclose nothing are shells and keep their direction;
/// rings without a vertex are left out. Coordinates must be finite.
///
/// Takes a comparison of boxes for each pair of rings, and a look at all edges for pairs whose boxes are
/// nested.
QList<QList<Ring>> shellsWithHoles(const QList<Ring>& rings);

/// In how many others each ring lies; 0 for one without a vertex.
QList<int> nestingDepths(const QList<Ring>& rings);

} // namespace Cartolith::Core::Shapes::Internal
