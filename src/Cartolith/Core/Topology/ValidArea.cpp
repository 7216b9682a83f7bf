#include <Cartolith/Core/Serialization/OgrGeometryInternal.h>
#include <Cartolith/Core/Shapes/PartsInternal.h>
#include <Cartolith/Core/Shapes/PlaceWindingsInternal.h>
#include <Cartolith/Core/Shapes/RingChordsInternal.h>
#include <Cartolith/Core/Topology/GeosInternal.h>
#include <Cartolith/Core/Topology/GeosOverlayInternal.h>
#include <Cartolith/Core/Topology/OrientationInternal.h>
#include <Cartolith/Core/Topology/ValidAreaInternal.h>
#include <Cartolith/Core/Topology/WorkInternal.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <set>
#include <stdexcept>
#include <utility>
#include <vector>

namespace Cartolith::Core::Topology::Internal {

using Common::Internal::GeometryPtr;
using Shapes::GisShapePolygon;
using Shapes::Internal::PlaceWindings;
using Shapes::Internal::Ring;

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

/// Told apart by the vertices, from the first in order on.
std::vector<std::pair<double, double>> keyOf(const OGRLinearRing& ring) {
    std::vector<std::pair<double, double>> key;
    for (int i = 1; i < ring.getNumPoints(); ++i) {
        key.emplace_back(ring.getX(i), ring.getY(i));
    }
    std::rotate(key.begin(), std::min_element(key.begin(), key.end()), key.end());
    return key;
}

/// Takes out shells without holes that are there already, and holes of a polygon: they add nothing, and the
/// edges that run along each other are as many as the square of their number.
void removeCopies(OGRGeometry& geometry) {
    const auto removeHoles = [](OGRPolygon& polygon) {
        std::set<std::vector<std::pair<double, double>>> found;
        for (int hole = polygon.getNumInteriorRings(); hole > 0; --hole) {
            if (!found.insert(keyOf(*polygon.getInteriorRing(hole - 1))).second) {
                polygon.removeRing(hole);
            }
        }
    };
    if (wkbFlatten(geometry.getGeometryType()) == wkbPolygon) {
        removeHoles(*geometry.toPolygon());
        return;
    }
    OGRMultiPolygon& polygons = *geometry.toMultiPolygon();
    std::set<std::vector<std::pair<double, double>>> found;
    for (int i = polygons.getNumGeometries(); i > 0; --i) {
        OGRPolygon& polygon = *polygons.getGeometryRef(i - 1);
        removeHoles(polygon);
        if (polygon.getNumInteriorRings() == 0 && !found.insert(keyOf(*polygon.getExteriorRing())).second) {
            polygons.removeGeometry(i - 1);
        }
    }
}

/// Polygons by what they cover: each ring covers what it goes round, holes are taken out of their polygon.
class Cover {
public:
    struct Member {
        Ring vertices;
        int polygon;
        bool isHole;
    };

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

    const std::vector<Member>& rings() const noexcept { return m_rings; }
    int polygons() const noexcept { return m_polygons; }

    Shapes::GisExtent extent() const {
        QList<Ring> rings;
        for (const Member& member : m_rings) {
            rings.append(member.vertices);
        }
        return Shapes::Internal::extentOfParts(rings);
    }

private:
    std::vector<Member> m_rings;
    int m_polygons = 0;
};

/// Whether one place is covered, told from what changes on the way from the last one.
class CoverAtPlace {
public:
    explicit CoverAtPlace(const Cover& cover)
        : m_cover(cover), m_windings(cover.rings().size(), 0),
          m_polygons(static_cast<std::size_t>(cover.polygons())) {}

    void change(int ring, int by) {
        int& winding = m_windings[static_cast<std::size_t>(ring)];
        const bool wasAround = winding != 0;
        winding += by;
        if (wasAround == (winding != 0)) {
            return;
        }
        const Cover::Member& member = m_cover.rings()[static_cast<std::size_t>(ring)];
        Around& around = m_polygons[static_cast<std::size_t>(member.polygon)];
        m_covering -= around.covers() ? 1 : 0;
        (member.isHole ? around.holes : around.shells) += wasAround ? -1 : 1;
        m_covering += around.covers() ? 1 : 0;
    }
    bool isCovered() const noexcept { return m_covering > 0; }

private:
    struct Around {
        int shells = 0;
        int holes = 0;

        bool covers() const noexcept { return shells > 0 && holes == 0; }
    };

    const Cover& m_cover;
    std::vector<int> m_windings;
    std::vector<Around> m_polygons;
    int m_covering = 0; ///< polygons
};

/// Which of many places are covered. The answers of exact orientation. \throws Stopped
class CoveredPlaces : private PlaceWindings::Visitor {
public:
    CoveredPlaces(const Cover& cover, const std::vector<PlaceWindings::Place>& places, Work& work)
        : m_at(cover), m_work(work), m_isCovered(places.size(), false) {
        PlaceWindings windings;
        for (std::size_t i = 0; i < cover.rings().size(); ++i) {
            windings.addRing(cover.rings()[i].vertices, static_cast<int>(i));
        }
        windings.visit(places, *this);
    }

    bool operator[](std::size_t place) const { return m_isCovered[place]; }

private:
    bool isLeft(const Shapes::GisShapePoint& a, const Shapes::GisShapePoint& b,
                const PlaceWindings::Place& place) override {
        return (orientation(a.x(), a.y(), b.x(), b.y(), place.x, place.y) > 0) != (b.y() > a.y());
    }
    void change(int ring, int by) override { m_at.change(ring, by); }
    void arrive(int place) override { m_isCovered[static_cast<std::size_t>(place)] = m_at.isCovered(); }
    void look(qint64 edges) override { m_work.add(edges); }

    CoverAtPlace m_at;
    Work& m_work;
    std::vector<bool> m_isCovered;
};

/// How much of some horizontal lines only one of the two covers, as a share of what the first covers.
/// \throws Stopped
double difference(const Cover& wanted, const OGRGeometry& found, Work& work) {
    Cover other;
    other.addAll(found);
    const std::array<const Cover*, 2> covers{&wanted, &other};
    std::array<std::vector<Shapes::Internal::RingEdges>, 2> edges;
    for (std::size_t which = 0; which < covers.size(); ++which) {
        for (const Cover::Member& member : covers[which]->rings()) {
            edges[which].emplace_back(member.vertices);
        }
    }
    struct Crossing {
        double x;
        std::size_t which;
        int ring;
        int direction;
    };
    constexpr int lines = 64;
    const Shapes::GisExtent extent = wanted.extent();
    const double step = (extent.yMax() - extent.yMin()) / lines;
    double covered = 0.0;
    double different = 0.0;
    std::array<CoverAtPlace, 2> at{CoverAtPlace(wanted), CoverAtPlace(other)};
    std::vector<Crossing> crossings;
    for (int i = 0; i < lines; ++i) {
        const double y = extent.yMin() + (i + 0.3819660112501051) * step; // where grids have no edges
        crossings.clear();
        for (std::size_t which = 0; which < covers.size(); ++which) {
            for (std::size_t ring = 0; ring < edges[which].size(); ++ring) {
                for (const auto& [x, direction] : edges[which][ring].crossingsAt(y)) {
                    crossings.push_back({x, which, static_cast<int>(ring), direction});
                }
            }
            work.add(static_cast<qint64>(edges[which].size()));
        }
        work.add(static_cast<qint64>(crossings.size()) * 16);
        std::sort(crossings.begin(), crossings.end(),
                  [](const Crossing& a, const Crossing& b) { return a.x < b.x; });
        for (std::size_t k = 0; k < crossings.size(); ++k) {
            const Crossing& crossing = crossings[k];
            if (k > 0) {
                const double length = crossing.x - crossings[k - 1].x;
                covered += at[0].isCovered() ? length : 0.0;
                different += at[0].isCovered() != at[1].isCovered() ? length : 0.0;
            }
            at[crossing.which].change(crossing.ring, crossing.direction);
        }
    }
    return different / covered;
}

/// Areas made valid. Each operation is followed by a look at whether it was stopped, which looks like a
/// failure.
class AreaMaker {
public:
    explicit AreaMaker(const GisTopology& topology) : m_interrupt(topology), m_work(&topology) {}

    /// By structure, unless the faces of the rings' lines have another area: then what differs least from
    /// what the rings cover. Null when GEOS fails. \throws Stopped
    GeometryPtr make(const OGRGeometry& geometry) {
        GeometryPtr valid = madeValid(geometry, ValidMethod::Structure);
        m_interrupt.check();
        Cover wanted;
        wanted.addAll(geometry);
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
            valid == nullptr ? std::numeric_limits<double>::infinity() : difference(wanted, *valid, m_work);
        const auto offer = [&](GeometryPtr other) {
            if (other == nullptr) {
                return;
            }
            if (const double its = difference(wanted, *other, m_work);
                valid == nullptr || its + share < least) {
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
    std::vector<GeometryPtr> facesOf(const OGRGeometry& geometry, const Cover& wanted) {
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
        std::vector<int> numbers;
        std::vector<PlaceWindings::Place> places;
        for (int i = collection.getNumGeometries() - 1; i >= 0; --i) { // from the end, where nothing moves up
            GisShapePolygon face;
            for (const OGRLinearRing* ring : *collection.getGeometryRef(i)->toPolygon()) {
                face.parts().append(verticesOf(*ring));
                m_work.add(16 * static_cast<qint64>(ring->getNumPoints()));
            }
            const Shapes::GisShapePoint inside = GisTopology::PointOnSurface(face);
            if (!inside.isEmpty()) {
                numbers.push_back(i);
                places.push_back({inside.x(), inside.y()});
            }
        }
        const CoveredPlaces isCovered(wanted, places, m_work);
        for (std::size_t i = 0; i < numbers.size(); ++i) {
            if (isCovered[i]) {
                faces.emplace_back(collection.getGeometryRef(numbers[i]));
                collection.removeGeometry(numbers[i], FALSE);
            }
        }
        return faces;
    }

    const GeosInterrupt m_interrupt;
    Work m_work;
};

} // namespace

ValidArea validArea(const QList<Ring>& rings, const GisTopology& topology) {
    GisShapePolygon polygon;
    polygon.parts() = rings;
    const GeometryPtr geometry = Serialization::Ogr::Internal::geometryOf(polygon);
    removeCopies(*geometry);
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
