#pragma once

#include <Cartolith/Core/Topology/GisTopologyCombineType.h>
#include <Cartolith/Core/Topology/OutlineInternal.h>

#include <array>
#include <limits>

/// Two polygons and what an overlay made of them, measured along horizontal lines.
namespace Cartolith::Core::Topology::Internal {

struct OverlayScan {
    /// What the result has too much or too little, estimated along lines that stand for a strip each.
    double wrongArea = 0.0;
    double wrongAreaInCommon = 0.0; ///< of that, what lies in the extent that a and b have in common
    double worstAt = std::numeric_limits<double>::quiet_NaN(); ///< y of the line where most is wrong
    std::array<double, 2> areas{};                             ///< of a and b, estimated
    /// Whether no line found an input to cover anything twice or to turn inside out.
    bool isSingle = true;
};

/// The crossings of each line with the edges are sorted, and what the operation makes of a and b is compared
/// with the result piece by piece. Edges that agree but for rounding leave pieces of that size. An edge
/// counts at its lower and not at its upper end, so vertices on a line do no harm. The rings of the result
/// are read by nesting.
///
/// The lines are 32 where both inputs are, 12 above and 12 below.
OverlayScan scanOverlay(const Outline& a, const Outline& b, const Outline& result,
                        GisTopologyCombineType type, RingReading reading);

} // namespace Cartolith::Core::Topology::Internal
