#include <Cartolith/Core/Layers/GisLayer.h>
#include <Cartolith/Core/Layers/GisLayerStyle.h>
#include <Cartolith/Core/Layers/ScaleBoundInternal.h>

#include <algorithm>

namespace Cartolith::Core::Layers {

// Every new style starts as a copy of one, so that making a default style allocates nothing.
GisLayerStyle::GisLayerStyle() {
    static const QSharedDataPointer<Data> defaults(new Data);
    m_data = defaults;
}

bool GisLayerStyle::operator==(const GisLayerStyle& other) const {
    return m_data == other.m_data || m_data->fields == other.m_data->fields;
}

void GisLayerStyle::tellOwner() noexcept {
    m_owner->markLookChanged();
}

void GisLayerStyle::tellOwnerSince(const Shared& before) noexcept {
    if (m_data != before && !(m_data->fields == before->fields)) {
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

} // namespace Cartolith::Core::Layers
