#include "RenderOptions.h"

#include "Arguments.h"
#include "FileArguments.h"
#include "MarkedPicture.h"
#include "OpenLayer.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Map/Output/OutputFile.h>
#include <Cartolith/Map/Output/VectorFile.h>

#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <cmath>
#include <limits>

using namespace Cartolith::Core;
using namespace Cartolith::Map;

namespace {

constexpr int webMercator = 3857;

const char* const renderText = R"(cartolith-map render: draw layers as a map

  cartolith-map render FILE -o PICTURE [options]
  cartolith-map render FILE [its options] FILE [its options] ... -o PICTURE [options]
  cartolith-map render --map MAP -o PICTURE [options]

Rasters lie below vector layers; otherwise a later FILE lies on top. Of several, the options about looks, --layer and the
legend belong to the FILE they follow. The map has the coordinate system of the first FILE, or that of --crs; the others
are taken into it. A FILE that does not say its coordinate system goes with none that does, unless --assume-crs says it.

  -o, --output PICTURE      the picture to write; its ending tells the format (.png, .jpg, .bmp), and .svg and .pdf have
                            shapes as vectors and labels as text
  --layer NAME              the layer of FILE to draw; the first when not given
  --size WxH                pixels, 1600x900 when not given
  --page PAPER              draw on a sheet of paper: A4, A4-landscape, letter, ... or WIDTHxHEIGHT in millimetres, as
                            420x297mm; takes the place of --size
  --dpi N                   pixels to the inch, 96 when not given and 300 on paper: symbols and labels grow with it
  --crs CRS                 draw in this coordinate system: EPSG:n, WKT, PROJ text, or a file with one;
                            the first file's own when not given
%3  --extent X1,Y1,X2,Y2      draw this part, in units of the map's coordinate system; everything when not given
  --scale N                 draw the middle of it at 1 to N
%1%2%4Legend
  --legend                  draw a legend beside the map, with the number of features in each class; for each FILE
  --legend-title TEXT       its title; the field's or the raster's name when not given
Maps
  --save-map MAP            save what is drawn and how, and the view, to be drawn again (JSON)
  --map MAP                 draw a saved map; it takes the place of FILE and of options about looks
Sheet
  --title TEXT              a title above the map
  --note TEXT               a line below the map, such as the source
  --no-graticule            no lines of longitude and latitude
  --graticule-above         these lines over the layers
  --degrees                 longitudes and latitudes around the map
  --scale-bar               a bar of a round length, true at the middle of the map
  --units UNITS             of the bar: metric, imperial, or degrees for a map in degrees; metric when not given
  --north                   an arrow to true north at the middle of the map; where north is nowhere, that is said
  --sheet SHEET             a sheet from a description (JSON): page or size, map, texts, legends, scale bars, north
                            arrow, inset maps; it takes the place of these options, --page, --size, --dpi, --scale, --theme,
                            --legend and --at-most
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
  cartolith-map render data/us-counties.gpkg -o us.pdf --page A4-landscape --extent=-125,24,-66,50 --labels name
  cartolith-map render places.csv -o places.png --point "#C0392B" --identify 18.07,59.33
  cartolith-map render dem.tif --ramp Viridis --hillshade --legend roads.gpkg --line "#FFFFFF" -o roads.png

The classes are made from all features of the layer, and the legend counts them all. A picture of everything in one look
is drawn from the overviews of FILE, where cartolith-map overviews has made them for FILE as it is, and says how many of
the features it shows. The picture is written beside its name first and put in place when it is complete. A feature whose place the coordinate system has
no value for is left out and counted.
)";

const char* const tilesText = R"(cartolith-map tiles: draw layers as tiles for the web

  cartolith-map tiles FILE -o NAME.mbtiles --zoom 0-12 [options]
  cartolith-map tiles FILE [its options] FILE [its options] ... -o FOLDER --zoom 0-12
  cartolith-map tiles --map MAP -o NAME.mbtiles --zoom 0-12

Draws the square of Web Mercator (EPSG:3857) in 4, 16, 64, ... tiles: into an MBTiles file, which is replaced, or a new
folder with z/x/y.png. Labels go on across tiles. Interrupted (Ctrl-C), it leaves NAME.part; the same command goes on from
there, as long as the files that it names, those that MAP names, and what belongs to them (such as .dbf) are as they were.
Options about looks are those of render.

  -o, --output NAME         the file or folder to write
  --zoom N-M                from this zoom to that, each from 0 to 24
  --layer NAME              the layer of FILE to draw; the first when not given
  --extent W,S,E,N          this part only, in degrees; everything when not given
  --tile-size N             pixels, 256 when not given
  --dpi N                   96 when not given: symbols and labels grow with it; 192 with --tile-size 512 is for dense
                            displays
  --format NAME             png when not given; jpg, webp
  --background COLOUR       below everything; transparent when not given, and that of MAP
  --name TEXT               the map's name in the file, and
  --attribution TEXT        whose data it shows
%3%1%2%4
  --quiet                   do not say what was done

Example
  cartolith-map tiles data/gothenburg-roads.gpkg -o roads.mbtiles --zoom 10-15 --line "#C0392B" --labels name
)";

/// They have no sense for a single picture.
const QStringList tileOptions{"zoom", "tile-size", "format", "background", "name", "attribution"};

void addRenderOptions(QCommandLineParser& parser) {
    parser.addOptions({{{"o", "output"}, "", "picture"},
                       {"layer", "", "name"},
                       {"size", "", "WxH"},
                       {"page", "", "paper"},
                       {"crs", "", "crs"},
                       {"assume-crs", "", "crs"},
                       {"extent", "", "extent"},
                       {"legend", ""},
                       {"legend-title", "", "text"},
                       {"title", "", "text"},
                       {"note", "", "text"},
                       {"identify", "", "lon,lat"},
                       {"no-graticule", ""},
                       {"graticule-above", ""},
                       {"degrees", ""},
                       {"scale-bar", ""},
                       {"units", "", "units"},
                       {"north", ""},
                       {"sheet", "", "file"},
                       {"at-most", "", "count"},
                       {"scale", "", "denominator"},
                       {"dpi", "", "dots"},
                       {"map", "", "file"},
                       {"save-map", "", "file"},
                       {"quiet", ""}});
    for (const QString& option : tileOptions) {
        parser.addOption({option, QString(), QStringLiteral("value")});
    }
    SymbologyOptions::addTo(parser);
    LabelOptions::addTo(parser);
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
        Arguments::refuse(parser, {"labels", "label-priority"}, QStringLiteral("does not go with a raster"));
        options.raster = RasterOptions(parser);
    } else {
        RasterOptions::refuse(parser);
        options.symbology = SymbologyOptions(parser);
        options.labels = LabelOptions(parser);
    }
    return options;
}

std::optional<Furniture::ScaleUnits> scaleBarOf(const QCommandLineParser& parser) {
    using Furniture::ScaleUnits;
    if (!parser.isSet("scale-bar")) {
        Arguments::refuse(parser, {"units"}, QStringLiteral("goes with --scale-bar"));
        return std::nullopt;
    }
    const QString units = parser.isSet("units") ? parser.value("units") : QStringLiteral("metric");
    if (units == QLatin1String("metric")) {
        return ScaleUnits::Metric;
    }
    if (units == QLatin1String("imperial")) {
        return ScaleUnits::Imperial;
    }
    if (units != QLatin1String("degrees")) {
        throw UsageError(QStringLiteral("--units wants metric, imperial or degrees, not '%1'").arg(units));
    }
    return ScaleUnits::Degrees;
}

/// The theme is one for the whole map.
QList<FileArguments> withTheme(QList<FileArguments> files, const QString& theme) {
    for (FileArguments& file : files) {
        file.options.append({QStringLiteral("--theme"), theme});
    }
    return files;
}

} // namespace

void RenderOptions::readLayers(const QString& command, const QStringList& arguments,
                               const QCommandLineParser& parser) {
    QList<FileArguments> files = FileArguments::split(arguments, addRenderOptions);
    map = parser.value("map");
    if (map.isEmpty() == files.isEmpty()) {
        throw UsageError(map.isEmpty() ? QStringLiteral("%1 wants a FILE").arg(command)
                                       : QStringLiteral("--map takes the place of FILE"));
    }
    if (!map.isEmpty()) {
        Arguments::refuse(
            parser,
            QStringList{"layer",      "legend",   "legend-title", "labels",     "label-priority",
                        "identify",   "save-map", "fill",         "line",       "point",
                        "width",      "field",    "categories",   "rules",      "style",
                        "save-style", "ramp",     "ramp-mode",    "reversed",   "method",
                        "classes",    "interval", "breaks",       "assume-crs", "at-most"} +
                SymbolOptions::names() + RasterOptions::names(),
            QStringLiteral("does not go with --map"));
    }
    const QStringList styleFiles = parser.values("save-style");
    for (const QString& file : styleFiles) {
        Output::OutputFile::requireWritable(file);
    }
    QStringList inputs{map};
    for (const FileArguments& file : std::as_const(files)) {
        inputs.append(file.file);
    }
    for (const QString& file : QStringList{output, saveMap} + styleFiles) {
        Arguments::requireUnread(file, inputs);
    }
    const auto placeOf = [](const QString& file) {
        return QDir::cleanPath(QFileInfo(file).absoluteFilePath());
    };
    if (!saveMap.isEmpty() && placeOf(saveMap) == placeOf(output)) {
        throw UsageError(QStringLiteral("-o and --save-map name the same file"));
    }
    if (parser.isSet("theme")) {
        files = withTheme(std::move(files), parser.value("theme"));
        sheet.colours = SheetColours(*SymbologyOptions::theme(parser));
    }
    for (const FileArguments& file : files) {
        layers.push_back(layerOptions(file));
    }
    if (!layers.empty()) {
        layers.front().isFirst = true;
    }
    std::stable_partition(layers.begin(), layers.end(),
                          [](const LayerOptions& layer) { return layer.isRaster; });
    quiet = parser.isSet("quiet");
}

RenderOptions RenderOptions::of(const QStringList& arguments) {
    QCommandLineParser parser;
    addRenderOptions(parser);
    if (!parser.parse(QStringList{QStringLiteral("render")} + arguments)) {
        throw UsageError(parser.errorText());
    }
    Arguments::refuse(parser, tileOptions, QStringLiteral("goes with the command tiles"));
    RenderOptions options;
    options.saveMap = parser.value("save-map");
    options.output = parser.value("output");
    if (!Output::VectorFile::isFormat(options.output)) {
        MarkedPicture::checkName(QStringLiteral("render"), options.output);
    }
    options.system = Arguments::coordinateSystem(parser, QStringLiteral("crs"));
    Output::OutputFile::requireWritable(options.output);
    if (!options.saveMap.isEmpty()) {
        Output::OutputFile::requireWritable(options.saveMap);
    }
    options.readLayers(QStringLiteral("render"), arguments, parser);
    if (parser.isSet("sheet")) {
        Arguments::refuse(parser,
                          {"size", "dpi", "scale", "legend", "legend-title", "title", "note", "no-graticule",
                           "graticule-above", "degrees", "scale-bar", "units", "north", "theme", "page",
                           "at-most"},
                          QStringLiteral("does not go with --sheet"));
        options.described = Furniture::SheetDescription::load(parser.value("sheet"));
    }
    if (parser.isSet("size")) {
        options.sheet.size = Arguments::size(parser.value("size"));
    }
    if (parser.isSet("page")) {
        Arguments::refuse(parser, {"size"}, QStringLiteral("does not go with --page"));
        options.page = Arguments::page(parser.value("page"));
        options.sheet.dotsPerInch = options.page->dotsPerInch;
    }
    if (parser.isSet("extent")) {
        options.extent = Arguments::extent(parser.value("extent"));
    }
    if (parser.isSet("scale")) {
        options.sheet.scaleDenominator = Arguments::number("scale", parser.value("scale"), 1.0, 1e9);
    }
    if (parser.isSet("dpi")) {
        options.sheet.dotsPerInch = Arguments::number("dpi", parser.value("dpi"), 10.0, 2400.0);
    }
    const double dotsPerInch = options.described ? options.described->dotsPerInch : options.sheet.dotsPerInch;
    constexpr double finer = 8.0; // the steps of a PDF, in a dot
    if (options.output.endsWith(QLatin1String(".pdf"), Qt::CaseInsensitive) &&
        std::abs(dotsPerInch * finer - std::round(dotsPerInch * finer)) > 1e-6) {
        throw UsageError(
            QStringLiteral("a PDF has whole or eighth dots to the inch, not %1").arg(dotsPerInch));
    }
    if (options.page) {
        options.page->dotsPerInch = options.sheet.dotsPerInch;
        options.sheet.size = Arguments::sizeOf(*options.page);
    }
    options.sheet.title = parser.value("title");
    options.sheet.note = parser.value("note");
    options.sheet.graticule = !parser.isSet("no-graticule");
    options.sheet.graticuleAbove = parser.isSet("graticule-above");
    options.sheet.degrees = parser.isSet("degrees");
    options.sheet.northArrow = parser.isSet("north");
    options.sheet.scaleBar = scaleBarOf(parser);
    options.identify = parser.values("identify");
    for (const QString& place : std::as_const(options.identify)) {
        Arguments::place("identify", place);
    }
    const qint64 most = parser.isSet("at-most") ? Arguments::whole("at-most", parser.value("at-most"), 1,
                                                                   std::numeric_limits<int>::max())
                                                : MapLayerOptions().most;
    if (options.extent.isEmpty() && options.identify.isEmpty() && !parser.isSet("scale") &&
        !options.described) {
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

RenderOptions RenderOptions::ofTiles(const QStringList& arguments) {
    QCommandLineParser parser;
    addRenderOptions(parser);
    if (!parser.parse(QStringList{QStringLiteral("tiles")} + arguments)) {
        throw UsageError(parser.errorText());
    }
    Arguments::refuse(parser,
                      {"size", "page", "crs", "scale", "legend", "legend-title", "title", "note", "identify",
                       "no-graticule", "graticule-above", "degrees", "scale-bar", "units", "north", "sheet",
                       "save-map", "at-most"},
                      QStringLiteral("does not go with tiles"));
    if (parser.isSet("map")) { // there is no sheet whose theme it could be
        Arguments::refuse(parser, {"theme"}, QStringLiteral("does not go with --map"));
    }
    RenderOptions options;
    options.output = parser.value("output");
    if (options.output.isEmpty()) {
        throw UsageError(QStringLiteral("tiles wants -o NAME.mbtiles or a folder"));
    }
    if (!parser.isSet("zoom")) {
        throw UsageError(QStringLiteral("tiles wants --zoom N or N-M"));
    }
    options.system = CoordinateSystems::CoordinateSystemFactory::fromEpsg(webMercator);
    const auto [least, most] = Arguments::zooms(parser.value("zoom"));
    options.tiles.minZoom = least;
    options.tiles.maxZoom = most;
    if (parser.isSet("tile-size")) {
        options.tiles.tileSize = Arguments::whole("tile-size", parser.value("tile-size"), 64, 1024);
    }
    if (parser.isSet("dpi")) {
        options.sheet.dotsPerInch = Arguments::number("dpi", parser.value("dpi"), 10.0, 960.0);
    }
    if (parser.isSet("format")) {
        options.tiles.format = parser.value("format").toLower().toLatin1();
        MarkedPicture::checkName(QStringLiteral("tiles"), QStringLiteral("tile.") + options.tiles.format);
    }
    if (parser.isSet("extent")) {
        options.tiles.extent = Arguments::mercatorExtent(parser.value("extent"));
    }
    if (parser.isSet("background")) {
        options.background = QColor(Arguments::colour("background", parser.value("background")));
    }
    options.tiles.name = parser.value("name");
    options.tiles.attribution = parser.value("attribution");
    options.readLayers(QStringLiteral("tiles"), arguments, parser);
    Output::TileWriter::requireWritable(options.output);
    return options;
}

QString RenderOptions::tilesHelp() {
    return QString::fromUtf8(tilesText).arg(SymbologyOptions::help(), RasterOptions::help(),
                                            assumeSystemHelp(), LabelOptions::help());
}

QString RenderOptions::help() {
    return QString::fromUtf8(renderText)
        .arg(SymbologyOptions::help(), RasterOptions::help(), assumeSystemHelp(), LabelOptions::help());
}
