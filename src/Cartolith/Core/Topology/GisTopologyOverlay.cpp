#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Core/Shapes/RingNestingInternal.h>
#include <Cartolith/Core/Topology/GeosInternal.h>
#include <Cartolith/Core/Topology/GeosOverlayInternal.h>
#include <Cartolith/Core/Topology/GisTopology.h>
#include <Cartolith/Core/Topology/PolygonPathInternal.h>
#include <Cartolith/Core/Topology/SegmentListInternal.h>
#include <Cartolith/Core/Topology/ShapeCheckInternal.h>
#include <Cartolith/Core/Topology/WorkInternal.h>

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <utility>

namespace Cartolith::Core::Topology {

using Shapes::GisExtent;
using Shapes::GisShape;
using Shapes::GisShapePoint;
using Shapes::GisShapePolygon;
using Shapes::GisShapePolyline;
using Shapes::GisShapeType;
using Type = GisTopologyCombineType;

namespace {

template <typename Shape>
bool areBoth(const GisShape& a, const GisShape& b) {
    return dynamic_cast<const Shape*>(&a) != nullptr && dynamic_cast<const Shape*>(&b) != nullptr;
}

qsizetype vertexCount(const GisShape& shape) {
    const auto* polygon = dynamic_cast<const GisShapePolygon*>(&shape);
    const auto* line = dynamic_cast<const GisShapePolyline*>(&shape);
    qsizetype count = 0;
    if (polygon != nullptr || line != nullptr) {
        for (const auto& part : polygon != nullptr ? polygon->parts() : line->parts()) {
            count += part.size();
        }
    }
    return count;
}

std::unique_ptr<GisShape> named(std::unique_ptr<GisShape> shape, const GisShape& a) {
    shape->attributeSlot() = a.attributeSlot();
    shape->setId(a.id());
    return shape;
}

bool hasNoPart(const GisShape& polygon) {
    return static_cast<const GisShapePolygon&>(polygon).parts().isEmpty();
}

/// One overlay, with a copy of the settings whose callback notes that it was stopped: a predicate that was
/// stopped answers false, and no result may be built on that.
class Overlay {
public:
    explicit Overlay(const GisTopology& topology) : m_topology(topology) {
        m_topology.SetBusyCallback([this, &topology](int current, int total) {
            const bool wasStopped = std::exchange(m_stopped, true); // stays so when the callback throws
            m_stopped = wasStopped || !topology.reportBusy(current, total);
            return !m_stopped;
        });
    }
    Overlay(const Overlay&) = delete; // the callback points here
    Overlay& operator=(const Overlay&) = delete;

    std::unique_ptr<GisShape> run(const GisShape& a, const GisShape& b, Type type) {
        auto result = Internal::unlessStopped([&] { return withInputsFixed(a, b, type); });
        return m_stopped ? nullptr : std::move(result);
    }

private:
    std::unique_ptr<GisShape> withInputsFixed(const GisShape& a, const GisShape& b, Type type) {
        if (!m_topology.ForceShapeFixing()) {
            return combined(a, b, type);
        }
        const auto fixedOf = [this](const GisShape& shape) { // as a line, several points have nothing to keep
            std::unique_ptr<GisShape> finite = Internal::finiteCopy(shape);
            return Internal::isSeveralPoints(*finite)
                       ? std::move(finite)
                       : Internal::fixedShape(shape, m_topology, Internal::overlayFailing).shape;
        };
        const auto fixedA = fixedOf(a);
        const auto fixedB = fixedOf(b);
        return combined(*fixedA, *fixedB, type);
    }

    std::unique_ptr<GisShape> combined(const GisShape& a, const GisShape& b, Type type) {
        m_isLong = vertexCount(a) + vertexCount(b) > 1000;
        if (type == Type::Union && (a.isEmpty() || b.isEmpty())) {
            return GisTopology::CloneShape(a.isEmpty() ? b : a);
        }
        if (m_topology.OverlayEngine() == GisOverlayEngine::Geos) {
            const auto geometryA = Internal::operandOf(a);
            const auto geometryB = Internal::operandOf(b);
            if (geometryA != nullptr && geometryB != nullptr) {
                return byGeos(a, *geometryA, *geometryB, type, areBoth<GisShapePolygon>(a, b));
            }
        }
        return areBoth<GisShapePolygon>(a, b) ? ofPolygons(a, b, type) : ofOthers(a, b, type);
    }

    std::unique_ptr<GisShape> byGeos(const GisShape& a, const OGRGeometry& geometryA,
                                     const OGRGeometry& geometryB, Type type, bool areasOnly,
                                     bool madeValid = false) const {
        if (m_isLong && !m_topology.reportBusy(0, 1)) {
            return nullptr;
        }
        std::optional<Internal::GeosInterrupt> interrupt;
        if (m_isLong) {
            interrupt.emplace(m_topology);
        }
        const Internal::GeosInterrupt* const stop = interrupt ? &*interrupt : nullptr;
        auto result = Internal::overlayShapeOf(
            madeValid ? Internal::geosOverlayMadeValid(geometryA, geometryB, type,
                                                       Internal::ValidMethod::Structure, stop)
                      : Internal::geosOverlay(geometryA, geometryB, type, stop),
            areasOnly);
        return named(result == nullptr ? GisTopology::EmptyLike(a) : std::move(result), a);
    }

    std::unique_ptr<GisShape> ofPolygons(const GisShape& a, const GisShape& b, Type type) const {
        auto result = Internal::internalPolygonPathOperation(
            a, b, type, [this](int step) { return !m_isLong || m_topology.reportBusy(step, 3); });
        if (result == nullptr) {
            return nullptr;
        }
        if (hasNoPart(*result) && (type == Type::Intersection || type == Type::Difference)) {
            if (auto rectangles = ofRectangles(a, b, type);
                rectangles != nullptr && !hasNoPart(*rectangles)) {
                result = named(std::move(rectangles), a);
            }
        }
        return m_topology.OverlayFallback() && !isPlausible(a, b, type, *result) ? fallback(a, b, type)
                                                                                 : std::move(result);
    }

    bool isPlausible(const GisShape& a, const GisShape& b, Type type, const GisShape& result) const {
        return m_topology.CheckOverlay(a, b, type, result).plausible;
    }

    /// GEOS takes some shapes that cross themselves for valid, and gets them wrong.
    std::unique_ptr<GisShape> fallback(const GisShape& a, const GisShape& b, Type type) const {
        const auto geometryA = Internal::operandOf(a);
        const auto geometryB = Internal::operandOf(b);
        auto result = byGeos(a, *geometryA, *geometryB, type, true);
        if (result == nullptr || isPlausible(a, b, type, *result)) {
            return result;
        }
        try {
            auto ofValid = byGeos(a, *geometryA, *geometryB, type, true, true);
            if (ofValid == nullptr || isPlausible(a, b, type, *ofValid)) {
                return ofValid;
            }
        } catch (const std::runtime_error&) {
            if (m_stopped) { // it is the callback's
                throw;
            }
        }
        return result;
    }

    /// Null when they are not both rectangles, or have nothing in common.
    std::unique_ptr<GisShape> ofRectangles(const GisShape& a, const GisShape& b, Type type) const {
        const double tolerance = m_topology.Tolerance();
        const GisExtent boxA = a.extent();
        const GisExtent boxB = b.extent();
        if (!GisTopology::IsExtentRectanglePolygon(static_cast<const GisShapePolygon&>(a), tolerance) ||
            !GisTopology::IsExtentRectanglePolygon(static_cast<const GisShapePolygon&>(b), tolerance)) {
            return nullptr;
        }
        if (type == Type::Difference) {
            return GisTopology::DifferenceOfExtentRectangles(boxA, boxB, tolerance);
        }
        const double left = std::max(boxA.xMin(), boxB.xMin());
        const double bottom = std::max(boxA.yMin(), boxB.yMin());
        const double right = std::min(boxA.xMax(), boxB.xMax());
        const double top = std::min(boxA.yMax(), boxB.yMax());
        return right - left > tolerance && top - bottom > tolerance
                   ? GisTopology::PolygonFromExtent(GisExtent(left, bottom, right, top))
                   : nullptr;
    }

    std::unique_ptr<GisShape> ofOthers(const GisShape& a, const GisShape& b, Type type) const {
        if (m_isLong && !m_topology.reportBusy(0, 1)) {
            return nullptr;
        }
        switch (type) {
        case Type::Intersection:
            return intersection(a, b);
        case Type::Difference:
            return difference(a, b);
        case Type::SymmetricalDifference:
            return unionOf(*difference(a, b), *difference(b, a));
        case Type::Union:
            break;
        }
        return unionOf(a, b);
    }

    std::unique_ptr<GisShape> unionOf(const GisShape& a, const GisShape& b) const {
        if (a.isEmpty() || b.isEmpty()) {
            return GisTopology::CloneShape(a.isEmpty() ? b : a);
        }
        if (m_topology.Contains(a, b)) {
            return GisTopology::CloneShape(a);
        }
        if (m_topology.Contains(b, a)) {
            return GisTopology::CloneShape(b);
        }
        if (areBoth<GisShapePolyline>(a, b)) {
            auto result = std::make_unique<GisShapePolyline>();
            result->parts() = static_cast<const GisShapePolyline&>(a).parts();
            result->parts().append(static_cast<const GisShapePolyline&>(b).parts());
            result->attributeSlot() = a.attributeSlot();
            return result;
        }
        return m_topology.ConvexHull(a, b);
    }

    std::unique_ptr<GisShape> intersection(const GisShape& a, const GisShape& b) const {
        if (m_topology.Disjoint(a, b)) {
            return GisTopology::EmptyLike(a);
        }
        if (m_topology.Within(a, b)) {
            return GisTopology::CloneShape(a);
        }
        if (m_topology.Within(b, a)) {
            return GisTopology::CloneShape(b);
        }
        return areBoth<GisShapePolyline>(a, b) ? crossingsOf(a, b) : GisTopology::EmptyLike(a);
    }

    std::unique_ptr<GisShape> crossingsOf(const GisShape& a, const GisShape& b) const {
        QList<GisShapePoint> points;
        for (const GisCrossing& crossing : m_topology.GetCrossings(a, b)) {
            if (points.isEmpty() ||
                !GisTopology::SamePoint(points.constLast(), crossing.point, m_topology.Tolerance())) {
                points.append(GisShapePoint(crossing.point.x(), crossing.point.y()));
            }
        }
        if (points.isEmpty()) {
            return GisTopology::EmptyLike(a);
        }
        if (points.size() == 1) {
            return named(points.constFirst().clone(), a);
        }
        auto line = std::make_unique<GisShapePolyline>();
        line->parts().append(std::move(points));
        return named(std::move(line), a);
    }

    std::unique_ptr<GisShape> difference(const GisShape& a, const GisShape& b) const {
        if (m_topology.Disjoint(a, b)) {
            return GisTopology::CloneShape(a);
        }
        return m_topology.Contains(b, a) || m_topology.Equality(a, b) ? GisTopology::EmptyLike(a)
                                                                      : GisTopology::CloneShape(a);
    }

    GisTopology m_topology;
    bool m_stopped = false;
    bool m_isLong = false; ///< enough vertices to ask the callback between steps
};

} // namespace

std::unique_ptr<GisShape> GisTopology::EmptyLike(const GisShape& shape) {
    const auto isType = [&shape](GisShapeType plain, GisShapeType withZ) {
        return shape.shapeType() == plain || shape.shapeType() == withZ;
    };
    if (dynamic_cast<const GisShapePolygon*>(&shape) != nullptr) {
        return std::make_unique<GisShapePolygon>();
    }
    if (dynamic_cast<const GisShapePolyline*>(&shape) != nullptr ||
        isType(GisShapeType::Polyline, GisShapeType::PolylineZ)) {
        return std::make_unique<GisShapePolyline>();
    }
    if (dynamic_cast<const GisShapePoint*>(&shape) != nullptr ||
        isType(GisShapeType::Point, GisShapeType::PointZ)) {
        return std::make_unique<GisShapePoint>();
    }
    return std::make_unique<GisShapePolygon>();
}

std::unique_ptr<GisShape> GisTopology::CloneShape(const GisShape& shape) {
    return shape.clone();
}

std::unique_ptr<GisShape> GisTopology::Combine(const GisShape& a, const GisShape& b, Type type) const {
    switch (type) {
    case Type::Union:
    case Type::Intersection:
    case Type::Difference:
    case Type::SymmetricalDifference:
        return Overlay(*this).run(a, b, type);
    }
    return EmptyLike(a);
}

std::unique_ptr<GisShape> GisTopology::Union(const GisShape& a, const GisShape& b) const {
    return Combine(a, b, Type::Union);
}

std::unique_ptr<GisShape> GisTopology::Intersection(const GisShape& a, const GisShape& b) const {
    return Combine(a, b, Type::Intersection);
}

std::unique_ptr<GisShape> GisTopology::Difference(const GisShape& a, const GisShape& b) const {
    return Combine(a, b, Type::Difference);
}

std::unique_ptr<GisShape> GisTopology::SymmetricalDifference(const GisShape& a, const GisShape& b) const {
    return Combine(a, b, Type::SymmetricalDifference);
}

std::unique_ptr<GisShape> GisTopology::UnionOnList(const QList<const GisShape*>& shapes) const {
    GisTopology quiet(*this); // the calls that a caller sees are those for entries
    quiet.SetBusyCallback({});
    std::unique_ptr<GisShape> sum;
    const int count = static_cast<int>(shapes.size());
    for (int i = 0; i < count && reportBusy(i + 1, count); ++i) {
        if (shapes[i] != nullptr) {
            sum = sum == nullptr ? CloneShape(*shapes[i]) : quiet.Union(*sum, *shapes[i]);
        }
    }
    return sum == nullptr ? std::make_unique<GisShapePolygon>() : std::move(sum);
}

std::unique_ptr<GisShapePolygon> GisTopology::OrientRings(const GisShapePolygon& polygon) {
    QList<QList<GisShapePoint>> rings = polygon.parts();
    for (QList<GisShapePoint>& ring : rings) {
        ring.removeIf([](const GisShapePoint& vertex) { return !Internal::canOverlay(vertex); });
    }
    auto result = std::make_unique<GisShapePolygon>();
    for (const QList<QList<GisShapePoint>>& shellAndHoles : Shapes::Internal::shellsWithHoles(rings)) {
        result->parts().append(shellAndHoles);
    }
    result->attributeSlot() = polygon.attributeSlot();
    result->setId(polygon.id());
    return result;
}

} // namespace Cartolith::Core::Topology
