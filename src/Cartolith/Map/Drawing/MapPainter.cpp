#include <Cartolith/Core/Layers/GisLayerVector.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Core/Symbology/GisFeatureSymbol.h>
#include <Cartolith/Core/Symbology/GisSymbolContext.h>
#include <Cartolith/Core/Symbology/GisSymbolRenderer.h>
#include <Cartolith/Map/MapPainter.h>

#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

using namespace Cartolith::Core;
using Layers::GisLayerStyle;
using Layers::GisLayerVector;
using Shapes::GisShape;
using Shapes::GisShapePoint;
using Symbology::GisFeatureSymbol;

namespace Cartolith::Map {

QList<GisShape*> MapPainter::visibleShapes(GisLayerVector& layer, const MapView& view) {
    QList<GisShape*> shapes = layer.query(view.visibleExtent());
    // An index answers in its own order; ids are positions in the layer.
    std::sort(shapes.begin(), shapes.end(),
              [](const GisShape* a, const GisShape* b) { return a->id() < b->id(); });
    return shapes;
}

MapPainter::Styles MapPainter::stylesFor(const GisLayerVector& layer, const QList<GisShape*>& shapes) {
    Styles styles;
    const Symbology::GisSymbolRenderer* renderer = layer.symbolRenderer();
    const auto styleOf = [&](const GisShape& shape) {
        const Symbology::GisSymbolContext context(shape);
        return GisFeatureSymbol::resolved(renderer == nullptr ? layer.style()
                                                              : renderer->styleForFeature(context),
                                          context, shape.shapeType());
    };
    const bool isUniform =
        (renderer == nullptr || !renderer->usesFeatureAttributes()) &&
        (shapes.isEmpty() || GisFeatureSymbol::fieldsOf(
                                 renderer == nullptr ? layer.style()
                                                     : renderer->styleForFeature(
                                                           Symbology::GisSymbolContext(*shapes.constFirst())))
                                 .isEmpty());
    if (renderer == nullptr && isUniform) {
        styles.m_styles.append(layer.style());
        return styles;
    }
    const qsizetype count = isUniform ? std::min<qsizetype>(shapes.size(), 1) : shapes.size();
    styles.m_styles.reserve(count);
    for (; styles.m_asked < count; ++styles.m_asked) {
        styles.m_styles.append(styleOf(*shapes.at(styles.m_asked)));
    }
    return styles;
}

void MapPainter::draw(const QList<GisShape*>& shapes, const Styles& styles, const LineCasing& casing) {
    m_painter.save();
    m_painter.setClipRect(m_view.frame(), Qt::IntersectClip);
    m_painter.setRenderHint(QPainter::Antialiasing);
    SymbolPainter symbols(m_painter);
    symbols.setPatternOrigin(m_view.toPixel(0.0, 0.0));
    for (const auto below : {&SymbolPainter::halo, &SymbolPainter::casing}) {
        for (qsizetype i = 0; i < shapes.size(); ++i) {
            const GisLayerStyle& style = styles.at(i);
            const auto* const line = dynamic_cast<const Shapes::GisShapePolyline*>(shapes.at(i));
            if (line != nullptr && (style.haloWidth() > 0.0F || style.casingWidth() > 0.0F ||
                                    casing.lines.contains(style.lineColor()))) {
                for (const QList<GisShapePoint>& part : line->parts()) {
                    (symbols.*below)(toPixels(part), style, casing);
                }
            }
        }
    }
    for (qsizetype i = 0; i < shapes.size(); ++i) {
        drawShape(symbols, *shapes.at(i), styles.at(i));
    }
    m_painter.restore();
}

QPolygonF MapPainter::toPixels(const QList<GisShapePoint>& vertices) const {
    // Vertices that fall on the same spot of the picture change nothing in it.
    constexpr double step = 0.2;
    QPolygonF pixels;
    pixels.reserve(vertices.size());
    for (qsizetype i = 0; i < vertices.size(); ++i) {
        const QPointF pixel = m_view.toPixel(vertices[i].x(), vertices[i].y());
        const bool end = i == 0 || i + 1 == vertices.size();
        if (end || std::abs(pixel.x() - pixels.last().x()) > step ||
            std::abs(pixel.y() - pixels.last().y()) > step) {
            pixels.append(pixel);
        }
    }
    return pixels;
}

void MapPainter::drawShape(SymbolPainter& symbols, const GisShape& shape, const GisLayerStyle& style) const {
    if (const auto* point = dynamic_cast<const GisShapePoint*>(&shape)) {
        symbols.point(m_view.toPixel(point->x(), point->y()), style);
    } else if (const auto* line = dynamic_cast<const Shapes::GisShapePolyline*>(&shape)) {
        for (const QList<GisShapePoint>& part : line->parts()) {
            symbols.line(toPixels(part), style);
        }
    } else if (const auto* polygon = dynamic_cast<const Shapes::GisShapePolygon*>(&shape)) {
        QPainterPath path;
        path.setFillRule(Qt::OddEvenFill);
        for (const QList<GisShapePoint>& ring : polygon->parts()) {
            const QPolygonF pixels = toPixels(ring);
            constexpr qsizetype fewest = 4; // around anything, closed
            if (pixels.size() >= fewest) {
                path.addPolygon(pixels);
                path.closeSubpath();
            } else if (!pixels.isEmpty()) { // of no size to be seen, but of a place
                constexpr double least = 0.1;
                path.addRect(pixels.boundingRect().adjusted(-least, -least, least, least));
            }
        }
        symbols.area(path, style);
    }
}

} // namespace Cartolith::Map
