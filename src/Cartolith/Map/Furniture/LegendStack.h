#pragma once

#include <Cartolith/Map/Export.h>
#include <Cartolith/Map/Legend.h>

#include <QList>
#include <QPointF>

namespace Cartolith::Map::Furniture {

/// What the legends of a sheet are made of: the content for a layer, under the layer's name.
struct SheetLegend {
    QString layer;
    LegendContent content;
};

/// Legends below each other, in further columns when long, in the same letters: measures itself, then draws
/// itself. When they do not fit in smaller letters either, rows are left out and counted, and a last line
/// says how many layers are missing.
class CARTOLITH_MAP_EXPORT LegendStack {
public:
    /// In at most that room (pixels). Of more than 1,000 legends the others only count.
    LegendStack(const QList<LegendContent>& contents, const SheetColours& colours, QSizeF room,
                int letterPixels);

    QSizeF size() const { return m_size; }
    /// Layers that have a legend here.
    qsizetype shown() const { return m_legends.size(); }

    void draw(QPainter& painter, QPointF topLeft) const;

private:
    struct Placed {
        Legend legend;
        QPointF topLeft;
    };

    /// False when something was left out.
    bool layOut(const QList<LegendContent>& contents, QSizeF room, int letterPixels, bool isLastTry);

    SheetColours m_colours;
    QList<Placed> m_legends;
    QFont m_font;
    QString m_remainder; ///< the last line
    QPointF m_remainderPlace;
    QSizeF m_size;
};

} // namespace Cartolith::Map::Furniture
