#pragma once

#include <QPointF>

#include <cstdint>
#include <span>
#include <vector>

namespace Cartolith::Map::Raster::Internal {

/// Where a piece of a line ends: what is beyond is cut off, softly.
struct EndPlane {
    QPointF at;
    QPointF outward; ///< of length 1
};

/// The shares that a line has in the pixels, by their distance from it. Pieces of one line are joined by the
/// greatest share, so they may overlap.
class StrokeMask {
public:
    StrokeMask(int width, int height);

    /// All within a radius of the segment, which may be a point; cut by the planes.
    void addCapsule(QPointF a, QPointF b, double radius, std::span<const EndPlane> planes = {});
    /// The capsules around all segments of a line, or ring, of at least two vertices, at once: quicker where
    /// they are many in few pixels. False, and nothing is added, where they are not.
    bool addSmall(std::span<const QPointF> points, bool isClosed, double radius);
    /// All beside the line through the two, as far to each side; from end to end only the planes bound it,
    /// which have to be near these (`reach` is how far beyond them they let it).
    void addStrip(QPointF a, QPointF b, double radius, double reach, std::span<const EndPlane> planes);

    /// Cuts the segment to what comes nearer to the canvas than the margin; false when nothing does.
    bool cut(QPointF& a, QPointF& b, double margin) const;

    /// Calls function(row, firstColumn, shares, count) for each row that was touched; the function sets the
    /// shares to 0 when it has read them, so the mask is empty again.
    template <typename Function>
    void end(Function function) {
        for (int row = m_top; row < m_bottom; ++row) {
            Range& range = m_ranges[static_cast<std::size_t>(row)];
            if (range.from < range.to) {
                std::uint8_t* const shares = rowAt(row) + range.from;
                function(row, range.from, shares, range.to - range.from);
                range = {m_width, 0};
            }
        }
        m_top = m_height;
        m_bottom = 0;
    }

private:
    struct Range {
        int from, to;
    };
    struct Shape;
    /// Of addSmall(), in floats from the corner of its pixels.
    struct Piece {
        float x, y;           // where it begins
        float alongX, alongY; // its direction
        float length;
    };

    std::uint8_t* rowAt(int row) { return m_shares.data() + static_cast<std::size_t>(row) * m_stride; }
    template <bool isCapsule, bool hasPlanes>
    void add(const Shape& shape);

    int m_width, m_height;
    std::size_t m_stride;
    std::vector<std::uint8_t> m_shares;
    std::vector<Range> m_ranges; // of each row
    std::vector<Piece> m_pieces;
    int m_top;
    int m_bottom = 0;
};

} // namespace Cartolith::Map::Raster::Internal
