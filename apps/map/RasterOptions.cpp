#include "RasterOptions.h"

#include "Arguments.h"
#include "ClassificationOptions.h"
#include "SymbolOptions.h"

#include <Cartolith/Core/Layers/GisLayerGdalRaster.h>
#include <Cartolith/Core/Symbology/GisColorRampRegistry.h>
#include <Cartolith/Map/LegendBounds.h>

#include <QCommandLineParser>

#include <limits>
#include <stdexcept>

using namespace Cartolith::Core;
using namespace Cartolith::Core::Symbology;
using Layers::GisLayerGdalRaster;
using Rendering = GisRasterStyle::Rendering;
using namespace Cartolith::Map;

namespace {

const char* const rasterHelp =
    R"(Rasters (--ramp, --reversed, --method, --classes, --interval and --breaks hold for them too; as they are when none
of these is given: by their colour table, in RGB, or in grey)
  --band N                  the band to draw, 1 when not given
  --grey                    from black to white
  --rgb R,G,B               these three bands in colours
  --stretch A,B             the values that get the ends of grey, of RGB or of the ramp; A%,B% are percentiles.
                            When not given: all values of a ramp, 0 to 255 for bytes, 2%,98% otherwise
  --hillshade               light on the heights in the band; alone it makes a relief without colours
  --light AZIMUTH,ALTITUDE  where it comes from, in degrees; 315,45 when not given
  --z-factor N              metres in a unit of height, times the exaggeration wanted; 1 when not given
  --resampling HOW          nearest, bilinear or average: how pixels become those of the picture; bilinear with
                            --hillshade, else nearest
)";

const QStringList rasterOnly{"band",      "grey",  "rgb",      "stretch",
                             "hillshade", "light", "z-factor", "resampling"};

GisRasterStretch stretchOf(const QString& text) {
    const QString what = QStringLiteral("two ascending values, a,b, or percentiles, a%,b%");
    const bool isShare = text.count(QLatin1Char('%')) == 2;
    const QList<double> ends =
        Arguments::numbers("stretch", isShare ? QString(text).remove(QLatin1Char('%')) : text, 2, what);
    try {
        return isShare ? GisRasterStretch::percentiles(ends.at(0), ends.at(1))
                       : GisRasterStretch::given(ends.at(0), ends.at(1));
    } catch (const std::invalid_argument&) {
        throw UsageError(QStringLiteral("--stretch wants %1, not '%2'").arg(what, text));
    }
}

GisRasterStyle::Resampling resamplingOf(const QString& text) {
    using Resampling = GisRasterStyle::Resampling;
    const QStringList names{"nearest", "bilinear", "average"};
    if (!names.contains(text)) {
        Arguments::unknown(QStringLiteral("resampling"), text, names);
    }
    return text == names.at(0)   ? Resampling::Nearest
           : text == names.at(1) ? Resampling::Bilinear
                                 : Resampling::Average;
}

GisHillshade lightOf(const QCommandLineParser& parser) {
    GisHillshade light;
    if (parser.isSet("light")) {
        const QString what = QStringLiteral("an azimuth and an altitude above 0 to 90, in degrees");
        const QList<double> angles = Arguments::numbers("light", parser.value("light"), 2, what);
        light.azimuth = angles.at(0);
        light.altitude = angles.at(1);
        if (!(light.altitude > 0.0 && light.altitude <= 90.0)) {
            throw UsageError(QStringLiteral("--light wants %1, not '%2'").arg(what, parser.value("light")));
        }
    }
    if (parser.isSet("z-factor")) {
        light.zFactor = Arguments::number("z-factor", parser.value("z-factor"), 1e-9, 1e9);
    }
    return light;
}

} // namespace

void RasterOptions::addTo(QCommandLineParser& parser) {
    parser.addOptions({{"band", "", "number"},
                       {"grey", ""},
                       {"rgb", "", "bands"},
                       {"stretch", "", "ends"},
                       {"hillshade", ""},
                       {"light", "", "angles"},
                       {"z-factor", "", "factor"},
                       {"resampling", "", "how"}});
}

QString RasterOptions::help() {
    return QString::fromUtf8(rasterHelp);
}

QStringList RasterOptions::names() {
    return rasterOnly;
}

void RasterOptions::refuse(const QCommandLineParser& parser) {
    Arguments::refuse(parser, rasterOnly, QStringLiteral("goes with a raster"));
}

RasterOptions::RasterOptions(const QCommandLineParser& parser) {
    Arguments::refuse(parser,
                      QStringList{"fill", "line", "point", "width", "field", "categories", "rules", "style",
                                  "save-style", "ramp-mode", "layer"} +
                          SymbolOptions::names(),
                      QStringLiteral("does not go with a raster"));
    const bool hasClasses = parser.isSet("classes") || parser.isSet("breaks") || parser.isSet("method") ||
                            parser.isSet("interval");
    const bool isRamp = parser.isSet("ramp") || parser.isSet("reversed") || hasClasses;
    const bool isLit = parser.isSet("hillshade");
    if (int{isRamp} + int{parser.isSet("grey")} + int{parser.isSet("rgb")} > 1) {
        throw UsageError(QStringLiteral("--grey, --rgb and a ramp or classes exclude each other"));
    }
    if (!isLit) {
        Arguments::refuse(parser, {"light", "z-factor"}, QStringLiteral("goes with --hillshade"));
    } else if (parser.isSet("rgb")) {
        throw UsageError(QStringLiteral("--hillshade does not go with --rgb"));
    }
    if (hasClasses || (isLit && !isRamp && !parser.isSet("grey"))) {
        Arguments::refuse(parser, {"stretch"},
                          QStringLiteral("goes with --grey, --rgb or a continuous ramp"));
    }
    const GisClassificationSettings settings = ClassificationOptions::settings(
        parser, QStringLiteral("EqualInterval"), GisColorRampRegistry::defaultRamp());
    if (hasClasses) {
        m_classes = settings;
    }
    m_style.setRamp(settings.ramp);
    m_style.setReversed(settings.reversed);
    m_style.setRendering(isRamp                 ? Rendering::Ramp
                         : parser.isSet("grey") ? Rendering::Grey
                         : parser.isSet("rgb")  ? Rendering::Rgb
                         : isLit                ? Rendering::Relief
                                                : Rendering::Automatic);
    constexpr int mostBands = 65536;
    if (parser.isSet("band")) {
        m_style.setBand(Arguments::whole("band", parser.value("band"), 1, mostBands));
    }
    if (parser.isSet("rgb")) {
        const QStringList bands = parser.value("rgb").split(QLatin1Char(','));
        if (bands.size() != 3) {
            throw UsageError(
                QStringLiteral("--rgb wants three bands, r,g,b, not '%1'").arg(parser.value("rgb")));
        }
        m_style.setRgbBands(Arguments::whole("rgb", bands.at(0), 1, mostBands),
                            Arguments::whole("rgb", bands.at(1), 1, mostBands),
                            Arguments::whole("rgb", bands.at(2), 1, mostBands));
    }
    if (parser.isSet("stretch")) {
        m_style.setStretch(stretchOf(parser.value("stretch")));
    }
    if (isLit) {
        m_style.setHillshade(lightOf(parser));
        m_style.setResampling(GisRasterStyle::Resampling::Bilinear);
    }
    if (parser.isSet("resampling")) {
        m_style.setResampling(resamplingOf(parser.value("resampling")));
    }
}

void RasterOptions::applyTo(GisLayerGdalRaster& layer) {
    if (m_classes) {
        const QList<double> values = layer.sampleValues(m_style.band());
        const QString what = QStringLiteral("'%1'").arg(layer.name());
        ClassificationOptions::requireFewClasses(*m_classes, values, what);
        m_ranges = GisSymbolRendererFactory::classes(values, *m_classes);
        if (m_ranges.isEmpty()) {
            throw std::runtime_error(
                QStringLiteral("no classes can be made of '%1'").arg(layer.name()).toStdString());
        }
        ClassificationOptions::sayWhenFewer(*m_classes, m_ranges.size(), values, what);
        QList<GisClassificationRange> ranges = m_ranges;
        if (m_classes->method != GisClassificationMethod::Manual) {
            // A sample need not hold the extremes.
            ranges.first().lower = -std::numeric_limits<double>::max();
            ranges.last().upper = std::numeric_limits<double>::max();
        }
        m_style.setClasses(ranges);
    }
    layer.setRasterStyle(m_style);
}

LegendContent RasterOptions::legend(GisLayerGdalRaster& layer, const QString& title) const {
    if (m_style.rendering() != Rendering::Ramp) {
        throw std::runtime_error("a legend of a raster wants --ramp or --classes");
    }
    const QString head = title.isEmpty() ? layer.name() : title;
    if (m_classes) {
        return LegendContent::of(LegendBounds(m_ranges, m_classes->method, {}), m_style.classColors(), head);
    }
    const auto [least, greatest] = layer.stretchBounds(m_style.band());
    return LegendContent::of(m_style.ramp(), m_style.isReversed(), least, greatest, head);
}
