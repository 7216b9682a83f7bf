#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Map/Furniture/DegreeFrame.h>
#include <Cartolith/Map/Furniture/SheetItemsInternal.h>
#include <Cartolith/Map/GroundScale.h>
#include <Cartolith/Map/SheetFont.h>

#include <QFontMetricsF>
#include <QPainter>
#include <QTextLayout>

namespace Cartolith::Map::Furniture::Internal {

namespace {

QRectF inUnits(const QRectF& millimeters) {
    return {millimeters.topLeft() * SheetUnits::perMillimeter,
            millimeters.size() * SheetUnits::perMillimeter};
}

} // namespace

QStringList wrapped(const QString& text, const QFont& font, double width, qsizetype mostLines) {
    const QFontMetricsF metrics(font);
    QStringList lines;
    const QStringList paragraphs = text.split(QLatin1Char('\n'));
    for (const QString& paragraph : paragraphs) {
        QTextLayout layout(paragraph, font);
        QTextOption option;
        option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
        layout.setTextOption(option);
        layout.beginLayout();
        bool isFirst = true;
        while (true) {
            QTextLine line = layout.createLine();
            if (!line.isValid() && !isFirst) {
                break;
            }
            if (lines.size() == mostLines) {
                if (mostLines > 0) {
                    lines.last() = metrics.elidedText(lines.constLast() + QChar(0x2026) + QChar(0x2026),
                                                      Qt::ElideRight, width);
                }
                return lines;
            }
            if (!line.isValid()) { // an empty paragraph
                lines.append(QString());
                break;
            }
            // A measured text must never lose a letter to rounding.
            line.setLineWidth(width + 0.5);
            lines.append(paragraph.mid(line.textStart(), line.textLength()).trimmed());
            isFirst = false;
        }
        layout.endLayout();
    }
    return lines;
}

QRectF SheetItems::frameOf(const SheetDescription& sheet) {
    const QRectF place = inUnits(sheet.map.place);
    if (!sheet.map.hasDegrees) {
        return place;
    }
    const double depth = DegreeFrame::depth(SheetUnits::letters(sheet.map.degreeLetters));
    const QRectF frame = place.adjusted(depth, depth, -depth, -depth);
    return frame.isValid() ? frame : place;
}

double SheetItems::padding(const SheetItem& item) {
    return item.hasBox ? 0.5 * SheetUnits::letters(item.letters) : 0.0;
}

QRectF SheetItems::placeOf(const SheetDescription& sheet, const SheetItem& item, QSizeF size) {
    const QRectF reference =
        item.of == SheetItem::Of::Map ? frameOf(sheet) : inUnits(QRectF({0.0, 0.0}, sheet.size));
    const QPointF anchor = item.anchor;
    const QPointF inset = item.inset * SheetUnits::perMillimeter;
    const double more = 2.0 * padding(item);
    const QSizeF outside(size.width() + more, size.height() + more);
    return {reference.left() + (reference.width() - outside.width()) * anchor.x() +
                (anchor.x() > 0.5 ? -inset.x() : inset.x()) + more / 2.0,
            reference.top() + (reference.height() - outside.height()) * anchor.y() +
                (anchor.y() > 0.5 ? -inset.y() : inset.y()) + more / 2.0,
            size.width(), size.height()};
}

QRectF SheetItems::insetFrame(const SheetDescription& sheet, const SheetItem& item) {
    constexpr QSizeF usual(45.0, 30.0); // millimetres
    const QSizeF size(item.size.width() > 0.0 ? item.size.width() : usual.width(),
                      item.size.height() > 0.0 ? item.size.height() : usual.height());
    return placeOf(sheet, item, size * SheetUnits::perMillimeter);
}

QSizeF SheetItems::roomOf(const SheetItem& item, QSizeF otherwise) const {
    const QSizeF size = item.size * SheetUnits::perMillimeter;
    return {size.width() > 0.0 ? size.width() : otherwise.width(),
            size.height() > 0.0 ? size.height() : otherwise.height()};
}

const NorthArrow& SheetItems::north() const {
    if (!m_north) {
        m_north.emplace(m_system.get(), m_view);
    }
    return *m_north;
}

double SheetItems::metersPerPixel() const {
    if (!m_metersPerPixel) {
        m_metersPerPixel = ScaleBar::metersPerPixel(m_view, GroundScale(m_system));
    }
    return *m_metersPerPixel;
}

ScaleBar SheetItems::scaleBarOf(const SheetItem& item) const {
    constexpr double usual = 50.0; // millimetres
    const double longest = roomOf(item, {usual * SheetUnits::perMillimeter, 0.0}).width();
    const double ratio = m_view.devicePixelRatio();
    const double perPixel = item.units != ScaleUnits::Degrees                 ? metersPerPixel()
                            : m_system != nullptr && m_system->isGeographic() ? m_view.unitsPerPixel()
                                                                              : 0.0;
    return {perPixel * ratio, item.units, longest, SheetUnits::letters(item.letters)};
}

QStringList SheetItems::problems() const {
    QStringList problems;
    for (const SheetItem& item : m_sheet.items) {
        if (item.kind == SheetItem::Kind::NorthArrow) {
            if (!north().problem().isEmpty()) {
                problems.append(QStringLiteral("no north arrow: ") + north().problem());
            }
        } else if (item.kind == SheetItem::Kind::ScaleBar && scaleBarOf(item).ticks().isEmpty()) {
            problems.append(
                QStringLiteral("no scale bar: the middle of the map has no scale in these units"));
        }
    }
    return problems;
}

void SheetItems::draw(QPainter& painter, const QList<QImage>& insets) const {
    qsizetype inset = 0;
    for (const SheetItem& item : m_sheet.items) {
        painter.save();
        switch (item.kind) {
        case SheetItem::Kind::Text:
            drawText(painter, item);
            break;
        case SheetItem::Kind::ScaleBar:
            drawScaleBar(painter, item);
            break;
        case SheetItem::Kind::NorthArrow:
            drawNorth(painter, item);
            break;
        case SheetItem::Kind::Legend:
            drawLegend(painter, item);
            break;
        case SheetItem::Kind::Inset:
            drawInset(painter, m_insetViews.at(inset), insets.value(inset));
            ++inset;
            break;
        }
        painter.restore();
    }
}

void SheetItems::drawBox(QPainter& painter, const SheetItem& item, const QRectF& place) const {
    if (item.hasBox) {
        const double by = padding(item);
        painter.setBrush(m_sheet.colours.paper);
        painter.setPen(QPen(m_sheet.colours.faintInk, 0.6));
        painter.drawRect(place.adjusted(-by, -by, by, by));
    }
}

SheetItems::Lines SheetItems::linesOf(const SheetItem& item) const {
    const QSizeF page = m_sheet.size * SheetUnits::perMillimeter;
    const double room = item.of == SheetItem::Of::Map ? frameOf(m_sheet).width() : page.width();
    const double beside = std::abs(item.inset.x()) * SheetUnits::perMillimeter;
    const QSizeF most = roomOf(item, {std::max(1.0, room - 2.0 * beside), page.height()});
    const QFont font = sheetFont(SheetUnits::letters(item.letters), item.isBold);
    const double line = font.pixelSize() * lineHeight;
    const QStringList lines =
        wrapped(item.text, font, most.width(),
                std::max<qsizetype>(1, static_cast<qsizetype>(most.height() / line + 1e-6)));
    const QFontMetricsF metrics(font);
    double width = 0.0;
    for (const QString& text : lines) {
        width = std::max(width, std::ceil(metrics.horizontalAdvance(text)));
    }
    return {font, lines, placeOf(m_sheet, item, {width, line * static_cast<double>(lines.size())})};
}

void SheetItems::drawText(QPainter& painter, const SheetItem& item) const {
    const Lines lines = linesOf(item);
    const double line = lines.font.pixelSize() * lineHeight;
    drawBox(painter, item, lines.place);
    painter.setFont(lines.font);
    painter.setPen(item.isFaint ? m_sheet.colours.faintInk : m_sheet.colours.ink);
    for (qsizetype i = 0; i < lines.texts.size(); ++i) {
        painter.drawText(QRectF(lines.place.left(), lines.place.top() + line * static_cast<double>(i),
                                lines.place.width(), line),
                         static_cast<int>((item.align | Qt::AlignVCenter).toInt()) | Qt::TextSingleLine |
                             Qt::TextDontClip,
                         lines.texts.at(i));
    }
}

void SheetItems::drawScaleBar(QPainter& painter, const SheetItem& item) const {
    const ScaleBar bar = scaleBarOf(item);
    if (!bar.ticks().isEmpty()) {
        const QRectF place = placeOf(m_sheet, item, bar.size());
        drawBox(painter, item, place);
        bar.draw(painter, place.topLeft(), m_sheet.colours);
    }
}

QRectF SheetItems::northPlace(const SheetItem& item) const {
    constexpr double usual = 12.0 * SheetUnits::perMillimeter;
    return placeOf(m_sheet, item, roomOf(item, {usual, usual}));
}

void SheetItems::drawNorth(QPainter& painter, const SheetItem& item) const {
    const QRectF place = northPlace(item);
    if (north().angle()) {
        drawBox(painter, item, place);
        north().draw(painter, place, m_sheet.colours);
    }
}

std::optional<SheetItems::Stack> SheetItems::stackOf(const SheetItem& item) const {
    QList<LegendContent> contents;
    for (const SheetLegend& legend : m_legends) {
        if (item.layers.isEmpty() || item.layers.contains(legend.layer)) {
            contents.append(legend.content);
            LegendContent& content = contents.last();
            for (LegendContent::Row& row : content.rows) {
                row.count = item.hasCounts ? row.count : -1;
            }
            content.smallPrint = item.hasCounts ? content.smallPrint : QString();
        }
    }
    if (contents.isEmpty()) {
        return std::nullopt;
    }
    if (!item.text.isEmpty()) {
        if (contents.size() > 1) {
            contents.prepend(LegendContent());
        }
        contents.first().title = item.text;
    }
    const QRectF map = frameOf(m_sheet);
    constexpr double widest = 0.35; // of the map
    const double inset = std::abs(item.inset.y()) * SheetUnits::perMillimeter + padding(item);
    const LegendStack stack(contents, m_sheet.colours,
                            roomOf(item, {map.width() * widest, std::max(1.0, map.height() - 2.0 * inset)}),
                            SheetUnits::letters(item.letters));
    return Stack{stack, placeOf(m_sheet, item, stack.size())};
}

void SheetItems::drawLegend(QPainter& painter, const SheetItem& item) const {
    if (const auto stack = stackOf(item)) {
        drawBox(painter, item, stack->place);
        stack->legends.draw(painter, stack->place.topLeft());
    }
}

std::optional<QRectF> SheetItems::placeOf(const SheetItem& item) const {
    switch (item.kind) {
    case SheetItem::Kind::Text:
        return linesOf(item).place;
    case SheetItem::Kind::ScaleBar: {
        const ScaleBar bar = scaleBarOf(item);
        return bar.ticks().isEmpty() ? std::nullopt : std::optional(placeOf(m_sheet, item, bar.size()));
    }
    case SheetItem::Kind::NorthArrow:
        return north().angle() ? std::optional(northPlace(item)) : std::nullopt;
    case SheetItem::Kind::Legend: {
        const auto stack = stackOf(item);
        return stack ? std::optional(stack->place) : std::nullopt;
    }
    case SheetItem::Kind::Inset:
        return insetFrame(m_sheet, item);
    }
    return std::nullopt;
}

QList<QRectF> SheetItems::boxes() const {
    const double ratio = m_view.devicePixelRatio();
    QList<QRectF> boxes;
    for (const SheetItem& item : m_sheet.items) {
        if (const auto place = placeOf(item)) {
            const double by = padding(item) + SheetUnits::perMillimeter; // air
            const QRectF box = place->adjusted(-by, -by, by, by);
            boxes.append({box.topLeft() * ratio, box.size() * ratio});
        }
    }
    return boxes;
}

void SheetItems::drawInset(QPainter& painter, const MapView& inset, const QImage& picture) const {
    const double ratio = m_view.devicePixelRatio();
    painter.scale(1.0 / ratio, 1.0 / ratio);
    const QRectF frame = inset.frame();
    painter.setClipRect(frame);
    painter.fillRect(frame, m_sheet.map.graticule == GraticuleLines::None ? m_sheet.colours.paper
                                                                          : m_sheet.colours.sea);
    if (!picture.isNull()) {
        painter.drawImage(inset.pictureFrame().topLeft(), picture);
    }
    // What the map shows, and never too small to be seen.
    QPolygonF shown;
    const QRectF map = m_view.frame();
    for (const QPointF& corner : {map.topLeft(), map.topRight(), map.bottomRight(), map.bottomLeft()}) {
        shown.append(inset.toPixel(m_view.toMap(corner)));
    }
    const double least = 4.0 * ratio;
    const QRectF box = shown.boundingRect();
    if (!(box.width() > least && box.height() > least)) {
        const double x = std::max(0.0, least - box.width()) / 2.0;
        const double y = std::max(0.0, least - box.height()) / 2.0;
        shown = QPolygonF(box.adjusted(-x, -y, x, y));
    }
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(m_sheet.colours.paper, 3.0 * ratio));
    painter.drawPolygon(shown);
    painter.setPen(QPen(QColor(0xC0, 0x39, 0x2B), 1.5 * ratio)); // on any land and any sea
    painter.drawPolygon(shown);
    painter.setClipping(false);
    painter.setPen(QPen(m_sheet.colours.faintInk, ratio));
    painter.drawRect(frame);
}

} // namespace Cartolith::Map::Furniture::Internal
