#include "Arguments.h"
#include "Commands.h"
#include "OpenLayer.h"
#include "OperationOptions.h"
#include "ProgressBar.h"
#include "ResultOutput.h"
#include "StepLog.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/Layers/GisAttributeDefinition.h>
#include <Cartolith/Core/Layers/GisLayerVector.h>
#include <Cartolith/Core/Topology/GisTopology.h>

#include <QCommandLineParser>

#include <cstdio>

using namespace Cartolith::Core;
using Layers::GisLayerVector;
using Topology::GisBufferStyle;
using Topology::GisTopology;

namespace {

const char* const bufferText = R"(cartolith-map buffer: what lies within a distance of the features

  cartolith-map buffer FILE --distance D -o OUT [options]

  --distance D              in units of the coordinate system; below 0 areas shrink
  --layer NAME              the layer of FILE; the first when not given
  --cap CAP                 the ends of lines: round (the default), flat or square
  --join JOIN               the corners: round (the default), mitre or bevel
  --mitre-limit N           a mitre reaches at most N distances from its corner; 5 when not given
  --segments N              segments for a quarter of a circle; 8 when not given
  --side SIDE               of lines, only what lies to their left or right
%1%2
Examples
  cartolith-map buffer data/world-countries.gpkg --crs EPSG:8857 --distance 300000 --dissolve -o near.png
  cartolith-map buffer roads.gpkg --distance 25 --cap flat -o noise.gpkg

The distance is measured in the plane of the coordinate system: choose one with --crs that keeps distances well enough
where the data lies. In degrees a buffer has no sensible meaning, and the program says so.
)";

template <typename Value>
Value choice(const QCommandLineParser& parser, const QString& option,
             const QList<std::pair<QString, Value>>& values) {
    QStringList names;
    for (const auto& [name, value] : values) {
        if (parser.value(option) == name) {
            return value;
        }
        names.append(name);
    }
    throw UsageError(QStringLiteral("--%1 wants %2, not '%3'")
                         .arg(option, names.join(QStringLiteral(" or ")), parser.value(option)));
}

GisBufferStyle styleOf(const QCommandLineParser& parser) {
    using namespace Topology;
    GisBufferStyle style;
    if (parser.isSet("cap")) {
        style.cap = choice<GisBufferCap>(
            parser, "cap",
            {{"round", GisBufferCap::Round}, {"flat", GisBufferCap::Flat}, {"square", GisBufferCap::Square}});
    }
    if (parser.isSet("join")) {
        style.join = choice<GisBufferJoin>(parser, "join",
                                           {{"round", GisBufferJoin::Round},
                                            {"mitre", GisBufferJoin::Mitre},
                                            {"bevel", GisBufferJoin::Bevel}});
    }
    if (parser.isSet("mitre-limit")) {
        style.mitreLimit = Arguments::number("mitre-limit", parser.value("mitre-limit"), 1.0, 1e6);
    }
    if (parser.isSet("segments")) {
        style.quadrantSegments = Arguments::whole("segments", parser.value("segments"), 1, 1000);
    }
    if (parser.isSet("side")) {
        style.side = choice<GisBufferSide>(parser, "side",
                                           {{"left", GisBufferSide::Left}, {"right", GisBufferSide::Right}});
    }
    return style;
}

} // namespace

QString Commands::bufferHelp() {
    return QString::fromUtf8(bufferText).arg(OperationOptions::help(), ResultOutput::help());
}

int Commands::buffer(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.addOptions({{"distance", "", "d"},
                       {"layer", "", "name"},
                       {"cap", "", "cap"},
                       {"join", "", "join"},
                       {"mitre-limit", "", "n"},
                       {"segments", "", "n"},
                       {"side", "", "side"}});
    OperationOptions::addTo(parser);
    ResultOutput::addTo(parser);
    if (!parser.parse(QStringList{QStringLiteral("buffer")} + arguments)) {
        throw UsageError(parser.errorText());
    }
    if (parser.positionalArguments().size() != 1) {
        throw UsageError(QStringLiteral("buffer wants one FILE"));
    }
    if (!parser.isSet("distance")) {
        throw UsageError(QStringLiteral("buffer wants --distance"));
    }
    const double distance = Arguments::number("distance", parser.value("distance"), -1e9, 1e9);
    const GisBufferStyle style = styleOf(parser);
    const OperationOptions options(parser);
    const auto assumed = Arguments::coordinateSystem(parser, QStringLiteral("assume-crs"));
    const ResultOutput output(QStringLiteral("buffer"), parser);
    StepLog log(parser.isSet("quiet"));

    const auto layer = openIn(
        options.system(), {parser.positionalArguments().constFirst(), parser.value("layer"), assumed}, log);
    if (layer->coordinateSystem() != nullptr && layer->coordinateSystem()->isGeographic()) {
        std::fputs("cartolith-map: the distance is in degrees; choose a system in metres with --crs\n",
                   stderr);
    }
    options.fix(*layer, log);
    auto result = GisLayerVector::createInMemory(layer->name(), Shapes::GisShapeType::Polygon, {});
    result->setCoordinateSystem(layer->coordinateSystem());
    for (const Layers::Defs::GisAttributeDefinition& field : layer->attributeDefinitions()) {
        result->addAttributeDefinition(field);
    }
    {
        ProgressBar bar(QStringLiteral("Buffer"));
        const GisTopology topology;
        for (const auto& shape : layer->items()) {
            result->addShape(topology.Buffer(*shape, distance, style));
            bar.show(static_cast<double>(shape->id()) / layer->count());
        }
    }
    log.done("buffer", QStringLiteral("%1 areas of %2 features").arg(result->count()).arg(layer->count()));
    if (options.dissolve()) {
        result = OperationOptions::dissolved(*result, log);
    }
    const ResultOutput::Layers inputs{layer.get()};
    output.write(*result, distance < 0.0 ? inputs : ResultOutput::Layers(),
                 distance < 0.0 ? ResultOutput::Layers() : inputs, log);
    return 0;
}
