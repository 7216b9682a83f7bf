#include <Cartolith/Core/Topology/GeosOverlayInternal.h>
#include <Cartolith/Core/Topology/GisTopology.h>
#include <Cartolith/Core/Topology/OverlayScanInternal.h>

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
    return inner.isEmpty() || (inner.xMin() >= outer.xMin() - margin && inner.yMin() >= outer.yMin() - margin &&
                               inner.xMax() <= outer.xMax() + margin && inner.yMax() <= outer.yMax() + margin);
}

/// NaN when GEOS cannot tell.
double areaByGeos(const GisShape& a, const GisShape& b, Type type) {
    try {
        const auto geometry = Internal::geosOverlay(*Internal::operandOf(a), *Internal::operandOf(b), type);
        return OGR_G_Area(OGRGeometry::ToHandle(geometry.get()));
    } catch (const std::exception&) {
        return std::numeric_limits<double>::quiet_NaN();
    }
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
    const auto fail = [&check](const QString& problem) {
        check.plausible = false;
        check.problem = problem;
        return check;
    };
    if (polygon == nullptr) {
        return fail(QStringLiteral("the result is no polygon"));
    }
    const Outline outlineA = Internal::outlineOf(*polygonA);
    const Outline outlineB = Internal::outlineOf(*polygonB);
    const Outline outline = Internal::outlineOf(*polygon);
    const double margin = 1e-9 * std::max(outlineA.reach, outlineB.reach);
    const GisExtent allowed = allowedExtent(outlineA.extent, outlineB.extent, type);
    if (!liesWithin(outline.extent, allowed, margin)) {
        return fail(QStringLiteral("the result reaches beyond the extent it can have"));
    }

    const OverlayScan scan =
        Internal::scanOverlay(outlineA, outlineB, outline, type,
                              m_overlayEngine == GisOverlayEngine::Geos ? Internal::RingReading::Nesting
                                                                        : Internal::RingReading::Winding);
    check.areaOfA = scan.areas[0];
    check.areaOfB = scan.areas[1];
    check.areaOfResult = scan.areas[2];
    if (!std::isnan(scan.mismatchAt)) {
        return fail(QStringLiteral("the result is wrong along y = %1").arg(scan.mismatchAt, 0, 'g', 17));
    }

    QString doubt;
    const ScannedArea expected = expectedArea(scan, type);
    const double negligible = negligibleShare * std::max(check.areaOfA, check.areaOfB);
    const double difference = std::fabs(check.areaOfResult - expected.area);
    if (std::isnan(difference)) {
        return check;
    }
    if (difference > expected.uncertainty + negligible) {
        doubt = QStringLiteral("the area of the result does not follow from those of the inputs");
    } else if (type == Type::Union && !liesWithin(allowed, outline.extent, margin)) {
        doubt = QStringLiteral("the result does not reach as far as the inputs");
    }
    if (!doubt.isEmpty()) {
        const double area = areaByGeos(a, b, type);
        if (!(std::fabs(check.areaOfResult - area) <= negligible)) {
            return fail(doubt);
        }
    }
    return check;
}

} // namespace Cartolith::Core::Topology
