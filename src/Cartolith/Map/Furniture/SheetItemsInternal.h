#pragma once

#include <Cartolith/Map/Furniture/LegendStack.h>
#include <Cartolith/Map/Furniture/NorthArrow.h>
#include <Cartolith/Map/Furniture/SheetDescription.h>
#include <Cartolith/Map/MapView.h>

#include <QImage>
#include <QStringList>

#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>

class QPainter;

namespace Cartolith::Core::CoordinateSystems {
class CoordinateSystem;
}

namespace Cartolith::Map::Furniture::Internal {

/// What a sheet is laid out in: the pixels that sizes in styles mean, whatever device it is for. So texts are
/// wrapped alike and legends have the same columns on a screen and on paper.
struct SheetUnits {
    static constexpr double perInch = 96.0;
    static constexpr double perMillimeter = perInch / 25.4;

    static int letters(double millimeters) {
        return std::max(1, static_cast<int>(std::lround(millimeters * perMillimeter)));
    }
};

/// Lines of at most that width; what does not go into so many ends in an ellipsis.
QStringList wrapped(const QString& text, const QFont& font, double width, qsizetype mostLines);
/// From one line to the next, in letters.
inline constexpr double lineHeight = 1.3;

/// Places and draws the items of a sheet.
class SheetItems {
public:
    SheetItems(const SheetDescription& sheet, const MapView& view,
               const std::shared_ptr<Core::CoordinateSystems::CoordinateSystem>& system,
               const QList<SheetLegend>& legends, const QList<MapView>& insetViews)
        : m_sheet(sheet), m_view(view), m_system(system), m_legends(legends), m_insetViews(insetViews) {}

    QStringList problems() const;
    /// A millimetre around what each item draws, in pixels of the sheet; items that draw nothing have none.
    QList<QRectF> boxes() const;
    /// The painter's units are SheetUnits; pictures lie on views in pixels of the sheet.
    void draw(QPainter& painter, const QList<QImage>& insets) const;

    /// Of the map, within its degrees, in SheetUnits.
    static QRectF frameOf(const SheetDescription& sheet);
    static QRectF insetFrame(const SheetDescription& sheet, const SheetItem& item);

private:
    static QRectF placeOf(const SheetDescription& sheet, const SheetItem& item, QSizeF size);
    static double padding(const SheetItem& item);

    /// Text in lines, where it lies.
    struct Lines {
        QFont font;
        QStringList texts;
        QRectF place;
    };
    Lines linesOf(const SheetItem& item) const;
    struct Stack {
        LegendStack legends;
        QRectF place;
    };
    std::optional<Stack> stackOf(const SheetItem& item) const;
    QRectF northPlace(const SheetItem& item) const;
    /// In SheetUnits, without its box; none where nothing is drawn.
    std::optional<QRectF> placeOf(const SheetItem& item) const;

    void drawText(QPainter& painter, const SheetItem& item) const;
    void drawScaleBar(QPainter& painter, const SheetItem& item) const;
    void drawNorth(QPainter& painter, const SheetItem& item) const;
    void drawLegend(QPainter& painter, const SheetItem& item) const;
    void drawInset(QPainter& painter, const MapView& inset, const QImage& picture) const;
    void drawBox(QPainter& painter, const SheetItem& item, const QRectF& place) const;

    ScaleBar scaleBarOf(const SheetItem& item) const;
    /// PROJ is asked once, however many arrows and bars there are.
    const NorthArrow& north() const;
    double metersPerPixel() const;
    /// What an item may take at the most.
    QSizeF roomOf(const SheetItem& item, QSizeF otherwise) const;

    const SheetDescription& m_sheet;
    const MapView& m_view;
    const std::shared_ptr<Core::CoordinateSystems::CoordinateSystem>& m_system;
    const QList<SheetLegend>& m_legends;
    const QList<MapView>& m_insetViews;
    mutable std::optional<NorthArrow> m_north;
    mutable std::optional<double> m_metersPerPixel;
};

} // namespace Cartolith::Map::Furniture::Internal
