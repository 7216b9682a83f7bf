#include <Cartolith/Map/Labels/LabelGeometryInternal.h>
#include <Cartolith/Map/Labels/LabelVectors.h>
#include <Cartolith/Map/Labels/TextLayoutInternal.h>

#include <QGlyphRun>
#include <QPainter>
#include <QPen>

namespace Cartolith::Map::Labels {

namespace {

bool joinsNext(QChar c) {
    const auto type = c.joiningType();
    return type == QChar::Joining_Dual || type == QChar::Joining_Left || type == QChar::Joining_Causing;
}

bool joinsLast(QChar c) {
    const auto type = c.joiningType();
    return type == QChar::Joining_Dual || type == QChar::Joining_Right || type == QChar::Joining_Causing;
}

/// The nearest letter that is not a mark, from there on, one way or the other; a space when there is none.
QChar letterFrom(const QString& text, qsizetype i, int step) {
    while (i >= 0 && i < text.size() && text.at(i).joiningType() == QChar::Joining_Transparent) {
        i += step;
    }
    return i >= 0 && i < text.size() ? text.at(i) : QChar(u' ');
}

QString standingAlone(const QString& text, const LabelCluster& cluster) {
    constexpr QChar joiner(0x200D);
    const qsizetype to = cluster.from + cluster.length;
    QString alone = text.mid(cluster.from, cluster.length);
    if (joinsNext(letterFrom(text, cluster.from - 1, -1)) && joinsLast(letterFrom(text, cluster.from, 1))) {
        alone.prepend(joiner);
    }
    if (joinsNext(letterFrom(text, to - 1, -1)) && joinsLast(letterFrom(text, to, 1))) {
        alone.append(joiner);
    }
    return alone;
}

void drawLetters(QPainter& painter, const PlacedLabel& label) {
    const LabelText& text = *label.text;
    const double scale = text.font().size / Internal::outlineEm;
    const Internal::OutlineLayout laid(text.text(), text.font());
    const auto at = [&](const Internal::ClusterPlace& place, auto drawThere) {
        painter.save();
        painter.translate(place.start);
        painter.rotate(place.rotation);
        painter.scale(scale, scale);
        drawThere();
        painter.restore();
    };
    painter.setPen(label.look.color);
    if (label.boxes.size() == 1) {
        at(Internal::placeOf(text, label.boxes[0]),
           [&] { laid.layout().draw(&painter, QPointF(-laid.left(), -laid.baseline())); });
        return;
    }
    std::size_t number = 0;
    for (const LabelCluster& cluster : text.clusters()) {
        at(Internal::placeOf(text, label.boxes[number++]), [&] {
            const QPointF origin(-laid.left() - cluster.left / scale, -laid.baseline());
            for (const QGlyphRun& run :
                 laid.line().glyphRuns(static_cast<int>(cluster.from), static_cast<int>(cluster.length))) {
                painter.drawGlyphRun(origin, run);
            }
        });
    }
}

} // namespace

QList<LabelRun> labelRuns(const LabelText& text, std::span<const LabelBox> boxes) {
    QList<LabelRun> runs;
    if (!Internal::isDrawable(text, boxes)) {
        return runs;
    }
    if (boxes.size() == 1) {
        runs.append(
            {text.text(), Internal::placeOf(text, boxes[0]).start, boxes[0].rotation, text.size().width()});
        return runs;
    }
    for (std::size_t i = 0; i < boxes.size(); ++i) {
        runs.append({standingAlone(text.text(), text.clusters()[i]), Internal::placeOf(text, boxes[i]).start,
                     boxes[i].rotation, text.advances()[i]});
    }
    return runs;
}

QPainterPath labelOutline(const LabelText& text, std::span<const LabelBox> boxes) {
    QPainterPath path;
    path.setFillRule(Qt::WindingFill);
    if (Internal::isDrawable(text, boxes)) {
        Internal::forEachGlyph(text, boxes,
                               [&](const Internal::GlyphOutline& outline, const QTransform& toView) {
                                   path.addPath(toView.map(outline.path));
                               });
    }
    return path;
}

void drawLabels(QPainter& painter, std::span<const PlacedLabel> labels) {
    painter.save();
    for (const PlacedLabel& label : labels) {
        if (label.text != nullptr && label.look.haloWidth > 0.0) {
            painter.strokePath(labelOutline(*label.text, label.boxes),
                               QPen(label.look.haloColor, 2.0 * label.look.haloWidth, Qt::SolidLine,
                                    Qt::RoundCap, Qt::RoundJoin));
        }
    }
    for (const PlacedLabel& label : labels) {
        if (label.text != nullptr && Internal::isDrawable(*label.text, label.boxes)) {
            drawLetters(painter, label);
        }
    }
    painter.restore();
}

} // namespace Cartolith::Map::Labels
