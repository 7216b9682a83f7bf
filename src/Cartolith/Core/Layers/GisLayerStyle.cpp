#include <Cartolith/Core/Layers/GisLayerStyle.h>
#include <Cartolith/Core/Layers/ScaleBoundInternal.h>

#include <algorithm>

namespace Cartolith::Core::Layers {

void GisLayerStyle::setLabelMinVisibleScale(double value) noexcept {
    m_labelMinVisibleScale = Internal::scaleBound(value);
}

void GisLayerStyle::setLabelMaxVisibleScale(double value) noexcept {
    m_labelMaxVisibleScale = Internal::scaleBound(value);
}

void GisLayerStyle::setLabelObstacleWeight(double value) noexcept {
    m_labelObstacleWeight = value > 0.0 ? value : 0.0;
}

void GisLayerStyle::setLabelRepeatDistance(double value) noexcept {
    m_labelRepeatDistance = value > 0.0 ? value : 0.0;
}

void GisLayerStyle::setLabelMaxCandidatesPerFeature(int value) noexcept {
    m_labelMaxCandidatesPerFeature = std::clamp(value, 1, 16);
}

} // namespace Cartolith::Core::Layers
