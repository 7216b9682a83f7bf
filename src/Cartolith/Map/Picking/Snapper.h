#pragma once

#include <Cartolith/Map/Export.h>

#include <QFlags>
#include <QList>
#include <QPointF>
#include <QStringList>

#include <chrono>
#include <memory>
#include <optional>

namespace Cartolith::Core {
namespace CoordinateSystems {
class CoordinateSystem;
}
namespace Layers {
class GisLayer;
}
} // namespace Cartolith::Core

namespace Cartolith::Map {
class MapView;
}

namespace Cartolith::Map::Picking {

/// What a place of the map can be drawn to, the best first.
enum class SnapKind {
    Vertex = 0x01, ///< of a line or an outline, and a point
    /// Of two edges, each within the other; where one ends on the other there is a vertex.
    Crossing = 0x02,
    /// Of an area its centroid, of a line the place half way along all its parts. The middle of a single edge
    /// is none. Where a shape of another system is partly out of view, its bends there are followed less
    /// closely, and its centre is off by as much.
    Centre = 0x04,
    Segment = 0x08, ///< the nearest place of an edge
};
Q_DECLARE_FLAGS(SnapKinds, SnapKind)
Q_DECLARE_OPERATORS_FOR_FLAGS(SnapKinds)

struct Snap {
    SnapKind kind = SnapKind::Segment;
    QPointF place;         ///< in map units
    double distance = 0.0; ///< in pixels of the device
    std::shared_ptr<Core::Layers::GisLayer> layer;
    qint64 featureId = 0; ///< as LayerSnapshot::id(); of a crossing one of the two
};

/// Draws the mouse to vertices, crossings, centres and edges of vector layers, in the map's coordinate
/// system, whatever that of the layer is: cut and bent as the map shows them.
///
///     Snapper snapper(layers, mapSystem, view);
///     while (!snapper.step(std::chrono::milliseconds(5))) { ... other work of this thread ... }
///     if (const auto snap = snapper.snap(view, mouse, 10)) { ... snap->place ... }
///
/// It searches an index of its own: 48 bytes for each edge and centre, and twice that while it is made. When
/// content or coordinate system of a layer change, that layer is begun anew by the next step(); until it is
/// done, its places are not found, those of the others are. Layers that read as asked are indexed for what
/// the view shows, up to a million features, but not while they have edits that are not saved.
///
/// Everything happens on the thread of the layers, but cancel().
class CARTOLITH_MAP_EXPORT Snapper {
public:
    enum class State {
        Working,   ///< step() has something to do
        Ready,     ///< everything is found
        Cancelled, ///< and stays so; what was ready before and has not changed is found
    };
    static constexpr SnapKinds allKinds =
        SnapKinds(SnapKind::Vertex) | SnapKind::Crossing | SnapKind::Centre | SnapKind::Segment;

    /// Layers that are null or have no shapes are passed over. `mapSystem` is null for a map in the layers'
    /// own units. \throws std::runtime_error where PROJ finds no way from the map's system to degrees, which
    /// the view's scale takes; a layer without a way to the map's is one of problems()
    Snapper(const QList<std::shared_ptr<Core::Layers::GisLayer>>& layers,
            const std::shared_ptr<Core::CoordinateSystems::CoordinateSystem>& mapSystem, const MapView& view);
    ~Snapper();
    Snapper(const Snapper&) = delete;
    Snapper& operator=(const Snapper&) = delete;

    /// The view that is looked at now. Layers are begun anew where what was read does not hold it, and where
    /// it shows bends that were passed over: edges in other systems are followed to half a pixel in the view
    /// that they were begun with and as much around it, elsewhere to what the whole layer would show were it
    /// 20,000 pixels wide. One that cannot be used stops the work.
    void setView(const MapView& view);

    /// Works for about that long, looking at the clock after each shape and each 2,000 edges to be sorted.
    /// The first one for a layer in another system also makes the way from there, as CuttingTransformer.
    /// True when there is nothing left to do.
    bool step(std::chrono::milliseconds budget);
    /// From any thread: the next step does nothing, one that is under way ends soon.
    void cancel() noexcept;
    State state() const;
    /// From 0 to 1, by layers.
    double progress() const;
    /// Which layers could not be read, or not wholly, and why.
    QStringList problems() const;

    /// The best of what is at most so many pixels (of the device) from a pixel of the view: by kind, as they
    /// are listed, then by distance. Layers that the view does not show have nothing.
    ///
    /// Bounded: of what is near, 20,000 edges of each layer are looked at, the nearest ones, and of all
    /// crossings those of the nearest 256. None for NaN and a view that cannot be used.
    std::optional<Snap> snap(const MapView& view, QPointF pixel, double pixels,
                             SnapKinds kinds = allKinds) const;

private:
    class Private;
    std::unique_ptr<Private> d;
};

} // namespace Cartolith::Map::Picking
