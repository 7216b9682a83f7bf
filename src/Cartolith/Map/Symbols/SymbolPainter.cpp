#include <Cartolith/Map/SymbolPainter.h>

#include <QPainter>
#include <QPainterPath>

using Cartolith::Core::Layers::GisLayerStyle;

namespace Cartolith::Map {

const Symbol& SymbolPainter::symbolOf(const GisLayerStyle& style) {
    // Reading colours from text costs more than drawing a small shape; neighbours mostly look alike.
    if (!m_symbol || !(m_inUse == style)) {
        m_symbol.emplace(style);
        m_inUse = style;
    }
    return *m_symbol;
}

void SymbolPainter::stroke(const QPolygonF& line, const Raster::Stroke& stroke) {
    if (stroke.width > 0.0) {
        m_painter.setPen(Symbol::penOf(stroke));
        m_painter.drawPolyline(line);
    }
}

void SymbolPainter::area(const QPainterPath& path, const GisLayerStyle& style) {
    const Symbol& symbol = symbolOf(style);
    const QPen outline = symbol.line.width > 0.0 ? Symbol::penOf(symbol.line) : QPen(Qt::NoPen);
    m_painter.setBrush(symbol.fill.color);
    if (symbol.fill.pattern.isDrawn() || symbol.outlineCasing) {
        m_painter.setPen(Qt::NoPen);
        m_painter.drawPath(path);
        Symbol::paint(m_painter, path, symbol.fill.pattern, m_origin);
        m_painter.setBrush(Qt::NoBrush);
        if (symbol.outlineCasing) {
            m_painter.setPen(Symbol::penOf(*symbol.outlineCasing));
            m_painter.drawPath(path);
        }
    }
    m_painter.setPen(outline);
    m_painter.drawPath(path);
}

void SymbolPainter::line(const QPolygonF& line, const GisLayerStyle& style) {
    stroke(line, symbolOf(style).line);
}

void SymbolPainter::halo(const QPolygonF& line, const GisLayerStyle& style, const LineCasing& casing) {
    if (style.haloWidth() > 0.0F) {
        stroke(line, *Symbol(style, 1.0, casing).halo);
    }
}

void SymbolPainter::casing(const QPolygonF& line, const GisLayerStyle& style, const LineCasing& casing) {
    if (const Symbol symbol(style, 1.0, casing); symbol.casing) {
        stroke(line, *symbol.casing);
    }
}

void SymbolPainter::point(QPointF centre, const GisLayerStyle& style) {
    symbolOf(style).marker.paint(m_painter, centre);
}

} // namespace Cartolith::Map
