#pragma once

#include "LabelOptions.h"
#include "MapLayer.h"
#include "RasterOptions.h"
#include "SymbologyOptions.h"

#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Map/MapSheet.h>

#include <memory>
#include <optional>
#include <vector>

/// One FILE of a map.
struct LayerOptions {
    MapLayerOptions layer;
    bool isRaster = false;
    bool isFirst = false;       ///< on the command line: the map is in its coordinate system
    SymbologyOptions symbology; ///< of a vector layer
    LabelOptions labels;        ///< of a vector layer
    RasterOptions raster;
};

/// What the command line of render says.
struct RenderOptions {
    std::vector<LayerOptions> layers; ///< from the bottom to the top; none where a saved map is drawn
    QString map;                      ///< that one
    QString saveMap;                  ///< empty when nothing is to be saved
    QString output;
    std::shared_ptr<Cartolith::Core::CoordinateSystems::CoordinateSystem> system; ///< null without --crs
    Cartolith::Core::Shapes::GisExtent extent;
    Cartolith::Map::MapSheet::Options sheet;
    std::optional<Cartolith::Map::Furniture::SheetDescription> described; ///< takes the place of sheet
    QStringList identify; ///< degrees, or map units where the map has no system
    bool quiet = false;

    /// \throws UsageError, and std::runtime_error for what cannot be written, before any file is read
    static RenderOptions of(const QStringList& arguments);
    static QString help();
};
