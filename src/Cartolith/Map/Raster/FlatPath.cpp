#include <Cartolith/Map/Raster/FlatPathInternal.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Cartolith::Map::Raster::Internal {

FlatPath::FlatPath(const MapView& view) : m_view(view), m_corner(view.pictureFrame().topLeft()) {}

bool FlatPath::read(std::span<const double> coordinates, bool isClosed) {
    m_points.clear();
    m_left = m_top = std::numeric_limits<double>::infinity();
    m_right = m_bottom = -m_left;
    for (std::size_t i = 0; i + 1 < coordinates.size(); i += 2) {
        const QPointF p = m_view.toPixel(coordinates[i], coordinates[i + 1]) - m_corner;
        m_left = std::min(m_left, p.x());
        m_right = std::max(m_right, p.x());
        m_top = std::min(m_top, p.y());
        m_bottom = std::max(m_bottom, p.y());
        if (!std::isfinite(p.x()) || !std::isfinite(p.y())) {
            return false;
        }
        if (m_points.empty() || m_points.back() != p) {
            m_points.push_back(p);
        }
    }
    // More vertices than pixels in a walk around the box: most of them share theirs with others.
    const double pixels = 2.0 * (m_right - m_left + m_bottom - m_top) + 4.0;
    if (static_cast<double>(m_points.size()) > pixels) {
        constexpr double nearer = 0.5;
        std::size_t kept = 1;
        for (std::size_t i = 1; i < m_points.size(); ++i) {
            const QPointF step = m_points[i] - m_points[kept - 1];
            if (i + 1 == m_points.size() || std::abs(step.x()) >= nearer || std::abs(step.y()) >= nearer) {
                m_points[kept++] = m_points[i];
            }
        }
        m_points.resize(kept);
    }
    if (isClosed && m_points.size() > 1 && m_points.front() == m_points.back()) {
        m_points.pop_back();
    }
    return !m_points.empty();
}

} // namespace Cartolith::Map::Raster::Internal
