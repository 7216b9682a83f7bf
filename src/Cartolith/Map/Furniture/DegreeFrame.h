#pragma once

#include <Cartolith/Map/Export.h>
#include <Cartolith/Map/SheetColours.h>

#include <QFont>
#include <QList>
#include <QRectF>
#include <QString>

class QPainter;

namespace Cartolith::Map {
class Graticule;
}

namespace Cartolith::Map::Furniture {

/// "12°30′E", "45°S", "0°": as exact as multiples of the step need it, to a thousandth of a second.
CARTOLITH_MAP_EXPORT QString degreeText(double degrees, bool isLongitude, double step);

/// The degrees of a graticule around the frame of its map: on each side where its lines meet it.
///
/// Above and below, longitudes come first, left and right, latitudes; the other ones where these leave room.
/// A line that meets the side at less than 30 degrees is not labelled there, and no label lies on another or
/// past a corner. Parallels that end inside the frame, at the edge of the world, have their label there if it
/// has room.
class CARTOLITH_MAP_EXPORT DegreeFrame {
public:
    enum class Side { Top, Bottom, Left, Right, Inside };

    struct Label {
        QString text;
        Side side = Side::Top;
        QPointF place; ///< on the frame; inside, the middle of the text
    };

    /// The frame in the graticule's pixels.
    DegreeFrame(const Graticule& graticule, const QRectF& frame, int letterPixels);

    /// What the labels take outside of the frame, on each side.
    static double depth(int letterPixels) { return 1.6 * letterPixels; }

    const QList<Label>& labels() const { return m_labels; }

    /// Ticks and labels; the frame itself is the map's.
    void draw(QPainter& painter, const SheetColours& colours) const;

private:
    QFont m_font;
    QList<Label> m_labels;
};

} // namespace Cartolith::Map::Furniture
