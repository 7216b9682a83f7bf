#pragma once

#include <QtGlobal>

namespace Cartolith::Core::Spatial {

/// The spatial indexes that a layer can be given. The numbers are stored, so they do not change.
enum class SpatialIndexType : qint32 {
    /// A full scan; for a handful of shapes, and as the reference for the others.
    Linear = 0,
    /// R-tree packed along the longer axis; also what an unknown number stands for.
    RTree = 1,
    /// R-tree packed along a Hilbert curve.
    RTreeHilbert = 2,
    /// Region quadtree.
    QuadTree = 3,
};

} // namespace Cartolith::Core::Spatial
