#include "Arguments.h"
#include "Commands.h"
#include "OpenLayer.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/Layers/GisAttributeDefinition.h>
#include <Cartolith/Core/Layers/GisLayerGdalRaster.h>
#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Layers/GisLayerProvider.h>

#include <QCommandLineParser>

#include <cstdio>

using namespace Cartolith::Core;

namespace {

const char* const infoText = R"(cartolith-map info: say what is in a file

  cartolith-map info FILE [--layer NAME]

Of a raster, prints its size, its bands with their type, no-data number, overviews and statistics, the extent and the
coordinate system. Statistics of a large raster are of a sample; "about" says so.

Otherwise prints the layers of FILE and, of the first one or the named one: the kind of shapes and their count, the fields,
the extent, the coordinate system and the area it is made for, and what could not be read and why.

Examples
  cartolith-map info data/world-countries.gpkg
  cartolith-map info data/olinda-dem-utm25s.tif
)";

void print(const char* name, const QString& value) {
    std::printf("%-12s %s\n", name, value.toUtf8().constData());
}

QString bounds(const Shapes::GisExtent& extent) {
    return extent.isEmpty()
               ? QStringLiteral("empty")
               : QStringLiteral("x %1 to %2, y %3 to %4")
                     .arg(QString::number(extent.xMin(), 'g', 10), QString::number(extent.xMax(), 'g', 10),
                          QString::number(extent.yMin(), 'g', 10), QString::number(extent.yMax(), 'g', 10));
}

void printSystem(const CoordinateSystems::CoordinateSystem* system) {
    if (system == nullptr) {
        print("crs", QStringLiteral("not given in the file"));
        return;
    }
    const QString code = system->epsgCode() > 0 ? QStringLiteral("EPSG:%1").arg(system->epsgCode())
                                                : QStringLiteral("no EPSG code");
    print("crs",
          QStringLiteral("%1 (%2, %3)")
              .arg(system->name(), code,
                   system->isGeographic()
                       ? QStringLiteral("degrees")
                       : QStringLiteral("%1 metres per unit").arg(system->metersPerUnit().value_or(1.0))));
    if (CoordinateSystems::CoordinateSystemFactory::isDeprecated(system->epsgCode())) {
        QStringList others;
        for (const int other :
             CoordinateSystems::CoordinateSystemFactory::replacementsOf(system->epsgCode())) {
            others.append(QStringLiteral("EPSG:%1").arg(other));
        }
        print("deprecated", others.isEmpty() ? QStringLiteral("not replaced")
                                             : QStringLiteral("replaced by %1, which is not used for it")
                                                   .arg(others.join(QStringLiteral(" or "))));
    }
    const auto area = CoordinateSystems::CoordinateSystemFactory::areaOfUse(*system);
    const bool isKnown = area && area->xMin() >= -360.0; // -1000 says that it is not
    print("area of use", isKnown ? bounds(*area) + QStringLiteral(" (degrees)") : QStringLiteral("unknown"));
}

QString number(double value) {
    return QString::number(value, 'g', 10);
}

QString sizes(const QList<QSize>& list) {
    QStringList texts;
    for (const QSize& size : list) {
        texts.append(QStringLiteral("%1 x %2").arg(size.width()).arg(size.height()));
    }
    return texts.isEmpty() ? QStringLiteral("none") : texts.join(QStringLiteral(", "));
}

int rasterInfo(const QString& file) {
    Layers::GisLayerGdalRaster layer(file);
    layer.open();
    const auto& transform = layer.worldTransform();
    print("file", file);
    print("format", layer.layerProvider()->driverName());
    print("content", summary(layer));
    print("pixel", QStringLiteral("%1, %2 a column; %3, %4 a row (map units)")
                       .arg(number(transform.xPerColumn), number(transform.yPerColumn),
                            number(transform.xPerRow), number(transform.yPerRow)));
    print("extent", bounds(layer.extent()));
    printSystem(layer.coordinateSystem().get());
    for (qsizetype i = 0; i < layer.bands().size(); ++i) {
        const Layers::Defs::GisRasterBand& band = layer.bands().at(i);
        print("band",
              QStringLiteral("%1: %2, %3, no data %4, overviews %5%6")
                  .arg(band.name, band.typeName, band.colour,
                       band.noData ? number(*band.noData) : QStringLiteral("not given"),
                       sizes(band.overviews), band.hasMask ? QStringLiteral(", with a mask") : QString()));
        const auto statistics = layer.statistics(static_cast<int>(i) + 1);
        print("", statistics.count == 0
                      ? QStringLiteral("no values")
                      : QStringLiteral("%1%2 to %3, mean %4, standard deviation %5")
                            .arg(statistics.isExact ? QString() : QStringLiteral("about "),
                                 number(statistics.minimum), number(statistics.maximum),
                                 number(statistics.mean), number(statistics.standardDeviation)));
    }
    return 0;
}

} // namespace

QString Commands::infoHelp() {
    return QString::fromUtf8(infoText);
}

int Commands::info(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.addOption({"layer", "", "name"});
    if (!parser.parse(QStringList{QStringLiteral("info")} + arguments)) {
        throw UsageError(parser.errorText());
    }
    if (parser.positionalArguments().size() != 1) {
        throw UsageError(QStringLiteral("info wants one FILE"));
    }
    const QString file = parser.positionalArguments().constFirst();
    if (!parser.isSet("layer") && isRasterFile(file)) {
        return rasterInfo(file);
    }

    Layers::GisLayerOgrVector layer(file, parser.value("layer"));
    openWithProgress(layer);

    print("file", shown(file));
    print("layers", layer.layerProvider()->contents().join(QStringLiteral(", ")));
    print("layer", layer.name());
    print("content", summary(layer));
    print("extent", bounds(layer.extent()));
    printSystem(layer.coordinateSystem().get());
    for (const Layers::Defs::GisAttributeDefinition& field : layer.attributeDefinitions()) {
        print("field", QStringLiteral("%1: %2").arg(field.name(), field.typeName()));
    }
    for (const auto& skipped : layer.skippedFeatures()) {
        print("skipped", QStringLiteral("feature %1: %2").arg(skipped.featureId).arg(skipped.reason));
    }
    return 0;
}
