#include <Cartolith/Core/Symbology/GisColorRampRegistry.h>
#include <Cartolith/Core/Symbology/GisDefaultSymbolStyles.h>
#include <Cartolith/Core/Symbology/GisReadableColors.h>

#include <algorithm>
#include <stdexcept>

namespace Cartolith::Core::Symbology {

namespace {

using Layers::GisLayerStyle;

struct Palette {
    QString name;
    QString background;
    QString text;
    QString area;
    QString areaOutline;
    QString line;
    QString point;
    QString pointOutline;
    QString selection;
    GisColorRamp ramp;
    float lineWidth;
    GisColorRamp lineRamp = {}; ///< when the part of the ramp that stands out is too short for classes
};

GisSymbolTheme themeOf(const Palette& palette) {
    GisLayerStyle common;
    common.setFillColor(palette.area);
    common.setFillOpacity(255);
    common.setPointColor(palette.point);
    common.setSelectedLineColor(palette.selection);
    common.setLabelColor(palette.text);
    common.setLabelHaloColor(palette.background);

    GisSymbolTheme theme{palette.name, palette.background, palette.text,    common, common,
                         common,       palette.ramp,       palette.lineRamp};
    if (theme.lineRamp.isEmpty()) {
        theme.lineRamp = GisReadableColors::partOf(palette.ramp, palette.background);
    }
    theme.areaStyle.setLineColor(palette.areaOutline);
    theme.areaStyle.setLineWidth(palette.lineWidth * 0.6F);
    theme.lineStyle.setLineColor(palette.line);
    theme.lineStyle.setLineWidth(palette.lineWidth);
    theme.pointStyle.setLineColor(palette.pointOutline);
    theme.pointStyle.setLineWidth(1.0F);
    return theme;
}

const QList<GisSymbolTheme>& builtInThemes() {
    static const QList<GisSymbolTheme> themes = {
        themeOf({"SoftProfessional", "#F7F8F6", "#253238", "#C8D6D2", "#5E7370", "#4A6572", "#2F6FA8",
                 "#FFFFFF", "#B45309",
                 makeRamp("SoftProfessional", {"#D3E4DF", "#A9CCC3", "#7BB0A6", "#4F8F88", "#2E6B69"}), 1.4F,
                 makeRamp("SoftProfessional", {"#5D9A92", "#3B8590", "#2C6A8A", "#2F4878", "#2C2450"})}),
        themeOf({"ClassicGIS", "#FFFFFF", "#000000", "#FFFFBE", "#6E6E6E", "#004DA8", "#E60000", "#000000",
                 "#00868B", makeRamp("ClassicGIS", {"#F5E663", "#FAD155", "#F2A72E", "#AD5313", "#6B0000"}),
                 1.5F}),
        themeOf({"Dark", "#1E1E1E", "#E6E6E6", "#3A3F44", "#8A9299", "#4FC3F7", "#FFB74D", "#1E1E1E",
                 "#FF8A80", makeRamp("Dark", {"#35566B", "#2E7D87", "#3FB39B", "#A5D86E", "#FFF176"}), 1.4F}),
        themeOf({"Blueprint", "#123F7A", "#F2F7FF", "#1D5296", "#CFE3FF", "#EAF3FF", "#FFFFFF", "#123F7A",
                 "#FFE082", makeRamp("Blueprint", {"#3B74BD", "#6A9AD3", "#98BCE4", "#C6DBF2", "#F4F9FF"}),
                 1.2F}),
        themeOf({"MidnightBlue", "#0D1B2A", "#E0E8F0", "#1B2E45", "#7D95B0", "#6FA8DC", "#F4D35E", "#0D1B2A",
                 "#FF9F6B", makeRamp("MidnightBlue", {"#2B4C7E", "#4F77AA", "#8FA9C2", "#D9C27A", "#F9E27D"}),
                 1.4F}),
        themeOf({"Monochrome", "#FFFFFF", "#1A1A1A", "#E0E0E0", "#4D4D4D", "#333333", "#000000", "#FFFFFF",
                 "#767676", makeRamp("Monochrome", {"#DADADA", "#B0B0B0", "#828282", "#545454", "#262626"}),
                 1.3F}),
    };
    return themes;
}

} // namespace

QList<GisSymbolTheme> GisDefaultSymbolStyles::themes() {
    return builtInThemes();
}

QList<QString> GisDefaultSymbolStyles::names() {
    QList<QString> result;
    for (const GisSymbolTheme& theme : builtInThemes()) {
        result.append(theme.name);
    }
    return result;
}

bool GisDefaultSymbolStyles::contains(const QString& name) {
    GisSymbolTheme ignored;
    return tryGetTheme(name, ignored);
}

bool GisDefaultSymbolStyles::tryGetTheme(const QString& name, GisSymbolTheme& out) {
    const QString key = GisColorRampRegistry::normalizedName(name);
    const auto found =
        std::find_if(builtInThemes().cbegin(), builtInThemes().cend(), [&key](const GisSymbolTheme& theme) {
            return GisColorRampRegistry::normalizedName(theme.name) == key;
        });
    if (found == builtInThemes().cend()) {
        return false;
    }
    out = *found;
    return true;
}

GisSymbolTheme GisDefaultSymbolStyles::theme(const QString& name) {
    GisSymbolTheme found;
    if (!tryGetTheme(name, found)) {
        throw std::invalid_argument("Unknown Cartolith style theme.");
    }
    return found;
}

} // namespace Cartolith::Core::Symbology
