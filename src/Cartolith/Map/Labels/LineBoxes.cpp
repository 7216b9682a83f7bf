#include <Cartolith/Map/Labels/LineBoxesInternal.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace Cartolith::Map::Labels::Internal {

namespace {

constexpr std::size_t together = 8; // segments in a box, boxes in a larger one

double distanceToSegment(QPointF place, QPointF a, QPointF b) {
    const QPointF way = b - a;
    const QPointF from = place - a;
    const double squared = QPointF::dotProduct(way, way);
    const double t = squared > 0.0 ? std::clamp(QPointF::dotProduct(from, way) / squared, 0.0, 1.0) : 0.0;
    const QPointF apart = from - way * t;
    return std::hypot(apart.x(), apart.y());
}

} // namespace

LineBoxes::LineBoxes(std::span<const double> coordinates) : m_coordinates(coordinates) {
    constexpr double all = std::numeric_limits<double>::infinity();
    constexpr Box nowhere{all, all, -all, -all}; // which NaN does not change
    const auto joined = [](const Box& a, const Box& b) {
        return Box{std::min(a.left, b.left), std::min(a.bottom, b.bottom), std::max(a.right, b.right),
                   std::max(a.top, b.top)};
    };
    const std::size_t vertices = coordinates.size() / 2;
    std::vector<Box> boxes;
    for (std::size_t first = 0; first + 1 < vertices; first += together) {
        Box box = nowhere;
        for (std::size_t i = first; i <= std::min(first + together, vertices - 1); ++i) {
            const double x = coordinates[2 * i];
            const double y = coordinates[2 * i + 1];
            box = joined(box, {x, y, x, y});
        }
        boxes.push_back(box);
    }
    while (boxes.size() > 1) {
        std::vector<Box> larger;
        for (std::size_t first = 0; first < boxes.size(); first += together) {
            Box box = nowhere;
            for (std::size_t i = first; i < std::min(first + together, boxes.size()); ++i) {
                box = joined(box, boxes[i]);
            }
            larger.push_back(box);
        }
        m_levels.push_back(std::move(boxes));
        boxes = std::move(larger);
    }
    m_levels.push_back(std::move(boxes));
}

bool LineBoxes::comesWithin(double distance, QPointF place) const {
    return !m_levels.back().empty() && comesWithin(distance, place, m_levels.size() - 1, 0);
}

bool LineBoxes::comesWithin(double distance, QPointF place, std::size_t level, std::size_t box) const {
    const Box& around = m_levels[level][box];
    if (!(place.x() >= around.left - distance && place.x() <= around.right + distance &&
          place.y() >= around.bottom - distance && place.y() <= around.top + distance)) {
        return false;
    }
    const std::size_t below = level > 0 ? m_levels[level - 1].size() : m_coordinates.size() / 2 - 1;
    const auto at = [this](std::size_t i) { return QPointF(m_coordinates[2 * i], m_coordinates[2 * i + 1]); };
    for (std::size_t i = box * together; i < std::min((box + 1) * together, below); ++i) {
        if (level > 0 ? comesWithin(distance, place, level - 1, i)
                      : distanceToSegment(place, at(i), at(i + 1)) < distance) {
            return true;
        }
    }
    return false;
}

} // namespace Cartolith::Map::Labels::Internal
