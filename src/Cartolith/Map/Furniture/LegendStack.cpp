#include <Cartolith/Map/Furniture/LegendStack.h>
#include <Cartolith/Map/NumberText.h>
#include <Cartolith/Map/SheetFont.h>

#include <QFontMetricsF>
#include <QPainter>

#include <algorithm>
#include <cmath>

namespace Cartolith::Map::Furniture {

namespace {

constexpr int leastLetters = 8; // pixels
constexpr qsizetype mostLegends = 1000;

} // namespace

LegendStack::LegendStack(const QList<LegendContent>& contents, const SheetColours& colours, QSizeF room,
                         int letterPixels)
    : m_colours(colours) {
    for (const double scale : {1.0, 0.85, 0.7}) {
        const int letters = std::max(leastLetters, static_cast<int>(letterPixels * scale));
        if (layOut(contents, room, letters, scale == 0.7)) {
            break;
        }
    }
}

bool LegendStack::layOut(const QList<LegendContent>& contents, QSizeF room, int letterPixels,
                         bool isLastTry) {
    m_legends.clear();
    m_remainder.clear();
    m_font = sheetFont(letterPixels, false);
    m_size = {};
    const double gap = letterPixels;
    const double line = std::ceil(letterPixels * 1.5);
    const qsizetype count = std::min(contents.size(), mostLegends);
    bool isWhole = contents.size() <= mostLegends;
    double left = 0.0;
    double top = 0.0;
    for (qsizetype i = 0; i < count; ++i) {
        const auto placeIn = [&](double x, double y) {
            const double foot = i + 1 < contents.size() && isLastTry ? line : 0.0; // for what may be missing
            const QSizeF rest(room.width() - x, room.height() - y - foot);
            return Placed{Legend(contents.at(i), m_colours, rest, letterPixels), {x, y}};
        };
        // Layers of one style are rows of one list.
        const bool isRow = contents.at(i).title.isEmpty() && i > 0 && contents.at(i - 1).title.isEmpty();
        const double next = top > 0.0 ? top + (isRow ? 0.0 : gap) : 0.0;
        Placed placed = placeIn(left, next);
        const double column = m_size.width() + 2.0 * gap;
        if (next > 0.0 && room.width() - column > 6.0 * letterPixels) {
            Placed beside = placeIn(column, 0.0);
            // A legend would rather be whole in the next column than go on beside itself in this one.
            const bool isBroken = placed.legend.size().height() < beside.legend.size().height();
            if ((!placed.legend.isWhole() || isBroken) && (beside.legend.isWhole() || isLastTry)) {
                placed = std::move(beside);
                left = column;
            }
        }
        if (!placed.legend.isWhole()) {
            isWhole = false;
            if (!isLastTry) {
                return false;
            }
        }
        const bool hasRoom = placed.legend.shownRows() > 0 || contents.at(i).rows.isEmpty() || i == 0;
        if (!hasRoom || room.height() - placed.topLeft.y() < line) {
            m_remainder = QStringLiteral("and %1 more layers").arg(NumberText::whole(contents.size() - i));
            break;
        }
        top = placed.topLeft.y() + placed.legend.size().height();
        m_size = {std::max(m_size.width(), left + placed.legend.size().width()),
                  std::max(m_size.height(), top)};
        m_legends.append(std::move(placed));
    }
    if (m_remainder.isEmpty() && contents.size() > m_legends.size()) {
        m_remainder =
            QStringLiteral("and %1 more layers").arg(NumberText::whole(contents.size() - m_legends.size()));
    }
    if (!m_remainder.isEmpty()) {
        m_remainderPlace = {left, std::min(top, std::max(0.0, room.height() - line))};
        const double width = QFontMetricsF(m_font).horizontalAdvance(m_remainder);
        m_size = {std::min(room.width(), std::max(m_size.width(), left + std::ceil(width))),
                  std::min(room.height(), std::max(m_size.height(), m_remainderPlace.y() + line))};
    }
    return isWhole && m_remainder.isEmpty();
}

void LegendStack::draw(QPainter& painter, QPointF topLeft) const {
    for (const Placed& placed : m_legends) {
        placed.legend.draw(painter, topLeft + placed.topLeft);
    }
    if (!m_remainder.isEmpty()) {
        painter.setFont(m_font);
        painter.setPen(m_colours.faintInk);
        const QPointF place = topLeft + m_remainderPlace;
        const double width = m_size.width() - m_remainderPlace.x();
        painter.drawText(QRectF(place, QSizeF(width + 1.0, m_font.pixelSize() * 1.5)),
                         Qt::AlignVCenter | Qt::AlignLeft | Qt::TextSingleLine,
                         QFontMetricsF(m_font).elidedText(m_remainder, Qt::ElideRight, width + 0.5));
    }
}

} // namespace Cartolith::Map::Furniture
