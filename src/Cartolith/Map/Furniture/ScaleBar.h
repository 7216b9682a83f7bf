#pragma once

#include <Cartolith/Map/Export.h>
#include <Cartolith/Map/SheetColours.h>

#include <QFont>
#include <QList>
#include <QSizeF>
#include <QString>

#include <memory>

class QPainter;

namespace Cartolith::Map {
class GroundScale;
class MapView;
} // namespace Cartolith::Map

namespace Cartolith::Map::Furniture {

enum class ScaleUnits {
    Metric,   ///< mm, cm, m or km
    Imperial, ///< inches, feet or miles
    Degrees,  ///< seconds, minutes or degrees along the x axis of a map in degrees
};

/// A bar as long as a round number (1, 2 or 5 times a power of ten) of a unit, with its parts labelled.
///
/// It is true where `groundPerPixel` was measured, that is at the middle of the map; the less so away from
/// there, the more of the earth the map shows.
class CARTOLITH_MAP_EXPORT ScaleBar {
public:
    struct Tick {
        double pixels; ///< from the bar's left end
        QString label; ///< the last one with the unit
    };

    /// What a pixel is: metres on the ground, or degrees. The bar is at most `longest` pixels long, and more
    /// than 0.4 of that. For a number that is not finite and greater than 0 there is no bar: no ticks, no
    /// size, nothing is drawn.
    ScaleBar(double groundPerPixel, ScaleUnits units, double longest, int letterPixels);

    /// Metres on the ground in a pixel, at the middle of the view and from left to right on it, however the
    /// map is turned; NaN where nobody can tell.
    static double metersPerPixel(const MapView& view, const GroundScale& ground);

    const QList<Tick>& ticks() const { return m_ticks; }
    /// Of the bar, in pixels; 0 when there is none.
    double length() const { return m_ticks.isEmpty() ? 0.0 : m_ticks.constLast().pixels; }
    /// With the labels.
    QSizeF size() const { return m_size; }

    void draw(QPainter& painter, QPointF topLeft, const SheetColours& colours) const;

private:
    QList<Tick> m_ticks;
    QFont m_font;
    double m_left = 0.0; ///< of the bar, from the first label's left
    QSizeF m_size;
};

} // namespace Cartolith::Map::Furniture
