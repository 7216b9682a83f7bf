#include <Cartolith/Map/Furniture/ScaleBar.h>
#include <Cartolith/Map/GroundScale.h>
#include <Cartolith/Map/MapView.h>
#include <Cartolith/Map/NumberText.h>
#include <Cartolith/Map/SheetFont.h>

#include <QFontMetricsF>
#include <QPainter>

#include <algorithm>
#include <cmath>
#include <span>

namespace Cartolith::Map::Furniture {

namespace {

struct Unit {
    double size; ///< in metres or degrees
    const char* name;
};

constexpr Unit metricUnits[] = {
    {1000.0, "\u00A0km"}, {1.0, "\u00A0m"}, {0.01, "\u00A0cm"}, {0.001, "\u00A0mm"}};
constexpr Unit imperialUnits[] = {{1609.344, "\u00A0mi"}, {0.3048, "\u00A0ft"}, {0.0254, "\u00A0in"}};
constexpr Unit degreeUnits[] = {{1.0, "°"}, {1.0 / 60.0, "′"}, {1.0 / 3600.0, "″"}};

std::span<const Unit> unitsOf(ScaleUnits units) {
    switch (units) {
    case ScaleUnits::Imperial:
        return imperialUnits;
    case ScaleUnits::Degrees:
        return degreeUnits;
    case ScaleUnits::Metric:
        break;
    }
    return metricUnits;
}

struct Round {
    double value;
    int parts; ///< that are round numbers, too
};

/// The greatest 1, 2 or 5 times a power of ten that is not greater.
Round roundedDown(double number) {
    const double power = std::pow(10.0, std::floor(std::log10(number)));
    constexpr double nearly = 1.0 - 1e-9;
    for (const auto& [leading, parts] : {Round{10.0, 2}, Round{5.0, 5}, Round{2.0, 2}}) {
        if (leading * power * nearly <= number) {
            return {leading * power, parts};
        }
    }
    return {power, 2};
}

} // namespace

double ScaleBar::metersPerPixel(const MapView& view, const GroundScale& ground) {
    const QPointF center = view.center();
    return view.unitsPerPixel() * ground.metersPerUnitAlong(center.x(), center.y(), view.rotation());
}

ScaleBar::ScaleBar(double groundPerPixel, ScaleUnits units, double longest, int letterPixels)
    : m_font(sheetFont(std::max(1, letterPixels), false)) {
    const double room = groundPerPixel * longest;
    if (!(groundPerPixel > 0.0) || !(room > 0.0) || !std::isfinite(room) || room / groundPerPixel < 1.0) {
        return;
    }
    const auto all = unitsOf(units);
    const auto unit =
        std::find_if(all.begin(), all.end() - 1, [room](const Unit& one) { return room >= one.size; });
    const Round round = roundedDown(room / unit->size);
    const QFontMetricsF metrics(m_font);
    // The parts in between are labelled where their labels have room.
    for (const int parts : {round.parts, 1}) {
        QList<double> values;
        for (int i = 0; i <= parts; ++i) {
            values.append(QString::number(round.value * i / parts, 'g', 12).toDouble());
        }
        QStringList texts = NumberText::alike(values);
        texts.first() = QStringLiteral("0");
        texts.last() += QString::fromUtf8(unit->name);
        double widest = 0.0;
        for (const QString& text : std::as_const(texts)) {
            widest = std::max(widest, metrics.horizontalAdvance(text));
        }
        m_ticks.clear();
        for (int i = 0; i <= parts; ++i) {
            m_ticks.append({round.value * unit->size * i / parts / groundPerPixel, texts.at(i)});
        }
        if (widest + letterPixels * 0.5 <= length() / parts) {
            break;
        }
    }
    m_left = std::ceil(metrics.horizontalAdvance(m_ticks.constFirst().label) / 2.0);
    const double right = std::ceil(metrics.horizontalAdvance(m_ticks.constLast().label) / 2.0);
    m_size = {m_left + length() + right, std::ceil(letterPixels * 1.9)};
}

void ScaleBar::draw(QPainter& painter, QPointF topLeft, const SheetColours& colours) const {
    if (m_ticks.isEmpty()) {
        return;
    }
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setFont(m_font);
    const double letters = m_font.pixelSize();
    const double height = letters * 0.4;
    const QRectF bar(topLeft.x() + m_left, topLeft.y() + m_size.height() - height - 0.5, length(), height);
    painter.setPen(QPen(colours.ink, 1.0));
    painter.setBrush(colours.paper);
    painter.drawRect(bar);
    for (qsizetype i = 0; i < m_ticks.size(); ++i) {
        const Tick& tick = m_ticks.at(i);
        const double width = m_size.width();
        painter.setPen(colours.ink);
        painter.drawText(QRectF(bar.left() + tick.pixels - width, topLeft.y(), 2.0 * width, letters * 1.3),
                         Qt::AlignCenter | Qt::TextSingleLine, tick.label);
        // One part is halved, so that it shows as a bar.
        const double end = m_ticks.size() == 2      ? tick.pixels + length() / 2.0
                           : i + 1 < m_ticks.size() ? m_ticks.at(i + 1).pixels
                                                    : tick.pixels;
        if (i % 2 == 0 && i + 1 < m_ticks.size()) {
            painter.fillRect(
                QRectF(QPointF(bar.left() + tick.pixels, bar.top()), QPointF(bar.left() + end, bar.bottom())),
                colours.ink);
        }
    }
    painter.restore();
}

} // namespace Cartolith::Map::Furniture
