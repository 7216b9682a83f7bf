#include <Cartolith/Core/Topology/CommonAreaInternal.h>
#include <Cartolith/Core/Topology/GeosInternal.h>
#include <Cartolith/Core/Topology/GeosOverlayInternal.h>
#include <Cartolith/Core/Topology/GisTopology.h>
#include <Cartolith/Core/Topology/OverlayScanInternal.h>
#include <Cartolith/Core/Topology/WorkInternal.h>

#include <algorithm>
#include <cmath>
#include <exception>

namespace Cartolith::Core::Topology {

using Internal::Outline;
using Internal::OverlayScan;
using Shapes::GisShape;
using Shapes::GisShapePolygon;
using Type = GisTopologyCombineType;

namespace {

constexpr double negligibleShare = 1e-6; ///< of the smaller input's area
constexpr double certainShare = 1e-5;

long double expectedArea(long double a, long double b, long double both, Type type) {
    switch (type) {
    case Type::Intersection:
        return both;
    case Type::Difference:
        return a - both;
    case Type::SymmetricalDifference:
        return a + b - 2 * both;
    case Type::Union:
        break;
    }
    return a + b - both;
}

/// How much of the plane the polygon covers more than once, or inside out: there, the square of a winding
/// number is not the number.
long double overlapOf(const Outline& outline, Internal::Work& work) {
    return std::fabs(Internal::commonArea(outline, outline, work).area - outline.area);
}

/// Of inputs made valid. NaN when GEOS cannot tell. \throws Stopped, or what the busy callback throws
double areaByGeos(const GisShape& a, const GisShape& b, Type type, const GisTopology& topology) {
    const Internal::GeosInterrupt interrupt(topology);
    double area = std::numeric_limits<double>::quiet_NaN();
    try {
        const auto shape = Internal::overlayShapeOf(
            Internal::geosOverlayMadeValid(*Internal::operandOf(a), *Internal::operandOf(b), type,
                                           Internal::ValidMethod::Structure, &interrupt),
            true);
        area = shape == nullptr ? 0.0 : GisTopology::Area(*shape);
    } catch (const std::exception&) {
        interrupt.check(); // it may have been the callback's
    }
    return area;
}

/// \throws Stopped, or what the busy callback throws
GisOverlayCheck checkPolygons(const GisShapePolygon& a, const GisShapePolygon& b, Type type,
                              const GisShapePolygon& result, const GisTopology& topology) {
    GisOverlayCheck check;
    Internal::Work work(&topology);
    const auto reading = topology.OverlayEngine() == GisOverlayEngine::Geos ? Internal::RingReading::Nesting
                                                                            : Internal::RingReading::Winding;
    const Outline outlineA = Internal::outlineOf(a, reading, work);
    const Outline outlineB = Internal::outlineOf(b, reading, work);
    const Outline outline = Internal::outlineOf(result, Internal::RingReading::Nesting, work);
    const OverlayScan scan = Internal::scanOverlay(outlineA, outlineB, outline, type, reading);
    const Internal::CommonArea common = Internal::commonArea(outlineA, outlineB, work);
    const bool isKnown =
        scan.isSingle && outlineA.hasFactors && outlineB.hasFactors && !std::isnan(common.area);
    if (isKnown) {
        check.areaOfA = static_cast<double>(outlineA.area);
        check.areaOfB = static_cast<double>(outlineB.area);
    }
    check.areaOfResult = static_cast<double>(outline.area);

    const double areaA = isKnown ? check.areaOfA : scan.areas[0];
    const double areaB = isKnown ? check.areaOfB : scan.areas[1];
    const double larger = std::max(areaA, areaB);
    const double measure = std::min(areaA, areaB) > 0.0 ? std::min(areaA, areaB) : larger;
    // Vertices are rounded where edges cross, and that moves edges which may be long beside the smaller input
    const double reach = std::max(outlineA.reach, outlineB.reach);
    const double rounding = (std::nextafter(reach, HUGE_VAL) - reach) * common.length + 1e-16 * larger;
    if (scan.wrongAreaInCommon > certainShare * measure + rounding ||
        scan.wrongArea > certainShare * larger + rounding) {
        check.plausible = false;
        check.problem = QStringLiteral("the result is wrong along y = %1").arg(scan.worstAt, 0, 'g', 17);
        return check;
    }
    const long double expected = expectedArea(outlineA.area, outlineB.area, common.area, type);
    const long double off = std::fabs(outline.area - expected);
    const double allowed = negligibleShare * measure + rounding;
    if (!isKnown || off <= allowed) {
        return check;
    }
    check.plausible = false;
    check.problem = QStringLiteral("the area of the result does not follow from those of the inputs");
    if (off > allowed + 2 * (overlapOf(outlineA, work) + overlapOf(outlineB, work))) {
        return check;
    }
    // An input crosses itself, by so little that the lines did not meet it. Rings cover what they wind round.
    if (!(std::fabs(check.areaOfResult - areaByGeos(a, b, type, topology)) > allowed)) {
        check.plausible = true;
        check.problem.clear();
    }
    return check;
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
    check.plausible = false;
    if (polygon == nullptr) {
        check.problem = QStringLiteral("the result is no polygon");
        return check;
    }
    try {
        return checkPolygons(*polygonA, *polygonB, type, *polygon, *this);
    } catch (const Internal::Stopped&) {
        check.problem = QStringLiteral("the check was stopped");
    }
    return check;
}

} // namespace Cartolith::Core::Topology
