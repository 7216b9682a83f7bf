#include <Cartolith/Map/Drawing/PictureBlendInternal.h>
#include <Cartolith/Map/Labels/LabelVectors.h>
#include <Cartolith/Map/Output/SvgPaintingInternal.h>
#include <Cartolith/Map/Output/SvgTargetInternal.h>

#include <QPainterPath>

#include <cmath>

namespace Cartolith::Map::Output::Internal {

SvgTarget::SvgTarget(SvgWriter& svg, const QRectF& frame, int decimals)
    : m_svg(svg), m_frame(frame), m_step(std::pow(10.0, -decimals)) {}

void SvgTarget::beginLayer(const MapRenderJob::Layer& layer) {
    m_symbols.clear();
    m_ids.clear();
    m_svg.beginLayer(layer.snapshot.layerName(), layer.opacity, Map::Internal::compositionMode(layer.blend));
    m_svg.beginClip(m_frame);
}

void SvgTarget::endLayer() {
    m_svg.end();
    m_svg.end();
}

/// Parts of a feature that come apart may be several shapes: the first has the name.
void SvgTarget::beginFeature(qint64 id) {
    m_isNamed = !m_ids.contains(id);
    if (m_isNamed) {
        m_ids.insert(id);
        m_svg.beginFeature(id);
    }
}

void SvgTarget::endFeature() {
    if (m_isNamed) {
        m_svg.end();
    }
}

void SvgTarget::area(std::span<const double> rings, std::span<const qsizetype> ends, const Symbol& symbol,
                     QPointF origin) {
    const bool isPlain = !symbol.fill.pattern.isDrawn() && !symbol.outlineCasing;
    if (isPlain) {
        m_svg.area(rings, ends, symbol.fill.color, symbol.line);
        return;
    }
    m_svg.fill(rings, ends, symbol.fill.color);
    paintSvg(m_svg, m_frame.size(), [&](QPainter& painter) {
        Symbol::paint(painter, pathOf(rings, ends, true), symbol.fill.pattern, origin);
    });
    if (symbol.outlineCasing) {
        m_svg.stroke(rings, ends, *symbol.outlineCasing, true);
    }
    m_svg.stroke(rings, ends, symbol.line, true);
}

void SvgTarget::line(std::span<const double> parts, std::span<const qsizetype> ends,
                     const Raster::Stroke& stroke) {
    m_svg.stroke(parts, ends, stroke);
}

void SvgTarget::marker(qsizetype style, const Symbol::Marker& marker, QPointF place) {
    if (!(marker.size > 0.0)) {
        return;
    }
    if (marker.svg != nullptr || marker.haloWidth > 0.0) { // more than a path
        paintSvg(m_svg, m_frame.size(), [&](QPainter& painter) { marker.paint(painter, place); });
        return;
    }
    auto symbol = m_symbols.constFind(style);
    if (symbol == m_symbols.cend()) {
        symbol = m_symbols.insert(style, m_svg.addSymbol(marker.path(), marker.color, marker.outline));
    }
    m_svg.marker(*symbol, place);
}

void SvgTarget::picture(const QRectF& frame, const QImage& image) {
    m_svg.image(frame, image);
}

void SvgTarget::labels(std::span<const Labels::PlacedLabel> labels) {
    m_svg.beginLayer(QStringLiteral("labels"));
    m_svg.beginClip(m_frame);
    for (const Labels::PlacedLabel& label : labels) {
        const Labels::LabelFont& font = label.text->font();
        SvgText text;
        text.family = font.family;
        text.size = font.size;
        text.isBold = font.bold;
        text.isItalic = font.italic;
        const QList<Labels::LabelRun> runs = Labels::labelRuns(*label.text, label.boxes);
        const auto write = [&](const Labels::LabelRun& run, const QColor& color, double haloWidth) {
            text.text = run.text;
            text.baseline = run.start;
            text.rotation = run.rotation;
            text.length = run.width;
            text.color = color;
            text.haloWidth = haloWidth;
            text.haloColor = label.look.haloColor;
            m_svg.text(text);
        };
        // On a curve, no halo may hide the letter before.
        const bool hasHalosFirst = runs.size() > 1 && label.look.haloWidth > 0.0;
        for (const Labels::LabelRun& run : hasHalosFirst ? runs : QList<Labels::LabelRun>()) {
            write(run, label.look.haloColor, label.look.haloWidth);
        }
        for (const Labels::LabelRun& run : runs) {
            write(run, label.look.color, hasHalosFirst ? 0.0 : label.look.haloWidth);
        }
    }
    endLayer();
}

} // namespace Cartolith::Map::Output::Internal
