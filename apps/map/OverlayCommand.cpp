#include "Arguments.h"
#include "Commands.h"
#include "FileArguments.h"
#include "LayerOverlay.h"
#include "OpenLayer.h"
#include "OperationOptions.h"
#include "ProgressBar.h"
#include "ResultOutput.h"
#include "StepLog.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/Layers/GisLayerVector.h>

#include <QCommandLineParser>

using namespace Cartolith::Core;
using Layers::GisLayerVector;
using Topology::GisTopologyCombineType;

namespace {

const char* const overlayText =
    R"(cartolith-map overlay: what two layers of areas have in common, and what not

  cartolith-map overlay A B --op OPERATION -o OUT [options]

  --op OPERATION            intersection: a feature for each pair that shares area, with the values of both
                            difference: the features of A without what B covers
                            symdifference: the difference both ways
                            union: the symmetrical difference and the intersection
  --layer-a NAME, --layer-b NAME
                            the layers of A and B; the first ones when not given
  --engine ENGINE           geos (the default): robust on any data; painter: the library's default engine, quick on
                            clean data; checked: painter, and geos where a check of the result fails
%1%2
Examples
  cartolith-map overlay data/world-countries.gpkg data/tropics.geojson --op intersection -o tropics.gpkg
  cartolith-map overlay data/world-countries.gpkg data/tropics.geojson --op difference --crs EPSG:8857 -o rest.png

B is taken into the coordinate system of A, or both into that of --crs. When one of them does not say its coordinate
system, give it one: overlay A --assume-crs EPSG:4326 B ... Features of A, or of B, are not overlaid with
each other. Where features only touch there is nothing in common.
)";

GisTopologyCombineType operation(const QString& name) {
    static const QHash<QString, GisTopologyCombineType> operations{
        {"union", GisTopologyCombineType::Union},
        {"intersection", GisTopologyCombineType::Intersection},
        {"difference", GisTopologyCombineType::Difference},
        {"symdifference", GisTopologyCombineType::SymmetricalDifference}};
    const auto found = operations.constFind(name);
    if (found == operations.constEnd()) {
        throw UsageError(
            QStringLiteral("--op wants union, intersection, difference or symdifference, not '%1'")
                .arg(name));
    }
    return *found;
}

Topology::GisTopology engine(const QString& name) {
    Topology::GisTopology topology;
    if (name.isEmpty() || name == QLatin1String("geos")) {
        topology.SetOverlayEngine(Topology::GisOverlayEngine::Geos);
    } else if (name == QLatin1String("checked")) {
        topology.SetOverlayFallback(true);
    } else if (name != QLatin1String("painter")) {
        throw UsageError(QStringLiteral("--engine wants geos, painter or checked, not '%1'").arg(name));
    }
    return topology;
}

void addOverlayOptions(QCommandLineParser& parser) {
    parser.addOptions({{"op", "", "operation"},
                       {"layer-a", "", "name"},
                       {"layer-b", "", "name"},
                       {"engine", "", "engine"}});
    OperationOptions::addTo(parser);
    ResultOutput::addTo(parser);
}

LayerSource sourceOf(const FileArguments& file, const QString& layer) {
    QCommandLineParser parser;
    addOverlayOptions(parser);
    parser.parse(QStringList{QStringLiteral("overlay")} + file.options); // it was read as a whole before
    return {file.file, layer, Arguments::coordinateSystem(parser, QStringLiteral("assume-crs"))};
}

void requireAreas(const GisLayerVector& layer, const QString& file) {
    for (const auto& shape : layer.items()) {
        if (shape->shapeType() != Shapes::GisShapeType::Polygon) {
            throw std::runtime_error(QStringLiteral("overlay wants areas only; '%1' has other shapes too")
                                         .arg(shown(file))
                                         .toStdString());
        }
    }
}

} // namespace

QString Commands::overlayHelp() {
    return QString::fromUtf8(overlayText).arg(OperationOptions::help(), ResultOutput::help());
}

int Commands::overlay(const QStringList& arguments) {
    QCommandLineParser parser;
    addOverlayOptions(parser);
    if (!parser.parse(QStringList{QStringLiteral("overlay")} + arguments)) {
        throw UsageError(parser.errorText());
    }
    const QList<FileArguments> files = FileArguments::split(arguments, addOverlayOptions);
    if (files.size() != 2) {
        throw UsageError(QStringLiteral("overlay wants two files, A and B"));
    }
    const GisTopologyCombineType type = operation(parser.value("op"));
    const Topology::GisTopology topology = engine(parser.value("engine"));
    const OperationOptions options(parser);
    const LayerSource sourceA = sourceOf(files[0], parser.value("layer-a"));
    const LayerSource sourceB = sourceOf(files[1], parser.value("layer-b"));
    const ResultOutput output(QStringLiteral("overlay"), parser);
    StepLog log(parser.isSet("quiet"));

    const auto a = openIn(options.system(), sourceA, log);
    const auto b = openIn(a->coordinateSystem(), sourceB, log);
    if (b->coordinateSystem() != nullptr) {
        requireSystem(a->coordinateSystem().get(), sourceA.file);
    }
    requireAreas(*a, sourceA.file);
    requireAreas(*b, sourceB.file);
    options.fix(*a, log);
    options.fix(*b, log);

    std::unique_ptr<GisLayerVector> result;
    {
        ProgressBar bar(QStringLiteral("Overlay"));
        result = LayerOverlay(*a, *b, topology).run(type, [&bar](double fraction) { bar.show(fraction); });
    }
    log.done("overlay", QStringLiteral("%1: %2 features from %3 and %4")
                            .arg(parser.value("op"))
                            .arg(result->count())
                            .arg(a->count())
                            .arg(b->count()));
    if (options.dissolve()) {
        result = OperationOptions::dissolved(*result, log);
    }
    output.write(*result, {a.get(), b.get()}, {}, log);
    return 0;
}
