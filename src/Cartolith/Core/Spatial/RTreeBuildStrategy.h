#pragma once

#include <QtGlobal>

namespace Cartolith::Core::Spatial::RTree {

/// How an R-tree orders items before it cuts them into leaves.
enum class RTreeBuildStrategy : qint32 {
    /// Along the longer axis of all items: the cheapest to build. Also what an unknown number stands for.
    SortAxis = 0,
    /// Along a Hilbert curve through the items' centres: compact leaves.
    Hilbert = 1,
};

} // namespace Cartolith::Core::Spatial::RTree
