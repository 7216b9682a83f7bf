#pragma once

#include <Cartolith/Core/Shapes/GisShapePoint.h>

#include <QList>

/// Shells and holes told apart for a format that asks for them; the shapes do not.
namespace Cartolith::Core::Shapes::Internal {

using Ring = QList<GisShapePoint>;

/// The rings as polygons by the right-hand rule: a list for each shell, which runs counterclockwise and comes
/// first, followed by its holes, which run clockwise. Shells and what follows them keep their order.
///
/// What a ring is shows in how many others are around it: an even number makes a shell, an odd one a hole of
/// the smallest of them. A ring is around a smaller one when the smaller one lies in it (RingChords) and the
/// middle of the smaller one's box in its box; whatever is around it is around the smaller one, too. So it
/// does not matter where rings touch, nor that rounding has moved a vertex across an edge; of rings that
/// overlap, the smaller counts as lying within when about half of it or more does. Equal rings are not around
/// each other, however they are stored. Rings that enclose nothing and those with a vertex that is not finite
/// are shells and keep their direction; rings without a vertex are left out.
///
/// n log n for n vertices, and a look at the edges of the larger ring at one height, which an index finds,
/// for each pair of rings of which the boxes are nested and the areas are not.
QList<QList<Ring>> shellsWithHoles(const QList<Ring>& rings);

/// How many others are around each ring; 0 for one without a vertex.
QList<int> nestingDepths(const QList<Ring>& rings);

} // namespace Cartolith::Core::Shapes::Internal
