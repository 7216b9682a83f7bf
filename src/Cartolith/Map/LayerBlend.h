#pragma once

namespace Cartolith::Map {

/// How the picture of a layer is laid over what is below.
enum class LayerBlend : int {
    Normal = 0,
    Multiply = 1,
    Screen = 2,
    Overlay = 3,
    Darken = 4,
    Lighten = 5,
};

} // namespace Cartolith::Map
