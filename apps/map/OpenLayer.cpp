#include "OpenLayer.h"

#include "Arguments.h"
#include "ProgressBar.h"
#include "StepLog.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/Layers/GisAttributeDefinition.h>
#include <Cartolith/Core/Layers/GisGdalRasterProvider.h>
#include <Cartolith/Core/Layers/GisLayerGdalRaster.h>
#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Layers/GisOgrProvider.h>
#include <Cartolith/Map/Projection.h>

#include <QScopeGuard>

#include <stdexcept>
#include <utility>

using namespace Cartolith::Core;
using Shapes::GisShapeType;
using namespace Cartolith::Map;

QString shown(const QString& file) {
    return Layers::Providers::GisOgrProvider(file).source();
}

bool isConnection(const QString& file) {
    return file.startsWith(QLatin1String("PG:"), Qt::CaseInsensitive) || file.contains(QLatin1String("://"));
}

void openWithProgress(Layers::GisLayerOgrVector& layer) {
    ProgressBar bar(QStringLiteral("Reading"));
    layer.setProgressCallback([&bar](double fraction) {
        bar.show(fraction);
        return true;
    });
    const auto withoutBar = qScopeGuard([&layer] { layer.setProgressCallback({}); });
    layer.open();
}

QString assumeSystemHelp() {
    return QStringLiteral(
        R"(  --assume-crs CRS          the coordinate system of a FILE that does not say one; it belongs to the FILE it follows
)");
}

void assumeSystem(Layers::GisLayer& layer, const QString& file,
                  std::shared_ptr<CoordinateSystems::CoordinateSystem> assumed) {
    if (assumed == nullptr) {
        return;
    }
    if (layer.coordinateSystem() != nullptr) {
        throw UsageError(
            QStringLiteral("'%1' says its coordinate system itself, %2: --assume-crs goes with a "
                           "file that does not")
                .arg(shown(file), layer.coordinateSystem()->name()));
    }
    layer.setCoordinateSystem(std::move(assumed));
}

void requireSystem(const CoordinateSystems::CoordinateSystem* system, const QString& file) {
    if (system == nullptr) {
        throw std::runtime_error(
            QStringLiteral("'%1' does not say its coordinate system, so it cannot be taken "
                           "into another: say it with --assume-crs CRS behind its name")
                .arg(shown(file))
                .toStdString());
    }
}

std::unique_ptr<Layers::GisLayerVector>
openIn(const std::shared_ptr<CoordinateSystems::CoordinateSystem>& system, const LayerSource& from,
       StepLog& log) {
    auto source = std::make_unique<Layers::GisLayerOgrVector>(from.file, from.layer);
    openWithProgress(*source);
    log.done("read", QStringLiteral("%1: %2").arg(shown(from.file), summary(*source)));
    assumeSystem(*source, from.file, from.assumed);
    if (system != nullptr) {
        requireSystem(source->coordinateSystem().get(), from.file);
    }
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

bool isRasterFile(const QString& path) {
    if (!Layers::Providers::GisGdalRasterProvider::isRaster(path)) {
        return false;
    }
    try {
        return Layers::Providers::GisOgrProvider::layerNames(path).isEmpty();
    } catch (const std::runtime_error&) {
        return true; // no vector data source, that is
    }
}

QString summary(const Layers::GisLayerGdalRaster& layer) {
    QStringList types;
    for (const Layers::Defs::GisRasterBand& band : layer.bands()) {
        if (!types.contains(band.typeName)) {
            types.append(band.typeName);
        }
    }
    return QStringLiteral("%1 x %2 pixels, %3 band%4 (%5)")
        .arg(QString::number(layer.width()), QString::number(layer.height()),
             QString::number(layer.bands().size()),
             layer.bands().size() == 1 ? QString() : QStringLiteral("s"), types.join(QStringLiteral(", ")));
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
