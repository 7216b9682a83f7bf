#pragma once

#include <Cartolith/Map/LayerSnapshot.h>
#include <Cartolith/Map/LegendContent.h>
#include <Cartolith/Map/MapScene.h>

#include <memory>
#include <optional>

/// A layer on its way from a file onto a map: read, taken into the map's coordinate system, drawn.
class MapLayer {
public:
    virtual ~MapLayer() = default;

    /// Of the file, or the one assumed of it; null when unknown.
    virtual std::shared_ptr<Cartolith::Core::CoordinateSystems::CoordinateSystem> system() const = 0;
    /// What is drawn of it; the same layer each time.
    virtual Cartolith::Map::MapScene::Entry entry() = 0;
    /// The same look of the file itself, for a map that is saved.
    virtual Cartolith::Map::MapScene::Entry entryToSave() { return entry(); }
    /// The map's system, which may be null, before what follows.
    /// \throws std::runtime_error when the layer cannot be drawn in that system
    virtual void
    setMapSystem(std::shared_ptr<Cartolith::Core::CoordinateSystems::CoordinateSystem> system) = 0;
    /// None when nobody asked for one.
    virtual std::optional<Cartolith::Map::LegendContent> legend() = 0;
    /// Between these calls, whoever draws the layer may have to read it.
    virtual void beginReading() {}
    virtual void endReading() {}
    /// Says what was drawn from.
    virtual void report(const Cartolith::Map::LayerSnapshot& snapshot,
                        const Cartolith::Map::MapView& view) = 0;
    /// The values of what lies at a place or within a tolerance of it, in map units; a null text when nothing
    /// does.
    virtual QString describeAt(const Cartolith::Core::Shapes::GisShapePoint& place, double tolerance) = 0;
};

/// What the command line says of a layer.
struct MapLayerOptions {
    QString file;
    QString layer; ///< of a vector file; empty means the first
    bool legend = false;
    QString legendTitle;
    /// What --assume-crs says; may be null.
    std::shared_ptr<Cartolith::Core::CoordinateSystems::CoordinateSystem> assumed = nullptr;
    /// The size in pixels of a picture of everything, for which overviews will do; empty when all is wanted.
    QSize overviewFor = {};
    /// Of a larger file without overviews, such a picture draws a sample of so many features.
    qint64 most = 1'000'000;
    /// The map's coordinate system; null for that of the file.
    std::shared_ptr<Cartolith::Core::CoordinateSystems::CoordinateSystem> mapSystem = nullptr;
};
