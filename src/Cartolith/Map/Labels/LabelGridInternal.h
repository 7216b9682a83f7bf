#pragma once

#include <Cartolith/Map/Labels/LabelCandidatesInternal.h>

#include <QRectF>

#include <algorithm>
#include <vector>

namespace Cartolith::Map::Labels::Internal {

/// What lies where in a frame, in square cells.
template <typename Cell>
class LabelGrid {
public:
    explicit LabelGrid(const QRectF& frame, double cell)
        : m_left(frame.left()), m_top(frame.top()), m_perCell(1.0 / cell), m_columns(cells(frame.width())),
          m_rows(cells(frame.height())),
          m_cells(static_cast<std::size_t>(m_columns) * static_cast<std::size_t>(m_rows)) {}

    /// The cells that a box of the map, grown by a distance, reaches into; those at the edge also have what
    /// is beyond.
    template <typename Function>
    bool forEachCell(double x, double y, double reachX, double reachY, Function function) {
        return forEachCell(rangeOf(x, y, reachX, reachY), function);
    }
    template <typename Function>
    bool forEachCell(const Box& box, Function function) {
        return forEachCell(rangeOf(box), function);
    }

    /// Which cells those of a box are, for who asks often.
    struct Range {
        qint16 left, right, top, bottom;
    };
    Range rangeOf(double x, double y, double reachX, double reachY) const {
        return {static_cast<qint16>(index(x - reachX - m_left, m_columns)),
                static_cast<qint16>(index(x + reachX - m_left, m_columns)),
                static_cast<qint16>(index(y - reachY - m_top, m_rows)),
                static_cast<qint16>(index(y + reachY - m_top, m_rows))};
    }
    Range rangeOf(const Box& box) const { return rangeOf(box.x, box.y, box.reachX(), box.reachY()); }
    template <typename Function>
    bool forEachCell(const Range& range, Function function) {
        for (int row = range.top; row <= range.bottom; ++row) {
            for (int column = range.left; column <= range.right; ++column) {
                if (!function(at(row, column))) {
                    return false;
                }
            }
        }
        return true;
    }

    int rowOf(double y) const { return index(y - m_top, m_rows); }
    int columnOf(double x) const { return index(x - m_left, m_columns); }
    int lastRow() const { return m_rows - 1; }
    int lastColumn() const { return m_columns - 1; }
    Cell& at(int row, int column) {
        return m_cells[static_cast<std::size_t>(row) * static_cast<std::size_t>(m_columns) +
                       static_cast<std::size_t>(column)];
    }

private:
    static constexpr int most = 1000; // cells to a side

    int cells(double length) const {
        return static_cast<int>(std::clamp(std::ceil(length * m_perCell), 1.0, static_cast<double>(most)));
    }
    int index(double distance, int count) const {
        return static_cast<int>(std::clamp(distance * m_perCell, 0.0, static_cast<double>(count - 1)));
    }

    double m_left, m_top, m_perCell;
    int m_columns, m_rows;
    std::vector<Cell> m_cells;
};

} // namespace Cartolith::Map::Labels::Internal
