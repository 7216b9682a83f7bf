#include "OpenLayer.h"

#include "ProgressBar.h"
#include "Projection.h"
#include "StepLog.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/Layers/GisAttributeDefinition.h>
#include <Cartolith/Core/Layers/GisLayerOgrVector.h>

#include <QScopeGuard>

using namespace Cartolith::Core;
using Shapes::GisShapeType;

void openWithProgress(Layers::GisLayerOgrVector& layer) {
    ProgressBar bar(QStringLiteral("Reading"));
    layer.setProgressCallback([&bar](double fraction) {
        bar.show(fraction);
        return true;
    });
    const auto withoutBar = qScopeGuard([&layer] { layer.setProgressCallback({}); });
    layer.open();
}

std::unique_ptr<Layers::GisLayerVector>
openIn(const std::shared_ptr<CoordinateSystems::CoordinateSystem>& system, const QString& file,
       const QString& layerName, StepLog& log) {
    auto source = std::make_unique<Layers::GisLayerOgrVector>(file, layerName);
    openWithProgress(*source);
    log.done("read", QStringLiteral("%1: %2").arg(file, summary(*source)));
    const auto own = source->coordinateSystem();
    if (system == nullptr ||
        (own != nullptr && CoordinateSystems::CoordinateSystemFactory::areEquivalent(*own, *system))) {
        return source;
    }
    Projection::Result result = Projection::project(*source, system);
    log.done("reproject", QStringLiteral("%1 shapes to %2, %3 left out")
                              .arg(QString::number(result.layer->count()), system->name(),
                                   QString::number(result.leftOut)));
    return std::move(result.layer);
}

QString kindName(const Layers::GisLayerVector& layer) {
    switch (layer.shapeType()) {
    case GisShapeType::Point:
        return QStringLiteral("Point");
    case GisShapeType::Polyline:
        return QStringLiteral("Polyline");
    case GisShapeType::Polygon:
        return QStringLiteral("Polygon");
    default:
        return layer.count() == 0 ? QStringLiteral("no geometry") : QStringLiteral("mixed");
    }
}

QString summary(const Layers::GisLayerOgrVector& layer) {
    QString text = QStringLiteral("%1 features, %2 shapes (%3), %4 fields")
                       .arg(QString::number(layer.featureCount()), QString::number(layer.count()),
                            kindName(layer), QString::number(layer.attributeDefinitions().size()));
    if (layer.skippedCount() > 0) {
        text += QStringLiteral(", %1 without a usable geometry").arg(layer.skippedCount());
    }
    return text;
}
