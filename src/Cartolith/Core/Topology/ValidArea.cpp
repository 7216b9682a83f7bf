#include <Cartolith/Core/Serialization/OgrGeometryInternal.h>
#include <Cartolith/Core/Shapes/PartsInternal.h>
#include <Cartolith/Core/Shapes/RingBoxTreeInternal.h>
#include <Cartolith/Core/Shapes/RingChordsInternal.h>
#include <Cartolith/Core/Topology/GeosInternal.h>
#include <Cartolith/Core/Topology/GeosOverlayInternal.h>
#include <Cartolith/Core/Topology/ValidAreaInternal.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

namespace Cartolith::Core::Topology::Internal {

using Common::Internal::GeometryPtr;
using Shapes::GisShapePolygon;
using Shapes::Internal::Ring;
using Shapes::Internal::RingBoxTree;

namespace {

double areaOf(const OGRGeometry& geometry) {
    if (wkbFlatten(geometry.getGeometryType()) == wkbPolygon) {
        return geometry.toPolygon()->get_Area();
    }
    double sum = 0.0;
    if (OGR_GT_IsSubClassOf(wkbFlatten(geometry.getGeometryType()), wkbGeometryCollection)) {
        for (const OGRGeometry* member : *geometry.toGeometryCollection()) {
            sum += areaOf(*member);
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

/// Which places polygons cover: each ring covers what it goes round, holes are taken out of their polygon.
class Cover {
public:
    void add(const OGRPolygon& polygon) {
        bool isHole = false;
        for (const OGRLinearRing* ring : polygon) {
            m_rings.push_back({verticesOf(*ring), m_polygons, isHole});
            isHole = true;
        }
        ++m_polygons;
    }

    /// To be called when all are added.
    void prepare() {
        std::vector<RingBoxTree::Item> items;
        m_edges.reserve(m_rings.size());
        for (const Member& member : m_rings) {
            m_edges.emplace_back(member.vertices);
            const Shapes::GisExtent box = Shapes::Internal::extentOfParts({member.vertices});
            items.push_back(
                {{box.xMin(), box.yMin(), box.xMax(), box.yMax()}, 1.0, static_cast<int>(items.size())});
        }
        m_tree.emplace(std::move(items));
    }

    bool holds(double x, double y) {
        std::vector<int> shells;
        std::vector<int> holes;
        m_tree->smallestAround(x, y, 0.0, [&](int ring) { // none is accepted, so that all are asked
            if (m_edges[static_cast<std::size_t>(ring)].winding(x, y) != 0) {
                const Member& member = m_rings[static_cast<std::size_t>(ring)];
                (member.isHole ? holes : shells).push_back(member.polygon);
            }
            return false;
        });
        return std::any_of(shells.begin(), shells.end(), [&holes](int polygon) {
            return std::find(holes.begin(), holes.end(), polygon) == holes.end();
        });
    }

private:
    struct Member {
        Ring vertices;
        int polygon;
        bool isHole;
    };

    std::vector<Member> m_rings;
    std::vector<Shapes::Internal::RingEdges> m_edges;
    std::optional<RingBoxTree> m_tree;
    int m_polygons = 0;
};

/// Areas made valid. Each operation is followed by a look at whether it was stopped, which looks like a
/// failure.
class AreaMaker {
public:
    explicit AreaMaker(const GisTopology& topology) : m_interrupt(topology) {}

    /// By structure, unless that leaves out what the faces of the rings' lines have, or has more. Null when
    /// GEOS fails. \throws Stopped
    GeometryPtr make(const OGRGeometry& geometry) const {
        GeometryPtr valid = madeValid(geometry, ValidMethod::Structure);
        m_interrupt.check();
        std::vector<GeometryPtr> faces = facesOf(geometry);
        double area = 0.0;
        for (const GeometryPtr& face : faces) {
            area += areaOf(*face);
        }
        constexpr double share = 1e-9; // rounded crossings make less of a difference
        if (!faces.empty() && (valid == nullptr || std::fabs(areaOf(*valid) - area) > share * area)) {
            if (GeometryPtr united = unionOf(std::move(faces))) {
                valid = std::move(united);
            }
        }
        if (valid == nullptr) {
            valid = madeValid(geometry, ValidMethod::Lines);
            m_interrupt.check();
        }
        return valid;
    }

private:
    GeometryPtr unionOf(std::vector<GeometryPtr> faces) const {
        try {
            return geosUnion(std::move(faces), m_interrupt);
        } catch (const std::runtime_error&) {
            m_interrupt.check(); // what the busy callback threw is no failure of GEOS
            return nullptr;
        }
    }

    /// The pieces into which the rings cut the plane and which they cover; none when GEOS fails.
    std::vector<GeometryPtr> facesOf(const OGRGeometry& geometry) const {
        Cover cover;
        OGRMultiLineString lines;
        const auto add = [&](const OGRPolygon& polygon) {
            cover.add(polygon);
            for (const OGRLinearRing* ring : polygon) {
                lines.addGeometryDirectly(new OGRLineString(*ring));
            }
        };
        if (wkbFlatten(geometry.getGeometryType()) == wkbPolygon) {
            add(*geometry.toPolygon());
        } else {
            for (const OGRPolygon* polygon : *geometry.toMultiPolygon()) {
                add(*polygon);
            }
        }
        const GeometryPtr noded(lines.Union(&lines)); // cut where they cross
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
        cover.prepare();
        OGRGeometryCollection& collection = *all->toGeometryCollection();
        for (int i = collection.getNumGeometries() - 1; i >= 0; --i) {
            GisShapePolygon face;
            for (const OGRLinearRing* ring : *collection.getGeometryRef(i)->toPolygon()) {
                face.parts().append(verticesOf(*ring));
            }
            const Shapes::GisShapePoint inside = GisTopology::PointOnSurface(face);
            if (cover.holds(inside.x(), inside.y())) {
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
