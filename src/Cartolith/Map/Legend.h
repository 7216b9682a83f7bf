#pragma once

#include <Cartolith/Map/Export.h>
#include <Cartolith/Map/LegendContent.h>
#include <Cartolith/Map/SheetColours.h>

#include <QFont>
#include <QRectF>
#include <QStringList>

class QPainter;

namespace Cartolith::Map {

/// A legend beside a map: measures itself, then draws itself.
///
/// A title, a row for each class with a sample of its style, its label and its count, the default row set
/// apart below them, and small print. Rows that do not fit below each other go into further columns; when the
/// room is used up even with smaller letters, a last row says how many are missing. What is too long is cut
/// with an ellipsis.
class CARTOLITH_MAP_EXPORT Legend {
public:
    /// Lays the content out for a picture in at most that room (pixels).
    Legend(LegendContent content, const SheetColours& colours, QSizeF room, int letterPixels);

    /// What the legend takes of the room.
    QSizeF size() const { return m_size; }

    /// The classes that are shown; the others are only counted.
    qsizetype shownRows() const { return m_shown; }

    void draw(QPainter& painter, QPointF topLeft) const;

private:
    void layOut(QSizeF room, int letterPixels);
    void drawRow(QPainter& painter, const LegendContent::Row& row, const QRectF& place) const;
    void drawSample(QPainter& painter, const LegendContent::Row& row, const QRectF& place) const;
    QString remainder() const;
    qsizetype classRows() const;
    bool hasDefault() const;

    LegendContent m_content;
    SheetColours m_colours;
    QFont m_font, m_titleFont, m_smallFont;
    qsizetype m_shown = 0; ///< classes
    qsizetype m_perColumn = 1;
    double m_line = 0.0;   ///< height of one of text
    double m_row = 0.0;    ///< height of one, which is as high as a large sample
    double m_sample = 0.0; ///< width of one
    double m_column = 0.0; ///< width of one
    double m_columnStep = 0.0;
    double m_labelWidth = 0.0;
    double m_countWidth = 0.0;
    QSizeF m_size;
};

} // namespace Cartolith::Map
