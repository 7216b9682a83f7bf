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
/// the smallest of them. A ring is around a smaller one when the smaller one lies in it (RingChords);
/// whatever is around it is around the smaller one, too. So it does not matter where rings touch, nor that
/// rounding has moved a vertex across an edge; of rings that overlap, the smaller counts as lying within when
/// about half of it or more does. Sizes, and what lies in a ring, go by what it goes round (enclosedArea()),
/// also when it crosses itself. Of two rings of which one vertex differs by a rounding the smaller is a hole,
/// the later one where the sizes are the same as computed.
///
/// Equal rings, however they are stored, lie beside each other as shells. As holes they are dealt out to the
/// equal shells around them (dealHoles()), one to each; one that runs against the first hole is an island
/// that fills it, and what lies in them lies in the island; others are a hole stored once more.
///
/// Rings that enclose nothing and those with a vertex that is not finite are shells. Rings
/// without a vertex are left out; those whose signed area is 0 keep their direction.
///
/// n log n for n vertices, also where the boxes of all rings meet (PlaceWindings; there a ring also has to go
/// round the middle of the smaller one's longest chord, which matters for rings that overlap), and a look at
/// the edges of the larger ring at one height, which an index finds, for each ring and those around its
/// middle up to the smallest that it lies in.
QList<QList<Ring>> shellsWithHoles(const QList<Ring>& rings);

struct RingNest {
    /// How many others are around it; 0 for a ring without a vertex. Of equal rings one counts; an island
    /// that fills a hole lies in it.
    int depth = 0;
    int innermost = -1; ///< the smallest of these, by its place in the list; of equal ones that it belongs to
};

/// One for each ring.
QList<RingNest> ringNests(const QList<Ring>& rings);

/// Their depths alone.
QList<int> nestingDepths(const QList<Ring>& rings);

} // namespace Cartolith::Core::Shapes::Internal
