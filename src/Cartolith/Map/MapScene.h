#pragma once

#include <Cartolith/Core/Shapes/GisExtent.h>
#include <Cartolith/Map/Export.h>
#include <Cartolith/Map/LayerBlend.h>
#include <Cartolith/Map/MapView.h>
#include <Cartolith/Map/SymbolPainter.h>

#include <QColor>
#include <QImage>
#include <QJsonObject>
#include <QString>

#include <memory>
#include <vector>

namespace Cartolith::Core {
namespace CoordinateSystems {
class CoordinateSystem;
}
namespace Layers {
class GisLayer;
}
} // namespace Cartolith::Core

namespace Cartolith::Map {

class GroundScale;
class LabelMemory;
class LayerSnapshot;
class MapPreparation;
namespace Picking {
class SelectionSet;
}

/// The layers of a map in drawing order, the coordinate system that they are drawn in, and the view.
///
///     MapScene scene;
///     scene.append(layer);
///     scene.setView(MapView(scene.extent(), QRectF(0, 0, 1600, 900)));
///     scene.draw(scene.view()).save("map.png");
///
/// A layer is drawn where it is visible at the view's scale (GisLayer::isVisibleAtScale()), its labels where
/// their style's scales say so as well. What was made for one picture is kept for the next as long as the
/// layer stays as it is; of a renderer that was changed in its place, GisLayer::markLookChanged() tells.
///
/// Used by one thread at a time, that of its layers; only the jobs that it makes may run elsewhere. Layers
/// are shared with the host.
class CARTOLITH_MAP_EXPORT MapScene {
public:
    struct Entry {
        /// Null where the source could not be opened: it is kept to be saved again.
        std::shared_ptr<Core::Layers::GisLayer> layer;
        double opacity = 1.0;
        LayerBlend blend = LayerBlend::Normal;
        LineCasing casing = {};
        /// As it was read from a file, of a layer that could not be opened; the path of its source is
        /// absolute.
        QJsonObject missing = {};
    };

    /// Without layers, and without coordinate system.
    MapScene();
    ~MapScene();
    MapScene(MapScene&& other) noexcept;
    MapScene& operator=(MapScene&& other) noexcept;

    /// Null for a map in the units of its layers, whatever they are.
    const std::shared_ptr<Core::CoordinateSystems::CoordinateSystem>& coordinateSystem() const;
    /// \throws std::runtime_error when PROJ does not know it
    void setCoordinateSystem(std::shared_ptr<Core::CoordinateSystems::CoordinateSystem> system);

    const MapView& view() const;
    void setView(const MapView& view);
    QColor background() const;
    void setBackground(QColor color);

    /// \name Layers
    /// From the bottom to the top. \throws std::out_of_range for a position that there is not
    /// @{
    qsizetype count() const;
    const Entry& entry(qsizetype position) const;
    void append(std::shared_ptr<Core::Layers::GisLayer> layer);
    /// `position` may be count(). \throws std::invalid_argument for neither a layer nor a missing one
    void insert(qsizetype position, Entry entry);
    void replace(qsizetype position, Entry entry);
    void remove(qsizetype position);
    void move(qsizetype from, qsizetype to);
    /// @}

    /// What of the layers is drawn as selected; null for nothing. It may change from picture to picture,
    /// which makes no snapshot anew. Not saved.
    const std::shared_ptr<const Picking::SelectionSet>& selection() const;
    void setSelection(std::shared_ptr<const Picking::SelectionSet> selection);

    /// Of all layers, also hidden ones, in map units. Takes what is in memory there, as draw() does.
    /// \throws std::runtime_error when a layer has no place in the map's coordinate system
    Core::Shapes::GisExtent extent();
    /// The map's scale there is 1 to this; NaN when nobody can tell.
    double scaleDenominator(const MapView& view) const;
    bool isDrawn(const Entry& entry, const MapView& view) const;

    /// What the layer at a position was last drawn from; empty when it was not yet.
    LayerSnapshot snapshot(qsizetype position) const;

    /// The picture of a view, all at once. Layers that cannot be read are left out. \throws std::bad_alloc
    QImage draw(const MapView& view);

    /// \name Files
    /// JSON: layers by their sources, with renderer, style, visibility and order; coordinate system, view.
    /// docs/formats.md has the members. Paths of files are relative to the file's folder; of a connection to
    /// a database, the password is left out.
    /// @{
    enum class Sources {
        Files,      ///< a source that is no file or folder of this machine is not opened, but reported
        Everything, ///< so that a map from a stranger may lead to servers
    };
    struct Loaded;
    /// Opens the layers. \throws std::runtime_error, naming the file and the member, for what is no such
    /// file, is larger than 64 MB or has more than 10,000 layers
    static Loaded load(const QString& path, Sources sources = Sources::Files);
    /// Replaces the file when all is written. \throws std::runtime_error when it cannot be written,
    /// std::invalid_argument for a layer without source and for a host's own class of layer or renderer
    void save(const QString& path) const;
    /// @}

private:
    friend class MapPreparation;
    class Private;
    std::unique_ptr<Private> d;
};

struct MapScene::Loaded {
    MapScene scene;
    /// Of each layer that could not be opened, which and why.
    QStringList problems;
    /// Of each layer, what it is read from: a file or folder by its absolute path, or as the map file says.
    QStringList sources;
};

} // namespace Cartolith::Map
