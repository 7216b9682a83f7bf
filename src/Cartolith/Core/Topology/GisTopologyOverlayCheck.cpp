#include <Cartolith/Core/Topology/GeosInternal.h>
#include <Cartolith/Core/Topology/GeosOverlayInternal.h>
#include <Cartolith/Core/Topology/GisTopology.h>
#include <Cartolith/Core/Topology/OverlayScanInternal.h>
#include <Cartolith/Core/Topology/WorkInternal.h>

#include <algorithm>
#include <cmath>
#include <exception>
#include <initializer_list>

namespace Cartolith::Core::Topology {

using Internal::Outline;
using Internal::OverlayScan;
using Internal::ScannedArea;
using Shapes::GisExtent;
using Shapes::GisShape;
using Shapes::GisShapePolygon;
using Type = GisTopologyCombineType;

namespace {

constexpr double negligibleShare = 1e-6; ///< of the larger input's area
constexpr double certainShare = 1e-5;

/// The area of the result, from those of a and b and one of the three pieces that a line can measure: the
/// piece that is known best. Of neighbours that is what they have in common, which is nothing.
ScannedArea expectedArea(const OverlayScan& scan, Type type) {
    const double a = scan.areas[0];
    const double b = scan.areas[1];
    const auto from = [](double base, double factor, const ScannedArea& piece) {
        return ScannedArea{base + factor * piece.area, std::fabs(factor) * piece.uncertainty};
    };
    const auto best = [](std::initializer_list<ScannedArea> all) {
        return *std::min_element(all.begin(), all.end(), [](const ScannedArea& p, const ScannedArea& q) {
            return p.uncertainty < q.uncertainty;
        });
    };
    switch (type) {
    case Type::Intersection:
        return best({from(0, 1, scan.both), from(a, -1, scan.onlyA), from(b, -1, scan.onlyB)});
    case Type::Difference:
        return best({from(a, -1, scan.both), from(0, 1, scan.onlyA), from(a - b, 1, scan.onlyB)});
    case Type::SymmetricalDifference:
        return best({from(a + b, -2, scan.both), from(b - a, 2, scan.onlyA), from(a - b, 2, scan.onlyB)});
    case Type::Union:
        break;
    }
    return best({from(a + b, -1, scan.both), from(b, 1, scan.onlyA), from(a, 1, scan.onlyB)});
}

/// Where the result may lie; empty when nowhere.
GisExtent allowedExtent(const GisExtent& a, const GisExtent& b, Type type) {
    if (type == Type::Difference) {
        return a;
    }
    if (type != Type::Intersection) {
        return a.expand(b);
    }
    return a.intersects(b) ? GisExtent(std::max(a.xMin(), b.xMin()), std::max(a.yMin(), b.yMin()),
                                       std::min(a.xMax(), b.xMax()), std::min(a.yMax(), b.yMax()))
                           : GisExtent();
}

bool liesWithin(const GisExtent& inner, const GisExtent& outer, double margin) {
    return inner.isEmpty() ||
           (inner.xMin() >= outer.xMin() - margin && inner.yMin() >= outer.yMin() - margin &&
            inner.xMax() <= outer.xMax() + margin && inner.yMax() <= outer.yMax() + margin);
}

/// NaN when GEOS cannot tell. \throws Stopped, or what the busy callback throws
double areaByGeos(const GisShape& a, const GisShape& b, Type type, const GisTopology& topology) {
    const Internal::GeosInterrupt interrupt(topology);
    double area = std::numeric_limits<double>::quiet_NaN();
    try {
        const auto shape = Internal::overlayShapeOf(
            Internal::geosOverlay(*Internal::operandOf(a), *Internal::operandOf(b), type, &interrupt), true);
        area = shape == nullptr ? 0.0 : GisTopology::Area(*shape);
    } catch (const std::exception&) {
        interrupt.check(); // it may have been the callback's
    }
    return area;
}

} // namespace

GisOverlayCheck GisTopology::CheckOverlay(const GisShape& a, const GisShape& b, Type type,
                                          const GisShape& result) const {
    GisOverlayCheck check;
    const auto* polygonA = dynamic_cast<const GisShapePolygon*>(&a);
    const auto* polygonB = dynamic_cast<const GisShapePolygon*>(&b);
    const auto* polygon = dynamic_cast<const GisShapePolygon*>(&result);
    if (polygonA == nullptr || polygonB == nullptr) {
        return check;
    }
    if (polygon == nullptr) {
        check.plausible = false;
        check.problem = QStringLiteral("the result is no polygon");
        return check;
    }
    const Outline outlineA = Internal::outlineOf(*polygonA);
    const Outline outlineB = Internal::outlineOf(*polygonB);
    const Outline outline = Internal::outlineOf(*polygon);
    const OverlayScan scan =
        Internal::scanOverlay(outlineA, outlineB, outline, type,
                              m_overlayEngine == GisOverlayEngine::Geos ? Internal::RingReading::Nesting
                                                                        : Internal::RingReading::Winding);
    check.areaOfA = scan.areas[0];
    check.areaOfB = scan.areas[1];
    check.areaOfResult = scan.areas[2];

    const double larger = scan.both.area + std::max(scan.onlyA.area, scan.onlyB.area);
    const ScannedArea expected = expectedArea(scan, type);
    const GisExtent allowed = allowedExtent(outlineA.extent, outlineB.extent, type);
    const double margin = 1e-9 * std::max(outlineA.reach, outlineB.reach);
    if (scan.suspectArea > negligibleShare / 2 * larger) {
        check.problem = QStringLiteral("the result is wrong along y = %1").arg(scan.worstAt, 0, 'g', 17);
    } else if (std::fabs(check.areaOfResult - expected.area) >
               expected.uncertainty + negligibleShare * larger) {
        check.problem = QStringLiteral("the area of the result does not follow from those of the inputs");
    } else if (!liesWithin(outline.extent, allowed, margin)) {
        check.problem = QStringLiteral("the result reaches beyond the extent it can have");
    } else if (type == Type::Union && !liesWithin(allowed, outline.extent, margin)) {
        check.problem = QStringLiteral("the result does not reach as far as the inputs");
    }
    if (check.problem.isEmpty()) {
        return check;
    }
    check.plausible = false;
    if (scan.wrongArea > certainShare * larger) {
        return check;
    }
    // Slivers and common edges of rings can look like this, too. GEOS reads rings by nesting: where a and b
    // may have to be read otherwise, its answer is to another question, and the little that is wrong passes.
    check.areaOfResult = Area(*OrientRings(*polygon));
    const bool canAsk = !std::isnan(check.areaOfA) && !std::isnan(check.areaOfB);
    double byGeos = check.areaOfResult;
    try {
        byGeos = canAsk ? areaByGeos(a, b, type, *this) : byGeos;
    } catch (const Internal::Stopped&) {
        check.problem = QStringLiteral("the check was stopped");
        return check;
    }
    if (std::fabs(check.areaOfResult - byGeos) <= negligibleShare * larger) {
        check.plausible = true;
        check.problem.clear();
    }
    return check;
}

} // namespace Cartolith::Core::Topology
