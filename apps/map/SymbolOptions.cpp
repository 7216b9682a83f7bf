#include "SymbolOptions.h"

#include "Arguments.h"

#include <Cartolith/Core/Layers/GisLayerVector.h>
#include <Cartolith/Core/Symbology/GisSymbolRendererFactory.h>
#include <Cartolith/Core/Symbology/GisSymbologyJson.h>
#include <Cartolith/Map/SvgMarker.h>

#include <QCommandLineParser>
#include <QFile>
#include <QJsonObject>

#include <array>
#include <stdexcept>

using namespace Cartolith::Core;
using Layers::GisLayerStyle;
using Layers::GisLayerVector;
using Symbology::GisSymbologyJson;

namespace {

/// A name that style files have for it, in a style of nothing else.
GisLayerStyle styleWith(const QString& option, const char* member, const QString& name) {
    try {
        return GisSymbologyJson::styleFromJson({{QLatin1String(member), name}});
    } catch (const std::runtime_error& error) {
        throw UsageError(QStringLiteral("--%1: %2").arg(option, QString::fromUtf8(error.what())));
    }
}

/// "COLOUR" or "COLOUR,PIXELS".
struct ColourAndWidth {
    ColourAndWidth(const QString& option, const QString& text, float usual)
        : colour(Arguments::colour(option, text.section(',', 0, 0))), width(usual) {
        if (text.contains(',')) {
            width = static_cast<float>(Arguments::number(option, text.section(',', 1), 0.0, 100.0));
        }
    }
    QString colour;
    float width;
};

QString svgFrom(const QString& path) {
    constexpr qint64 most = 1 << 20; // bytes; the marker itself says how long it may be
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        throw std::runtime_error(QStringLiteral("'%1': %2").arg(path, file.errorString()).toStdString());
    }
    QString text = QString::fromUtf8(file.read(most));
    try {
        const Cartolith::Map::SvgMarker marker(text); // or throws
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(
            QStringLiteral("'%1': %2").arg(path, QString::fromUtf8(error.what())).toStdString());
    }
    return text;
}

GisLayerStyle markerOf(const QString& name) {
    if (!name.endsWith(QLatin1String(".svg"), Qt::CaseInsensitive)) {
        return styleWith("marker", "markerShape", name);
    }
    GisLayerStyle style;
    style.setMarkerShape(Layers::MarkerShape::Svg);
    style.setMarkerSvg(svgFrom(name));
    return style;
}

} // namespace

void SymbolOptions::addTo(QCommandLineParser& parser) {
    parser.addOptions({{"dash", "", "lengths"},
                       {"casing", "", "colour"},
                       {"halo", "", "colour"},
                       {"hatch", "", "pattern"},
                       {"marker", "", "shape"},
                       {"point-size", "", "pixels"},
                       {"size-field", "", "field"},
                       {"sizes", "", "pixels"}});
}

const char* SymbolOptions::help() {
    return R"(  --dash A,B,..             dashes and gaps of lines, in pixels
  --casing COLOUR[,PIXELS]  a wider line below lines and outlines, 1 pixel on each side when not given
  --halo COLOUR[,PIXELS]    a rim around points and below lines, 1.5 pixels when not given
  --hatch PATTERN[,COLOUR]  on areas: lines, crossedLines or points
  --marker SHAPE            of points: circle, square, diamond, triangleUp, triangleDown, pentagon, hexagon, star,
                            cross, plus, saltire, arrow, or a FILE.svg
  --point-size PIXELS       how large points are
  --size-field FIELD        points larger, or lines wider, the more this field has
  --sizes LEAST,GREATEST    for its least and its greatest value; 4,24 pixels for points, 0.8,8 for lines
)";
}

QStringList SymbolOptions::names() {
    return {"dash", "casing", "halo", "hatch", "marker", "point-size", "size-field", "sizes"};
}

SymbolOptions::SymbolOptions(const QCommandLineParser& parser) {
    const auto given = [&](const char* option, const auto& setting) {
        if (parser.isSet(option)) {
            m_settings.push_back(setting(QString::fromLatin1(option), parser.value(option)));
        }
    };
    given("dash", [](const QString& option, const QString& text) {
        QList<double> dashes;
        for (const QString& length : text.split(',')) {
            dashes.append(Arguments::number(option, length, 0.0, 1000.0));
        }
        return [dashes](GisLayerStyle& style) {
            style.setLineDashes(dashes);
            style.setLineCap(Layers::LineCap::Butt); // so long as they were given
        };
    });
    given("casing", [](const QString& option, const QString& text) {
        return [casing = ColourAndWidth(option, text, 1.0F)](GisLayerStyle& style) {
            style.setCasingColor(casing.colour);
            style.setCasingWidth(casing.width);
        };
    });
    given("halo", [](const QString& option, const QString& text) {
        return [halo = ColourAndWidth(option, text, 1.5F)](GisLayerStyle& style) {
            style.setHaloColor(halo.colour);
            style.setHaloWidth(halo.width);
        };
    });
    given("hatch", [](const QString& option, const QString& text) {
        GisLayerStyle hatch = styleWith(option, "fillPattern", text.section(',', 0, 0));
        if (text.contains(',')) {
            hatch.setPatternColor(Arguments::colour(option, text.section(',', 1)));
        }
        return [hatch](GisLayerStyle& style) {
            style.setFillPattern(hatch.fillPattern());
            style.setPatternColor(hatch.patternColor());
        };
    });
    given("marker", [](const QString& /*option*/, const QString& text) {
        return [marker = markerOf(text)](GisLayerStyle& style) {
            style.setMarkerShape(marker.markerShape());
            style.setMarkerSvg(marker.markerSvg());
        };
    });
    given("point-size", [](const QString& option, const QString& text) {
        return [size = static_cast<float>(Arguments::number(option, text, 0.0, 1000.0))](
                   GisLayerStyle& style) { style.setPointSize(size); };
    });
    m_sizeField = parser.value("size-field");
    if (parser.isSet("size-field") && m_sizeField.isEmpty()) {
        throw UsageError(QStringLiteral("--size-field wants the name of a field"));
    }
    if (!parser.isSet("size-field")) {
        Arguments::refuse(parser, {"sizes"}, QStringLiteral("goes with --size-field"));
    } else if (parser.isSet("sizes")) {
        const QString text = parser.value("sizes");
        for (const QString& size : {text.section(',', 0, 0), text.section(',', 1)}) {
            m_sizes.append(Arguments::number(QStringLiteral("sizes"), size, 0.0, 1000.0));
        }
    }
}

void SymbolOptions::applyTo(GisLayerStyle& style, const GisLayerVector& layer) const {
    for (const auto& setting : m_settings) {
        setting(style);
    }
    if (m_sizeField.isEmpty()) {
        return;
    }
    const bool isLine = layer.shapeType() == Shapes::GisShapeType::Polyline;
    const QList<double> sizes = !m_sizes.isEmpty() ? m_sizes
                                : isLine           ? QList<double>{0.8, 8.0}
                                                   : QList<double>{4.0, 24.0};
    const GisLayerStyle sized =
        Symbology::GisSymbolRendererFactory::sized(
            layer, m_sizeField, static_cast<float>(sizes.at(0)), static_cast<float>(sizes.at(1)),
            isLine ? Layers::SizeScaling::Linear : Layers::SizeScaling::Area)
            ->style();
    style.setSizeField(sized.sizeField());
    style.setSizeFromValue(sized.sizeFromValue());
    style.setSizeToValue(sized.sizeToValue());
    style.setSizeFrom(sized.sizeFrom());
    style.setSizeTo(sized.sizeTo());
    style.setSizeScaling(sized.sizeScaling());
}
