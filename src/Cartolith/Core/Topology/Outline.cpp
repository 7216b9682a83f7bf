#include <Cartolith/Core/Shapes/RingNestingInternal.h>
#include <Cartolith/Core/Topology/CommonAreaInternal.h>
#include <Cartolith/Core/Topology/OutlineInternal.h>
#include <Cartolith/Core/Topology/PolygonPathInternal.h>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace Cartolith::Core::Topology::Internal {

using Shapes::GisExtent;
using Shapes::GisShapePoint;
using Shapes::GisShapePolygon;
using Shapes::Internal::RingNest;

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

/// By the winding rule: what is wound round outside a ring is what the rings around it wind. A ring that
/// changes that from one number to another that is not 0 does not count. False when rings cross.
bool setWindingFactors(Outline& outline, const QList<RingNest>& nests, Work& work) {
    const std::size_t count = outline.rings.size();
    std::vector<std::size_t> fromOutside(count);
    std::iota(fromOutside.begin(), fromOutside.end(), 0U);
    const auto nestOf = [&nests](std::size_t ring) { return nests[static_cast<qsizetype>(ring)]; };
    std::sort(fromOutside.begin(), fromOutside.end(),
              [&](std::size_t a, std::size_t b) { return nestOf(a).depth < nestOf(b).depth; });
    std::vector<int> windings(count);  // inside each ring
    std::vector<int> weightsIn(count); // of all rings around a place in it
    // With a weight for each ring that inside of it all rings around add up, the square of that sum has an
    // integral which follows from the areas, unless rings cross. Weights differ, so that nothing cancels.
    Outline weighted = outline;
    long double expected = 0.0L;
    for (const std::size_t i : fromOutside) {
        Outline::Ring& ring = outline.rings[i];
        const int innermost = nestOf(i).innermost;
        const auto outer = static_cast<std::size_t>(innermost);
        const int direction = directionOf(ring);
        const int around = innermost < 0 ? 0 : windings[outer];
        windings[i] = around + direction;
        ring.factor = ((windings[i] != 0) - (around != 0)) * direction;

        const int weight = direction == 0 ? 0 : 1 + static_cast<int>(i * 7919 % 61);
        const int weightAround = innermost < 0 ? 0 : weightsIn[outer];
        weightsIn[i] = weightAround + weight;
        weighted.rings[i].factor = weight * direction; // so that it counts as running counterclockwise
        expected += std::fabs(ring.area) * weight * (weight + 2 * weightAround);
    }
    constexpr long double share = 1e-9L; // rings that touch cross by rounding
    return std::fabs(commonArea(weighted, weighted, work).area - expected) <= share * expected;
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

Outline outlineOf(const GisShapePolygon& polygon, RingReading reading, Work& work) {
    Outline outline;
    for (const QList<GisShapePoint>& part : polygon.parts()) {
        addRing(outline, part);
    }
    const QList<RingNest> nests =
        outline.rings.size() > 1 ? Shapes::Internal::ringNests(ringsOf(outline)) : QList<RingNest>(1);
    int common = 0;
    bool isUniform = true;
    for (std::size_t i = 0; i < outline.rings.size(); ++i) {
        Outline::Ring& ring = outline.rings[i];
        const int direction = directionOf(ring);
        ring.factor = nests[static_cast<qsizetype>(i)].depth % 2 == 0 ? direction : -direction;
        common = common == 0 ? ring.factor : common;
        isUniform = isUniform && (ring.factor == 0 || ring.factor == common);
    }
    // Shells that all run one way and holes that run the other are the same by either rule.
    if (reading == RingReading::Winding && !isUniform) {
        outline.hasFactors = setWindingFactors(outline, nests, work);
    }
    for (const Outline::Ring& ring : outline.rings) {
        outline.area += ring.factor * ring.area;
    }
    return outline;
}

} // namespace Cartolith::Core::Topology::Internal
