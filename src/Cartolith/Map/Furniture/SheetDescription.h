#pragma once

#include <Cartolith/Core/Shapes/GisExtent.h>
#include <Cartolith/Map/Export.h>
#include <Cartolith/Map/Furniture/ScaleBar.h>
#include <Cartolith/Map/SheetColours.h>

#include <QList>
#include <QPointF>
#include <QRectF>
#include <QSizeF>
#include <QString>
#include <QStringList>

class QByteArray;

namespace Cartolith::Map::Furniture {

enum class GraticuleLines { None, Below, Above };

/// What lies around and on the map of a sheet: something with a size of its own, hung up at an anchor.
struct CARTOLITH_MAP_EXPORT SheetItem {
    enum class Kind { Text, ScaleBar, NorthArrow, Legend, Inset };
    enum class Of { Map, Page };

    Kind kind = Kind::Text;
    Of of = Of::Map;
    /// Which place of the map's frame or the page it is at, and which of its own is there: 0, 0.5 or 1 from
    /// left to right and from top to bottom.
    QPointF anchor{0.0, 0.0};
    /// Millimetres from there towards the inside; from the middle to the right and down.
    QPointF inset{3.0, 3.0};
    /// Millimetres; 0 for its own. The longest that a scale bar may be, the room of a legend, the size of an
    /// inset map and of an arrow; a text is wrapped in the width and cut at the height.
    QSizeF size{0.0, 0.0};
    double letters = 3.2; ///< millimetres, the size of the font
    bool hasBox = false;  ///< paper and a thin frame behind it

    QString text;
    bool isBold = false;
    bool isFaint = false; ///< in the colour of small print
    Qt::Alignment align = Qt::AlignLeft;
    ScaleUnits units = ScaleUnits::Metric;
    QStringList layers = {};          ///< in a legend or an inset map; all when empty
    bool hasCounts = false;           ///< in a legend
    Core::Shapes::GisExtent extent{}; ///< of an inset map; all of the scene when empty
};

/// A sheet: its size, where the map lies on it, and what else is there. The same on a screen and on paper:
/// lengths are millimetres, of which `dotsPerInch` says how many pixels they are.
struct CARTOLITH_MAP_EXPORT SheetDescription {
    struct MapFrame {
        QRectF place{10.0, 10.0, 277.0, 190.0}; ///< millimetres, from the sheet's upper left corner
        /// In units of the map; all of the scene when empty.
        Core::Shapes::GisExtent extent{};
        double air = 0.02;             ///< of each side of the extent, shown around it
        double scaleDenominator = 0.0; ///< 0 shows the extent as large as it can be
        double rotation = 0.0;         ///< degrees, clockwise
        GraticuleLines graticule = GraticuleLines::Below;
        double step = 0.0;          ///< of the graticule, degrees; 0 is chosen
        bool hasDegrees = false;    ///< around the frame, which lies within the place then
        double degreeLetters = 2.4; ///< millimetres
        bool hasFrame = true;
    };

    QSizeF size{297.0, 210.0}; ///< millimetres
    double dotsPerInch = 150.0;
    SheetColours colours = {};
    MapFrame map = {};
    QList<SheetItem> items = {}; ///< later ones lie on top

    /// In pixels, whole.
    QSize pixels() const;
    /// What the sheet is called: its first bold text, in one line; empty where there is none.
    QString title() const;

    /// \name JSON
    /// docs/formats.md has the members. Bounded: 1 MB, 200 items, 16 of them inset maps, texts of 10,000
    /// letters, a page of 5 m, 16,384 pixels a side. \throws std::runtime_error naming the member that is not
    /// known, missing or out of range
    /// @{
    static SheetDescription fromJson(const QByteArray& json);
    /// \throws also when the file cannot be read
    static SheetDescription load(const QString& path);
    /// @}
};

} // namespace Cartolith::Map::Furniture
