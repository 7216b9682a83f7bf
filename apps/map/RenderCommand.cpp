#include "Arguments.h"
#include "Commands.h"
#include "FileArguments.h"
#include "MarkedPicture.h"
#include "OpenLayer.h"
#include "RasterMapLayer.h"
#include "StepLog.h"
#include "VectorMapLayer.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Map/MapSheet.h>
#include <Cartolith/Map/Output/OutputFile.h>
#include <Cartolith/Map/Projection.h>

#include <QCommandLineParser>
#include <QFileInfo>

#include <algorithm>
#include <limits>
#include <memory>
#include <vector>

using namespace Cartolith::Core;
using CoordinateSystems::CoordinateSystem;
using Shapes::GisExtent;
using Shapes::GisShapePoint;
using namespace Cartolith::Map;

namespace {

const char* const renderText = R"(cartolith-map render: draw layers as a map

  cartolith-map render FILE -o PICTURE [options]
  cartolith-map render FILE [its options] FILE [its options] ... -o PICTURE [options]

Rasters lie below vector layers; otherwise a later FILE lies on top. Of several, the options about looks, --layer and the
legend belong to the FILE they follow. The map has the coordinate system of the first FILE, or that of --crs; the others
are taken into it. A FILE that does not say its coordinate system goes with none that does, unless --assume-crs says it.

  -o, --output PICTURE      the picture to write; its ending tells the format (.png, .jpg, .bmp)
  --layer NAME              the layer of FILE to draw; the first when not given
  --size WxH                pixels, 1600x900 when not given
  --crs CRS                 draw in this coordinate system: EPSG:n, WKT, PROJ text, or a file with one;
                            the first file's own when not given
%3  --extent X1,Y1,X2,Y2      draw this part, in units of the map's coordinate system; everything when not given
%1%2Legend
  --legend                  draw a legend beside the map, with the number of features in each class; for one FILE
  --legend-title TEXT       its title; the field's or the raster's name when not given
Sheet
  --title TEXT              a title above the map
  --note TEXT               a line below the map, such as the source
  --no-graticule            no lines of longitude and latitude
  --identify LON,LAT        say what lies at this place (degrees, or map units on a map without a coordinate system):
                            of the topmost layer with something there, the nearest feature within two pixels or
                            the values of a raster's cell; may be given several times
  --at-most COUNT           of a file with more features and without overviews, a picture of everything in one look draws
                            a sample of so many, and says so; 1000000 when not given
  --quiet                   do not say what was done; --identify is answered

Examples
  cartolith-map render data/world-countries.gpkg -o world.png --crs EPSG:8857 --title "The world"
  cartolith-map render data/world-countries.gpkg -o pop.png --field pop --classes 6 --ramp Viridis --legend
  cartolith-map render data/world-countries.gpkg -o continents.png --categories continent --legend --theme Dark
  cartolith-map render data/world-countries.gpkg -o income.png --rules data/world-income.rules.json --legend
  cartolith-map render data/us-counties.gpkg -o ca.png --crs EPSG:3310 --extent=-400000,-620000,560000,460000
  cartolith-map render places.csv -o places.png --point "#C0392B" --identify 18.07,59.33
  cartolith-map render dem.tif --ramp Viridis --hillshade --legend roads.gpkg --line "#FFFFFF" -o roads.png

The classes are made from all features of the layer, and the legend counts them all. A picture of everything in one look
is drawn from the overviews of FILE, where cartolith-map overviews has made them for FILE as it is, and says how many of
the features it shows. The picture is written beside its name first and put in place when it is complete. A feature whose place the coordinate system has
no value for is left out and counted.
)";

struct LayerOptions {
    MapLayerOptions layer;
    bool isRaster = false;
    bool isFirst = false;       ///< on the command line: the map is in its coordinate system
    SymbologyOptions symbology; ///< of a vector layer
    RasterOptions raster;
};

struct RenderOptions {
    std::vector<LayerOptions> layers; ///< from the bottom to the top
    QString output;
    std::shared_ptr<CoordinateSystem> system; ///< null without --crs
    GisExtent extent;
    MapSheet::Options sheet;
    QList<GisShapePoint> identify;
    bool quiet = false;
};

void addRenderOptions(QCommandLineParser& parser) {
    parser.addOptions({{{"o", "output"}, "", "picture"},
                       {"layer", "", "name"},
                       {"size", "", "WxH"},
                       {"crs", "", "crs"},
                       {"assume-crs", "", "crs"},
                       {"extent", "", "extent"},
                       {"legend", ""},
                       {"legend-title", "", "text"},
                       {"title", "", "text"},
                       {"note", "", "text"},
                       {"identify", "", "lon,lat"},
                       {"no-graticule", ""},
                       {"at-most", "", "count"},
                       {"quiet", ""}});
    SymbologyOptions::addTo(parser);
    RasterOptions::addTo(parser);
}

LayerOptions layerOptions(const FileArguments& arguments) {
    QCommandLineParser parser;
    addRenderOptions(parser);
    parser.parse(QStringList{QStringLiteral("render")} + arguments.options); // it was read as a whole before
    LayerOptions options;
    options.layer = {arguments.file, parser.value("layer"),
                     parser.isSet("legend") || parser.isSet("legend-title"), parser.value("legend-title"),
                     Arguments::coordinateSystem(parser, QStringLiteral("assume-crs"))};
    options.isRaster = isRasterFile(arguments.file);
    if (options.isRaster) {
        options.raster = RasterOptions(parser);
    } else {
        RasterOptions::refuse(parser);
        options.symbology = SymbologyOptions(parser);
    }
    return options;
}

/// The theme is one for the whole map.
QList<FileArguments> withTheme(QList<FileArguments> files, const QString& theme) {
    for (FileArguments& file : files) {
        file.options.append({QStringLiteral("--theme"), theme});
    }
    return files;
}

RenderOptions renderOptions(const QStringList& arguments) {
    QCommandLineParser parser;
    addRenderOptions(parser);
    if (!parser.parse(QStringList{QStringLiteral("render")} + arguments)) {
        throw UsageError(parser.errorText());
    }
    QList<FileArguments> files = FileArguments::split(arguments, addRenderOptions);
    if (files.isEmpty()) {
        throw UsageError(QStringLiteral("render wants a FILE"));
    }
    RenderOptions options;
    options.output = parser.value("output");
    MarkedPicture::checkName(QStringLiteral("render"), options.output);
    options.system = Arguments::coordinateSystem(parser, QStringLiteral("crs"));
    Output::OutputFile::requireWritable(options.output);
    const QStringList styleFiles = parser.values("save-style");
    for (const QString& file : styleFiles) {
        Output::OutputFile::requireWritable(file);
    }
    if (parser.isSet("theme")) {
        files = withTheme(std::move(files), parser.value("theme"));
        options.sheet.colours = SheetColours(*SymbologyOptions::theme(parser));
    }
    for (const FileArguments& file : files) {
        options.layers.push_back(layerOptions(file));
    }
    options.layers.front().isFirst = true;
    std::stable_partition(options.layers.begin(), options.layers.end(),
                          [](const LayerOptions& layer) { return layer.isRaster; });
    if (std::count_if(options.layers.begin(), options.layers.end(),
                      [](const LayerOptions& layer) { return layer.layer.legend; }) > 1) {
        throw UsageError(QStringLiteral("there is room for one legend: --legend goes with one FILE"));
    }
    if (parser.isSet("size")) {
        options.sheet.size = Arguments::size(parser.value("size"));
    }
    if (parser.isSet("extent")) {
        options.extent = Arguments::extent(parser.value("extent"));
    }
    options.sheet.title = parser.value("title");
    options.sheet.note = parser.value("note");
    options.sheet.graticule = !parser.isSet("no-graticule");
    const QStringList places = parser.values("identify");
    for (const QString& place : places) {
        options.identify.append(Arguments::lonLat("identify", place));
    }
    options.quiet = parser.isSet("quiet");
    const qint64 most = parser.isSet("at-most") ? Arguments::whole("at-most", parser.value("at-most"), 1,
                                                                   std::numeric_limits<int>::max())
                                                : MapLayerOptions().most;
    if (options.extent.isEmpty() && options.identify.isEmpty()) {
        for (LayerOptions& layer : options.layers) {
            if (layer.isFirst || options.system != nullptr) { // else the map's system is not known yet
                layer.layer.overviewFor = options.sheet.size;
                layer.layer.mapSystem = options.system;
                layer.layer.most = most;
            }
        }
    }
    return options;
}

std::unique_ptr<MapLayer> open(const LayerOptions& options, StepLog& log) {
    if (options.isRaster) {
        return std::make_unique<RasterMapLayer>(options.layer, options.raster, log);
    }
    return std::make_unique<VectorMapLayer>(options.layer, options.symbology, log);
}

/// Where one layer is said to be on the earth, all must be.
void requireAllOrNone(const std::vector<std::unique_ptr<MapLayer>>& layers, const RenderOptions& options) {
    const auto isPlaced = [](const auto& layer) { return layer->system() != nullptr; };
    if (options.system == nullptr && std::none_of(layers.begin(), layers.end(), isPlaced)) {
        return;
    }
    for (std::size_t i = 0; i < layers.size(); ++i) {
        requireSystem(layers[i]->system().get(), options.layers[i].layer.file);
    }
}

/// The topmost thing at a place.
QString describeAt(const std::vector<std::unique_ptr<MapLayer>>& layers, const GisShapePoint& lonLat,
                   const CoordinateSystem* system, double tolerance) {
    GisShapePoint here;
    try {
        here = Projection::fromLonLat(lonLat, system);
    } catch (const std::runtime_error&) {
        return QStringLiteral("outside the map's coordinate system");
    }
    for (auto layer = layers.rbegin(); layer != layers.rend(); ++layer) {
        QString found = (*layer)->describeAt(here, tolerance);
        if (!found.isNull()) {
            return found;
        }
    }
    return QStringLiteral("nothing here");
}

} // namespace

QString Commands::renderHelp() {
    return QString::fromUtf8(renderText)
        .arg(SymbologyOptions::help(), RasterOptions::help(), assumeSystemHelp());
}

int Commands::render(const QStringList& arguments) {
    RenderOptions options = renderOptions(arguments);
    StepLog log(options.quiet);

    // Files to layers, in the map's coordinate system.
    std::vector<std::unique_ptr<MapLayer>> layers;
    std::shared_ptr<CoordinateSystem> system = options.system;
    for (const LayerOptions& layer : options.layers) {
        layers.push_back(open(layer, log));
        if (layer.isFirst && system == nullptr) {
            system = layers.back()->system();
        }
    }
    requireAllOrNone(layers, options);
    GisExtent everything;
    for (const auto& layer : layers) {
        layer->setMapSystem(system);
        everything = everything.expand(layer->extent());
        if (const auto legend = layer->legend()) {
            options.sheet.legend = legend;
        }
    }
    if (everything.isEmpty()) {
        throw std::runtime_error("there is nothing to draw");
    }

    // Picture.
    const GisExtent extent = options.extent.isEmpty() ? everything : options.extent;
    const MapSheet sheet(options.sheet, extent, system);
    if (!sheet.view().isUsable()) {
        throw std::runtime_error(
            QStringLiteral("the extent %1 cannot be drawn").arg(extent.toString()).toStdString());
    }
    QList<MapSheet::Content> contents;
    for (const auto& layer : layers) {
        contents.append(layer->content(sheet.view()));
    }
    const QImage image = sheet.draw(contents);
    log.done("draw", QStringLiteral("%1 x %2 pixels").arg(image.width()).arg(image.height()));
    MarkedPicture::save(image, options.output);
    log.done("write",
             QStringLiteral("%1, %2 bytes").arg(options.output).arg(QFileInfo(options.output).size()));

    for (const GisShapePoint& place : options.identify) {
        log.answer("identify",
                   QStringLiteral("%1, %2: %3")
                       .arg(QString::number(place.x()), QString::number(place.y()),
                            describeAt(layers, place, system.get(), 2.0 * sheet.view().unitsPerPixel())));
    }
    return 0;
}
