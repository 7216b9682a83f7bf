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

void GisLayerStyle::setLabelMinVisibleScale(double value) {
    m_data->fields.labelMinVisibleScale = Internal::scaleBound(value);
}

void GisLayerStyle::setLabelMaxVisibleScale(double value) {
    m_data->fields.labelMaxVisibleScale = Internal::scaleBound(value);
}

void GisLayerStyle::setLabelObstacleWeight(double value) {
    m_data->fields.labelObstacleWeight = value > 0.0 ? value : 0.0;
}

void GisLayerStyle::setLabelRepeatDistance(double value) {
    m_data->fields.labelRepeatDistance = value > 0.0 ? value : 0.0;
}

void GisLayerStyle::setLabelMaxCandidatesPerFeature(int value) {
    m_data->fields.labelMaxCandidatesPerFeature = std::clamp(value, 1, 16);
}

} // namespace Cartolith::Core::Layers
