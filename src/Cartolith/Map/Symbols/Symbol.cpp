#include <Cartolith/Map/SvgMarker.h>
#include <Cartolith/Map/Symbol.h>
#include <Cartolith/Map/Symbols/SaneSizeInternal.h>

#include <QPainter>
#include <QTransform>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <stdexcept>

using Cartolith::Core::Layers::GisLayerStyle;
using Cartolith::Core::Layers::MarkerShape;

namespace Cartolith::Map {

using Internal::saneSize;

namespace {

Raster::LineCap capOf(Core::Layers::LineCap cap) {
    switch (cap) {
    case Core::Layers::LineCap::Butt:
        return Raster::LineCap::Butt;
    case Core::Layers::LineCap::Square:
        return Raster::LineCap::Square;
    default:
        return Raster::LineCap::Round;
    }
}

Raster::LineJoin joinOf(Core::Layers::LineJoin join) {
    switch (join) {
    case Core::Layers::LineJoin::Mitre:
        return Raster::LineJoin::Mitre;
    case Core::Layers::LineJoin::Bevel:
        return Raster::LineJoin::Bevel;
    default:
        return Raster::LineJoin::Round;
    }
}

Raster::PatternKind patternOf(Core::Layers::FillPattern pattern) {
    switch (pattern) {
    case Core::Layers::FillPattern::Lines:
        return Raster::PatternKind::Lines;
    case Core::Layers::FillPattern::CrossedLines:
        return Raster::PatternKind::CrossedLines;
    case Core::Layers::FillPattern::Points:
        return Raster::PatternKind::Points;
    default:
        return Raster::PatternKind::None;
    }
}

/// Corners on a circle, the first above the middle; every second on a smaller one.
QPolygonF regular(int corners, double radius, double second = 1.0) {
    QPolygonF polygon;
    for (int i = 0; i < corners; ++i) {
        const double angle = 2.0 * std::numbers::pi * i / corners;
        const double r = i % 2 == 0 ? radius : radius * second;
        polygon.append({r * std::sin(angle), -r * std::cos(angle)});
    }
    return polygon;
}

/// Upright; `half` is half the width of an arm.
QPolygonF cross(double radius, double half) {
    const double end = std::sqrt(radius * radius - half * half);
    return QPolygonF({{-half, -end},
                      {half, -end},
                      {half, -half},
                      {end, -half},
                      {end, half},
                      {half, half},
                      {half, end},
                      {-half, end},
                      {-half, half},
                      {-end, half},
                      {-end, -half},
                      {-half, -half}});
}

QPolygonF cornersOf(MarkerShape shape, double radius) {
    constexpr double starInside = 0.382; // where the sides of a pentagram meet
    constexpr double thick = 0.32;
    constexpr double thin = 0.12;
    switch (shape) {
    case MarkerShape::Square:
        return QPolygonF({{-radius, -radius}, {radius, -radius}, {radius, radius}, {-radius, radius}});
    case MarkerShape::Diamond:
        return regular(4, radius);
    case MarkerShape::TriangleUp:
        return regular(3, radius);
    case MarkerShape::TriangleDown:
        return QTransform().rotate(180.0).map(regular(3, radius));
    case MarkerShape::Pentagon:
        return regular(5, radius);
    case MarkerShape::Hexagon:
        return regular(6, radius);
    case MarkerShape::Star:
        return regular(10, radius, starInside);
    case MarkerShape::Cross:
        return cross(radius, radius * thick);
    case MarkerShape::Plus:
        return cross(radius, radius * thin);
    case MarkerShape::Saltire:
        return QTransform().rotate(45.0).map(cross(radius, radius * thin));
    case MarkerShape::Arrow: {
        const double shaft = radius * 0.26;
        const double end = radius * 0.96;
        return QPolygonF({{0.0, -radius},
                          {radius * 0.8, 0.0},
                          {shaft, 0.0},
                          {shaft, end},
                          {-shaft, end},
                          {-shaft, 0.0},
                          {-radius * 0.8, 0.0}});
    }
    default:
        return {};
    }
}

std::shared_ptr<const SvgMarker> svgOf(const GisLayerStyle& style) {
    if (style.markerShape() != MarkerShape::Svg) {
        return nullptr;
    }
    // Read once for the thousands of styles that sizes and rotations by value make of one. Not for two
    // threads together, which could not draw it at the same time.
    struct Last {
        QString text;
        QString color;
        std::weak_ptr<const SvgMarker> marker;
    };
    thread_local Last last;
    auto marker = last.marker.lock();
    if (marker != nullptr && last.text == style.markerSvg() && last.color == style.pointColor()) {
        return marker;
    }
    try {
        marker = std::make_shared<SvgMarker>(style.markerSvg(), QColor(style.pointColor()));
        last = {style.markerSvg(), style.pointColor(), marker};
        return marker;
    } catch (const std::runtime_error&) {
        return nullptr;
    }
}

} // namespace

Symbol::Symbol(const GisLayerStyle& style, double pixels, const LineCasing& others) {
    const auto size = [pixels](double ofStyle) { return saneSize(saneSize(ofStyle) * pixels); };
    fill.color = QColor(style.fillColor());
    fill.color.setAlpha(fill.color.alpha() * std::clamp(style.fillOpacity(), 0, 255) / 255);
    fill.pattern.kind = patternOf(style.fillPattern());
    if (fill.pattern.kind != Raster::PatternKind::None) {
        fill.pattern.color = QColor(style.patternColor());
        fill.pattern.angle = style.patternAngle();
        fill.pattern.spacing = size(style.patternSpacing());
        fill.pattern.width = size(style.patternWidth());
    }
    line.color = QColor(style.lineColor());
    line.width = size(style.lineWidth());
    line.cap = capOf(style.lineCap());
    line.join = joinOf(style.lineJoin());
    const auto below = [this](QColor color, double beside) {
        Raster::Stroke wider = line;
        wider.color = color;
        wider.width += 2.0 * beside;
        return wider;
    };
    constexpr double beside = 0.8; // pixels on each side of what would hardly be seen
    if (style.casingWidth() > 0.0F) {
        casing = below(QColor(style.casingColor()), size(style.casingWidth()));
        outlineCasing = casing;
    } else if (others.lines.contains(style.lineColor())) {
        casing = below(others.colour, beside * pixels);
    }
    const double haloWidth = size(style.haloWidth());
    if (haloWidth > 0.0) {
        const double within = casing ? (casing->width - line.width) * 0.5 : 0.0;
        halo = below(QColor(style.haloColor()), within + haloWidth);
    }
    for (const double dash : style.lineDashes()) {
        line.dashes.append(size(dash));
    }
    line.dashOffset = static_cast<double>(style.lineDashOffset()) * pixels;

    marker.shape = style.markerShape();
    marker.size = size(style.pointSize());
    marker.rotation = style.markerRotation();
    marker.color = QColor(style.pointColor());
    marker.outline.color = line.color;
    marker.outline.width = line.width;
    marker.outline.join = Raster::LineJoin::Mitre;
    marker.haloWidth = haloWidth;
    marker.haloColor = QColor(style.haloColor());
    marker.svg = svgOf(style);
}

QPainterPath Symbol::Marker::path() const {
    QPainterPath path;
    const QPolygonF corners = cornersOf(shape, size * 0.5);
    if (corners.isEmpty()) {
        path.addEllipse(QPointF(), size * 0.5, size * 0.5);
    } else {
        path.addPolygon(QTransform().rotate(rotation).map(corners));
        path.closeSubpath();
    }
    return path;
}

double Symbol::Marker::reach() const {
    // The corner of a square, and what a mitre adds to it.
    const double shapeReach = isPlain() ? size * 0.5 : size * 0.5 * std::numbers::sqrt2;
    const double outlineReach = outline.width * 0.5 * (isPlain() ? 1.0 : outline.mitreLimit);
    return shapeReach + std::max(outlineReach, outline.width * 0.5 + haloWidth);
}

bool Symbol::Marker::isPlain() const {
    const auto number = static_cast<int>(shape);
    return svg == nullptr && haloWidth <= 0.0 &&
           (number <= static_cast<int>(MarkerShape::Circle) || number >= static_cast<int>(MarkerShape::Svg));
}

QPainterPath Symbol::Marker::haloPath() const {
    if (!(haloWidth > 0.0 && size > 0.0)) {
        return {};
    }
    Raster::Stroke around;
    around.width = outline.width + 2.0 * haloWidth;
    const QPainterPath shapePath = path();
    return QPainterPathStroker(penOf(around)).createStroke(shapePath).united(shapePath);
}

void Symbol::Marker::paint(QPainter& painter, QPointF place, const QPainterPath& shapePath,
                           const QPainterPath& around) const {
    if (!(size > 0.0)) {
        return;
    }
    painter.save();
    painter.translate(place);
    painter.fillPath(around, haloColor);
    if (svg != nullptr) {
        painter.rotate(rotation);
        svg->draw(painter, QRectF(-size * 0.5, -size * 0.5, size, size));
    } else {
        painter.setBrush(color);
        painter.setPen(outline.width > 0.0 ? penOf(outline) : QPen(Qt::NoPen));
        painter.drawPath(shapePath);
    }
    painter.restore();
}

double Symbol::reach() const {
    // A mitre is up to four widths long, a square end less.
    double lines = line.width * 2.0;
    for (const auto* const below : {&casing, &halo}) {
        lines = std::max(lines, *below ? (*below)->width * 2.0 : 0.0);
    }
    return std::max(lines, marker.reach());
}

QPen Symbol::penOf(const Raster::Stroke& stroke) {
    QPen pen(stroke.color, stroke.width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    if (stroke.cap != Raster::LineCap::Round) {
        pen.setCapStyle(stroke.cap == Raster::LineCap::Butt ? Qt::FlatCap : Qt::SquareCap);
    }
    if (stroke.join != Raster::LineJoin::Round) {
        pen.setJoinStyle(stroke.join == Raster::LineJoin::Mitre ? Qt::SvgMiterJoin : Qt::BevelJoin);
        pen.setMiterLimit(stroke.mitreLimit);
    }
    double all = 0.0;
    QList<double> dashes;
    for (int turn = 0; stroke.width > 0.0 && turn < (stroke.dashes.size() % 2 == 0 ? 1 : 2); ++turn) {
        for (const double dash : stroke.dashes) {
            constexpr double dot =
                1e-3; // of a width: Qt, which counts in these, leaves out what has no length
            dashes.append(std::max(saneSize(dash) / stroke.width, dot));
            all += dashes.constLast();
        }
    }
    constexpr double shortest = 0.1; // pixels: nobody sees shorter ones
    if (all * stroke.width >= shortest * static_cast<double>(dashes.size()) && !dashes.isEmpty()) {
        pen.setDashPattern(dashes);
        pen.setDashOffset(stroke.dashOffset / stroke.width);
    }
    return pen;
}

void Symbol::paint(QPainter& painter, const QPainterPath& area, const Raster::Pattern& pattern,
                   QPointF origin) {
    if (!pattern.isDrawn() || area.isEmpty()) {
        return;
    }
    painter.save();
    painter.setClipPath(area, Qt::IntersectClip);
    painter.translate(origin);
    painter.rotate(pattern.angle);
    const QRectF box = painter.clipBoundingRect();
    const double spacing = std::max(pattern.spacing, 1.0);
    const bool isPoints = pattern.kind == Raster::PatternKind::Points;
    const double columns = box.width() / spacing;
    const double rows = box.height() / spacing;
    constexpr double most = 200000.0;
    if (!((isPoints ? columns * rows : columns + rows) < most)) {
        QColor even = pattern.color;
        const double part = std::min(pattern.width / spacing, 1.0);
        const double share = isPoints ? part * part * std::numbers::pi / 4.0
                             : pattern.kind == Raster::PatternKind::Lines ? part
                                                                          : part * (2.0 - part);
        even.setAlphaF(static_cast<float>(even.alphaF() * share));
        painter.fillRect(box, even);
        painter.restore();
        return;
    }
    const auto placesIn = [spacing](double from, double to) {
        QList<double> places;
        const auto last = static_cast<qint64>(std::ceil(to / spacing));
        for (auto i = static_cast<qint64>(std::floor(from / spacing)); i <= last; ++i) {
            places.append(static_cast<double>(i) * spacing);
        }
        return places;
    };
    const QList<double> columnPlaces = placesIn(box.left(), box.right());
    const QList<double> rowPlaces = placesIn(box.top(), box.bottom());
    painter.setPen(Qt::NoPen);
    painter.setBrush(pattern.color);
    const double radius = pattern.width * 0.5;
    QPainterPath shapes; // as one, so that what crosses does not add up
    shapes.setFillRule(Qt::WindingFill);
    for (const double y : rowPlaces) {
        if (!isPoints) {
            shapes.addRect(QRectF(box.left(), y - radius, box.width(), pattern.width));
            continue;
        }
        for (const double x : columnPlaces) {
            shapes.addEllipse(QPointF(x, y), radius, radius);
        }
    }
    if (pattern.kind == Raster::PatternKind::CrossedLines) {
        for (const double x : columnPlaces) {
            shapes.addRect(QRectF(x - radius, box.top(), pattern.width, box.height()));
        }
    }
    painter.drawPath(shapes);
    painter.restore();
}

} // namespace Cartolith::Map
