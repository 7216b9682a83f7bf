#include <Cartolith/Map/Labels/LabelVectors.h>
#include <Cartolith/Map/Output/PdfTargetInternal.h>

#include <QPainter>
#include <QPainterPath>

#include <cmath>
#include <vector>

namespace Cartolith::Map::Output::Internal {

namespace {

QPainterPath pathOf(std::span<const double> parts, std::span<const qsizetype> ends, bool areClosed) {
    QPainterPath path;
    qsizetype from = 0;
    for (const qsizetype end : ends) {
        for (qsizetype i = from; i < end; ++i) {
            const auto at = static_cast<std::size_t>(i) * 2;
            const QPointF p(parts[at] * PdfTarget::steps, parts[at + 1] * PdfTarget::steps);
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

QPen penOf(const Raster::Stroke& stroke) {
    if (!(stroke.width > 0.0) || stroke.color.alpha() == 0) {
        return Qt::NoPen;
    }
    const double width = stroke.width * PdfTarget::steps;
    QPen pen(stroke.color, width, Qt::SolidLine,
             stroke.cap == Raster::LineCap::Round ? Qt::RoundCap : Qt::FlatCap,
             stroke.join == Raster::LineJoin::Round ? Qt::RoundJoin : Qt::MiterJoin);
    pen.setMiterLimit(stroke.mitreLimit);
    QList<qreal> dashes;
    double sum = 0.0;
    for (const double dash : stroke.dashes) {
        dashes.append(dash > 0.0 && qIsFinite(dash) ? dash / stroke.width : 0.0); // Qt counts in widths
        sum += dashes.constLast();
    }
    if (sum * stroke.width > 1e-3) {
        dashes.append(dashes.size() % 2 == 0 ? QList<qreal>() : dashes);
        pen.setDashPattern(dashes);
        pen.setDashOffset(stroke.dashOffset / stroke.width);
    }
    return pen;
}

} // namespace

PdfTarget::PdfTarget(QPainter& painter, const QRectF& frame, PdfGroups& groups)
    : m_painter(painter), m_frame(frame), m_groups(groups) {}

void PdfTarget::beginLayer(const MapRenderJob::Layer& layer) {
    m_isGroup = layer.opacity < 1.0 || layer.blend != LayerBlend::Normal;
    if (m_isGroup) {
        m_groups.begin(m_painter, layer.opacity, layer.blend);
    }
    m_painter.save();
    m_painter.setClipRect(m_frame);
    m_painter.scale(step(), step());
}

void PdfTarget::endLayer() {
    m_painter.restore();
    if (m_isGroup) {
        m_groups.end(m_painter);
    }
}

void PdfTarget::draw(const QPainterPath& path, const QColor& fill, const Raster::Stroke& stroke) {
    m_painter.setBrush(fill.isValid() && fill.alpha() > 0 ? QBrush(fill) : QBrush(Qt::NoBrush));
    if (stroke.casing > 0.0) {
        Raster::Stroke wider = stroke;
        wider.width += 2.0 * stroke.casing;
        wider.color = stroke.casingColor;
        m_painter.setPen(penOf(wider));
        m_painter.drawPath(path);
        m_painter.setBrush(Qt::NoBrush);
    }
    m_painter.setPen(penOf(stroke));
    m_painter.drawPath(path);
}

void PdfTarget::area(std::span<const double> rings, std::span<const qsizetype> ends, const QColor& fill,
                     const Raster::Stroke& outline) {
    draw(pathOf(rings, ends, true), fill, outline);
}

void PdfTarget::line(std::span<const double> parts, std::span<const qsizetype> ends,
                     const Raster::Stroke& stroke) {
    draw(pathOf(parts, ends, false), QColor(), stroke);
}

void PdfTarget::marker(qsizetype /*style*/, const Map::Internal::SymbolLook& look, QPointF place) {
    if (!m_frame.adjusted(-look.markerSize, -look.markerSize, look.markerSize, look.markerSize)
             .contains(place)) {
        return;
    }
    QPainterPath circle;
    circle.addEllipse(place * steps, look.markerSize * steps / 2.0, look.markerSize * steps / 2.0);
    draw(circle, look.markerColor, look.line);
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
    Labels::drawLabels(m_painter, letters);
    m_painter.restore();
}

} // namespace Cartolith::Map::Output::Internal
