#include <Cartolith/Map/Raster/FlatPathInternal.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace Cartolith::Map::Raster::Internal {

namespace {

constexpr double farthest = 1e12; // pixels; beyond, doubles are too coarse to cut edges at the canvas

} // namespace

FlatPath::FlatPath(const MapView& view)
    : m_center(view.center()), m_middle(view.frame().center() - view.pictureFrame().topLeft()) {
    // A step to the right on the map; a product is quicker than MapView's quotient.
    const double radians = view.rotation() * std::numbers::pi / 180.0;
    m_cosine = std::cos(radians) / view.unitsPerPixel();
    m_sine = view.rotation() == 0.0 ? 0.0 : std::sin(radians) / view.unitsPerPixel();
}

bool FlatPath::read(std::span<const double> coordinates, bool isClosed, const Map::Internal::Watch& watch) {
    m_points.clear();
    m_points.reserve(coordinates.size() / 2);
    m_left = m_top = std::numeric_limits<double>::infinity();
    m_right = m_bottom = -m_left;
    for (std::size_t i = 0; i + 1 < coordinates.size(); i += 2) {
        watch.every(std::size_t{1} << 16, i / 2);
        const double right = coordinates[i] - m_center.x();
        const double up = coordinates[i + 1] - m_center.y();
        const QPointF p(m_middle.x() + (right * m_cosine + up * m_sine),
                        m_middle.y() - (up * m_cosine - right * m_sine));
        m_left = std::min(m_left, p.x());
        m_right = std::max(m_right, p.x());
        m_top = std::min(m_top, p.y());
        m_bottom = std::max(m_bottom, p.y());
        if (!(std::abs(p.x()) < farthest && std::abs(p.y()) < farthest)) {
            return false;
        }
        // Not by QPointF, which asks for a share of the numbers: a vertex this near has no direction to go
        // on.
        constexpr double same = 1e-9;
        if (m_points.empty() || std::abs(m_points.back().x() - p.x()) > same ||
            std::abs(m_points.back().y() - p.y()) > same) {
            m_points.push_back(p);
        }
    }
    if (m_points.empty()) {
        return false;
    }
    // More vertices than pixels from side to side: most of them share theirs with others.
    const double pixels = (isClosed ? 2.0 : 1.0) * (m_right - m_left + m_bottom - m_top) + 2.0;
    if (static_cast<double>(m_points.size()) > pixels) {
        constexpr double nearer = 0.5;
        std::size_t kept = 1;
        for (std::size_t i = 1; i < m_points.size(); ++i) {
            watch.every(std::size_t{1} << 16, i);
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
    return true;
}

} // namespace Cartolith::Map::Raster::Internal
