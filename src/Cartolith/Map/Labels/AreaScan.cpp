#include <Cartolith/Map/Labels/AreaScanInternal.h>

#include <algorithm>
#include <cmath>

namespace Cartolith::Map::Labels::Internal {

Scan::Scan(const std::vector<QPointF>& points, const std::vector<std::size_t>& starts, double origin,
           double step, double least, double greatest)
    : m_first(static_cast<qint64>(std::ceil((least - origin) / step))),
      m_crossings(static_cast<std::size_t>(
          std::max<qint64>(0, static_cast<qint64>(std::floor((greatest - origin) / step)) - m_first + 1))) {
    for (std::size_t ring = 0; ring + 1 < starts.size(); ++ring) {
        for (std::size_t i = starts[ring]; i < starts[ring + 1]; ++i) {
            const QPointF a = points[i];
            const QPointF b = points[i + 1 < starts[ring + 1] ? i + 1 : starts[ring]];
            const double low = std::max(std::min(a.y(), b.y()), least - step);
            const double high = std::min(std::max(a.y(), b.y()), greatest + step);
            // Half open, so that a vertex on a line counts once.
            for (auto k = static_cast<qint64>(std::ceil((low - origin) / step));
                 lineAt(k, origin, step) < high; ++k) {
                if (k >= m_first && k < m_first + count()) {
                    const double y = lineAt(k, origin, step);
                    m_crossings[static_cast<std::size_t>(k - m_first)].push_back(
                        a.x() + (b.x() - a.x()) * ((y - a.y()) / (b.y() - a.y())));
                }
            }
        }
    }
    for (auto& line : m_crossings) {
        std::sort(line.begin(), line.end());
    }
}

std::optional<Span> Scan::spanAround(qint64 k, double x) const {
    const auto line = crossings(k);
    for (std::size_t i = 0; i + 1 < line.size(); i += 2) {
        if (line[i] <= x && x <= line[i + 1]) {
            return Span{line[i], line[i + 1]};
        }
    }
    return std::nullopt;
}

} // namespace Cartolith::Map::Labels::Internal
