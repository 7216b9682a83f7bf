#pragma once

#include <Cartolith/Map/Export.h>
#include <Cartolith/Map/MapView.h>
#include <Cartolith/Map/Raster/Fill.h>
#include <Cartolith/Map/Raster/Stroke.h>

#include <QImage>

#include <memory>
#include <span>

namespace Cartolith::Map::Raster {

class MarkerStamp;

/// A transparent picture on which the features of one layer are drawn, quicker than QPainter does and without
/// seams.
///
/// Fills: each pixel gets the exact share of it that the area covers. Neighbours whose shares add up to the
/// whole cover the pixel wholly: nothing of what is below shines through along their common outline. So it
/// takes a canvas of its own for each layer, which is then laid over the map.
///
/// Lines: a pixel's share is half the width plus a half, less the distance of its middle from the line, from
/// 0 to
/// 1. What one call draws is one shape: parts that meet or cross do not add up.
///
/// Coordinates are map units, x and y in turn. Vertices are passed over, to half a pixel, where there are
/// more of them than pixels that they could touch. A part with a coordinate that is not finite, or more than
/// 1e12 pixels away, is left out.
/// Work is linear in vertices and touched pixels, but quadratic in the rings of one area, also of those
/// beyond the canvas; the same calls give the same bytes. One canvas is used by one thread at a time;
/// different ones are independent.
class CARTOLITH_MAP_EXPORT Canvas {
public:
    /// Over all of the view's pictureFrame(). Without a usable view it has no size, and nothing is drawn.
    /// \throws std::bad_alloc when there is no memory for it
    explicit Canvas(const MapView& view);
    ~Canvas();
    Canvas(Canvas&& other) noexcept;
    Canvas& operator=(Canvas&& other) noexcept;

    /// ARGB32_Premultiplied; a shared copy, which what is drawn later does not change.
    QImage image() const;

    /// Rings one after the other, closed or not; `ringEnds` are the numbers of vertices up to the end of
    /// each. A ring in an odd number of others is a hole.
    void fill(std::span<const double> rings, std::span<const qsizetype> ringEnds, const Fill& fill);

    /// Lines, or the outlines of rings when they are closed.
    void stroke(std::span<const double> parts, std::span<const qsizetype> partEnds, const Stroke& stroke,
                bool areClosed = false);

    /// The fill and then the outline, which hides what has no size. For areas of less than a pixel, only one
    /// of the two is drawn.
    void area(std::span<const double> rings, std::span<const qsizetype> ringEnds, const Fill& fill,
              const Stroke& outline);

    /// The marker at each place.
    void markers(std::span<const double> places, const MarkerStamp& stamp);

private:
    class Private;
    std::unique_ptr<Private> d;
};

} // namespace Cartolith::Map::Raster
