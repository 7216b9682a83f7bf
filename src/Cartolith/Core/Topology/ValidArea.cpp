#include <Cartolith/Core/Serialization/OgrGeometryInternal.h>
#include <Cartolith/Core/Shapes/PartsInternal.h>
#include <Cartolith/Core/Shapes/RingBoxTreeInternal.h>
#include <Cartolith/Core/Shapes/RingChordsInternal.h>
#include <Cartolith/Core/Topology/GeosInternal.h>
#include <Cartolith/Core/Topology/GeosOverlayInternal.h>
#include <Cartolith/Core/Topology/ValidAreaInternal.h>

#include <algorithm>
#include <cmath>
#include <limits>
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

    void addAll(const OGRGeometry& geometry) {
        if (wkbFlatten(geometry.getGeometryType()) == wkbPolygon) {
            add(*geometry.toPolygon());
        } else if (wkbFlatten(geometry.getGeometryType()) == wkbMultiPolygon) {
            for (const OGRPolygon* polygon : *geometry.toMultiPolygon()) {
                add(*polygon);
            }
        }
    }

    Shapes::GisExtent extent() const {
        QList<Ring> rings;
        for (const Member& member : m_rings) {
            rings.append(member.vertices);
        }
        return Shapes::Internal::extentOfParts(rings);
    }

    void addCrossings(double y, std::vector<double>& crossings) {
        for (Shapes::Internal::RingEdges& edges : m_edges) {
            const std::vector<double>& more = edges.crossingsAt(y);
            crossings.insert(crossings.end(), more.begin(), more.end());
        }
    }

    /// To be called when all are added, before any question.
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

/// How much of some horizontal lines only one of the two covers, as a share of what the first covers.
double difference(Cover& wanted, const OGRGeometry& found) {
    Cover cover;
    cover.addAll(found);
    cover.prepare();
    constexpr int lines = 64;
    const Shapes::GisExtent extent = wanted.extent();
    const double step = (extent.yMax() - extent.yMin()) / lines;
    double covered = 0.0;
    double different = 0.0;
    std::vector<double> places;
    for (int i = 0; i < lines; ++i) {
        const double y = extent.yMin() + (i + 0.3819660112501051) * step; // where grids have no edges
        places.clear();
        wanted.addCrossings(y, places);
        cover.addCrossings(y, places);
        std::sort(places.begin(), places.end());
        for (std::size_t k = 1; k < places.size(); ++k) {
            const double length = places[k] - places[k - 1];
            const double middle = places[k - 1] / 2 + places[k] / 2;
            const bool isWanted = wanted.holds(middle, y);
            covered += isWanted ? length : 0.0;
            different += isWanted != cover.holds(middle, y) ? length : 0.0;
        }
    }
    return different / covered;
}

/// Areas made valid. Each operation is followed by a look at whether it was stopped, which looks like a
/// failure.
class AreaMaker {
public:
    explicit AreaMaker(const GisTopology& topology) : m_interrupt(topology) {}

    /// By structure, unless the faces of the rings' lines have another area: then what differs least from
    /// what the rings cover. Null when GEOS fails. \throws Stopped
    GeometryPtr make(const OGRGeometry& geometry) const {
        GeometryPtr valid = madeValid(geometry, ValidMethod::Structure);
        m_interrupt.check();
        Cover wanted;
        wanted.addAll(geometry);
        wanted.prepare();
        std::vector<GeometryPtr> faces = facesOf(geometry, wanted);
        double area = 0.0;
        for (const GeometryPtr& face : faces) {
            area += areaOf(*face);
        }
        constexpr double share = 1e-9; // rounded crossings make less of a difference
        if (valid != nullptr && std::fabs(areaOf(*valid) - area) <= share * area) {
            return valid;
        }
        double least =
            valid == nullptr ? std::numeric_limits<double>::infinity() : difference(wanted, *valid);
        const auto offer = [&](GeometryPtr other) {
            if (other == nullptr) {
                return;
            }
            if (const double its = difference(wanted, *other); valid == nullptr || its + share < least) {
                valid = std::move(other);
                least = its;
            }
        };
        if (!faces.empty()) {
            offer(unionOf(std::move(faces)));
        }
        if (!(least <= share)) {
            offer(madeValid(geometry, ValidMethod::Lines));
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
    std::vector<GeometryPtr> facesOf(const OGRGeometry& geometry, Cover& wanted) const {
        OGRMultiLineString lines;
        const auto add = [&lines](const OGRPolygon& polygon) {
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
        OGRGeometryCollection& collection = *all->toGeometryCollection();
        for (int i = collection.getNumGeometries() - 1; i >= 0; --i) {
            GisShapePolygon face;
            for (const OGRLinearRing* ring : *collection.getGeometryRef(i)->toPolygon()) {
                face.parts().append(verticesOf(*ring));
            }
            const Shapes::GisShapePoint inside = GisTopology::PointOnSurface(face);
            if (wanted.holds(inside.x(), inside.y())) {
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
