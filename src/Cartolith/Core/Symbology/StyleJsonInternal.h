#pragma once

#include <Cartolith/Core/Layers/GisLayerStyle.h>
#include <Cartolith/Core/Symbology/JsonFieldsInternal.h>

#include <array>

namespace Cartolith::Core::Symbology::Internal {

QJsonValue toJsonValue(Layers::LabelPlacementMode mode, const JsonPath& path);
void fromJsonValue(Layers::LabelPlacementMode& target, const QJsonValue& value, const JsonPath& path);
QJsonValue toJsonValue(Layers::LineCap value, const JsonPath& path);
void fromJsonValue(Layers::LineCap& target, const QJsonValue& value, const JsonPath& path);
QJsonValue toJsonValue(Layers::LineJoin value, const JsonPath& path);
void fromJsonValue(Layers::LineJoin& target, const QJsonValue& value, const JsonPath& path);
QJsonValue toJsonValue(Layers::FillPattern value, const JsonPath& path);
void fromJsonValue(Layers::FillPattern& target, const QJsonValue& value, const JsonPath& path);
QJsonValue toJsonValue(Layers::MarkerShape value, const JsonPath& path);
void fromJsonValue(Layers::MarkerShape& target, const QJsonValue& value, const JsonPath& path);
QJsonValue toJsonValue(Layers::SizeScaling value, const JsonPath& path);
void fromJsonValue(Layers::SizeScaling& target, const QJsonValue& value, const JsonPath& path);

template <>
struct JsonFields<Layers::GisLayerStyle> {
    using Style = Layers::GisLayerStyle;
    static constexpr std::array fields{
        property<&Style::fillColor, &Style::setFillColor>("fillColor"),
        property<&Style::fillOpacity, &Style::setFillOpacity>("fillOpacity"),
        property<&Style::lineColor, &Style::setLineColor>("lineColor"),
        property<&Style::lineWidth, &Style::setLineWidth>("lineWidth"),
        property<&Style::pointColor, &Style::setPointColor>("pointColor"),
        property<&Style::pointSize, &Style::setPointSize>("pointSize"),
        property<&Style::selectedLineColor, &Style::setSelectedLineColor>("selectedLineColor"),
        property<&Style::selectedLineWidth, &Style::setSelectedLineWidth>("selectedLineWidth"),
        property<&Style::showLabels, &Style::setShowLabels>("showLabels"),
        property<&Style::labelField, &Style::setLabelField>("labelField"),
        property<&Style::labelColor, &Style::setLabelColor>("labelColor"),
        property<&Style::labelFontSize, &Style::setLabelFontSize>("labelFontSize"),
        property<&Style::labelHaloEnabled, &Style::setLabelHaloEnabled>("labelHaloEnabled"),
        property<&Style::labelHaloColor, &Style::setLabelHaloColor>("labelHaloColor"),
        property<&Style::labelHaloWidth, &Style::setLabelHaloWidth>("labelHaloWidth"),
        property<&Style::labelFontFamily, &Style::setLabelFontFamily>("labelFontFamily"),
        property<&Style::labelBold, &Style::setLabelBold>("labelBold"),
        property<&Style::labelItalic, &Style::setLabelItalic>("labelItalic"),
        property<&Style::labelMinVisibleScale, &Style::setLabelMinVisibleScale>("labelMinVisibleScale"),
        property<&Style::labelMaxVisibleScale, &Style::setLabelMaxVisibleScale>("labelMaxVisibleScale"),
        property<&Style::labelAllowOverlap, &Style::setLabelAllowOverlap>("labelAllowOverlap"),
        property<&Style::labelPriority, &Style::setLabelPriority>("labelPriority"),
        property<&Style::labelPriorityField, &Style::setLabelPriorityField>("labelPriorityField"),
        property<&Style::labelAvoidObstacles, &Style::setLabelAvoidObstacles>("labelAvoidObstacles"),
        property<&Style::labelObstacleWeight, &Style::setLabelObstacleWeight>("labelObstacleWeight"),
        property<&Style::labelMaxCandidatesPerFeature, &Style::setLabelMaxCandidatesPerFeature>(
            "labelMaxCandidatesPerFeature"),
        property<&Style::labelPlacementMode, &Style::setLabelPlacementMode>("labelPlacementMode"),
        property<&Style::labelOffsetX, &Style::setLabelOffsetX>("labelOffsetX"),
        property<&Style::labelOffsetY, &Style::setLabelOffsetY>("labelOffsetY"),
        property<&Style::labelRotationDegrees, &Style::setLabelRotationDegrees>("labelRotationDegrees"),
        property<&Style::labelRepeatDistance, &Style::setLabelRepeatDistance>("labelRepeatDistance"),
        optionalProperty<&Style::lineDashes, &Style::setLineDashes>("lineDashes"),
        optionalProperty<&Style::lineDashOffset, &Style::setLineDashOffset>("lineDashOffset"),
        optionalProperty<&Style::lineCap, &Style::setLineCap>("lineCap"),
        optionalProperty<&Style::lineJoin, &Style::setLineJoin>("lineJoin"),
        optionalProperty<&Style::casingColor, &Style::setCasingColor>("casingColor"),
        optionalProperty<&Style::casingWidth, &Style::setCasingWidth>("casingWidth"),
        optionalProperty<&Style::fillPattern, &Style::setFillPattern>("fillPattern"),
        optionalProperty<&Style::patternColor, &Style::setPatternColor>("patternColor"),
        optionalProperty<&Style::patternAngle, &Style::setPatternAngle>("patternAngle"),
        optionalProperty<&Style::patternSpacing, &Style::setPatternSpacing>("patternSpacing"),
        optionalProperty<&Style::patternWidth, &Style::setPatternWidth>("patternWidth"),
        optionalProperty<&Style::markerShape, &Style::setMarkerShape>("markerShape"),
        optionalProperty<&Style::markerSvg, &Style::setMarkerSvg>("markerSvg"),
        optionalProperty<&Style::markerRotation, &Style::setMarkerRotation>("markerRotation"),
        optionalProperty<&Style::markerRotationField, &Style::setMarkerRotationField>("markerRotationField"),
        optionalProperty<&Style::haloColor, &Style::setHaloColor>("haloColor"),
        optionalProperty<&Style::haloWidth, &Style::setHaloWidth>("haloWidth"),
        optionalProperty<&Style::sizeField, &Style::setSizeField>("sizeField"),
        optionalProperty<&Style::sizeFromValue, &Style::setSizeFromValue>("sizeFromValue"),
        optionalProperty<&Style::sizeToValue, &Style::setSizeToValue>("sizeToValue"),
        optionalProperty<&Style::sizeFrom, &Style::setSizeFrom>("sizeFrom"),
        optionalProperty<&Style::sizeTo, &Style::setSizeTo>("sizeTo"),
        optionalProperty<&Style::sizeScaling, &Style::setSizeScaling>("sizeScaling"),
    };
};

} // namespace Cartolith::Core::Symbology::Internal
