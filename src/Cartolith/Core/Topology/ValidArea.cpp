#include <Cartolith/Core/Serialization/OgrGeometryInternal.h>
#include <Cartolith/Core/Topology/GeosInternal.h>
#include <Cartolith/Core/Topology/GeosOverlayInternal.h>
#include <Cartolith/Core/Topology/ValidAreaInternal.h>

#include <stdexcept>
#include <utility>
#include <vector>

namespace Cartolith::Core::Topology::Internal {

using Common::Internal::GeometryPtr;
using Shapes::GisShapePolygon;
using Shapes::Internal::Ring;

namespace {

/// Areas made valid. Each operation is followed by a look at whether it was stopped, which looks like a
/// failure.
class AreaMaker {
public:
    explicit AreaMaker(const GisTopology& topology) : m_interrupt(topology) {}

    /// Null when GEOS fails. \throws Stopped
    GeometryPtr make(const OGRGeometry& geometry) const {
        GeometryPtr valid = madeValid(geometry, ValidMethod::Structure);
        m_interrupt.check();
        if (valid == nullptr) {
            valid = ringByRing(geometry);
        }
        if (valid == nullptr) {
            valid = madeValid(geometry, ValidMethod::Lines);
            m_interrupt.check();
        }
        return valid;
    }

private:
    /// GEOS overlays the rings after it made each of them valid, and gives up where their crossings do not
    /// fit together. Its overlay of two geometries tries again with snapping.
    GeometryPtr ringByRing(const OGRGeometry& geometry) const {
        try {
            std::vector<GeometryPtr> areas;
            if (wkbFlatten(geometry.getGeometryType()) == wkbPolygon) {
                addAreasOf(*geometry.toPolygon(), areas);
            } else {
                for (const OGRPolygon* polygon : *geometry.toMultiPolygon()) {
                    addAreasOf(*polygon, areas);
                }
            }
            return geosUnion(std::move(areas), m_interrupt);
        } catch (const std::runtime_error&) {
            m_interrupt.check(); // what the busy callback threw is no failure of GEOS
            return nullptr;
        }
    }

    void addAreasOf(const OGRPolygon& polygon, std::vector<GeometryPtr>& areas) const {
        GeometryPtr shell = areaOf(*polygon.getExteriorRing());
        std::vector<GeometryPtr> holes;
        for (int i = 0; i < polygon.getNumInteriorRings(); ++i) {
            GeometryPtr hole = areaOf(*polygon.getInteriorRing(i));
            const bool isHole = hole->Intersects(shell.get());
            m_interrupt.check();
            (isHole ? holes : areas).push_back(std::move(hole));
        }
        if (!holes.empty()) {
            const GeometryPtr hole = geosUnion(std::move(holes), m_interrupt);
            shell = geosOverlay(*shell, *hole, GisTopologyCombineType::Difference, &m_interrupt);
        }
        areas.push_back(std::move(shell));
    }

    GeometryPtr areaOf(const OGRLinearRing& ring) const {
        OGRPolygon polygon;
        polygon.addRingDirectly(ring.clone());
        for (const ValidMethod method : {ValidMethod::Structure, ValidMethod::Lines}) {
            GeometryPtr valid = madeValid(polygon, method);
            m_interrupt.check();
            if (valid != nullptr) {
                return valid;
            }
        }
        throw std::runtime_error("GEOS takes the ring for nothing.");
    }

    const GeosInterrupt m_interrupt;
};

} // namespace

ValidArea validArea(const QList<Ring>& rings, const GisTopology& topology) {
    GisShapePolygon polygon;
    polygon.parts() = rings;
    const GeometryPtr geometry = Serialization::Ogr::Internal::geometryOf(polygon);
    const Common::Internal::GdalErrorCapture errors;
    GeometryPtr valid = AreaMaker(topology).make(*geometry);
    if (valid == nullptr) {
        return {{}, errors.message().isEmpty() ? QStringLiteral("no reason given") : errors.message()};
    }
    for (auto& shape : Serialization::Ogr::Internal::shapesOf(std::move(valid)).shapes) {
        if (const auto* area = dynamic_cast<const GisShapePolygon*>(shape.get())) {
            return {area->parts(), {}};
        }
    }
    return {};
}

} // namespace Cartolith::Core::Topology::Internal
