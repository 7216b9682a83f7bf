#pragma once

#include <Cartolith/Map/Export.h>
#include <Cartolith/Map/LayerSnapshot.h>

#include <chrono>
#include <memory>

namespace Cartolith::Map {

/// Makes a snapshot of a layer, on the thread that the layer belongs to, in steps between which that thread
/// can do other things.
///
/// Shapes that are in memory are all taken, so that a snapshot serves every view. Of a layer that reads what
/// it is asked for, those in the view are (of a large source, as many as a picture shows), and of a raster
/// the pixels of the view, both by one call of the layer's own.
///
/// When the layer changes between two steps, it begins anew. The layer outlives the builder.
class CARTOLITH_MAP_EXPORT LayerSnapshotBuilder {
public:
    enum class State { Working, Done, Cancelled };

    /// `mapSystem` is null for a map in the layer's own units.
    /// \throws std::runtime_error when the map has a coordinate system and the layer does not know its own,
    /// or nothing leads from one to the other
    LayerSnapshotBuilder(Core::Layers::GisLayer& layer, const MapView& view,
                         std::shared_ptr<Core::CoordinateSystems::CoordinateSystem> mapSystem);
    ~LayerSnapshotBuilder();
    LayerSnapshotBuilder(const LayerSnapshotBuilder&) = delete;
    LayerSnapshotBuilder& operator=(const LayerSnapshotBuilder&) = delete;

    /// Works for about that long, looking at the clock every few shapes; a call of a source that reads what
    /// is asked is not broken off. True when there is nothing left to do. \throws std::runtime_error when the
    /// source cannot be read; it is over then
    bool step(std::chrono::milliseconds budget);
    /// From any thread: the next step ends at its next shape, and later ones do nothing.
    void cancel() noexcept;

    State state() const noexcept;
    /// From 0 to 1; of a source that does not say how much it has, 0 until the end.
    double progress() const noexcept;

    /// What was made; empty before state() is Done.
    LayerSnapshot snapshot() const;

private:
    class Private;
    std::unique_ptr<Private> d;
};

} // namespace Cartolith::Map
