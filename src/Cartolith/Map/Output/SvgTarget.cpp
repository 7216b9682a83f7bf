#include <Cartolith/Map/Drawing/PictureBlendInternal.h>
#include <Cartolith/Map/Labels/LabelVectors.h>
#include <Cartolith/Map/Output/SvgPaintingInternal.h>
#include <Cartolith/Map/Output/SvgTargetInternal.h>

#include <QPainterPath>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

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

int SvgTarget::addSymbol(const Symbol::Marker& marker) {
    if (marker.svg == nullptr && !(marker.haloWidth > 0.0)) {
        return m_svg.addSymbol(marker.path(), marker.color, marker.outline);
    }
    // Gradients become pictures: of a device that holds all of the marker, and finer than it is seen.
    constexpr double larger = 8.0;
    const double middle = std::ceil(marker.reach() + 1.0) * larger;
    const int symbol = m_svg.beginSymbol({middle, middle}, larger);
    paintSvg(m_svg, QSizeF(middle, middle) * 2.0, [&](QPainter& painter) {
        painter.translate(middle, middle);
        painter.scale(larger, larger);
        marker.paint(painter, {});
    });
    m_svg.end();
    return symbol;
}

void SvgTarget::marker(qsizetype style, const Symbol::Marker& marker, QPointF place) {
    if (!(marker.size > 0.0)) {
        return;
    }
    auto symbol = m_symbols.constFind(style);
    if (symbol == m_symbols.cend()) {
        symbol = m_symbols.insert(style, addSymbol(marker));
    }
    m_svg.marker(*symbol, place);
}

void SvgTarget::picture(const QRectF& frame, const QImage& image) {
    m_svg.image(frame, image);
}

void SvgTarget::label(const Labels::PlacedLabel& label) {
    const Labels::LabelFont& font = label.text->font();
    const QList<Labels::LabelRun> runs = Labels::labelRuns(*label.text, label.boxes);
    if (runs.isEmpty()) {
        return;
    }
    SvgText text;
    text.text = label.text->text();
    text.baseline = runs.constFirst().start;
    text.family = font.family;
    text.size = font.size;
    text.isBold = font.bold;
    text.isItalic = font.italic;
    text.color = label.look.color;
    if (runs.size() == 1) {
        text.rotation = runs.constFirst().rotation;
        text.length = runs.constFirst().width;
        m_svg.text(text);
        return;
    }
    std::vector<SvgTextPiece> pieces;
    for (const Labels::LabelRun& run : runs) {
        pieces.push_back({run.text, run.start, run.rotation, run.width});
    }
    const QPointF along = runs.constLast().start - runs.constFirst().start;
    text.rotation = std::atan2(along.y(), along.x()) * 180.0 / std::numbers::pi;
    text.length = std::hypot(along.x(), along.y()) + runs.constLast().width;
    m_svg.text(text, pieces);
}

/// All halos lie below all letters.
void SvgTarget::labels(std::span<const Labels::PlacedLabel> labels) {
    m_svg.beginLayer(QStringLiteral("labels"));
    m_svg.beginClip(m_frame);
    struct Halo {
        QColor color;
        double width;
        int number;
    };
    std::vector<Halo> halos;
    const auto widthOf = [](const Labels::PlacedLabel& label) {
        return label.look.haloWidth > 0.0 ? label.look.haloWidth : 0.0;
    };
    const auto isOf = [&widthOf](const Labels::PlacedLabel& label, const Halo& halo) {
        return widthOf(label) == halo.width && (halo.number == 0 || label.look.haloColor == halo.color);
    };
    for (const Labels::PlacedLabel& label : labels) {
        if (std::none_of(halos.cbegin(), halos.cend(), [&](const Halo& halo) { return isOf(label, halo); })) {
            const double width = widthOf(label);
            const int number = width > 0.0 ? m_svg.addHalo(label.look.haloColor, width) : 0;
            halos.push_back({label.look.haloColor, width, number});
        }
    }
    for (const Halo& halo : halos) {
        if (halo.number > 0) {
            m_svg.beginTexts(halo.number);
        }
        for (const Labels::PlacedLabel& label : labels) {
            if (isOf(label, halo)) {
                this->label(label);
            }
        }
        if (halo.number > 0) {
            m_svg.end();
        }
    }
    endLayer();
}

} // namespace Cartolith::Map::Output::Internal
