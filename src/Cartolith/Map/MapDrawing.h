#pragma once

#include <Cartolith/Map/MapRenderJob.h>

namespace Cartolith::Core::CoordinateSystems {
class CoordinateSystem;
}

namespace Cartolith::Map {

/// All that one picture of a map is drawn from, ready for any thread: by MapRenderJob as pixels, by
/// Output::VectorFile as vectors.
struct MapDrawing {
    MapView view;
    QList<MapRenderJob::Layer> layers; ///< from the bottom to the top
    MapRenderJob::Options options = {};
    /// Of the map; may be null.
    std::shared_ptr<const Core::CoordinateSystems::CoordinateSystem> system = nullptr;
};

} // namespace Cartolith::Map
