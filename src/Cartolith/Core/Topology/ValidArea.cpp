#include <Cartolith/Core/Serialization/OgrGeometryInternal.h>
#include <Cartolith/Core/Shapes/RingChordsInternal.h>
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

double geometryArea(const OGRGeometry& geometry) {
    if (wkbFlatten(geometry.getGeometryType()) == wkbPolygon) {
        return geometry.toPolygon()->get_Area();
    }
    double sum = 0.0;
    if (OGR_GT_IsSubClassOf(wkbFlatten(geometry.getGeometryType()), wkbGeometryCollection)) {
        for (const OGRGeometry* member : *geometry.toGeometryCollection()) {
            sum += geometryArea(*member);
        }
    }
    return sum;
}

Ring verticesOf(const OGRLinearRing& ring) {
    Ring vertices;
    for (const OGRPoint& vertex : ring) {
        vertices.append(Shapes::GisShapePoint(vertex.getX(), vertex.getY()));
    }
    return vertices;
}

bool isValid(const OGRPolygon& polygon) {
    const Common::Internal::GdalErrorCapture why; // of no interest
    return polygon.IsValid() != FALSE;
}

/// Areas made valid. Each operation is followed by a look at whether it was stopped, which looks like a
/// failure.
class AreaMaker {
public:
    explicit AreaMaker(const GisTopology& topology) : m_interrupt(topology) {}

    /// Null when GEOS fails. \throws Stopped
    GeometryPtr make(const OGRGeometry& geometry) const {
        std::vector<const OGRPolygon*> polygons;
        if (wkbFlatten(geometry.getGeometryType()) == wkbPolygon) {
            polygons.push_back(geometry.toPolygon());
        } else {
            for (const OGRPolygon* polygon : *geometry.toMultiPolygon()) {
                polygons.push_back(polygon);
            }
        }
        GeometryPtr valid;
        if (!losesPartOfRing(polygons)) {
            valid = madeValid(geometry, ValidMethod::Structure);
            m_interrupt.check();
        }
        if (valid == nullptr) {
            valid = ringByRing(polygons);
        }
        if (valid == nullptr) {
            valid = madeValid(geometry, ValidMethod::Lines);
            m_interrupt.check();
        }
        return valid;
    }

private:
    struct RingArea {
        GeometryPtr area;
        bool isMore = false; ///< than GEOS finds by structure
    };

    bool losesPartOfRing(const std::vector<const OGRPolygon*>& polygons) const {
        try {
            for (const OGRPolygon* polygon : polygons) {
                for (const OGRLinearRing* ring : *polygon) {
                    if (areaOf(*ring).isMore) {
                        return true;
                    }
                }
            }
        } catch (const std::runtime_error&) {
            m_interrupt.check(); // what the busy callback threw is no failure of GEOS
        }
        return false;
    }

    /// GEOS overlays the rings after it made each of them valid, and gives up where their crossings do not
    /// fit together. Its overlay of two geometries tries again with snapping.
    GeometryPtr ringByRing(const std::vector<const OGRPolygon*>& polygons) const {
        try {
            std::vector<GeometryPtr> areas;
            for (const OGRPolygon* polygon : polygons) {
                addAreasOf(*polygon, areas);
            }
            return geosUnion(std::move(areas), m_interrupt);
        } catch (const std::runtime_error&) {
            m_interrupt.check();
            return nullptr;
        }
    }

    void addAreasOf(const OGRPolygon& polygon, std::vector<GeometryPtr>& areas) const {
        GeometryPtr shell = areaOf(*polygon.getExteriorRing()).area;
        std::vector<GeometryPtr> holes;
        for (int i = 0; i < polygon.getNumInteriorRings(); ++i) {
            GeometryPtr hole = areaOf(*polygon.getInteriorRing(i)).area;
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

    /// What a ring encloses. By structure GEOS leaves out a piece at times.
    RingArea areaOf(const OGRLinearRing& ring) const {
        OGRPolygon polygon;
        polygon.addRingDirectly(ring.clone());
        if (isValid(polygon)) {
            return {GeometryPtr(polygon.clone())};
        }
        GeometryPtr area = madeValid(polygon, ValidMethod::Structure);
        m_interrupt.check();
        std::vector<GeometryPtr> faces = facesOf(ring);
        double all = 0.0;
        for (const GeometryPtr& face : faces) {
            all += face->toPolygon()->get_Area();
        }
        constexpr double share = 1 - 1e-9; // rounded crossings make less of a difference
        if (!faces.empty() && (area == nullptr || geometryArea(*area) < share * all)) {
            return {geosUnion(std::move(faces), m_interrupt), true};
        }
        if (area == nullptr) {
            area = madeValid(polygon, ValidMethod::Lines);
            m_interrupt.check();
        }
        if (area == nullptr) {
            throw std::runtime_error("GEOS takes the ring for nothing.");
        }
        return {std::move(area)};
    }

    /// The pieces into which the ring cuts the plane and which it goes round; none when GEOS fails.
    std::vector<GeometryPtr> facesOf(const OGRLinearRing& ring) const {
        const OGRLineString line(ring);
        const GeometryPtr noded(line.Union(&line)); // cut where it crosses itself
        m_interrupt.check();
        std::vector<GeometryPtr> faces;
        if (noded == nullptr || wkbFlatten(noded->getGeometryType()) != wkbMultiLineString) {
            return faces;
        }
        const GeometryPtr all(noded->Polygonize());
        m_interrupt.check();
        if (all == nullptr) {
            return faces;
        }
        const Ring vertices = verticesOf(ring);
        Shapes::Internal::RingEdges edges(vertices);
        OGRGeometryCollection& collection = *all->toGeometryCollection();
        for (int i = collection.getNumGeometries() - 1; i >= 0; --i) {
            GisShapePolygon face;
            for (const OGRLinearRing* part : *collection.getGeometryRef(i)->toPolygon()) {
                face.parts().append(verticesOf(*part));
            }
            const Shapes::GisShapePoint inside = GisTopology::PointOnSurface(face);
            if (edges.winding(inside.x(), inside.y()) != 0) {
                faces.emplace_back(collection.getGeometryRef(i));
                collection.removeGeometry(i, FALSE);
            }
        }
        return faces;
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
