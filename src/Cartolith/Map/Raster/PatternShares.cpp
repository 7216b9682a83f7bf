#include <Cartolith/Map/Raster/PatternSharesInternal.h>

#include <numbers>

namespace Cartolith::Map::Raster::Internal {

PatternShares::PatternShares(const Pattern& pattern, QPointF origin)
    : m_kind(pattern.kind), m_cosine(std::cos(pattern.angle * std::numbers::pi / 180.0)),
      m_sine(std::sin(pattern.angle * std::numbers::pi / 180.0)),
      m_spacing(std::clamp(pattern.spacing, 1.0, 1e5)), m_reach(std::max(pattern.width, 1.0) * 0.5 + 0.5),
      m_thin(std::min(pattern.width, 1.0)) {
    const auto phase = [this](double distance) {
        const double part = std::fmod(distance, m_spacing) / m_spacing;
        return std::isfinite(part) ? part : 0.0;
    };
    m_acrossPhase = phase(origin.y() * m_cosine - origin.x() * m_sine);
    m_alongPhase = phase(origin.x() * m_cosine + origin.y() * m_sine);
}

} // namespace Cartolith::Map::Raster::Internal
