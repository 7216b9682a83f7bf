#include <Cartolith/Core/Shapes/RingNestingInternal.h>
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
    for (std::size_t i = 0; i < outline.rings.size(); ++i) {
        Outline::Ring& ring = outline.rings[i];
        const int direction = (ring.area > 0.0L) - (ring.area < 0.0L);
        ring.factor = depths[static_cast<qsizetype>(i)] % 2 == 0 ? direction : -direction;
        common = common == 0 ? ring.factor : common;
        // Shells that all run one way and holes that run the other are the same by either rule.
        if (reading == RingReading::Winding && ring.factor != 0 && ring.factor != common) {
            outline.hasFactors = false;
        }
        outline.area += ring.factor * ring.area;
    }
    return outline;
}

} // namespace Cartolith::Core::Topology::Internal
