#include "ClassStyles.h"

#include <Cartolith/Core/Symbology/GisCategorizedSymbolRenderer.h>
#include <Cartolith/Core/Symbology/GisColorPerception.h>
#include <Cartolith/Core/Symbology/GisColorRamp.h>
#include <Cartolith/Core/Symbology/GisGraduatedSymbolRenderer.h>
#include <Cartolith/Core/Symbology/GisReadableColors.h>
#include <Cartolith/Map/NumberText.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

using namespace Cartolith::Core::Symbology;
using Cartolith::Core::Layers::GisLayerStyle;
using Cartolith::Core::Shapes::GisShapeType;
using namespace Cartolith::Map;

namespace {

constexpr float outlineWidth = 0.7F; // pixels

double distance(const QColor& a, const QColor& b) {
    return std::hypot(a.red() - b.red(), a.green() - b.green(), a.blue() - b.blue());
}

/// The first colour from paper towards ink that no class comes near to; else the one they stay farthest from.
QString unlike(const QList<QString>& classColours, const SheetColours& sheet) {
    constexpr double clear = 45.0; // in RGB
    QString best;
    double farthest = -1.0;
    for (const double share : {0.0, 0.25, 0.5, 0.75}) {
        const QString candidate = GisColorRamp::interpolateColor(sheet.paper.name(), sheet.ink.name(), share);
        double nearest = 1000.0;
        for (const QString& colour : classColours) {
            nearest = std::min(nearest, distance(QColor(candidate), QColor(colour)));
        }
        if (nearest > farthest) {
            farthest = nearest;
            best = candidate;
        }
        if (farthest >= clear) {
            break;
        }
    }
    return best;
}

} // namespace

void GivenStyle::applyTo(GisLayerStyle& style) const {
    if (fill) {
        style.setFillColor(*fill);
        style.setFillOpacity(255);
    }
    if (hollow) {
        style.setFillOpacity(0);
    }
    if (line) {
        style.setLineColor(*line);
    }
    if (point) {
        style.setPointColor(*point);
    }
    if (width) {
        style.setLineWidth(*width);
    }
}

ClassStyles::ClassStyles(GivenStyle given, const SheetColours& colours, GisShapeType kind)
    : m_given(std::move(given)), m_colours(colours), m_kind(kind) {}

GisLayerStyle ClassStyles::outlined(const GisLayerStyle& style) const {
    GisLayerStyle result = style;
    result.setFillOpacity(255);
    if (m_kind == GisShapeType::Polyline || m_kind == GisShapeType::Null) {
        // The line is what carries the colour; of one thinner than a pixel only a tint is seen.
        constexpr float leastWidth = 1.6F;
        result.setLineWidth(m_given.width.value_or(std::max(style.lineWidth(), leastWidth)));
        return result;
    }
    constexpr int middle = 110; // of 0 to 255
    const bool isLight = qGray(QColor(style.fillColor()).rgb()) > middle;
    const QString shade = GisColorRamp::interpolateColor(
        style.fillColor(), isLight ? QStringLiteral("#000000") : QStringLiteral("#FFFFFF"), 0.45);
    const bool isFaint = m_kind == GisShapeType::Point &&
                         std::max(m_colours.contrast(QColor(style.pointColor())),
                                  m_colours.contrast(QColor(shade))) < GisReadableColors::lineContrast;
    result.setLineColor(m_given.line.value_or(isFaint ? m_colours.ink.name().toUpper() : shade));
    result.setLineWidth(m_given.width.value_or(outlineWidth));
    return result;
}

GisLayerStyle ClassStyles::unclassified(const GisLayerStyle& base, const QList<QString>& classColours) const {
    GisLayerStyle result = base;
    const QString colour = unlike(classColours, m_colours);
    result.setFillColor(m_given.fill.value_or(colour));
    result.setFillOpacity(m_given.hollow ? 0 : 255);
    result.setPointColor(m_given.point.value_or(colour));
    result.setLineColor(m_given.line.value_or(m_colours.faintInk.name().toUpper()));
    result.setLineWidth(m_kind == GisShapeType::Polyline ? base.lineWidth() * 0.5F
                                                         : m_given.width.value_or(outlineWidth));
    return result;
}

void ClassStyles::applyTo(GisGraduatedSymbolRenderer& renderer) const {
    const QList<GisGraduatedSymbolRange> ranges = renderer.ranges();
    renderer.clearRanges();
    QList<QString> colours;
    for (GisGraduatedSymbolRange range : ranges) {
        colours.append(range.style.fillColor());
        range.style = outlined(range.style);
        renderer.addRange(range);
    }
    renderer.setDefaultStyle(unclassified(renderer.defaultStyle(), colours));
}

void ClassStyles::applyTo(GisCategorizedSymbolRenderer& renderer) const {
    const QList<GisCategorizedSymbolClass> classes = renderer.classes();
    renderer.clearClasses();
    QList<QString> colours;
    for (GisCategorizedSymbolClass symbolClass : classes) {
        colours.append(symbolClass.style.fillColor());
        symbolClass.style = outlined(symbolClass.style);
        renderer.addClass(symbolClass);
    }
    renderer.setDefaultStyle(unclassified(renderer.defaultStyle(), colours));
}

QString ClassStyles::nearestColours(const GisSymbolRenderer& renderer) {
    constexpr qsizetype most = 1000;
    constexpr double tellable = 4.0;
    const auto* categorized = dynamic_cast<const GisCategorizedSymbolRenderer*>(&renderer);
    if (categorized == nullptr || categorized->classes().size() < 2) {
        return {};
    }
    const auto tooMany = [categorized] {
        std::fprintf(stderr, "cartolith-map: %s categories are more than colours can tell apart\n",
                     qPrintable(NumberText::whole(categorized->classes().size())));
    };
    if (categorized->classes().size() > most) {
        tooMany();
        return {};
    }
    QList<QString> colours;
    for (const GisCategorizedSymbolClass& symbolClass : categorized->classes()) {
        colours.append(QColor(symbolClass.style.fillColor()).name());
    }
    const double difference = GisColorPerception::leastDifference(colours);
    if (difference < tellable) {
        tooMany();
    }
    const auto text = [](double number) { return QString::number(number, 'f', 1); };
    return QStringLiteral(", the nearest two colours %1 apart by CIEDE2000 (deuteranopia %2, protanopia %3)")
        .arg(text(difference),
             text(GisColorPerception::leastDifference(colours, GisColorVision::Deuteranopia)),
             text(GisColorPerception::leastDifference(colours, GisColorVision::Protanopia)));
}
