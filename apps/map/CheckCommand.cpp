#include "Arguments.h"
#include "Commands.h"
#include "OpenLayer.h"
#include "ProgressBar.h"
#include "ResultOutput.h"
#include "StepLog.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/Layers/GisAttributeDefinition.h>
#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Topology/GisTopology.h>

#include <QCommandLineParser>
#include <QMap>

#include <cstdio>
#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>

using namespace Cartolith::Core;
using Layers::GisLayerVector;
using Topology::GisShapeProblem;
using Topology::GisShapeProblemKind;
using Topology::GisTopology;

namespace {

const char* const checkText = R"(cartolith-map check: find what is wrong with the shapes of a layer

  cartolith-map check FILE [--layer NAME] [--fix -o OUT]

Prints a line for each problem: the feature, the part, the place, and what is wrong there (too few vertices, an open
ring, a repeated vertex, a spike, a crossing of a boundary with itself, a hole outside its shell, nested shells, a
coordinate that is no number); then how many there are of each kind, and the features that could not be read at all.

  --layer NAME              the layer of FILE; the first when not given
  --fix                     write the layer to OUT, with every shape that has a problem mended; features of which
                            nothing sound is left, and those that could not be read or mended, are left out and named
%1
Exit code: 0 no problem found, or all of them mended; 1 there are problems, or features that were left out.

Examples
  cartolith-map check parcels.gpkg
  cartolith-map check parcels.gpkg --fix -o mended.gpkg
)";

QString nameOf(GisShapeProblemKind kind) {
    switch (kind) {
    case GisShapeProblemKind::NotANumber:
        return QStringLiteral("not a number");
    case GisShapeProblemKind::Infinite:
        return QStringLiteral("infinite");
    case GisShapeProblemKind::TooFewVertices:
        return QStringLiteral("too few vertices");
    case GisShapeProblemKind::OpenRing:
        return QStringLiteral("open ring");
    case GisShapeProblemKind::RepeatedVertex:
        return QStringLiteral("repeated vertex");
    case GisShapeProblemKind::Spike:
        return QStringLiteral("spike");
    case GisShapeProblemKind::SelfCrossing:
        return QStringLiteral("self-crossing");
    case GisShapeProblemKind::RingsCross:
        return QStringLiteral("rings cross");
    case GisShapeProblemKind::HoleOutside:
        return QStringLiteral("hole outside");
    case GisShapeProblemKind::NestedShells:
        return QStringLiteral("nested shells");
    case GisShapeProblemKind::Invalid:
        break;
    }
    return QStringLiteral("invalid");
}

void print(qint64 feature, const GisShapeProblem& problem) {
    QString where = QStringLiteral("feature %1").arg(feature);
    if (problem.part >= 0) {
        where += QStringLiteral(", part %1").arg(problem.part);
    }
    if (problem.vertex >= 0) {
        where += QStringLiteral(", vertex %1").arg(problem.vertex);
    }
    if (!problem.place.isEmpty()) {
        where += QStringLiteral(", at %1 %2")
                     .arg(QString::number(problem.place.x(), 'g', 12),
                          QString::number(problem.place.y(), 'g', 12));
    }
    std::printf("%s: %s\n", where.toUtf8().constData(), problem.text.toUtf8().constData());
}

} // namespace

QString Commands::checkHelp() {
    return QString::fromUtf8(checkText).arg(ResultOutput::help());
}

int Commands::check(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.addOptions({{"layer", "", "name"}, {"fix", ""}});
    ResultOutput::addTo(parser);
    if (!parser.parse(QStringList{QStringLiteral("check")} + arguments)) {
        throw UsageError(parser.errorText());
    }
    if (parser.positionalArguments().size() != 1) {
        throw UsageError(QStringLiteral("check wants one FILE"));
    }
    std::optional<ResultOutput> output;
    if (parser.isSet("fix")) {
        output.emplace(QStringLiteral("check --fix"), parser);
    } else if (parser.isSet("output")) {
        throw UsageError(QStringLiteral("check writes -o OUT only with --fix"));
    }
    StepLog log(parser.isSet("quiet"));
    Layers::GisLayerOgrVector layer(parser.positionalArguments().constFirst(), parser.value("layer"));
    openWithProgress(layer);
    log.done("read", summary(layer));

    for (const auto& skipped : layer.skippedFeatures()) {
        std::printf("feature %lld: not read, %s\n", static_cast<long long>(skipped.featureId),
                    skipped.reason.toUtf8().constData());
    }
    auto fixed = GisLayerVector::createInMemory(layer.name(), layer.shapeType(), {});
    fixed->setCoordinateSystem(layer.coordinateSystem());
    for (const Layers::Defs::GisAttributeDefinition& field : layer.attributeDefinitions()) {
        fixed->addAttributeDefinition(field);
    }
    QMap<GisShapeProblemKind, int> counts;
    int bad = 0;
    int lost = 0;
    const QList<qint64> features = layer.sourceFeatureIds();
    {
        ProgressBar bar(QStringLiteral("Checking"));
        const GisTopology topology;
        for (const auto& shape : layer.items()) {
            const auto problems = topology.CheckShape(*shape);
            for (const GisShapeProblem& problem : problems) {
                print(features.at(shape->id() - 1), problem);
                ++counts[problem.kind];
            }
            bad += problems.isEmpty() ? 0 : 1;
            if (output) {
                std::unique_ptr<Shapes::GisShape> sound;
                QString reason = QStringLiteral("nothing sound is left of it");
                try {
                    sound = problems.isEmpty() ? shape->clone() : topology.FixShape(*shape).shape;
                } catch (const std::runtime_error& error) {
                    reason = QString::fromUtf8(error.what());
                }
                if (!fixed->addShape(std::move(sound))) {
                    ++lost;
                    std::printf("feature %lld: left out, %s\n",
                                static_cast<long long>(features.at(shape->id() - 1)),
                                reason.toUtf8().constData());
                }
            }
            bar.show(static_cast<double>(shape->id()) / layer.count());
        }
    }
    QStringList kinds;
    for (auto it = counts.constBegin(); it != counts.constEnd(); ++it) {
        kinds.append(QStringLiteral("%1 x %2").arg(it.value()).arg(nameOf(it.key())));
    }
    log.done("check", bad == 0 ? QStringLiteral("nothing wrong with %1 shapes").arg(layer.count())
                               : QStringLiteral("%1 of %2 shapes have problems: %3")
                                     .arg(QString::number(bad), QString::number(layer.count()),
                                          kinds.join(QStringLiteral(", "))));
    if (output) {
        output->write(*fixed, {&layer}, {}, log);
    }
    return (bad == 0 || (output && lost == 0)) && layer.skippedCount() == 0 ? 0 : 1;
}
