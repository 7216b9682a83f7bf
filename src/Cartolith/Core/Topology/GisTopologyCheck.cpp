#include <Cartolith/Core/Serialization/OgrGeometryInternal.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Core/Topology/GeosInternal.h>
#include <Cartolith/Core/Topology/RingMeasuresInternal.h>
#include <Cartolith/Core/Topology/SegmentListInternal.h>
#include <Cartolith/Core/Topology/ShapeCheckInternal.h>

#include <cmath>
#include <optional>
#include <stdexcept>
#include <utility>

namespace Cartolith::Core::Topology {

using Common::Internal::GeometryPtr;
using Internal::ProblemList;
using Shapes::GisShape;
using Shapes::GisShapePoint;
using Shapes::GisShapePolygon;
using Shapes::GisShapePolyline;
using Shapes::Internal::Ring;

namespace {

/// What check and fix have in common: the problems, and the parts without those that need no GEOS.
class Examination {
public:
    Examination(const GisShape& shape, const GisTopology& topology) : m_topology(topology) {
        if (const auto* point = dynamic_cast<const GisShapePoint*>(&shape)) {
            if (!point->isEmpty() && !Internal::isFinite(*point)) {
                m_problems.add(GisShapeProblemKind::Infinite, *point, 0, 0);
            }
        } else if (const auto* line = dynamic_cast<const GisShapePolyline*>(&shape)) {
            cleanParts(line->parts(), Internal::cleanLine);
        } else if (const auto* polygon = dynamic_cast<const GisShapePolygon*>(&shape)) {
            cleanParts(polygon->parts(), Internal::cleanRing);
            examineArea();
        }
    }

    bool wasStopped() const { return m_wasStopped; }
    /// True when the parts are no valid area yet.
    bool needsGeos() const { return m_needsGeos; }
    const ProblemList& problems() const { return m_problems; }
    const QList<Ring>& parts() const { return m_parts; }
    const QList<int>& partOf() const { return m_partOf; }

private:
    template <typename Clean>
    void cleanParts(const QList<Ring>& parts, Clean clean) {
        for (int i = 0; i < parts.size(); ++i) {
            Ring part = clean(parts[i], i, m_problems);
            if (!part.isEmpty()) {
                m_parts.append(std::move(part));
                m_partOf.append(i);
            }
        }
    }

    void examineArea() {
        m_wasStopped = !Internal::findRingCrossings(m_parts, m_partOf, m_topology, m_problems);
        m_needsGeos = m_problems.has(GisShapeProblemKind::SelfCrossing) ||
                      m_problems.has(GisShapeProblemKind::RingsCross);
        if (m_wasStopped || m_needsGeos) {
            return;
        }
        Internal::windByNesting(m_parts, m_partOf, m_problems);
        askGeos();
    }

    /// For what a look at pairs of segments does not show.
    void askGeos() {
        if (m_parts.size() < 2) {
            return;
        }
        GisShapePolygon polygon;
        polygon.parts() = m_parts;
        const GeometryPtr geometry = Serialization::Ogr::Internal::geometryOf(polygon);
        const Common::Internal::GdalErrorCapture capture;
        const Internal::GeosContext context;
        const Internal::GeosInterrupt interrupt(m_topology);
        const auto destroy = [&context](GEOSGeometry* g) { GEOSGeom_destroy_r(context.handle(), g); };
        const std::unique_ptr<GEOSGeometry, decltype(destroy)> input(geometry->exportToGEOS(context.handle()),
                                                                     destroy);
        char* reason = nullptr;
        GEOSGeometry* location = nullptr;
        const char isValid = input == nullptr
                                 ? char{2}
                                 : GEOSisValidDetail_r(context.handle(), input.get(), 0, &reason, &location);
        const std::unique_ptr<GEOSGeometry, decltype(destroy)> place(location, destroy);
        interrupt.rethrow();
        m_wasStopped = interrupt.wasStopped();
        if (isValid != 1 && !m_wasStopped) {
            double x = std::nan("");
            double y = std::nan("");
            if (place != nullptr) {
                GEOSGeomGetX_r(context.handle(), place.get(), &x);
                GEOSGeomGetY_r(context.handle(), place.get(), &y);
            }
            m_problems.add(GisShapeProblemKind::Invalid, GisShapePoint(x, y), -1, -1,
                           reason == nullptr ? QString()
                                             : QStringLiteral("%1.").arg(QString::fromUtf8(reason)));
            m_needsGeos = true;
        }
        GEOSFree_r(context.handle(), reason);
    }

    const GisTopology& m_topology;
    ProblemList m_problems;
    QList<Ring> m_parts;
    QList<int> m_partOf;
    bool m_needsGeos = false;
    bool m_wasStopped = false;
};

/// Nothing when the work was stopped.
std::optional<QList<Ring>> validArea(const QList<Ring>& rings, const GisTopology& topology) {
    GisShapePolygon polygon;
    polygon.parts() = rings;
    const GeometryPtr geometry = Serialization::Ogr::Internal::geometryOf(polygon);
    const Common::Internal::GdalErrorCapture capture;
    const Internal::GeosInterrupt interrupt(topology);
    const char* const options[] = {"METHOD=STRUCTURE", "KEEP_COLLAPSED=NO", nullptr};
    GeometryPtr valid(geometry->MakeValid(options));
    interrupt.rethrow();
    if (interrupt.wasStopped()) {
        return std::nullopt;
    }
    if (valid == nullptr) {
        throw std::runtime_error("GisTopology::FixShape failed: " + capture.message().toStdString());
    }
    for (auto& shape : Serialization::Ogr::Internal::shapesOf(std::move(valid)).shapes) {
        if (const auto* area = dynamic_cast<const GisShapePolygon*>(shape.get())) {
            return area->parts();
        }
    }
    return QList<Ring>();
}

} // namespace

QList<GisShapeProblem> GisTopology::CheckShape(const GisShape& shape) const {
    const Examination examination(shape, *this);
    return examination.wasStopped() ? QList<GisShapeProblem>() : examination.problems().problems();
}

GisShapeFix GisTopology::FixShape(const GisShape& shape) const {
    const Examination examination(shape, *this);
    if (examination.wasStopped()) {
        return {};
    }
    GisShapeFix fix{shape.clone(), examination.problems().problems()};
    if (fix.changes.isEmpty()) {
        return fix;
    }
    for (GisShapeProblem& change : fix.changes) {
        change.text = Internal::remedyOf(change.kind);
    }
    auto* const parts = Internal::mutablePartsOf(*fix.shape);
    if (parts == nullptr) {
        fix.shape = Internal::finiteCopy(shape);
        return fix;
    }
    *parts = examination.parts();
    // What GEOS returns may itself have a hole wound like its shell, or a vertex twice.
    for (int round = 0; round < 3 && dynamic_cast<const GisShapePolygon*>(fix.shape.get()) != nullptr;
         ++round) {
        const Examination result(*fix.shape, *this);
        if (result.wasStopped()) {
            return {};
        }
        if (result.problems().problems().isEmpty()) {
            break;
        }
        *parts = result.parts();
        if (result.needsGeos()) {
            auto area = validArea(result.parts(), *this);
            if (!area.has_value()) {
                return {};
            }
            *parts = *std::move(area);
        }
    }
    return fix;
}

} // namespace Cartolith::Core::Topology
