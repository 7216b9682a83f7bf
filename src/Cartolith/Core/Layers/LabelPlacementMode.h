#pragma once

namespace Cartolith::Core::Layers {

/// Where the label of a feature goes.
enum class LabelPlacementMode : int {
    Automatic = 0, ///< what suits the kind of shape
    Point = 1,     ///< beside the point or the label point
    Line = 2,      ///< along the line
    Area = 3,      ///< inside the area
};

} // namespace Cartolith::Core::Layers
