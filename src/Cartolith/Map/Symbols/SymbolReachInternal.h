#pragma once

namespace Cartolith::Core::Layers {
class GisLayer;
}

namespace Cartolith::Map::Internal {

/// How far the symbols of a layer may reach from their places, in pixels of the style: casings, halos,
/// corners and sizes by value included. At least 64 where a renderer may have styles that its legend does not
/// tell of.
double farthestReach(const Core::Layers::GisLayer& layer);

} // namespace Cartolith::Map::Internal
