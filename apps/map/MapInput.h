#pragma once

#include "MapLayer.h"

#include <Cartolith/Map/MapScene.h>

#include <QStringList>

#include <memory>
#include <vector>

class StepLog;
struct RenderOptions;

/// What a command line says to draw, as the layers of a scene.
namespace MapInput {

using MapLayers = std::vector<std::unique_ptr<MapLayer>>;

struct Input {
    Cartolith::Map::MapScene scene;
    MapLayers layers;    ///< of the files on the command line; none of a saved map
    QStringList sources; ///< what the layers are read from
};

/// Files to layers, in the map's coordinate system, or a saved map; says which of its layers are missing.
/// \throws std::exception when a file's layer cannot be drawn in the map's system
Input read(const RenderOptions& options, StepLog& log);

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
