#include <Cartolith/Core/Layers/GisLayerStyle.h>
#include <Cartolith/Map/Labels/LabelStyle.h>

#include <QLocale>
#include <QVariant>

#include <cmath>
#include <limits>

namespace Cartolith::Map::Labels {

using Core::Layers::GisLayerStyle;
using Core::Layers::LabelPlacementMode;

bool areLabelsVisible(const GisLayerStyle& style, double scaleDenominator) {
    if (!style.showLabels() || style.labelField().isEmpty()) {
        return false;
    }
    if (!(scaleDenominator > 0.0) || !std::isfinite(scaleDenominator)) {
        return true;
    }
    const double least = style.labelMinVisibleScale();
    const double greatest = style.labelMaxVisibleScale();
    return (least <= 0.0 || scaleDenominator >= least) && (greatest <= 0.0 || scaleDenominator <= greatest);
}

LabelFont labelFont(const GisLayerStyle& style, double pixelRatio) {
    constexpr double pixelsInPoint = 96.0 / 72.0;
    return {style.labelFontFamily(), static_cast<double>(style.labelFontSize()) * pixelsInPoint * pixelRatio,
            style.labelBold(), style.labelItalic()};
}

LabelLook labelLook(const GisLayerStyle& style, double pixelRatio) {
    return {QColor(style.labelColor()), QColor(style.labelHaloColor()),
            style.labelHaloEnabled() ? static_cast<double>(style.labelHaloWidth()) * pixelRatio : 0.0};
}

LabelSettings labelSettings(const GisLayerStyle& style, double pixelRatio) {
    LabelSettings settings;
    settings.priority = style.labelPriority();
    settings.allowOverlap = style.labelAllowOverlap();
    settings.avoidObstacles = style.labelAvoidObstacles();
    settings.weight = style.labelObstacleWeight();
    settings.maxCandidates = style.labelMaxCandidatesPerFeature();
    // Half a space: names side by side do not read as one.
    settings.margin = {0.15 * labelFont(style, pixelRatio).size, 0.0};
    settings.offset =
        QPointF(static_cast<double>(style.labelOffsetX()), static_cast<double>(style.labelOffsetY())) *
        pixelRatio;
    settings.rotation = static_cast<double>(style.labelRotationDegrees());
    settings.repeatDistance = style.labelRepeatDistance() * pixelRatio;
    settings.mayReachOut = style.labelPlacementMode() != LabelPlacementMode::Area;
    return settings;
}

QString labelText(const QVariant& value) {
    if (!value.isValid() || value.isNull()) {
        return {};
    }
    if (value.typeId() == QMetaType::Double || value.typeId() == QMetaType::Float) {
        const double number = value.toDouble();
        return std::isfinite(number) ? QString::number(number, 'g', QLocale::FloatingPointShortest)
                                     : QString();
    }
    return value.toString();
}

double labelPriority(const QVariant& value) {
    bool isNumber = false;
    const double number = value.toDouble(&isNumber);
    return isNumber && !value.isNull() ? number : std::numeric_limits<double>::quiet_NaN();
}

} // namespace Cartolith::Map::Labels
