#pragma once

#include <Cartolith/Core/Shapes/GisExtent.h>

#include <QPointF>
#include <QRectF>

/// Where the map lies on the picture: one scale for both axes, the map extent centred in the frame, y
/// upwards.
class MapView {
public:
    /// Shows all of the extent (map units, not empty) inside the frame (pixels); what is left of the frame
    /// beside it shows more of the map. A single place is shown in the middle of one unit.
    MapView(const Cartolith::Core::Shapes::GisExtent& extent, const QRectF& frame);

    /// False when the extent is so large, or so far away, that no scale can be computed for it.
    bool isUsable() const;

    const QRectF& frame() const { return m_frame; }
    double unitsPerPixel() const { return m_unitsPerPixel; }

    QPointF toPixel(double x, double y) const {
        return {m_frame.center().x() + (x - m_centerX) / m_unitsPerPixel,
                m_frame.center().y() - (y - m_centerY) / m_unitsPerPixel};
    }

    /// What the whole frame shows, in map units.
    Cartolith::Core::Shapes::GisExtent visibleExtent() const;

    /// The whole pixels that the frame touches, for a layer that is a picture itself.
    QRect pictureFrame() const { return m_frame.toAlignedRect(); }
    /// What they show, in map units.
    Cartolith::Core::Shapes::GisExtent pictureExtent() const;

private:
    Cartolith::Core::Shapes::GisExtent extentOf(const QRectF& pixels) const;

    QRectF m_frame;
    double m_centerX;
    double m_centerY;
    double m_unitsPerPixel;
};
