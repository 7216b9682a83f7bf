#include <Cartolith/Core/Symbology/GisFeatureSymbol.h>

#include <algorithm>
#include <cmath>
#include <limits>

using Cartolith::Core::Layers::GisLayerStyle;
using Cartolith::Core::Shapes::GisShapeType;

namespace Cartolith::Core::Symbology {

namespace {

/// NaN where there is none.
double finiteNumber(const QVariant& value) {
    bool isNumber = false;
    const double number = value.isNull() ? 0.0 : value.toDouble(&isNumber);
    return isNumber && std::isfinite(number) ? number : std::numeric_limits<double>::quiet_NaN();
}

double roundedSize(const GisLayerStyle& style, double size) {
    constexpr double finest = 0.125; // pixels
    constexpr double most = 256.0;   // steps
    // From the lesser of the two, or it would be nothing where the greater is that much larger.
    const double least = std::min(style.sizeFrom(), style.sizeTo());
    const double greatest = std::max(style.sizeFrom(), style.sizeTo());
    const double step = std::max(finest, (greatest - least) / most);
    return least + std::round((size - least) / step) * step;
}

} // namespace

QStringList GisFeatureSymbol::fieldsOf(const GisLayerStyle& style) {
    QStringList fields{style.sizeField(), style.markerRotationField()};
    fields.removeAll(QString());
    fields.removeDuplicates();
    return fields;
}

double GisFeatureSymbol::sizeFor(const GisLayerStyle& style, double value) {
    if (std::isnan(value)) {
        return value;
    }
    // Halves, whose differences have no end beyond a double's.
    const double from = style.sizeFromValue() * 0.5;
    const double range = style.sizeToValue() * 0.5 - from;
    const double beyond =
        std::clamp(value, std::numeric_limits<double>::lowest(), std::numeric_limits<double>::max()) * 0.5 -
        from;
    const double share = range == 0.0 ? (beyond < 0.0 ? 0.0 : 1.0) : std::clamp(beyond / range, 0.0, 1.0);
    const double least = style.sizeFrom();
    const double greatest = style.sizeTo();
    return style.sizeScaling() == Layers::SizeScaling::Linear
               ? least + (greatest - least) * share
               : std::sqrt(least * least + (greatest * greatest - least * least) * share);
}

GisLayerStyle GisFeatureSymbol::resolved(const GisLayerStyle& style, const GisSymbolContext& context,
                                         GisShapeType kind) {
    if (style.sizeField().isEmpty() && style.markerRotationField().isEmpty()) {
        return style;
    }
    GisLayerStyle own = style;
    own.setSizeField({});
    own.setMarkerRotationField({});
    const bool isLine = kind == GisShapeType::Polyline || kind == GisShapeType::PolylineZ;
    const bool isArea = kind == GisShapeType::Polygon || kind == GisShapeType::PolygonZ;
    if (isArea) {
        return own;
    }
    if (!style.sizeField().isEmpty()) {
        const double size = sizeFor(style, finiteNumber(context.attribute(style.sizeField())));
        if (!std::isnan(size)) {
            const auto rounded = static_cast<float>(roundedSize(style, size));
            isLine ? own.setLineWidth(rounded) : own.setPointSize(rounded);
        }
    }
    if (!isLine && !style.markerRotationField().isEmpty()) {
        const double turn = finiteNumber(context.attribute(style.markerRotationField()));
        if (!std::isnan(turn)) {
            constexpr double step = 2.0; // degrees
            const double all = std::fmod(turn, 360.0) + static_cast<double>(style.markerRotation());
            own.setMarkerRotation(static_cast<float>(std::round(all / step) * step));
        }
    }
    return own;
}

} // namespace Cartolith::Core::Symbology
