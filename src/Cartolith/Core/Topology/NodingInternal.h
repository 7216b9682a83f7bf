#pragma once

#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Topology/WorkInternal.h>

#include <QList>

namespace Cartolith::Core::Topology::Internal {

/// More than 10 million. Never leaves the library.
struct TooManyCrossings {};

/// The lines with vertices wherever they meet, so that two of their segments are the same or have nothing but
/// ends in common. A crossing becomes a vertex at the nearest doubles; by that segments turn a little and may
/// cross again, so there are rounds, mostly two.
///
/// Vertices stay as they are, bit for bit, but for lines that cross after 6 rounds still, because segments
/// all but lie on each other. These go onto a grid of 2^-46 of the largest coordinate, or of 16 times that
/// and so on, by snap rounding (J. Hobby, 1999): a segment that passes a vertex within half a cell goes
/// through it. `coarseness` says with which of these grids all lines begin; 0 is none.
///
/// Lines keep their place in the list; of one that a grid has made a single place of nothing is left. Lines
/// have two or more vertices, finite and none equal to the one before. \throws Stopped, TooManyCrossings
QList<QList<Shapes::GisShapePoint>> nodedLines(const QList<QList<Shapes::GisShapePoint>>& lines,
                                               int coarseness, Work& work);

} // namespace Cartolith::Core::Topology::Internal
