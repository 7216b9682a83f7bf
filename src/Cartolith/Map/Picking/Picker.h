#pragma once

#include <Cartolith/Map/Export.h>

#include <QList>
#include <QPointF>
#include <QStringList>

#include <memory>

namespace Cartolith::Core {
namespace CoordinateSystems {
class CoordinateSystem;
}
namespace Layers {
class GisLayer;
}
} // namespace Cartolith::Core

namespace Cartolith::Map {
class MapScene;
class MapView;
} // namespace Cartolith::Map

namespace Cartolith::Map::Picking {

/// What lies at a place of the map.
struct Hit {
    std::shared_ptr<Core::Layers::GisLayer> layer;
    qsizetype position = 0; ///< of the layer, as given, from 0 at the bottom
    /// As LayerSnapshot::id() and SelectionSet have it; of a raster -1.
    qint64 featureId = -1;
    /// From what is drawn, in pixels of the device: 0 on a symbol, on a line's width, inside an area.
    double distance = 0.0;
    /// Of a raster: what its cell has in each band, NaN where it has nothing there; empty where the layer
    /// gives pictures only.
    QList<double> values = {};
};

/// Answers what of a map is under the mouse. Keeps what it takes to look into layers of other coordinate
/// systems, so it is made once and used again and again; on the layers' thread.
class CARTOLITH_MAP_EXPORT Picker {
public:
    Picker();
    ~Picker();
    Picker(const Picker&) = delete;
    Picker& operator=(const Picker&) = delete;

    /// Everything that is at most so many pixels (of the device; up to 1000) from a pixel of the view: layer
    /// by layer from the top, within a layer by distance, at the same distance what was drawn later first.
    /// Several shapes of one feature are one hit, the nearest.
    ///
    /// Layers are left out where the view does not show them (MapScene::isDrawn()). A point is the circle of
    /// its size, whatever its shape, and nothing without a size; a line its width without casing and halo, an
    /// area everything between its outer and inner rings, and its outline. Sizes are the feature's own where
    /// the style has them by value. Of a raster, the cell under the pixel counts, if it has a value.
    ///
    /// Shapes in memory are found by the layer's own index, which the first question may have to build; what
    /// reads as asked is asked for a box of that size, in its cache while edits are not saved, for 100,000
    /// features at the most. Of layers in another system, near shapes are taken into the map's with all their
    /// vertices; their edges are bent to half a pixel of the view near the pixel, and elsewhere to what the
    /// whole layer would show were it 20,000 pixels wide. Empty for NaN, for a tolerance below 0 and a view
    /// that cannot be used.
    QList<Hit> hitTest(const MapScene& scene, const MapView& view, QPointF pixel, double pixels);
    /// The same of layers from the bottom to the top; null ones are passed over, the map's system may be null
    /// for one in the layers' own units. \throws std::runtime_error for a system without a way to degrees
    QList<Hit> hitTest(const QList<std::shared_ptr<Core::Layers::GisLayer>>& layers,
                       const std::shared_ptr<Core::CoordinateSystems::CoordinateSystem>& mapSystem,
                       const MapView& view, QPointF pixel, double pixels);

    /// Which layers could not be looked into the last time, and why.
    const QStringList& problems() const;

private:
    class Private;
    std::unique_ptr<Private> d;
};

} // namespace Cartolith::Map::Picking
