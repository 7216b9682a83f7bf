#pragma once

#include <QPointF>

#include <span>
#include <vector>

namespace Cartolith::Map::Labels::Internal {

/// A line with boxes around its stretches, and boxes around these, to ask quickly how near it comes.
class LineBoxes {
public:
    /// x and y in turn, which outlive this object.
    explicit LineBoxes(std::span<const double> coordinates);

    bool comesWithin(double distance, QPointF place) const;

private:
    struct Box {
        double left, bottom, right, top;
    };
    bool comesWithin(double distance, QPointF place, std::size_t level, std::size_t box) const;

    std::span<const double> m_coordinates;
    std::vector<std::vector<Box>> m_levels; // from the smallest boxes to the one around all
};

} // namespace Cartolith::Map::Labels::Internal
