#include <Cartolith/Map/Raster/StrokePiecesInternal.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace Cartolith::Map::Raster::Internal {

using Map::Internal::Watch;

namespace {

QPointF directionOf(QPointF a, QPointF b) {
    const QPointF way = b - a;
    return way / std::hypot(way.x(), way.y());
}

/// The end of a strip in a corner: beyond it, the outer edge of the next strip bounds it, and what a corner
/// may reach.
struct Corner {
    /// `inwards` and `onwards` are the directions before and after the corner, as the strip that ends there
    /// sees it.
    Corner(QPointF at, QPointF inwards, QPointF onwards, double radius, double mitreLimit) {
        const double cosine = QPointF::dotProduct(inwards, onwards);
        const double turn = inwards.x() * onwards.y() - inwards.y() * onwards.x();
        const double halfCosine = std::sqrt(std::max(0.0, (1.0 + cosine) * 0.5));
        const double reachOfPoint = halfCosine > 0.0 ? 1.0 / halfCosine : INFINITY; // in radii
        // Away from the inner side.
        const QPointF outward =
            turn > 0.0 ? QPointF(onwards.y(), -onwards.x()) : QPointF(-onwards.y(), onwards.x());
        if (reachOfPoint <= std::max(mitreLimit, 1.0) && cosine > -0.99) {
            constexpr double overlapping = 1.0; // pixel: no seam in the corner
            const double sine = std::sqrt(std::max(0.0, (1.0 - cosine) * 0.5));
            reach = radius * (halfCosine > 0.0 ? sine / halfCosine : 0.0) + overlapping;
            planes[count++] = {at + outward * radius, outward};
            planes[count++] = {at + inwards * reach, inwards};
        } else { // cut off where the two outer edges end
            const QPointF between = inwards - onwards;
            const double length = std::hypot(between.x(), between.y());
            const QPointF tip = length > 0.0 ? between / length : inwards;
            const QPointF edge =
                turn > 0.0 ? QPointF(inwards.y(), -inwards.x()) : QPointF(-inwards.y(), inwards.x());
            planes[count++] = {at + edge * radius, tip};
            if (cosine > -0.99) { // or the inner edge would stick out on the other side
                planes[count++] = {at + outward * radius, outward};
            }
            reach = radius;
        }
    }
    std::array<EndPlane, 2> planes{};
    std::size_t count = 0;
    double reach = 0.0;
};

void addDot(StrokeMask& mask, QPointF p, const Stroke& stroke, double radius) {
    if (stroke.cap == LineCap::Round) {
        mask.addCapsule(p, p, radius);
    } else if (stroke.cap == LineCap::Square) { // level, as it has no direction
        const QPointF aside(radius, 0.0);
        const std::array<EndPlane, 2> planes{{{p - aside, {-1.0, 0.0}}, {p + aside, {1.0, 0.0}}}};
        mask.addStrip(p - aside, p + aside, radius, 1.0, planes);
    }
}

/// One stretch without gaps; no vertex is where the one before is.
void addStretch(StrokeMask& mask, std::span<const QPointF> points, bool isClosed, const Stroke& stroke,
                double radius, const Watch& watch) {
    const std::size_t count = points.size();
    if (count == 1) {
        addDot(mask, points[0], stroke, radius);
        return;
    }
    const bool isPointed = stroke.join == LineJoin::Mitre || stroke.join == LineJoin::Bevel;
    const double mitreLimit = stroke.join == LineJoin::Bevel ? 1.0 : stroke.mitreLimit;
    const std::size_t segments = isClosed && count > 2 ? count : count - 1;
    const bool hasEnds = segments < count;
    const bool isCut = stroke.cap == LineCap::Butt || stroke.cap == LineCap::Square;
    const double beyond = stroke.cap == LineCap::Square ? radius : 0.0;
    if (!isPointed && !(isCut && hasEnds) && mask.addSmall(points, isClosed, radius)) {
        return;
    }
    for (std::size_t i = 0; i < segments; ++i) {
        watch.every(std::size_t{8}, i);
        QPointF a = points[i];
        QPointF b = points[(i + 1) % count];
        const bool isFirst = hasEnds && i == 0;
        const bool isLast = hasEnds && i + 1 == segments;
        if (!isPointed && !(isCut && (isFirst || isLast))) {
            mask.addCapsule(a, b, radius);
            continue;
        }
        const QPointF along = directionOf(a, b);
        a -= isFirst ? along * beyond : QPointF();
        b += isLast ? along * beyond : QPointF();
        std::array<EndPlane, 4> planes{};
        std::size_t planeCount = 0;
        if (isCut && isFirst) {
            planes[planeCount++] = {a, -along};
        }
        if (isCut && isLast) {
            planes[planeCount++] = {b, along};
        }
        if (!isPointed) {
            mask.addCapsule(a, b, radius, {planes.data(), planeCount});
            continue;
        }
        double reach = 0.0;
        const auto turn = [&](QPointF at, QPointF inwards, QPointF onwards) {
            const Corner corner(at, inwards, onwards, radius, mitreLimit);
            std::copy_n(corner.planes.cbegin(), corner.count,
                        planes.begin() + static_cast<std::ptrdiff_t>(planeCount));
            planeCount += corner.count;
            reach = std::max(reach, corner.reach);
        };
        if (!isFirst) {
            turn(a, -along, -directionOf(points[(i + count - 1) % count], a));
        }
        if (!isLast) {
            turn(b, along, directionOf(b, points[(i + 2) % count]));
        }
        if (stroke.cap == LineCap::Round) { // a strip has none of its own
            if (isFirst) {
                mask.addCapsule(a, a, radius);
                planes[planeCount++] = {a - along, -along}; // one pixel into the cap
                reach = std::max(reach, 1.0);
            }
            if (isLast) {
                mask.addCapsule(b, b, radius);
                planes[planeCount++] = {b + along, along};
                reach = std::max(reach, 1.0);
            }
        }
        mask.addStrip(a, b, radius, reach, {planes.data(), planeCount});
    }
}

/// Where one is in a pattern of dashes.
class DashPosition {
public:
    DashPosition(const std::vector<double>& dashes, double period, double offset)
        : m_dashes(dashes), m_period(period), m_left(dashes[0]) {
        if (offset != 0.0) { // or a dot at the beginning would be passed over
            advance(offset);
        }
    }
    bool isDrawn() const { return m_dash % 2 == 0; }
    double left() const { return m_left; }
    void next() {
        m_dash = (m_dash + 1) % m_dashes.size();
        m_left = m_dashes[m_dash];
    }
    /// However far.
    void advance(double distance) {
        if (distance >= 0.0 && distance < m_left) {
            m_left -= distance;
            return;
        }
        double from = m_dashes[m_dash] - m_left;
        for (std::size_t i = 0; i < m_dash; ++i) {
            from += m_dashes[i];
        }
        from = std::fmod(from + std::fmod(distance, m_period) + m_period, m_period);
        for (m_dash = 0; m_dash + 1 < m_dashes.size() && from >= m_dashes[m_dash]; ++m_dash) {
            from -= m_dashes[m_dash];
        }
        m_left = m_dashes[m_dash] - from;
    }

private:
    const std::vector<double>& m_dashes;
    double m_period;
    std::size_t m_dash = 0;
    double m_left;
};

/// Walks along the points and cuts them into stretches; steps over what is out of the canvas.
void addDashes(StrokeMask& mask, std::span<const QPointF> points, bool isClosed, const Stroke& stroke,
               double radius, DashPosition dash, const Watch& watch) {
    std::vector<QPointF> stretch;
    std::size_t stretches = 0;
    const auto append = [&](QPointF p) {
        if (stretch.empty() || stretch.back() != p) {
            stretch.push_back(p);
        }
    };
    const auto finish = [&] {
        if (!stretch.empty()) {
            watch.every(std::size_t{8}, stretches++);
            addStretch(mask, stretch, false, stroke, radius, watch);
        }
        stretch.clear();
    };
    const std::size_t segments = isClosed ? points.size() : points.size() - 1;
    for (std::size_t i = 0; i < segments; ++i) {
        watch.every(std::size_t{1024}, i);
        const QPointF a = points[i];
        const QPointF b = points[(i + 1) % points.size()];
        const double length = std::hypot(b.x() - a.x(), b.y() - a.y());
        QPointF entry = a;
        QPointF exit = b;
        if (!mask.cut(entry, exit, 4.0 * radius + 4.0)) {
            finish();
            dash.advance(length);
            continue;
        }
        double done = std::hypot(entry.x() - a.x(), entry.y() - a.y());
        if (done > 0.0) {
            finish();
            dash.advance(done);
        }
        if (dash.isDrawn()) {
            append(entry);
        }
        const double end = std::min(length, done + std::hypot(exit.x() - entry.x(), exit.y() - entry.y()));
        while (end - done >= dash.left()) { // also where it ends in the vertex
            done += dash.left();
            const QPointF cut = done < length ? a + (b - a) * (done / length) : b;
            if (dash.isDrawn()) {
                append(cut);
                finish();
            }
            dash.next();
            if (dash.isDrawn()) {
                append(cut);
            }
        }
        dash.advance(std::max(end - done, 0.0));
        if (dash.isDrawn()) {
            append(exit);
        }
        if (end < length) {
            finish();
            dash.advance(length - end);
        }
    }
    if (stretch.size() > 1) { // one that would begin at the very end is no dot
        finish();
    }
}

} // namespace

void addStroke(StrokeMask& mask, const std::vector<QPointF>& points, bool isClosed, const Stroke& stroke,
               double width, const Watch& watch) {
    constexpr double widest = 1e5;
    const double radius = std::clamp(width, 1.0, widest) * 0.5;
    if (stroke.dashes.isEmpty()) {
        addStretch(mask, points, isClosed, stroke, radius, watch);
        return;
    }
    std::vector<double> dashes;
    double period = 0.0;
    for (int turn = 0; turn < (stroke.dashes.size() % 2 == 0 ? 1 : 2); ++turn) {
        for (const double dash : stroke.dashes) {
            dashes.push_back(dash > 0.0 && std::isfinite(dash) ? dash : 0.0);
            period += dashes.back();
        }
    }
    constexpr double shortest = 0.1; // pixels: nobody sees shorter ones, and they would have no end
    if (!(period >= shortest * static_cast<double>(dashes.size())) || !std::isfinite(stroke.dashOffset) ||
        points.size() < 2) {
        addStretch(mask, points, isClosed, stroke, radius, watch);
    } else {
        addDashes(mask, points, isClosed, stroke, radius, {dashes, period, stroke.dashOffset}, watch);
    }
}

} // namespace Cartolith::Map::Raster::Internal
