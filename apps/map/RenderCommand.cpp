#include "Arguments.h"
#include "Commands.h"
#include "MapSheet.h"
#include "OpenLayer.h"
#include "PictureFile.h"
#include "Projection.h"
#include "StepLog.h"
#include "SymbologyOptions.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Symbology/GisSymbolRenderer.h>

#include <QCommandLineParser>
#include <QFileInfo>

#include <memory>

using namespace Cartolith::Core;
using CoordinateSystems::CoordinateSystem;
using Layers::GisLayerVector;
using Shapes::GisExtent;
using Shapes::GisShape;
using Shapes::GisShapePoint;

namespace {

const char* const help = R"(cartolith-map render: draw a layer as a map

  cartolith-map render FILE -o PICTURE [options]

  -o, --output PICTURE      the picture to write; its ending tells the format (.png, .jpg, .bmp)
  --layer NAME              the layer of FILE to draw; the first when not given
  --size WxH                pixels, 1600x900 when not given
  --crs CRS                 draw in this coordinate system: EPSG:n, or what GDAL understands (PROJ text, WKT);
                            the file's own when not given
  --extent X1,Y1,X2,Y2      draw this part, in units of the map's coordinate system; everything when not given
%1Legend
  --legend                  draw a legend beside the map, with the number of features in each class
  --legend-title TEXT       its title; the field's name when not given
Sheet
  --title TEXT              a title above the map
  --note TEXT               a line below the map, such as the source
  --no-graticule            no lines of longitude and latitude
  --identify LON,LAT        say what lies at this place (degrees); may be given several times
  --quiet                   do not say what was done

Examples
  cartolith-map render data/world-countries.gpkg -o world.png --crs EPSG:8857 --title "The world"
  cartolith-map render data/world-countries.gpkg -o pop.png --field pop --classes 6 --ramp Viridis --legend
  cartolith-map render data/world-countries.gpkg -o continents.png --categories continent --legend --theme Dark
  cartolith-map render data/world-countries.gpkg -o income.png --rules data/world-income.rules.json --legend
  cartolith-map render data/us-counties.gpkg -o ca.png --crs EPSG:3310 --extent=-400000,-620000,560000,460000
  cartolith-map render places.csv -o places.png --point "#C0392B" --identify 18.07,59.33

The classes are made from all features of the layer, and the legend counts them all. The picture
is written beside its name first and put in place when it is complete. A feature whose place the coordinate system has
no value for is left out and counted.
)";

struct RenderOptions {
    QString file;
    QString output;
    QString layer;
    QString crs;
    GisExtent extent;
    SymbologyOptions symbology;
    bool legend = false;
    QString legendTitle;
    MapSheet::Options sheet;
    QList<GisShapePoint> identify;
    bool quiet = false;
};

void addOptions(QCommandLineParser& parser) {
    parser.addOptions({{{"o", "output"}, "", "picture"},
                       {"layer", "", "name"},
                       {"size", "", "WxH"},
                       {"crs", "", "crs"},
                       {"extent", "", "extent"},
                       {"legend", ""},
                       {"legend-title", "", "text"},
                       {"title", "", "text"},
                       {"note", "", "text"},
                       {"identify", "", "lon,lat"},
                       {"no-graticule", ""},
                       {"quiet", ""}});
    SymbologyOptions::addTo(parser);
}

RenderOptions parse(const QStringList& arguments) {
    QCommandLineParser parser;
    addOptions(parser);
    if (!parser.parse(QStringList{QStringLiteral("render")} + arguments)) {
        throw UsageError(parser.errorText());
    }
    if (parser.positionalArguments().size() != 1) {
        throw UsageError(QStringLiteral("render wants one FILE"));
    }
    RenderOptions options;
    options.file = parser.positionalArguments().constFirst();
    options.output = parser.value("output");
    PictureFile::checkName(QStringLiteral("render"), options.output);
    options.layer = parser.value("layer");
    options.crs = parser.value("crs");
    if (parser.isSet("size")) {
        options.sheet.size = Arguments::size(parser.value("size"));
    }
    if (parser.isSet("extent")) {
        options.extent = Arguments::extent(parser.value("extent"));
    }
    options.symbology = SymbologyOptions(parser);
    options.sheet.colours = options.symbology.colours();
    options.legend = parser.isSet("legend") || parser.isSet("legend-title");
    options.legendTitle = parser.value("legend-title");
    options.sheet.title = parser.value("title");
    options.sheet.note = parser.value("note");
    options.sheet.graticule = !parser.isSet("no-graticule");
    const QStringList places = parser.values("identify");
    for (const QString& place : places) {
        options.identify.append(Arguments::lonLat("identify", place));
    }
    options.quiet = parser.isSet("quiet");
    return options;
}

QString describe(const GisLayerVector& layer, const GisShape& shape) {
    QStringList values;
    for (const Layers::Defs::GisAttributeDefinition& field : layer.attributeDefinitions()) {
        const QVariant value = shape.attributes().value(field.name());
        if (value.isValid()) {
            values.append(QStringLiteral("%1=%2").arg(field.name(), value.toString()));
        }
    }
    return values.join(QStringLiteral(", "));
}

} // namespace

QString Commands::renderHelp() {
    return QString::fromUtf8(help).arg(SymbologyOptions::help());
}

int Commands::render(const QStringList& arguments) {
    RenderOptions options = parse(arguments);
    StepLog log(options.quiet);

    // File to shapes.
    Layers::GisLayerOgrVector source(options.file, options.layer);
    openWithProgress(source);
    log.done("read", QStringLiteral("%1: %2").arg(options.file, summary(source)));

    // How the features look, by their values in the file.
    auto renderer = options.symbology.makeRenderer(source);
    options.symbology.save(*renderer);
    log.done("classify", QStringLiteral("%1 styles").arg(renderer->legendItems().size()));

    // Into the map's coordinate system.
    std::shared_ptr<CoordinateSystem> system = source.coordinateSystem();
    std::unique_ptr<GisLayerVector> projected;
    if (!options.crs.isEmpty()) {
        Projection::Result result = Projection::project(source, options.crs);
        projected = std::move(result.layer);
        log.done("reproject",
                 QStringLiteral("%1 shapes from %2 to %3, %4 left out")
                     .arg(QString::number(projected->count()), system->name(),
                          projected->coordinateSystem()->name(), QString::number(result.leftOut)));
        system = projected->coordinateSystem();
    }
    GisLayerVector& layer = projected != nullptr ? *projected : source;
    if (layer.count() == 0) {
        throw std::runtime_error("there is nothing to draw");
    }
    layer.setSymbolRenderer(std::move(renderer));
    if (options.legend) {
        options.sheet.legend = LegendContent::of(layer, options.legendTitle);
    }

    // Index, query, style.
    layer.buildSpatialIndex();
    log.done("index", QStringLiteral("built over %1 shapes").arg(layer.count()));

    const GisExtent extent = options.extent.isEmpty() ? layer.extent() : options.extent;
    const MapSheet sheet(options.sheet, extent, system);
    if (!sheet.view().isUsable()) {
        throw std::runtime_error(
            QStringLiteral("the extent %1 cannot be drawn").arg(extent.toString()).toStdString());
    }
    const QList<GisShape*> shapes = MapPainter::visibleShapes(layer, sheet.view());
    log.done("query", QStringLiteral("%1 shapes in the visible extent %2")
                          .arg(QString::number(shapes.size()), sheet.view().visibleExtent().toString()));

    const MapPainter::Styles styles = MapPainter::stylesFor(layer, shapes);
    log.done("style", QStringLiteral("for each of %1 shapes, renderer asked %2 times")
                          .arg(shapes.size())
                          .arg(styles.asked()));

    // Picture.
    const QImage image = sheet.draw({{shapes, styles}});
    log.done("draw", QStringLiteral("%1 x %2 pixels").arg(image.width()).arg(image.height()));
    PictureFile::save(image, options.output);
    log.done("write",
             QStringLiteral("%1, %2 bytes").arg(options.output).arg(QFileInfo(options.output).size()));

    for (const GisShapePoint& place : options.identify) {
        QString answer = QStringLiteral("nothing here");
        try {
            const GisShapePoint here = Projection::fromLonLat(place, system.get());
            if (const GisShape* found = layer.findShapeAt(here, 2.0 * sheet.view().unitsPerPixel())) {
                answer = describe(source, *found);
            }
        } catch (const std::runtime_error&) {
            answer = QStringLiteral("outside the map's coordinate system");
        }
        log.done(
            "identify",
            QStringLiteral("%1, %2: %3").arg(QString::number(place.x()), QString::number(place.y()), answer));
    }
    return 0;
}
