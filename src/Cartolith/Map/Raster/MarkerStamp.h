#pragma once

#include <Cartolith/Map/Export.h>

#include <QColor>
#include <QImage>
#include <QList>
#include <QPointF>

#include <functional>
#include <optional>

namespace Cartolith::Map::Raster {

/// A marker, round or as somebody draws it, drawn once for places between the pixels (a quarter apart; of
/// larger ones half a pixel or a whole one, which is seen less and would take as much memory), to be set on a
/// Canvas many times. Immutable; may be used by several canvases and threads. It takes 2 MB at the most up to
/// 700 pixels, and 16 MB at the largest.
class CARTOLITH_MAP_EXPORT MarkerStamp {
public:
    /// Sizes in pixels, of the circle and of its outline, which lies half outside; what is not greater than 0
    /// is not drawn, sizes above 1,000 count as that.
    MarkerStamp(double diameter, QColor color, double outlineWidth, QColor outlineColor);

    /// Any other marker, which reaches so many pixels from its place (up to 1,000). `draw` is called for each
    /// place between the pixels, with a transparent premultiplied picture and the place on it.
    /// `only`, in steps right of and below a pixel's corner, has one of these pictures drawn, which is then
    /// taken for all places: for a marker that is used a few times.
    MarkerStamp(double reach, const std::function<void(QImage& picture, QPointF place)>& draw,
                std::optional<QPoint> only = std::nullopt);

    static constexpr int steps = 4; ///< places between two pixels, to each side

    /// To both sides.
    int side() const { return m_side; }
    /// How far left of and above the pixel that holds the place the stamp begins.
    int reach() const { return m_reach; }
    /// Rows of premultiplied pixels for a place so many steps right of and below the pixel's corner.
    const QRgb* pixels(int stepX, int stepY) const {
        const int number = (stepY * m_drawn / steps) * m_drawn + stepX * m_drawn / steps;
        return m_pixels.constData() + static_cast<qsizetype>(number) * m_side * m_side;
    }
    /// Of a row of such pixels those that are not transparent, and among them those that are opaque.
    struct Run {
        quint16 from, to;
        quint16 opaqueFrom, opaqueTo;
    };
    /// The row's in the same picture as the pixels.
    const Run& run(const QRgb* pixels, int row) const {
        return m_runs[(pixels - m_pixels.constData()) / m_side + row];
    }
    qsizetype bytes() const { return m_pixels.size() * qsizetype{sizeof(QRgb)}; }

private:
    void setReach(double reach);
    void findRuns();

    int m_side = 0;
    int m_reach = 0;
    int m_drawn = steps; // of the places between two pixels
    QList<QRgb> m_pixels;
    QList<Run> m_runs; // of all rows
};

} // namespace Cartolith::Map::Raster
