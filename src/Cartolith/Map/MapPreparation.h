#pragma once

#include <Cartolith/Map/Export.h>
#include <Cartolith/Map/MapDrawing.h>

#include <QStringList>

#include <chrono>
#include <memory>

namespace Cartolith::Map {

class MapScene;

/// Makes the snapshots that a picture of a scene needs and the scene does not have, in steps, and then the
/// job that draws it:
///
///     MapPreparation preparation(scene, view);
///     while (!preparation.step(std::chrono::milliseconds(10))) { ... other work of this thread ... }
///     const auto job = preparation.job();
///
/// The scene outlives it, and keeps its layers meanwhile.
class CARTOLITH_MAP_EXPORT MapPreparation {
public:
    MapPreparation(MapScene& scene, const MapView& view);
    ~MapPreparation();
    MapPreparation(const MapPreparation&) = delete;
    MapPreparation& operator=(const MapPreparation&) = delete;

    /// As LayerSnapshotBuilder::step(), but that a layer that cannot be read is one of the problems.
    bool step(std::chrono::milliseconds budget);
    /// From any thread.
    void cancel() noexcept;
    /// From 0 to 1, by layers.
    double progress() const noexcept;
    /// Which layers cannot be drawn, and why.
    const QStringList& problems() const;

    /// Draws what there is: everything, after step() was true; before, layers as they were in an earlier
    /// picture. Never null.
    std::unique_ptr<MapRenderJob> job() const;
    /// The same, for an output of another kind.
    MapDrawing drawing() const;

private:
    class Private;
    std::unique_ptr<Private> d;
};

} // namespace Cartolith::Map
