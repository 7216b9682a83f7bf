#include "Arguments.h"
#include "Commands.h"
#include "MarkedPicture.h"
#include "OpenLayer.h"
#include "StepLog.h"
#include "StreetNetwork.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Routing/RoutingNetworkReport.h>
#include <Cartolith/Core/Routing/RoutingSearch.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Map/MapSheet.h>
#include <Cartolith/Map/NumberText.h>
#include <Cartolith/Map/Output/OutputFile.h>
#include <Cartolith/Map/Projection.h>

#include <QCommandLineParser>
#include <QFileInfo>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>

using namespace Cartolith::Core;
using CoordinateSystems::CoordinateSystem;
using CoordinateSystems::CoordinateSystemFactory;
using Layers::GisLayerStyle;
using Layers::GisLayerVector;
using Routing::RoutingCostMetric;
using Routing::RoutingPlace;
using Routing::RoutingRoute;
using Shapes::GisShapePoint;
using namespace Cartolith::Map;

namespace {

const char* const routeText = R"(cartolith-map route: find and draw a way along streets

  cartolith-map route FILE --from LON,LAT --to LON,LAT -o PICTURE [options]

  --from LON,LAT            where the route starts (degrees); the nearest place on a street counts
  --to LON,LAT              where it ends
  --metric METRIC           what is made least: time (the default) or distance
  -o, --output PICTURE      the picture to write; its ending tells the format (.png, .jpg, .bmp)
  --layer NAME              the layer of FILE; the first when not given
  --crs CRS                 find and draw the route in this coordinate system, which has to be in metres and true to
                            length within 1 %; a plane around the middle of the data when not given
%1  --size WxH                pixels, 1600x900 when not given
  --title TEXT              a title above the map
  --note TEXT               a line below the map, such as the source
  --whole                   draw all streets, not just those around the route
  --quiet                   print the route alone, not what was done

Prints the distance, the time and the streets in order, with the turn into each. The fields highway, maxspeed (km/h
when no unit is given), oneway (yes, no, -1) and name of the streets are read where they are there.

Example
  cartolith-map route data/gothenburg-roads.gpkg --from 11.9735,57.7089 --to 11.9335,57.6993 -o route.png
)";

struct RouteOptions {
    QString file;
    QString output;
    QString layer;
    QString crs; ///< as given
    std::shared_ptr<CoordinateSystem> system;
    std::shared_ptr<CoordinateSystem> assumed;
    GisShapePoint from;
    GisShapePoint to;
    RoutingCostMetric metric = RoutingCostMetric::TravelTime;
    MapSheet::Options sheet;
    bool whole = false;
    bool quiet = false;
};

RouteOptions routeOptions(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.addOptions({{{"o", "output"}, "", "picture"},
                       {"from", "", "lon,lat"},
                       {"to", "", "lon,lat"},
                       {"metric", "", "metric"},
                       {"layer", "", "name"},
                       {"crs", "", "crs"},
                       {"assume-crs", "", "crs"},
                       {"size", "", "WxH"},
                       {"title", "", "text"},
                       {"note", "", "text"},
                       {"whole", ""},
                       {"quiet", ""}});
    if (!parser.parse(QStringList{QStringLiteral("route")} + arguments)) {
        throw UsageError(parser.errorText());
    }
    if (parser.positionalArguments().size() != 1) {
        throw UsageError(QStringLiteral("route wants one FILE"));
    }
    for (const char* const place : {"from", "to"}) {
        if (!parser.isSet(place)) {
            throw UsageError(QStringLiteral("route wants --%1 LON,LAT").arg(place));
        }
    }
    RouteOptions options;
    options.file = parser.positionalArguments().constFirst();
    options.output = parser.value("output");
    MarkedPicture::checkName(QStringLiteral("route"), options.output);
    options.layer = parser.value("layer");
    options.crs = parser.value("crs");
    options.system = Arguments::coordinateSystem(parser, QStringLiteral("crs"));
    options.assumed = Arguments::coordinateSystem(parser, QStringLiteral("assume-crs"));
    options.from = Arguments::lonLat("from", parser.value("from"));
    options.to = Arguments::lonLat("to", parser.value("to"));
    const QString metric = parser.isSet("metric") ? parser.value("metric") : QStringLiteral("time");
    if (metric != QLatin1String("time") && metric != QLatin1String("distance")) {
        throw UsageError(QStringLiteral("--metric wants time or distance, not '%1'").arg(metric));
    }
    options.metric =
        metric == QLatin1String("time") ? RoutingCostMetric::TravelTime : RoutingCostMetric::Distance;
    if (parser.isSet("size")) {
        options.sheet.size = Arguments::size(parser.value("size"));
    }
    options.sheet.title = parser.value("title");
    options.sheet.note = parser.value("note");
    options.sheet.graticule = false; // no sea around streets
    options.sheet.scaleBar = Furniture::ScaleUnits::Metric;
    options.sheet.northArrow = true;
    options.whole = parser.isSet("whole");
    options.quiet = parser.isSet("quiet");
    Output::OutputFile::requireWritable(options.output);
    return options;
}

/// By how much lengths around the middle of the plane differ in the other system, as a share of them.
double stretch(const CoordinateSystem& plane, const CoordinateSystem& other) {
    constexpr double metres = 100.0;
    const auto there = [&](double x, double y) {
        return Projection::fromLonLat(Projection::toLonLat({x, y}, plane), &other);
    };
    const GisShapePoint middle = there(0, 0);
    double most = 0.0;
    for (const GisShapePoint& end : {there(metres, 0), there(0, metres)}) {
        const double length = std::hypot(end.x() - middle.x(), end.y() - middle.y());
        most = std::max(most, std::abs(length / metres - 1.0));
    }
    return most;
}

/// The streets in metres, on a plane around their middle unless a system is given.
Projection::Result inMetres(const GisLayerVector& source, const RouteOptions& options) {
    const auto system = source.coordinateSystem();
    requireSystem(system.get(), options.file);
    const auto& shapes = source.items();
    const bool hasLines = std::any_of(shapes.begin(), shapes.end(), [](const auto& shape) {
        return dynamic_cast<const Shapes::GisShapePolyline*>(shape.get()) != nullptr;
    });
    if (!hasLines || source.extent().isEmpty()) {
        throw std::runtime_error("there are no streets (lines) to find a route in");
    }
    const GisShapePoint lonLat = Projection::toLonLat(source.extent().center(), *system);
    const QString around =
        QStringLiteral("+proj=tmerc +lat_0=%1 +lon_0=%2 +k=1 +datum=WGS84 +units=m +type=crs")
            .arg(lonLat.y(), 0, 'f', 6)
            .arg(lonLat.x(), 0, 'f', 6);
    const auto plane = CoordinateSystemFactory::fromUserInput(around);
    Projection::Result result =
        Projection::project(source, options.system != nullptr ? options.system : plane);
    const CoordinateSystem& used = *result.layer->coordinateSystem();
    if (used.metersPerUnit() != 1.0) {
        throw std::runtime_error(QStringLiteral("'%1' is not in metres").arg(options.crs).toStdString());
    }
    // Written as a negation, for a place that the system does not reach.
    if (options.system != nullptr && !(stretch(*plane, used) <= 0.01)) {
        throw std::runtime_error(
            QStringLiteral("lengths in '%1' are off by more than 1 % here: leave --crs out")
                .arg(options.crs)
                .toStdString());
    }
    return result;
}

RoutingPlace placeAt(const StreetNetwork& network, const QString& option, const GisShapePoint& at) {
    const RoutingPlace place = network.edges().nearestEdge({at.x(), at.y()});
    if (!place.found()) {
        throw std::runtime_error(
            QStringLiteral("there is no street near the place of --%1").arg(option).toStdString());
    }
    if (place.distance > 100.0) {
        std::fprintf(stderr, "cartolith-map: the nearest street is %.0f m from the place of --%s\n",
                     place.distance, qPrintable(option));
    }
    return place;
}

QString turnText(double turn) {
    const double angle = std::abs(turn);
    if (angle < 20.0) {
        return QStringLiteral("straight on");
    }
    if (angle > 160.0) {
        return QStringLiteral("turn round");
    }
    const QString side = turn > 0.0 ? QStringLiteral("left") : QStringLiteral("right");
    return angle < 50.0 ? QStringLiteral("bear ") + side : QStringLiteral("turn ") + side;
}

QString metres(double distance) {
    return std::round(distance) < 1000.0 ? QStringLiteral("%1 m").arg(std::round(distance))
                                         : QStringLiteral("%1 km").arg(distance / 1000.0, 0, 'f', 1);
}

void print(const RoutingRoute& route) {
    std::printf("%s, %.1f minutes\n", qPrintable(metres(route.totalDistance)), route.totalTime / 60.0);
    bool first = true;
    for (const Routing::RoutingLeg& leg : route.legs) {
        const QString name = leg.name.isEmpty() ? QStringLiteral("(no name)") : leg.name;
        std::printf("  %-12s %8s  %s\n", first ? "start on" : qPrintable(turnText(leg.turn)),
                    qPrintable(metres(leg.distance)), name.toUtf8().constData());
        first = false;
    }
}

GisLayerStyle lineStyle(const QString& colour, float width) {
    GisLayerStyle style;
    style.setLineColor(colour);
    style.setLineWidth(width);
    return style;
}

/// A layer of one shape, drawn in one style.
std::unique_ptr<GisLayerVector> layerOf(std::unique_ptr<Shapes::GisShape> shape, const GisLayerStyle& style) {
    auto layer = GisLayerVector::createInMemory(QStringLiteral("route"), shape->shapeType(), {});
    layer->addShape(std::move(shape));
    layer->style() = style;
    return layer;
}

std::unique_ptr<GisLayerVector> routeLayer(const RoutingRoute& route, const GisLayerStyle& style) {
    auto line = std::make_unique<Shapes::GisShapePolyline>();
    QList<GisShapePoint> part;
    for (const Routing::RoutingPoint& point : route.geometry) {
        part.append(GisShapePoint(point.x, point.y));
    }
    line->parts().append(part);
    return layerOf(std::move(line), style);
}

std::unique_ptr<GisLayerVector> markLayer(const RoutingPlace& place, const QString& colour, float size) {
    GisLayerStyle style = lineStyle(QStringLiteral("#FFFFFF"), 2.0F);
    style.setPointColor(colour);
    style.setPointSize(size);
    return layerOf(std::make_unique<GisShapePoint>(place.position.x, place.position.y), style);
}

} // namespace

QString Commands::routeHelp() {
    return QString::fromUtf8(routeText).arg(assumeSystemHelp());
}

int Commands::route(const QStringList& arguments) {
    const RouteOptions options = routeOptions(arguments);
    StepLog log(options.quiet);

    Layers::GisLayerOgrVector source(options.file, options.layer);
    openWithProgress(source);
    log.done("read", QStringLiteral("%1: %2").arg(shown(options.file), summary(source)));
    assumeSystem(source, options.file, options.assumed);
    const auto projected = inMetres(source, options);
    GisLayerVector& streets = *projected.layer;
    log.done("reproject", QStringLiteral("%1 shapes to %2, %3 left out")
                              .arg(QString::number(streets.count()),
                                   options.crs.isEmpty() ? QStringLiteral("a plane around their middle")
                                                         : streets.coordinateSystem()->name(),
                                   QString::number(projected.leftOut)));
    const StreetNetwork network(streets);
    log.done("network", network.summary());
    if (!network.remarks().isEmpty()) {
        std::fprintf(stderr, "cartolith-map: %s\n", qPrintable(network.remarks()));
    }

    const RoutingPlace from =
        placeAt(network, "from", Projection::fromLonLat(options.from, streets.coordinateSystem().get()));
    const RoutingPlace to =
        placeAt(network, "to", Projection::fromLonLat(options.to, streets.coordinateSystem().get()));
    const RoutingRoute route =
        Routing::RoutingSearch::routeBetween(network.graph(), from, to, options.metric);
    if (!route.success) {
        const auto& edges = network.graph().edges();
        QString why = Routing::RoutingNetworkReport::whyNoRoute(
            network.graph(), edges.at(from.edge).endNode, edges.at(to.edge).startNode,
            QStringLiteral("the start"), QStringLiteral("the end"));
        constexpr double gap = 5.0;
        const Routing::RoutingNetworkReport report(network.graph(), gap);
        if (!report.nearMisses().isEmpty()) {
            why += QStringLiteral(" %1 streets end within %2 m of one that they do not meet.")
                       .arg(NumberText::whole(report.nearMisses().size()), QString::number(gap));
        }
        throw std::runtime_error((route.message + QLatin1Char(' ') + why).trimmed().toStdString());
    }
    log.done("route", QStringLiteral("%1 edges, %2 points").arg(route.edgePath.size()).arg(route.size()));
    print(route);

    streets.style() = lineStyle(QStringLiteral("#B9C3C9"), 1.2F);
    const auto casing = routeLayer(route, lineStyle(QStringLiteral("#FFFFFF"), 8.0F));
    const auto way = routeLayer(route, lineStyle(QStringLiteral("#D1495B"), 4.5F));
    const auto start = markLayer(from, QStringLiteral("#2E7D32"), 16.0F);
    const auto end = markLayer(to, QStringLiteral("#1F3A5F"), 16.0F);
    Shapes::GisExtent extent = streets.extent();
    if (!options.whole) {
        extent = way->extent().expand(start->extent()).expand(end->extent());
        const double air = std::max({extent.width() * 0.15, extent.height() * 0.15, 100.0});
        extent = extent.inflate(air, air);
    }
    streets.buildSpatialIndex();
    const MapSheet sheet(options.sheet, extent, streets.coordinateSystem());
    QList<MapSheet::Content> contents;
    for (GisLayerVector* const layer : {&streets, casing.get(), way.get(), start.get(), end.get()}) {
        const auto shapes = MapPainter::visibleShapes(*layer, sheet.view());
        contents.append({shapes, MapPainter::stylesFor(*layer, shapes)});
    }
    const QImage image = sheet.draw(contents);
    log.done("draw", QStringLiteral("%1 x %2 pixels").arg(image.width()).arg(image.height()));
    MarkedPicture::save(image, options.output);
    log.done("write",
             QStringLiteral("%1, %2 bytes").arg(options.output).arg(QFileInfo(options.output).size()));
    return 0;
}
