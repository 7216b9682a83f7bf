#pragma once

#include <Cartolith/Core/Shapes/GisExtent.h>
#include <Cartolith/Map/Export.h>

#include <QPointF>
#include <QRectF>

namespace Cartolith::Map {

class GroundScale;

/// Where a map lies on a picture or in a window: its centre, its scale (one for both axes), its rotation. A
/// small value: what moves it gives a new one, so a drawing keeps the view that it was begun with.
///
/// Pixels are those of the device, y downwards, and need not begin at 0: the map may be a part of a sheet.
/// Map units are those of the map's coordinate system, y upwards. Nothing throws; a view that cannot be used
/// (an empty or NaN extent, a frame without size) says so, answers NaN, and stays so until it is fitted to an
/// extent.
class CARTOLITH_MAP_EXPORT MapView {
public:
    /// Not usable.
    MapView() = default;
    /// Shows all of the extent inside the frame (pixels), unrotated; what is left of the frame beside it
    /// shows more of the map. A single place (up to 1e-8 units wide) is shown in the middle of one unit.
    MapView(const Core::Shapes::GisExtent& extent, const QRectF& frame);

    /// False when no scale can be computed: see above, and where coordinates are so large that the places of
    /// two neighbouring pixels cannot be told apart; also for a frame that reaches 1e9 pixels from 0.
    bool isUsable() const;

    const QRectF& frame() const { return m_frame; }
    double unitsPerPixel() const { return m_unitsPerPixel; }
    /// In map units.
    QPointF center() const { return {m_centerX, m_centerY}; }
    /// How far the map is turned clockwise, in degrees, from -180 to below 180.
    double rotation() const { return m_rotation; }
    /// Pixels of the device for each pixel that sizes in styles mean; 1 unless set.
    double devicePixelRatio() const { return m_devicePixelRatio; }
    /// Pixels of the device in 25.4 mm: 96 for each of devicePixelRatio(), unless set.
    double dotsPerInch() const;

    QPointF toPixel(double x, double y) const {
        const double right = (x - m_centerX) / m_unitsPerPixel;
        const double up = (y - m_centerY) / m_unitsPerPixel;
        const QPointF middle = m_frame.center();
        return {middle.x() + (right * m_cosine + up * m_sine), middle.y() - (up * m_cosine - right * m_sine)};
    }
    QPointF toPixel(QPointF place) const { return toPixel(place.x(), place.y()); }
    QPointF toMap(QPointF pixel) const;

    /// Pixels from the origin of the map's coordinates: toPixel() but for a shift, and therefore the same to
    /// the bit in every view of this scale and rotation. What is computed from these moves with the map.
    QPointF fromOrigin(double x, double y) const {
        return {(x * m_cosine + y * m_sine) / m_unitsPerPixel,
                -((y * m_cosine - x * m_sine) / m_unitsPerPixel)};
    }
    /// What is to be added to fromOrigin() for a pixel of this view.
    QPointF originPixel() const { return m_frame.center() - fromOrigin(m_centerX, m_centerY); }

    /// The box around what the whole frame shows, in map units: more than that when the map is rotated.
    Core::Shapes::GisExtent visibleExtent() const { return extentOf(m_frame); }

    /// The whole pixels that the frame touches, for a layer that is a picture itself.
    QRect pictureFrame() const { return m_frame.toAlignedRect(); }
    /// The box around what they show, in map units.
    Core::Shapes::GisExtent pictureExtent() const { return extentOf(pictureFrame()); }

    /// The centre's scale is 1 to this: what a pixel is on the ground there, over what it is on the device.
    /// NaN when there is none.
    double scaleDenominator(const GroundScale& ground) const;
    /// The same centre at such a scale; unchanged for a scale that is not greater than 0.
    MapView atScale(double denominator, const GroundScale& ground) const;

    /// Above 1 shows less of the map, larger. The place under the anchor (a pixel) stays there. Unchanged for
    /// a factor that is not greater than 0 or leads to a view that cannot be used.
    MapView zoomed(double factor, QPointF anchor) const;
    /// As if the map were dragged by that many pixels.
    MapView panned(QPointF pixels) const;
    /// With the place (map units) under a pixel.
    MapView withPlaceAt(QPointF place, QPointF pixel) const;
    /// Turned further, clockwise, about a pixel.
    MapView rotated(double degrees, QPointF anchor) const;
    /// The same centre, scale and rotation in another frame.
    MapView inFrame(const QRectF& frame) const;
    /// The whole extent, with a margin on each side as a share of its size; the rotation stays. When the
    /// extent is empty the view cannot be used.
    MapView fitted(const Core::Shapes::GisExtent& extent, double margin = 0.0) const;
    /// The same places for a device with so many pixels for each; the frame is multiplied, too.
    MapView withDevicePixelRatio(double ratio) const;
    MapView withDotsPerInch(double dotsPerInch) const;

    friend bool operator==(const MapView&, const MapView&) = default;

private:
    Core::Shapes::GisExtent extentOf(const QRectF& pixels) const;
    QPointF toMapOffset(QPointF pixels) const;
    void setRotation(double degrees);

    QRectF m_frame;
    double m_centerX = qQNaN();
    double m_centerY = qQNaN();
    double m_unitsPerPixel = qQNaN();
    double m_rotation = 0.0;
    double m_cosine = 1.0;
    double m_sine = 0.0;
    double m_devicePixelRatio = 1.0;
    double m_dotsPerInch = 0.0; // not set
};

} // namespace Cartolith::Map
