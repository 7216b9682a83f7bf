#include <Cartolith/Core/Shapes/RingNestingInternal.h>
#include <Cartolith/Core/Topology/CommonAreaInternal.h>
#include <Cartolith/Core/Topology/OutlineInternal.h>
#include <Cartolith/Core/Topology/PolygonPathInternal.h>

#include <algorithm>
#include <cmath>

namespace Cartolith::Core::Topology::Internal {

using Shapes::GisExtent;
using Shapes::GisShapePoint;
using Shapes::GisShapePolygon;

namespace {

/// False when it encloses nothing; then it is not added.
bool addRing(Outline& outline, const QList<GisShapePoint>& part) {
    const std::size_t begin = outline.x.size();
    const auto add = [&](double x, double y) {
        if (outline.x.size() == begin || outline.x.back() != x || outline.y.back() != y) {
            outline.x.push_back(x);
            outline.y.push_back(y);
        }
    };
    for (const GisShapePoint& vertex : part) {
        if (canOverlay(vertex)) {
            add(vertex.x(), vertex.y());
        }
    }
    if (outline.x.size() > begin) {
        add(outline.x[begin], outline.y[begin]);
    }
    if (outline.x.size() < begin + 4) {
        outline.x.resize(begin);
        outline.y.resize(begin);
        return false;
    }
    const long double x0 = outline.x[begin];
    const long double y0 = outline.y[begin];
    double left = outline.x[begin];
    double right = left;
    double low = outline.y[begin];
    double high = low;
    long double twice = 0.0L; // a county is some 10^9 times a parcel, and double has 16 digits
    for (std::size_t v = begin + 1; v < outline.x.size(); ++v) {
        left = std::min(left, outline.x[v]);
        right = std::max(right, outline.x[v]);
        low = std::min(low, outline.y[v]);
        high = std::max(high, outline.y[v]);
        twice +=
            (outline.x[v - 1] - x0) * (outline.y[v] - y0) - (outline.x[v] - x0) * (outline.y[v - 1] - y0);
    }
    outline.rings.push_back({begin, outline.x.size(), twice / 2, low, high, 0});
    outline.extent = outline.extent.expand(GisExtent(left, low, right, high));
    outline.reach =
        std::max({outline.reach, std::fabs(left), std::fabs(right), std::fabs(low), std::fabs(high)});
    return true;
}

int directionOf(const Outline::Ring& ring) {
    return (ring.area > 0.0L) - (ring.area < 0.0L);
}

/// One ring as an outline of its own, or all that are larger; each counts by `factor`.
template <typename Takes, typename Factor>
Outline selected(const Outline& from, Takes takes, Factor factor) {
    Outline outline;
    for (const Outline::Ring& ring : from.rings) {
        if (takes(ring)) {
            const auto begin = static_cast<std::ptrdiff_t>(ring.begin);
            const auto end = static_cast<std::ptrdiff_t>(ring.end);
            outline.rings.push_back(ring);
            outline.rings.back().begin = outline.x.size();
            outline.x.insert(outline.x.end(), from.x.begin() + begin, from.x.begin() + end);
            outline.y.insert(outline.y.end(), from.y.begin() + begin, from.y.begin() + end);
            outline.rings.back().end = outline.x.size();
            outline.rings.back().factor = factor(ring);
            const auto [left, right] = std::minmax_element(from.x.begin() + begin, from.x.begin() + end);
            outline.extent = outline.extent.expand(GisExtent(*left, ring.low, *right, ring.high));
        }
    }
    return outline;
}

/// By the winding rule: what the larger rings wind round a ring, on average over what it encloses, is what
/// they wind round all of it, unless rings cross. A ring that changes from one number to another that is not
/// 0 does not count. False when that is too much work, or rings cross.
bool setWindingFactors(Outline& outline) {
    constexpr std::size_t muchWork = 20'000'000;
    if (outline.rings.size() * outline.x.size() > muchWork) {
        return false;
    }
    for (Outline::Ring& ring : outline.rings) {
        const int direction = directionOf(ring);
        if (direction == 0) {
            continue;
        }
        const Outline own = selected(
            outline, [&](const auto& other) { return &other == &ring; }, directionOf);
        const Outline larger = selected(
            outline, [&](const auto& other) { return std::fabs(other.area) > std::fabs(ring.area); },
            [](const auto&) { return 1; });
        const long double winding = commonArea(own, larger).area / std::fabs(ring.area);
        const int around = static_cast<int>(std::lround(winding));
        if (!(std::fabs(winding - around) < 1e-6L)) {
            return false;
        }
        ring.factor = ((around + direction != 0) - (around != 0)) * direction;
    }
    return true;
}

QList<Shapes::Internal::Ring> ringsOf(const Outline& outline) {
    QList<Shapes::Internal::Ring> rings;
    for (const Outline::Ring& ring : outline.rings) {
        rings.append(Shapes::Internal::Ring());
        for (std::size_t v = ring.begin; v < ring.end; ++v) {
            rings.last().append(GisShapePoint(outline.x[v], outline.y[v]));
        }
    }
    return rings;
}

} // namespace

Outline outlineOf(const GisShapePolygon& polygon, RingReading reading) {
    Outline outline;
    for (const QList<GisShapePoint>& part : polygon.parts()) {
        addRing(outline, part);
    }
    const QList<int> depths =
        outline.rings.size() > 1 ? Shapes::Internal::nestingDepths(ringsOf(outline)) : QList<int>(1, 0);
    int common = 0;
    bool isUniform = true;
    for (std::size_t i = 0; i < outline.rings.size(); ++i) {
        Outline::Ring& ring = outline.rings[i];
        const int direction = directionOf(ring);
        ring.factor = depths[static_cast<qsizetype>(i)] % 2 == 0 ? direction : -direction;
        common = common == 0 ? ring.factor : common;
        isUniform = isUniform && (ring.factor == 0 || ring.factor == common);
    }
    // Shells that all run one way and holes that run the other are the same by either rule.
    if (reading == RingReading::Winding && !isUniform) {
        outline.hasFactors = setWindingFactors(outline);
    }
    for (const Outline::Ring& ring : outline.rings) {
        outline.area += ring.factor * ring.area;
    }
    return outline;
}

} // namespace Cartolith::Core::Topology::Internal
