#include <Cartolith/Map/Labels/LabelVectors.h>
#include <Cartolith/Map/Output/PdfTargetInternal.h>

#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>
#include <vector>

namespace Cartolith::Map::Output::Internal {

QPainterPath pathOf(std::span<const double> parts, std::span<const qsizetype> ends, bool areClosed,
                    double scale) {
    QPainterPath path;
    qsizetype from = 0;
    for (const qsizetype end : ends) {
        for (qsizetype i = from; i < end; ++i) {
            const auto at = static_cast<std::size_t>(i) * 2;
            const QPointF p(parts[at] * scale, parts[at + 1] * scale);
            if (i == from) {
                path.moveTo(p);
            } else {
                path.lineTo(p);
            }
        }
        if (areClosed) {
            path.closeSubpath();
        } else if (end == from + 1) {
            path.lineTo(path.currentPosition() + QPointF(1.0, 0.0)); // a round cap is seen
        }
        from = end;
    }
    return path;
}

namespace {

/// In steps of the page.
QPen penOf(Raster::Stroke stroke) {
    if (!(stroke.width > 0.0) || stroke.color.alpha() == 0) {
        return Qt::NoPen;
    }
    stroke.width *= PdfTarget::steps;
    stroke.dashOffset *= PdfTarget::steps;
    for (double& dash : stroke.dashes) {
        dash *= PdfTarget::steps;
    }
    return Symbol::penOf(stroke);
}

/// Readers put glyphs together as words that stand in a level row: not those of a name along a line, nor of
/// scripts with marks and ligatures that are no characters. These begin after Arabic, whose glyphs all say
/// their letters; readers that turn its glyphs around would do so with a marked text, too.
bool saysItself(const Labels::PlacedLabel& label) {
    constexpr char16_t afterArabic = 0x0780;
    const QString text = label.text->text();
    return label.boxes.size() == 1 && label.boxes[0].rotation == 0.0 &&
           std::all_of(text.cbegin(), text.cend(),
                       [](QChar c) { return c.unicode() < afterArabic || !c.isLetterOrNumber(); });
}

} // namespace

PdfTarget::PdfTarget(QPainter& painter, const QRectF& frame, PdfForms& forms)
    : m_painter(painter), m_frame(frame), m_forms(forms) {}

void PdfTarget::beginLayer(const MapRenderJob::Layer& layer) {
    m_isGroup = layer.opacity < 1.0 || layer.blend != LayerBlend::Normal;
    if (m_isGroup) {
        m_forms.beginGroup(m_painter, layer.opacity, layer.blend);
    }
    m_numbers.clear();
    m_painter.save();
    m_painter.setClipRect(m_frame);
    m_painter.scale(step(), step());
}

void PdfTarget::endLayer() {
    m_painter.restore();
    if (m_isGroup) {
        m_forms.endGroup(m_painter);
    }
}

void PdfTarget::draw(const QPainterPath& path, const QColor& fill, const Raster::Stroke& stroke) {
    m_painter.setBrush(fill.isValid() && fill.alpha() > 0 ? QBrush(fill) : QBrush(Qt::NoBrush));
    m_painter.setPen(penOf(stroke));
    m_painter.drawPath(path);
}

void PdfTarget::area(std::span<const double> rings, std::span<const qsizetype> ends, const Symbol& symbol,
                     QPointF origin) {
    const QPainterPath path = pathOf(rings, ends, true, steps);
    QColor fill = symbol.fill.color;
    if (symbol.fill.pattern.isDrawn()) {
        draw(path, fill, {.width = 0.0});
        fill = QColor();
        m_painter.save();
        m_painter.scale(steps, steps);
        Symbol::paint(m_painter, pathOf(rings, ends, true), symbol.fill.pattern, origin);
        m_painter.restore();
    }
    if (symbol.outlineCasing) {
        draw(path, fill, *symbol.outlineCasing);
        fill = QColor();
    }
    draw(path, fill, symbol.line);
}

void PdfTarget::line(std::span<const double> parts, std::span<const qsizetype> ends,
                     const Raster::Stroke& stroke) {
    draw(pathOf(parts, ends, false, steps), QColor(), stroke);
}

void PdfTarget::marker(qsizetype style, const Symbol::Marker& marker, QPointF place) {
    const double reach = marker.reach();
    if (!(marker.size > 0.0) || !m_frame.adjusted(-reach, -reach, reach, reach).contains(place)) {
        return;
    }
    auto number = m_numbers.constFind(style);
    if (number == m_numbers.cend()) {
        number = m_numbers.insert(style, m_forms.addMarker());
        m_markers.append(marker);
    }
    m_forms.drawPlace(m_painter, *number, {std::round(place.x() * steps), std::round(place.y() * steps)});
}

void PdfTarget::drawMarkers() {
    m_painter.save();
    m_painter.resetTransform();
    for (qsizetype i = 0; i < m_markers.size(); ++i) {
        const Symbol::Marker& marker = m_markers.at(i);
        const double middle = std::ceil(marker.reach() + 1.0) * steps;
        m_forms.beginMarker(m_painter, static_cast<int>(i), QRectF(0.0, 0.0, 2.0 * middle, 2.0 * middle));
        m_painter.translate(middle, middle);
        m_painter.scale(steps, steps);
        marker.paint(m_painter, {});
        m_forms.endMarker(m_painter);
    }
    m_painter.restore();
}

void PdfTarget::picture(const QRectF& frame, const QImage& image) {
    m_painter.setRenderHint(QPainter::LosslessImageRendering);
    m_painter.drawImage(QRectF(frame.topLeft() * steps, frame.size() * steps), image);
}

void PdfTarget::labels(std::span<const Labels::PlacedLabel> labels) {
    m_painter.save();
    m_painter.setClipRect(m_frame);
    m_painter.scale(step(), step());
    std::vector<Labels::PlacedLabel> letters;
    for (const Labels::PlacedLabel& label : labels) {
        letters.push_back(label);
        letters.back().look.haloWidth = 0.0;
        if (label.look.haloWidth > 0.0) {
            QPainterPath outline = Labels::labelOutline(*label.text, label.boxes);
            for (int i = 0; i < outline.elementCount(); ++i) {
                const QPainterPath::Element at = outline.elementAt(i);
                outline.setElementPositionAt(i, std::round(at.x * steps), std::round(at.y * steps));
            }
            m_painter.strokePath(outline,
                                 penOf({.color = label.look.haloColor, .width = 2.0 * label.look.haloWidth}));
        }
    }
    m_painter.scale(steps, steps);
    for (const Labels::PlacedLabel& label : letters) {
        const bool isMarked = !saysItself(label);
        if (isMarked) {
            m_forms.beginText(m_painter, label.text->text());
        }
        Labels::drawLabels(m_painter, {&label, 1});
        if (isMarked) {
            m_forms.endText(m_painter);
        }
    }
    m_painter.restore();
}

} // namespace Cartolith::Map::Output::Internal
