#include <Cartolith/Map/SymbolPainter.h>

#include <QPainter>
#include <QPainterPath>

#include <algorithm>

using Cartolith::Core::Layers::GisLayerStyle;

namespace Cartolith::Map {

namespace {

/// Sizes in pixels may come from a file: no size of a picture is beyond this, and NaN is none.
double sane(float size) {
    return size > 0.0F ? std::min(static_cast<double>(size), 10000.0) : 0.0;
}

} // namespace

void SymbolPainter::use(Pens pens, const GisLayerStyle& style) {
    // Reading colours from text costs more than drawing a small shape; neighbours mostly look alike.
    if (m_pens == pens && m_inUse == style) {
        return;
    }
    QColor fill(pens == Pens::Point ? style.pointColor() : style.fillColor());
    if (pens == Pens::Shape) {
        fill.setAlpha(fill.alpha() * std::clamp(style.fillOpacity(), 0, 255) / 255);
    }
    m_painter.setBrush(fill);
    const double width = sane(style.lineWidth());
    m_painter.setPen(width > 0.0
                         ? QPen(QColor(style.lineColor()), width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin)
                         : QPen(Qt::NoPen));
    m_inUse = style;
    m_pens = pens;
}

void SymbolPainter::area(const QPainterPath& path, const GisLayerStyle& style) {
    use(Pens::Shape, style);
    m_painter.drawPath(path);
}

void SymbolPainter::line(const QPolygonF& line, const GisLayerStyle& style) {
    use(Pens::Shape, style);
    m_painter.drawPolyline(line);
}

void SymbolPainter::casing(const QPolygonF& line, const GisLayerStyle& style, const LineCasing& casing) {
    if (!casing.lines.contains(style.lineColor())) {
        return;
    }
    constexpr float beside = 0.8F; // pixels on each side
    GisLayerStyle wider = style;
    wider.setLineColor(casing.colour.name());
    wider.setLineWidth(style.lineWidth() + 2.0F * beside);
    use(Pens::Shape, wider);
    m_painter.drawPolyline(line);
}

void SymbolPainter::point(QPointF centre, const GisLayerStyle& style) {
    use(Pens::Point, style);
    const double radius = sane(style.pointSize()) * 0.5;
    m_painter.drawEllipse(centre, radius, radius);
}

} // namespace Cartolith::Map
