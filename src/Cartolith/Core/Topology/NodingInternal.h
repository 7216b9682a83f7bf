#pragma once

#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Topology/WorkInternal.h>

#include <QList>

#include <string>

namespace Cartolith::Core::Topology::Internal {

/// Never leaves the library.
struct NotNoded {
    std::string reason; ///< as it is told
};

/// The grid on which noding begins.
struct NodingGrid {
    /// Of a cell, a power of two of which all coordinates are multiples; 0 where any double will do.
    double smallest = 0.0;
    /// From 1 on: cells of 2^-46 of the largest coordinate, of 16 times that and so on.
    int level = 0;
    /// Cells of 2^-18 of the largest coordinate: coarser ones would make another shape.
    static constexpr int lastLevel = 8;
    static constexpr const char* failing = "rings still cross on a grid of 2^-18 of their coordinates.";
};

/// What lines are for. Of rings it matters only what they go round, so that a way forth and back at once is
/// left out where a round makes one: rings that nearly lie on a line go over most of it thousands of times.
enum class NodedAs { Lines, Rings };

/// The lines with vertices wherever they meet, so that two of their segments are the same or have nothing but
/// ends in common. A crossing becomes a vertex at the nearest doubles; by that segments turn a little and may
/// cross again, so there are rounds, mostly two.
///
/// Vertices stay as they are, bit for bit, but for lines that cross after 6 rounds still, because segments
/// all but lie on each other. These go onto the grid of the next level, by snap rounding (J. Hobby, 1999): a
/// segment that passes a vertex within half a cell goes through it.
/// A segment that passes a vertex by a few roundings goes through it without a grid, too.
///
/// Lines keep their place in the list; of one that comes to a single place nothing or that is left. Lines
/// have two or more vertices, finite and none equal to the one before.
///
/// Segments that are equal are looked at as one, and lines may be in any order. \throws Stopped; NotNoded
/// when there are more crossings than the work allows, or lines that cross again on the last grid
QList<QList<Shapes::GisShapePoint>> nodedLines(const QList<QList<Shapes::GisShapePoint>>& lines, NodedAs as,
                                               const NodingGrid& grid, Work& work);

} // namespace Cartolith::Core::Topology::Internal
