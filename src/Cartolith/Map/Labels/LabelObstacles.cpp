#include <Cartolith/Map/Labels/LabelObstaclesInternal.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Cartolith::Map::Labels::Internal {

void LabelObstacles::add(const Obstacle& piece) {
    const double width = piece.half.width();
    const double height = piece.half.height();
    const QRectF box = QRectF(piece.from, piece.to).normalized().adjusted(-width, -height, width, height);
    if (!(box.left() < m_frame.right() && box.right() > m_frame.left() && box.top() < m_frame.bottom() &&
          box.bottom() > m_frame.top())) {
        return; // no label is there
    }
    const auto number = static_cast<int>(m_pieces.size());
    m_pieces.push_back(piece);
    m_heaviest = std::max(m_heaviest, piece.weight);
    if (piece.from == piece.to) {
        m_grid.forEachCell(piece.from.x(), piece.from.y(), width, height, [&](auto& cell) {
            cell.push_back({piece.from.x() - width, piece.from.y() - height, piece.from.x() + width,
                            piece.from.y() + height, number});
            return true;
        });
        return;
    }
    // A long segment in pieces, no shorter than it is wide: the box of a diagonal is most of the picture.
    const double longest = std::max(64.0, width);
    const QPointF way = piece.to - piece.from;
    double first = 0.0;
    double last = 1.0;
    for (const auto& [from, step, low, high] :
         {std::tuple(piece.from.x(), way.x(), m_frame.left() - width, m_frame.right() + width),
          std::tuple(piece.from.y(), way.y(), m_frame.top() - height, m_frame.bottom() + height)}) {
        if (step != 0.0) {
            first = std::max(first, std::min((low - from) / step, (high - from) / step));
            last = std::min(last, std::max((low - from) / step, (high - from) / step));
        }
    }
    if (!(first <= last)) {
        return;
    }
    const int parts =
        static_cast<int>(std::max(std::abs(way.x()), std::abs(way.y())) * (last - first) / longest) + 1;
    for (int i = 0; i < parts; ++i) {
        const QPointF a = piece.from + way * (first + (last - first) * i / parts);
        const QPointF b = piece.from + way * (first + (last - first) * (i + 1) / parts);
        const QPointF middle = (a + b) * 0.5;
        const double reachX = std::abs(b.x() - a.x()) * 0.5 + width;
        const double reachY = std::abs(b.y() - a.y()) * 0.5 + height;
        const Entry entry{middle.x() - reachX, middle.y() - reachY, middle.x() + reachX, middle.y() + reachY,
                          number};
        m_grid.forEachCell(middle.x(), middle.y(), reachX, reachY, [&](auto& cell) {
            cell.push_back(entry);
            return true;
        });
    }
}

double LabelObstacles::crossedBy(std::span<const Box> boxes, qsizetype label, double strength) {
    double crossed = 0.0;
    m_met.clear();
    for (const Box& box : boxes) {
        const bool isStraight = box.sine == 0.0;
        const double left = box.x - box.reachX();
        const double right = box.x + box.reachX();
        const double top = box.y - box.reachY();
        const double bottom = box.y + box.reachY();
        m_grid.forEachCell(box, [&](const std::vector<Entry>& cell) {
            for (const Entry& entry : cell) {
                if (entry.left >= right || entry.right <= left || entry.top >= bottom ||
                    entry.bottom <= top) {
                    continue;
                }
                const Obstacle& piece = m_pieces[static_cast<std::size_t>(entry.piece)];
                const bool isSymbol = piece.from == piece.to;
                const bool isBelow =
                    isSymbol ? isStraight || overlap(box, {piece.from.x(), piece.from.y(), piece.half.width(),
                                                           piece.half.height()})
                             : crosses(box, piece.from, piece.to, piece.half.width());
                if (isBelow && piece.owner != label &&
                    std::find(m_met.cbegin(), m_met.cend(), piece.whole) == m_met.cend()) {
                    m_met.push_back(piece.whole);
                    crossed +=
                        piece.weight > strength ? std::numeric_limits<double>::infinity() : piece.weight;
                }
            }
            return std::isfinite(crossed);
        });
    }
    return crossed;
}

} // namespace Cartolith::Map::Labels::Internal
