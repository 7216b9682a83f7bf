#include <Cartolith/Map/Labels/LabelObstaclesInternal.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Cartolith::Map::Labels::Internal {

void LabelObstacles::add(const Obstacle& piece, int area) {
    const double width = piece.half.width();
    const double height = piece.half.height();
    const QRectF box = QRectF(piece.from, piece.to).normalized().adjusted(-width, -height, width, height);
    if (!(box.left() < m_frame.right() && box.right() > m_frame.left() && box.top() < m_frame.bottom() &&
          box.bottom() > m_frame.top())) {
        return; // no label is there
    }
    const auto number = static_cast<int>(m_pieces.size());
    m_pieces.push_back(piece);
    m_met.resize(std::max(m_met.size(), static_cast<std::size_t>(piece.whole) + 1), m_question);
    m_heaviest = std::max(m_heaviest, piece.weight);
    if (piece.from == piece.to) {
        m_grid.forEachCell(piece.from.x(), piece.from.y(), width, height, [&](auto& cell) {
            cell.entries.push_back({piece.from.x() - width, piece.from.y() - height, piece.from.x() + width,
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
            cell.entries.push_back(entry);
            if (area != noArea && (cell.areas.empty() || cell.areas.back() != area)) {
                cell.areas.push_back(area);
            }
            return true;
        });
    }
}

void LabelObstacles::addArea(const Rings& rings, double width, double weight, qsizetype owner, int whole,
                             const Map::Internal::Watch& watch) {
    double top = INFINITY;
    double bottom = -INFINITY;
    double left = INFINITY;
    double right = -INFINITY;
    for (const QPointF p : rings.points) {
        left = std::min(left, p.x());
        right = std::max(right, p.x());
        top = std::min(top, p.y());
        bottom = std::max(bottom, p.y());
    }
    constexpr double small = 4.0; // pixels: as the box around it
    if (right - left < small && bottom - top < small) {
        const QPointF middle((left + right) * 0.5, (top + bottom) * 0.5);
        add({middle, middle, QSizeF(right - left + width, bottom - top + width) * 0.5, weight, owner, whole});
        return;
    }
    const auto number = static_cast<int>(m_areas.size());
    m_met.resize(std::max(m_met.size(), static_cast<std::size_t>(whole) + 1), m_question);
    for (std::size_t ring = 0; ring + 1 < rings.starts.size(); ++ring) {
        for (std::size_t i = rings.starts[ring]; i < rings.starts[ring + 1]; ++i) {
            watch.every(std::size_t{4096}, i);
            const QPointF a = rings.points[i];
            const QPointF b = rings.points[i + 1 < rings.starts[ring + 1] ? i + 1 : rings.starts[ring]];
            if (a != b) {
                add({a, b, {width * 0.5, width * 0.5}, weight, owner, whole}, number);
            }
        }
    }
    m_areas.push_back({Scan(rings.points, rings.starts, m_frame.top(), cellSide, std::max(top, m_frame.top()),
                            std::min(bottom, m_frame.bottom())),
                       weight, owner, whole});
    m_heaviest = std::max(m_heaviest, weight);
    // Cells without an edge are inside where their upper left corner is.
    const Scan& rows = m_areas.back().rows;
    for (qint64 k = rows.first(); k < rows.first() + rows.count(); ++k) {
        const int row = static_cast<int>(std::min<qint64>(k, m_grid.lastRow()));
        const auto crossings = rows.crossings(k);
        for (std::size_t i = 0; i + 1 < crossings.size(); i += 2) {
            watch.every(std::size_t{64}, i);
            const auto columnAt = [&](double x) {
                const double place = (x - m_frame.left()) / cellSide;
                return std::clamp(place, -1.0, static_cast<double>(m_grid.lastColumn()));
            };
            const int to = static_cast<int>(std::floor(columnAt(crossings[i + 1])));
            for (int column = std::max(0, static_cast<int>(std::ceil(columnAt(crossings[i])))); column <= to;
                 ++column) {
                Cell& cell = m_grid.at(row, column);
                if (cell.areas.empty() || cell.areas.back() != number) {
                    cell.areas.push_back(number);
                }
            }
        }
    }
}

bool LabelObstacles::isInside(const Area& area, QPointF place) {
    const int row = m_grid.rowOf(place.y());
    const auto crossings = area.rows.crossings(row);
    auto count = std::upper_bound(crossings.begin(), crossings.end(), place.x()) - crossings.begin();
    // Down from the upper end of the cell.
    const double top = m_frame.top() + row * cellSide;
    int last = -1; // an edge may be there in several parts, one after the other
    for (const Entry& entry : m_grid.at(row, m_grid.columnOf(place.x())).entries) {
        const Obstacle& piece = m_pieces[static_cast<std::size_t>(entry.piece)];
        if (piece.whole != area.whole || entry.piece == last) {
            continue;
        }
        last = entry.piece;
        const QPointF a = piece.from.x() < piece.to.x() ? piece.from : piece.to;
        const QPointF b = piece.from.x() < piece.to.x() ? piece.to : piece.from;
        if (a.x() <= place.x() && place.x() < b.x()) {
            const double y = a.y() + (b.y() - a.y()) * ((place.x() - a.x()) / (b.x() - a.x()));
            count += y > top && y <= place.y() ? 1 : 0;
        }
    }
    return count % 2 != 0;
}

double LabelObstacles::crossedBy(std::span<const Box> boxes, qsizetype label, double strength, bool avoids) {
    double crossed = 0.0;
    ++m_question;
    const auto isOpen = [&](double weight, qsizetype owner, int whole) {
        return owner != label && (avoids || std::isinf(weight)) &&
               m_met[static_cast<std::size_t>(whole)] != m_question;
    };
    const auto meet = [&](double weight, int whole) {
        m_met[static_cast<std::size_t>(whole)] = m_question;
        crossed += weight > strength ? std::numeric_limits<double>::infinity() : weight;
    };
    for (const Box& box : boxes) {
        const bool isStraight = box.sine == 0.0;
        const double left = box.x - box.reachX();
        const double right = box.x + box.reachX();
        const double top = box.y - box.reachY();
        const double bottom = box.y + box.reachY();
        m_grid.forEachCell(box, [&](const Cell& cell) {
            for (const Entry& entry : cell.entries) {
                if (entry.left >= right || entry.right <= left || entry.top >= bottom ||
                    entry.bottom <= top) {
                    continue;
                }
                const Obstacle& piece = m_pieces[static_cast<std::size_t>(entry.piece)];
                if (!isOpen(piece.weight, piece.owner, piece.whole)) {
                    continue;
                }
                const bool isSymbol = piece.from == piece.to;
                const bool isBelow =
                    isSymbol ? isStraight || overlap(box, {piece.from.x(), piece.from.y(), piece.half.width(),
                                                           piece.half.height()})
                             : crosses(box, piece.from, piece.to, piece.half.width());
                if (isBelow) {
                    meet(piece.weight, piece.whole);
                }
            }
            return std::isfinite(crossed);
        });
        if (m_areas.empty() || std::isinf(crossed)) {
            continue;
        }
        // No edge is below it, so it is inside where its middle is.
        for (const int number : m_grid.at(m_grid.rowOf(box.y), m_grid.columnOf(box.x)).areas) {
            const Area& area = m_areas[static_cast<std::size_t>(number)];
            if (isOpen(area.weight, area.owner, area.whole) && isInside(area, {box.x, box.y})) {
                meet(area.weight, area.whole);
            }
        }
    }
    return crossed;
}

} // namespace Cartolith::Map::Labels::Internal
