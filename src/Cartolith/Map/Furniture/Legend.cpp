#include <Cartolith/Map/Legend.h>
#include <Cartolith/Map/NumberText.h>
#include <Cartolith/Map/SheetFont.h>
#include <Cartolith/Map/SymbolPainter.h>

#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>
#include <utility>

using Cartolith::Core::Layers::GisLayerStyle;
using Cartolith::Core::Shapes::GisShapeType;

namespace Cartolith::Map {

namespace {

constexpr int leastLetters = 8;      // pixels
constexpr double longestLabel = 20;  // in letter heights
constexpr double defaultApart = 0.5; // rows between the classes and the default

double widthOf(const QFontMetricsF& metrics, const QString& text) {
    return std::ceil(metrics.horizontalAdvance(text));
}

/// Nothing where nothing was counted.
QString countText(const LegendContent::Row& row) {
    return row.count < 0 ? QString() : NumberText::whole(row.count);
}

QString elided(const QFont& font, const QString& text, double width) {
    // A measured text must never lose a letter to rounding.
    return QFontMetricsF(font).elidedText(text, Qt::ElideRight, width + 0.5);
}

} // namespace

Legend::Legend(LegendContent content, const SheetColours& colours, QSizeF room, int letterPixels)
    : m_content(std::move(content)), m_colours(colours) {
    for (const double scale : {1.0, 0.85, 0.7}) {
        layOut(room, std::max(leastLetters, static_cast<int>(letterPixels * scale)));
        if (m_shown == classRows()) {
            break;
        }
        m_isWhole = false;
    }
}

bool Legend::hasDefault() const {
    return !m_content.rows.isEmpty() && m_content.rows.constLast().isDefault;
}

qsizetype Legend::classRows() const {
    return m_content.rows.size() - (hasDefault() ? 1 : 0);
}

QString Legend::remainder() const {
    return QStringLiteral("and %1 more").arg(NumberText::whole(classRows() - m_shown));
}

void Legend::layOut(QSizeF room, int letterPixels) {
    m_font = sheetFont(letterPixels, false);
    m_titleFont = sheetFont(letterPixels * 6 / 5, true);
    m_smallFont = sheetFont(std::max(leastLetters, letterPixels * 4 / 5), false);
    double largest = 0.0;
    for (const LegendContent::Row& row : m_content.rows) {
        const GisLayerStyle& style = row.style;
        const double size = m_content.kind == GisShapeType::Polyline ? style.lineWidth()
                                                                     : style.pointSize() + style.lineWidth();
        largest = row.isSize ? std::max(largest, std::ceil(size)) : largest;
    }
    largest = std::min(largest, std::min(room.width(), room.height()) * 0.25);
    m_line = std::ceil(letterPixels * 1.5);
    m_row = std::max(m_line, largest + 2.0);
    m_sample = std::max(2.0 * letterPixels, largest);

    // A column: sample, label, count, and a wider gap to the next column.
    const double gap = letterPixels * 0.6;
    m_labelWidth = 0.0;
    m_countWidth = 0.0;
    const double apart = 2.0 * letterPixels;
    // Not of rows for which there is no room in the narrowest columns.
    const double atMost = (std::max(room.height(), 0.0) / m_row + 1.0) *
                          (std::max(room.width(), 0.0) / (m_sample + 2 * gap + apart) + 1.0);
    const QFontMetricsF metrics(m_font);
    qsizetype measured = 0;
    for (const LegendContent::Row& row : m_content.rows) {
        if (static_cast<double>(measured++) > atMost && !row.isDefault) {
            continue;
        }
        m_labelWidth = std::max(m_labelWidth, widthOf(metrics, row.label));
        m_countWidth = std::max(m_countWidth, widthOf(metrics, countText(row)));
    }
    const double others = m_sample + 2 * gap + m_countWidth;
    m_labelWidth = std::clamp(m_labelWidth, 0.0,
                              std::max(0.0, std::min(longestLabel * letterPixels, room.width() - others)));
    m_column = others + m_labelWidth;
    m_columnStep = m_column + apart;

    const double head = m_content.title.isEmpty() ? 0.0 : 1.5 * m_line;
    const double foot =
        (hasDefault() ? (1.0 + defaultApart) * m_row : 0.0) + (m_content.smallPrint.isEmpty() ? 0.0 : m_line);
    const qsizetype classes = classRows();
    const auto deepest =
        std::max<qsizetype>(1, static_cast<qsizetype>((room.height() - head - foot) / m_row));
    const auto most =
        std::max<qsizetype>(1, static_cast<qsizetype>((room.width() + apart) / (m_column + apart)));
    const qsizetype columns = std::clamp<qsizetype>((classes + deepest - 1) / deepest, 1, most);
    m_shown = classes <= deepest * columns ? classes : deepest * columns - 1;
    m_perColumn = std::min(deepest, std::max<qsizetype>(1, (classes + columns - 1) / columns));

    m_rows = classes > 0 ? static_cast<double>(m_perColumn) * m_row : 0.0;
    const bool isGradient = m_content.gradient.size() > 1 && classes > 1;
    if (isGradient) {
        // Neighbouring labels are a row apart, the first and the last stand out by half a row.
        const double step = std::abs(m_content.rows.at(0).place - m_content.rows.at(1).place);
        m_rows = std::max(m_row, std::min(m_row / std::max(step, 0.02) + m_row, room.height() - head - foot));
        m_shown = classes;
    }

    double width = static_cast<double>(isGradient ? 1 : columns) * m_columnStep - apart;
    width = std::max(width, widthOf(QFontMetricsF(m_titleFont), m_content.title));
    width = std::max(width, widthOf(QFontMetricsF(m_smallFont), m_content.smallPrint));
    m_size = {std::min(width, room.width()), std::min(head + m_rows + foot, room.height())};
}

void Legend::drawSample(QPainter& painter, const LegendContent::Row& row, const QRectF& place) const {
    SymbolPainter symbols(painter);
    GisLayerStyle style = row.style;
    const auto height = static_cast<float>(row.isSize ? m_row : place.height());
    style.setLineWidth(std::min(style.lineWidth(), row.isSize ? height : height / 2));
    style.setHaloWidth(std::min(style.haloWidth(), height / 4));
    style.setCasingWidth(std::min(style.casingWidth(), height / 4));
    switch (m_content.kind) {
    case GisShapeType::Point:
        style.setPointSize(std::min(style.pointSize(), height));
        symbols.point(place.center(), style);
        break;
    case GisShapeType::Polyline: {
        const QPolygonF line{QPointF(place.left(), place.center().y()),
                             QPointF(place.right(), place.center().y())};
        constexpr float thick = 2.0F; // enough to see what colour it is
        style.setLineWidth(row.isSize ? style.lineWidth() : std::max(style.lineWidth(), thick));
        symbols.halo(line, style, m_content.casing);
        symbols.casing(line, style, m_content.casing);
        symbols.line(line, style);
        break;
    }
    default:
        QPainterPath path;
        path.addRect(place);
        painter.fillRect(place, m_colours.sea); // what is transparent looks as it does on the map
        symbols.area(path, style);
        break;
    }
}

void Legend::drawLabel(QPainter& painter, const QString& text, const QRectF& place) const {
    painter.setFont(m_font);
    painter.setPen(m_colours.ink);
    painter.drawText(place.adjusted(0, 0, 1, 0), Qt::AlignVCenter | Qt::AlignLeft | Qt::TextSingleLine,
                     elided(m_font, text, place.width()));
}

void Legend::drawGradient(QPainter& painter, const QRectF& place) const {
    const double letters = m_font.pixelSize();
    const QRectF bar(place.left() + 0.5, place.top() + m_row * 0.5, std::round(1.5 * letters),
                     place.height() - m_row);
    QLinearGradient gradient(bar.bottomLeft(), bar.topLeft());
    const auto last = static_cast<double>(m_content.gradient.size() - 1);
    for (qsizetype i = 0; i < m_content.gradient.size(); ++i) {
        gradient.setColorAt(static_cast<double>(i) / last, m_content.gradient.at(i));
    }
    painter.fillRect(bar, gradient);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(m_colours.faintInk, 0.7));
    painter.drawRect(bar);
    double above = -m_row; // where the last label stands
    for (const LegendContent::Row& row : m_content.rows) {
        const double at = bar.bottom() - std::clamp(row.place, 0.0, 1.0) * bar.height();
        if (row.isDefault || at - above < m_row * 0.9) {
            continue;
        }
        above = at;
        painter.setPen(QPen(m_colours.faintInk, 0.7));
        painter.drawLine(QPointF(bar.right(), at), QPointF(bar.right() + letters * 0.3, at));
        drawLabel(
            painter, row.label,
            QRectF(place.left() + 2.0 * letters + letters * 0.6, at - m_row / 2.0, m_labelWidth, m_row));
    }
}

void Legend::drawRow(QPainter& painter, const LegendContent::Row& row, const QRectF& place) const {
    const double letters = m_font.pixelSize();
    const double gap = letters * 0.6;
    // On whole pixels, so that the fill is not mixed with the paper.
    const QRectF sample(std::round(place.left()) + 0.5, std::round(place.center().y() - letters * 0.5) + 0.5,
                        std::round(m_sample) - 1.0, letters);
    drawSample(painter, row, sample);
    const QRectF label(place.left() + m_sample + gap, place.top(), m_labelWidth, place.height());
    drawLabel(painter, row.label, label);
    painter.setPen(m_colours.faintInk);
    painter.drawText(QRectF(label.right() + gap, place.top(), m_countWidth, place.height()),
                     Qt::AlignVCenter | Qt::AlignRight | Qt::TextSingleLine, countText(row));
}

void Legend::draw(QPainter& painter, QPointF topLeft) const {
    painter.save();
    painter.setClipRect(QRectF(topLeft, m_size).adjusted(-1, -1, 1, 1), Qt::IntersectClip);
    painter.setRenderHint(QPainter::Antialiasing);
    double top = topLeft.y();
    const auto line = [&](const QFont& font, const QColor& colour, const QString& text) {
        painter.setFont(font);
        painter.setPen(colour);
        painter.drawText(QRectF(topLeft.x(), top, m_size.width() + 1, m_line),
                         Qt::AlignVCenter | Qt::AlignLeft | Qt::TextSingleLine,
                         elided(font, text, m_size.width()));
    };
    if (!m_content.title.isEmpty()) {
        line(m_titleFont, m_colours.ink, m_content.title);
        top += 1.5 * m_line;
    }
    const auto place = [&](qsizetype i) {
        const qsizetype column = i / m_perColumn;
        const qsizetype row = i % m_perColumn;
        return QRectF(topLeft.x() + static_cast<double>(column) * m_columnStep,
                      top + static_cast<double>(row) * m_row, m_column, m_row);
    };
    const bool isGradient = m_content.gradient.size() > 1 && classRows() > 1;
    if (isGradient) {
        drawGradient(painter, QRectF(topLeft.x(), top, m_column, m_rows));
    }
    for (qsizetype i = 0; i < m_shown && !isGradient; ++i) {
        drawRow(painter, m_content.rows.at(i), place(i));
    }
    if (m_shown < classRows()) {
        painter.setFont(m_font);
        painter.setPen(m_colours.faintInk);
        painter.drawText(place(m_shown), Qt::AlignVCenter | Qt::AlignLeft | Qt::TextSingleLine,
                         elided(m_font, remainder(), m_column));
    }
    top += m_rows;
    if (hasDefault()) {
        top += defaultApart * m_row;
        drawRow(painter, m_content.rows.constLast(), QRectF(topLeft.x(), top, m_column, m_row));
        top += m_row;
    }
    if (!m_content.smallPrint.isEmpty()) {
        line(m_smallFont, m_colours.faintInk, m_content.smallPrint);
    }
    painter.restore();
}

} // namespace Cartolith::Map
