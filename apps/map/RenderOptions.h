#pragma once

#include "LabelOptions.h"
#include "MapLayer.h"
#include "RasterOptions.h"
#include "SymbologyOptions.h"

#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Map/MapSheet.h>
#include <Cartolith/Map/Output/PageSetup.h>
#include <Cartolith/Map/Output/TileWriter.h>

#include <QColor>

#include <memory>
#include <optional>
#include <vector>

class QCommandLineParser;

/// One FILE of a map.
struct LayerOptions {
    MapLayerOptions layer;
    bool isRaster = false;
    bool isFirst = false;       ///< on the command line: the map is in its coordinate system
    SymbologyOptions symbology; ///< of a vector layer
    LabelOptions labels;        ///< of a vector layer
    RasterOptions raster;
};

/// What the command line of render says, and that of tiles, which has the same layers and looks.
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
    std::optional<Cartolith::Map::Output::PageSetup> page; ///< of which the sheet's size is the pixels
    Cartolith::Map::Output::TileJob tiles;                 ///< without extent unless one is given
    QColor background;                                     ///< below the layers; invalid when not given
    bool quiet = false;

    /// \throws UsageError, and std::runtime_error for what cannot be written, before any file is read
    static RenderOptions of(const QStringList& arguments);
    static QString help();
    /// Likewise.
    static RenderOptions ofTiles(const QStringList& arguments);
    static QString tilesHelp();

private:
    /// What both have in common, from arguments that the parser has read.
    void readLayers(const QString& command, const QStringList& arguments, const QCommandLineParser& parser);
};
