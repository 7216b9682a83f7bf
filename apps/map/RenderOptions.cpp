#include "RenderOptions.h"

#include "Arguments.h"
#include "FileArguments.h"
#include "MarkedPicture.h"
#include "OpenLayer.h"

#include <Cartolith/Map/Output/OutputFile.h>

#include <QCommandLineParser>

#include <algorithm>
#include <limits>

using namespace Cartolith::Map;

namespace {

const char* const renderText = R"(cartolith-map render: draw layers as a map

  cartolith-map render FILE -o PICTURE [options]
  cartolith-map render FILE [its options] FILE [its options] ... -o PICTURE [options]
  cartolith-map render --map MAP -o PICTURE [options]

Rasters lie below vector layers; otherwise a later FILE lies on top. Of several, the options about looks, --layer and the
legend belong to the FILE they follow. The map has the coordinate system of the first FILE, or that of --crs; the others
are taken into it. A FILE that does not say its coordinate system goes with none that does, unless --assume-crs says it.

  -o, --output PICTURE      the picture to write; its ending tells the format (.png, .jpg, .bmp)
  --layer NAME              the layer of FILE to draw; the first when not given
  --size WxH                pixels, 1600x900 when not given
  --dpi N                   pixels to the inch, 96 when not given: symbols and labels grow with it
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
                            arrow, inset maps; it takes the place of these options, --size, --dpi, --scale and --legend
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

RenderOptions RenderOptions::of(const QStringList& arguments) {
    QCommandLineParser parser;
    addRenderOptions(parser);
    if (!parser.parse(QStringList{QStringLiteral("render")} + arguments)) {
        throw UsageError(parser.errorText());
    }
    QList<FileArguments> files = FileArguments::split(arguments, addRenderOptions);
    RenderOptions options;
    options.map = parser.value("map");
    if (options.map.isEmpty() == files.isEmpty()) {
        throw UsageError(options.map.isEmpty() ? QStringLiteral("render wants a FILE")
                                               : QStringLiteral("--map takes the place of FILE"));
    }
    if (!options.map.isEmpty()) {
        Arguments::refuse(parser, {"layer",      "legend",   "legend-title", "labels", "label-priority",
                                   "identify",   "save-map", "fill",         "line",   "point",
                                   "width",      "field",    "categories",   "rules",  "style",
                                   "save-style", "ramp",     "grey",         "rgb",    "hillshade",
                                   "assume-crs"},
                          QStringLiteral("does not go with --map"));
    }
    options.saveMap = parser.value("save-map");
    options.output = parser.value("output");
    MarkedPicture::checkName(QStringLiteral("render"), options.output);
    options.system = Arguments::coordinateSystem(parser, QStringLiteral("crs"));
    Output::OutputFile::requireWritable(options.output);
    if (!options.saveMap.isEmpty()) {
        Output::OutputFile::requireWritable(options.saveMap);
    }
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
    if (!options.layers.empty()) {
        options.layers.front().isFirst = true;
    }
    std::stable_partition(options.layers.begin(), options.layers.end(),
                          [](const LayerOptions& layer) { return layer.isRaster; });
    if (parser.isSet("sheet")) {
        Arguments::refuse(parser,
                          {"size", "dpi", "scale", "legend", "legend-title", "title", "note", "no-graticule",
                           "graticule-above", "degrees", "scale-bar", "units", "north", "theme"},
                          QStringLiteral("does not go with --sheet"));
        options.described = Furniture::SheetDescription::load(parser.value("sheet"));
    }
    if (parser.isSet("size")) {
        options.sheet.size = Arguments::size(parser.value("size"));
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
    options.quiet = parser.isSet("quiet");
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

QString RenderOptions::help() {
    return QString::fromUtf8(renderText)
        .arg(SymbologyOptions::help(), RasterOptions::help(), assumeSystemHelp(), LabelOptions::help());
}
