#pragma once

#include <QtGlobal>

namespace Cartolith::Core::Topology {

/// The four overlay operations. The numbers are fixed: hosts store them.
enum class GisTopologyCombineType : qint32 {
    Union = 0,
    Intersection = 1,
    Difference = 2,
    SymmetricalDifference = 3,
};

} // namespace Cartolith::Core::Topology
