#pragma once

#include <QPointF>

#include <optional>
#include <span>
#include <vector>

namespace Cartolith::Map::Labels::Internal {

struct Span {
    double from, to;
};

/// Where lines of constant y, `step` apart, run inside rings; by the number of crossings, so whatever the way
/// the rings are wound.
class Scan {
public:
    /// Only the lines between two y are wanted; line 0 is at `origin`.
    Scan(const std::vector<QPointF>& points, const std::vector<std::size_t>& starts, double origin,
         double step, double least, double greatest);

    qint64 first() const { return m_first; }
    qint64 count() const { return static_cast<qint64>(m_crossings.size()); }
    std::span<const double> crossings(qint64 k) const {
        return k >= m_first && k < m_first + count()
                   ? std::span(m_crossings[static_cast<std::size_t>(k - m_first)])
                   : std::span<const double>();
    }
    /// What is inside on the line around x.
    std::optional<Span> spanAround(qint64 k, double x) const;

private:
    static double lineAt(qint64 k, double origin, double step) {
        return origin + static_cast<double>(k) * step;
    }

    qint64 m_first;
    std::vector<std::vector<double>> m_crossings;
};

} // namespace Cartolith::Map::Labels::Internal
