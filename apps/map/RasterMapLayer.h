#pragma once

#include "MapLayer.h"
#include "RasterOptions.h"

#include <Cartolith/Core/Layers/GisLayerGdalRaster.h>

class StepLog;

/// Pixels: read when the view is known, and no more of them than it shows.
class RasterMapLayer : public MapLayer {
public:
    /// Opens the file. The log outlives this object. \throws std::exception when it cannot be read or its
    /// values not be coloured so
    RasterMapLayer(const MapLayerOptions& options, const RasterOptions& look, StepLog& log);

    std::shared_ptr<Cartolith::Core::CoordinateSystems::CoordinateSystem> system() const override;
    Cartolith::Map::MapScene::Entry entry() override;
    void setMapSystem(std::shared_ptr<Cartolith::Core::CoordinateSystems::CoordinateSystem> system) override;
    std::optional<Cartolith::Map::LegendContent> legend() override;
    void beginReading() override;
    void endReading() override;
    void report(const Cartolith::Map::LayerSnapshot& snapshot, const Cartolith::Map::MapView& view) override;
    /// The values of the pixel there; the tolerance is of no use.
    QString describeAt(const Cartolith::Core::Shapes::GisShapePoint& place, double tolerance) override;

private:
    MapLayerOptions m_options;
    RasterOptions m_look;
    StepLog& m_log;
    std::shared_ptr<Cartolith::Core::Layers::GisLayerGdalRaster> m_layer; // never null
    std::shared_ptr<Cartolith::Core::CoordinateSystems::CoordinateSystem> m_mapSystem;
};
