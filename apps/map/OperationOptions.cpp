#include "OperationOptions.h"

#include "Arguments.h"
#include "OpenLayer.h"
#include "ProgressBar.h"
#include "StepLog.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Topology/GisTopology.h>

#include <QCommandLineParser>

#include <cstdio>
#include <stdexcept>
#include <utility>

using namespace Cartolith::Core;
using Layers::GisLayerVector;

void OperationOptions::addTo(QCommandLineParser& parser) {
    parser.addOptions({{"crs", "", "crs"}, {"assume-crs", "", "crs"}, {"fix", ""}, {"dissolve", ""}});
}

QString OperationOptions::help() {
    return QStringLiteral(
               R"(  --crs CRS                 compute and write in this coordinate system: EPSG:n, WKT, PROJ text, or a file with one;
                            the file's own when not given
%1  --fix                     mend shapes that are not valid first
  --dissolve                one feature of all results, without their fields
)")
        .arg(assumeSystemHelp());
}

OperationOptions::OperationOptions(const QCommandLineParser& parser)
    : m_system(Arguments::coordinateSystem(parser, QStringLiteral("crs"))), m_fixFirst(parser.isSet("fix")),
      m_dissolve(parser.isSet("dissolve")) {}

void OperationOptions::fix(GisLayerVector& layer, StepLog& log) const {
    if (!m_fixFirst) {
        return;
    }
    const auto* source = dynamic_cast<const Layers::GisLayerOgrVector*>(&layer);
    const QList<qint64> features = source == nullptr ? QList<qint64>() : source->sourceFeatureIds();
    const Topology::GisTopology topology;
    const int count = layer.count();
    int mended = 0;
    int empty = 0;
    QStringList failed;
    {
        ProgressBar bar(QStringLiteral("Mending"));
        for (int id = count; id > 0; --id) { // from the end, since ids after a removed shape change
            try {
                auto fixed = topology.FixShape(*layer.getShape(id));
                const bool isEmpty = fixed.shape->isEmpty();
                if (!fixed.changes.isEmpty()) {
                    ++mended;
                    empty += isEmpty ? 1 : 0;
                    if (isEmpty) {
                        layer.removeShapeById(id);
                    } else {
                        layer.replaceShapeById(id, std::move(fixed.shape));
                    }
                }
            } catch (const std::runtime_error& error) {
                layer.removeShapeById(id);
                failed.prepend(QStringLiteral("feature %1: left out, %2")
                                   .arg(source == nullptr ? id : features.at(id - 1))
                                   .arg(QString::fromUtf8(error.what())));
            }
            bar.show(static_cast<double>(count - id) / count);
        }
    }
    for (const QString& line : failed) {
        std::fprintf(stderr, "cartolith-map: %s\n", line.toUtf8().constData());
    }
    log.done("fix", QStringLiteral("%1 shapes mended, %2 of them with nothing left; %3 could not be mended")
                        .arg(mended)
                        .arg(empty)
                        .arg(failed.size()));
}

std::unique_ptr<GisLayerVector> OperationOptions::dissolved(const GisLayerVector& layer, StepLog& log) {
    const QList<Shapes::GisShape*> shapes = layer.rawShapes();
    auto result = GisLayerVector::createInMemory(layer.name(), Shapes::GisShapeType::Polygon, {});
    result->setCoordinateSystem(layer.coordinateSystem());
    ProgressBar bar(QStringLiteral("Dissolve"));
    Topology::GisTopology topology;
    topology.SetBusyCallback([&bar](int done, int total) {
        bar.show(static_cast<double>(done) / total);
        return true;
    });
    auto whole = topology.CascadedUnion(QList<const Shapes::GisShape*>(shapes.begin(), shapes.end()));
    whole->attributes().clear();
    result->addShape(std::move(whole));
    log.done("dissolve", QStringLiteral("%1 features to %2").arg(shapes.size()).arg(result->count()));
    return result;
}
