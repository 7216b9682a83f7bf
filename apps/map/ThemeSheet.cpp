#include "ThemeSheet.h"

#include <Cartolith/Core/Symbology/GisDefaultSymbolStyles.h>
#include <Cartolith/Map/SheetFont.h>
#include <Cartolith/Map/SymbolPainter.h>

#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>

using namespace Cartolith::Core;
using Layers::GisLayerStyle;
using Symbology::GisSymbolTheme;
using namespace Cartolith::Map;

namespace {

// The sample landscape, on 0 to 100 by 0 to 60.
const QPolygonF areas[] = {
    {{4, 12}, {30, 6}, {42, 20}, {36, 44}, {14, 50}, {6, 34}},
    {{30, 6}, {58, 4}, {66, 26}, {42, 20}},
    {{42, 20}, {66, 26}, {62, 52}, {36, 44}},
};
const QPolygonF streams[] = {
    {{70, 2}, {76, 10}, {74, 18}, {82, 26}, {80, 38}, {90, 46}, {88, 58}},
    {{98, 12}, {90, 18}, {92, 24}, {82, 26}},
};
const QPointF places[] = {{20, 40}, {52, 13}, {52, 44}, {94, 34}, {84, 8}};
constexpr QPointF labelPlace(9, 24);

/// The text stands on the place, in the colours of the style.
void drawLabel(QPainter& painter, QPointF place, const GisLayerStyle& style, int pixels) {
    QPainterPath text;
    text.addText(place, sheetFont(pixels, style.labelBold()), QStringLiteral("Label"));
    if (style.labelHaloEnabled()) {
        painter.strokePath(text, QPen(QColor(style.labelHaloColor()), 2.0 * style.labelHaloWidth(),
                                      Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    }
    painter.fillPath(text, QColor(style.labelColor()));
}

void drawLandscape(QPainter& painter, const GisSymbolTheme& theme, const QRectF& frame) {
    const auto at = [&frame](QPointF place) {
        return QPointF(frame.left() + place.x() * frame.width() / 100.0,
                       frame.top() + place.y() * frame.height() / 60.0);
    };
    const auto all = [&at](const QPolygonF& line) {
        QPolygonF result;
        for (const QPointF& place : line) {
            result.append(at(place));
        }
        return result;
    };
    SymbolPainter symbols(painter);
    const auto drawArea = [&](const QPolygonF& area, const GisLayerStyle& style) {
        QPainterPath path;
        path.addPolygon(all(area));
        path.closeSubpath();
        symbols.area(path, style);
    };
    for (const QPolygonF& area : areas) {
        drawArea(area, theme.areaStyle);
    }
    GisLayerStyle selected = theme.areaStyle;
    selected.setLineColor(selected.selectedLineColor());
    selected.setLineWidth(selected.selectedLineWidth());
    drawArea(areas[2], selected);
    for (const QPolygonF& stream : streams) {
        symbols.line(all(stream), theme.lineStyle);
    }
    for (const QPointF& place : places) {
        symbols.point(at(place), theme.pointStyle);
    }
    drawLabel(painter, at(labelPlace), theme.areaStyle, qMax(8, static_cast<int>(frame.height() / 11)));
}

void drawRamp(QPainter& painter, const Symbology::GisColorRamp& ramp, const QRectF& place) {
    QLinearGradient gradient(place.bottomLeft(), place.bottomRight());
    for (const Symbology::GisColorRampStop& stop : ramp.stops()) {
        gradient.setColorAt(stop.position, QColor(stop.color));
    }
    painter.fillRect(place, gradient);
}

void drawTheme(QPainter& painter, const GisSymbolTheme& theme, const QRectF& tile) {
    painter.fillRect(tile, QColor(theme.backgroundColor));
    const double margin = tile.height() * 0.06;
    const QRectF inner = tile.adjusted(margin, margin, -margin, -margin);

    const QFont font = sheetFont(qMax(8, static_cast<int>(tile.height() / 16)), true);
    painter.setFont(font);
    painter.setPen(QColor(theme.textColor));
    painter.drawText(inner, Qt::AlignTop | Qt::AlignLeft,
                     QFontMetricsF(font).elidedText(theme.name, Qt::ElideRight, inner.width()));

    const double head = tile.height() * 0.13;
    const double foot = tile.height() * 0.12;
    drawLandscape(painter, theme, inner.adjusted(0, head, 0, -foot));

    // The ramp of areas, and below it that of lines and points.
    const QRectF strip(inner.left(), inner.bottom() - foot * 0.65, inner.width(), foot * 0.3);
    drawRamp(painter, theme.ramp, strip);
    drawRamp(painter, theme.lineRamp, strip.translated(0, foot * 0.35));
}

} // namespace

QImage ThemeSheet::draw(const QSize& size) {
    constexpr int columns = 3;
    const QList<GisSymbolTheme> themes = Symbology::GisDefaultSymbolStyles::themes();
    const auto rows = (themes.size() + columns - 1) / columns;
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::gray); // shows as thin lines between the tiles
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    const double width = static_cast<double>(size.width()) / columns;
    const double height = static_cast<double>(size.height()) / static_cast<double>(rows);
    for (qsizetype i = 0; i < themes.size(); ++i) {
        const qsizetype row = i / columns;
        const qsizetype column = i % columns;
        const QRectF tile(static_cast<double>(column) * width, static_cast<double>(row) * height, width,
                          height);
        drawTheme(painter, themes.at(i), tile.adjusted(0.5, 0.5, -0.5, -0.5));
    }
    return image;
}
