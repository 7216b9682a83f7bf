#pragma once

#include <Cartolith/Map/Drawing/WatchInternal.h>

#include <QPointF>
#include <QRect>

#include <cstdint>
#include <vector>

namespace Cartolith::Map::Raster::Internal {

/// What is inside: what is in an odd number of rings, or where their weights do not add up to nothing.
enum class Inside { Odd, NotZero };

/// The share of each pixel that lies inside outlines: every edge adds what it has to its right, pixel by
/// pixel, and a sum along each row makes the areas of it. (The accumulation buffer of font rasterisers; here
/// with shares that do not depend on the order of the edges but for the last bits of a float.)
class Coverage {
public:
    Coverage(int width, int height, Inside rule = Inside::Odd);

    /// Begins a shape in the box of those pixels, cut to the canvas; false when nothing of it is there.
    bool begin(double left, double top, double right, double bottom);
    /// The edges of a ring; with weight -1 what it encloses counts as often less.
    void add(const std::vector<QPointF>& ring, float weight, const Map::Internal::Watch& watch = {});

    /// Calls function(row, firstColumn, shares, count) for each row that was touched, shares from 0 to 255,
    /// and is ready for the next shape.
    template <typename Function>
    void end(Function function) {
        for (int row = 0; row < m_box.height(); ++row) {
            const int count = sumRow(row);
            if (count > 0) {
                function(m_box.top() + row, m_box.left(), m_shares.data(), count);
            }
        }
    }

private:
    void addEdge(QPointF a, QPointF b, float weight);
    void addPiece(double x0, double y0, double x1, double y1, float weight);
    int sumRow(int row);

    int m_width, m_height;
    Inside m_rule;
    QRect m_box;
    std::size_t m_stride = 0;
    std::vector<float> m_sums;
    std::vector<std::uint8_t> m_shares;
};

} // namespace Cartolith::Map::Raster::Internal
