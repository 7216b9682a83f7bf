#include <Cartolith/Core/Layers/GisLayer.h>
#include <Cartolith/Core/Layers/GisLayerStyle.h>
#include <Cartolith/Core/Layers/ScaleBoundInternal.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace Cartolith::Core::Layers {

namespace {

constexpr float largestSize = 10000.0F; // pixels; sizes may come from a file

float boundedSize(float value, float least = 0.0F) {
    return value > least ? std::min(value, largestSize) : least;
}

float boundedAngle(float value) {
    const float turned = std::isfinite(value) ? std::fmod(value, 360.0F) : 0.0F;
    const float positive = turned < 0.0F ? turned + 360.0F : turned;
    return positive < 360.0F ? positive : 0.0F; // a little less than nothing rounds to all
}

/// NaN is as good as NaN here, or a style that holds it would be equal to no other: also not to one that was
/// made in the same way.
template <typename Fields>
bool areEqual(const Fields& a, const Fields& b) {
    if (a == b) {
        return true;
    }
    constexpr std::array<float Fields::*, 8> unbounded{
        &Fields::lineWidth,     &Fields::pointSize,           &Fields::selectedLineWidth,
        &Fields::labelFontSize, &Fields::labelHaloWidth,      &Fields::labelOffsetX,
        &Fields::labelOffsetY,  &Fields::labelRotationDegrees};
    const auto isNone = [&](float Fields::*size) { return std::isnan(a.*size) && std::isnan(b.*size); };
    if (std::none_of(unbounded.begin(), unbounded.end(), isNone)) {
        return false;
    }
    Fields first = a;
    Fields second = b;
    for (float Fields::*const size : unbounded) {
        if (isNone(size)) {
            first.*size = second.*size = 0.0F;
        }
    }
    return first == second;
}

} // namespace

// Every new style starts as a copy of one, so that making a default style allocates nothing.
GisLayerStyle::GisLayerStyle() {
    static const QSharedDataPointer<Data> defaults(new Data);
    m_data = defaults;
}

bool GisLayerStyle::operator==(const GisLayerStyle& other) const {
    return m_data == other.m_data || areEqual(m_data->fields, other.m_data->fields);
}

void GisLayerStyle::tellOwner() noexcept {
    m_owner->markLookChanged();
}

void GisLayerStyle::tellOwnerSince(const Shared& before) noexcept {
    if (m_data != before && !areEqual(m_data->fields, before->fields)) {
        tellOwner();
    }
}

void GisLayerStyle::setLabelMinVisibleScale(double value) {
    set(&Fields::labelMinVisibleScale, Internal::scaleBound(value));
}

void GisLayerStyle::setLabelMaxVisibleScale(double value) {
    set(&Fields::labelMaxVisibleScale, Internal::scaleBound(value));
}

void GisLayerStyle::setLabelObstacleWeight(double value) {
    set(&Fields::labelObstacleWeight, value > 0.0 ? value : 0.0);
}

void GisLayerStyle::setLabelRepeatDistance(double value) {
    set(&Fields::labelRepeatDistance, value > 0.0 ? value : 0.0);
}

void GisLayerStyle::setLabelMaxCandidatesPerFeature(int value) {
    set(&Fields::labelMaxCandidatesPerFeature, std::clamp(value, 1, 16));
}

void GisLayerStyle::setLineDashes(const QList<double>& value) {
    constexpr qsizetype most = 32;
    QList<double> dashes = value.first(std::min(value.size(), most));
    for (double& dash : dashes) {
        dash = dash > 0.0 ? std::min(dash, static_cast<double>(largestSize)) : 0.0;
    }
    set(&Fields::lineDashes, dashes);
}

void GisLayerStyle::setLineDashOffset(float value) {
    set(&Fields::lineDashOffset, std::isnan(value) ? 0.0F : std::clamp(value, -largestSize, largestSize));
}

void GisLayerStyle::setCasingWidth(float value) {
    set(&Fields::casingWidth, boundedSize(value));
}

void GisLayerStyle::setPatternAngle(float value) {
    set(&Fields::patternAngle, boundedAngle(value));
}

void GisLayerStyle::setPatternSpacing(float value) {
    set(&Fields::patternSpacing, boundedSize(value, 1.0F));
}

void GisLayerStyle::setPatternWidth(float value) {
    set(&Fields::patternWidth, boundedSize(value));
}

void GisLayerStyle::setMarkerRotation(float value) {
    set(&Fields::markerRotation, boundedAngle(value));
}

void GisLayerStyle::setHaloWidth(float value) {
    set(&Fields::haloWidth, boundedSize(value));
}

void GisLayerStyle::setSizeFromValue(double value) {
    set(&Fields::sizeFromValue, std::isfinite(value) ? value : 0.0);
}

void GisLayerStyle::setSizeToValue(double value) {
    set(&Fields::sizeToValue, std::isfinite(value) ? value : 0.0);
}

void GisLayerStyle::setSizeFrom(float value) {
    set(&Fields::sizeFrom, boundedSize(value));
}

void GisLayerStyle::setSizeTo(float value) {
    set(&Fields::sizeTo, boundedSize(value));
}

} // namespace Cartolith::Core::Layers
