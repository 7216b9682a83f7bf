#pragma once

#include "MapLayer.h"

#include <memory>
#include <vector>

class StepLog;
struct RenderOptions;

/// What a command line says to draw, as the layers of a scene.
namespace MapInput {

using MapLayers = std::vector<std::unique_ptr<MapLayer>>;

/// Files to layers, in the map's coordinate system. \throws std::exception when one cannot be drawn in it
MapLayers open(const RenderOptions& options, Cartolith::Map::MapScene& scene, StepLog& log);

/// A saved map; says which of its layers are missing.
Cartolith::Map::MapScene load(const RenderOptions& options, StepLog& log);

/// Between the two, whoever draws the layers may read them.
class Reading {
public:
    explicit Reading(const MapLayers& layers);
    ~Reading();
    Reading(const Reading&) = delete;
    Reading& operator=(const Reading&) = delete;

private:
    const MapLayers& m_layers;
};

} // namespace MapInput
