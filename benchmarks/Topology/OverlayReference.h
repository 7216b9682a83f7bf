#pragma once

#include "../../tests/Topology/PlainAreas.h"

#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Topology/GisTopologyCombineType.h>

#include <geos_c.h>
#include <ogr_geometry.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <utility>
#include <vector>

/// Areas of overlays, found without the library: by GEOS through its C API, and by an integral over pairs of
/// edges that builds no geometry.
namespace reference {

using Cartolith::Core::Shapes::GisShapePoint;
using Cartolith::Core::Shapes::GisShapePolygon;
using Cartolith::Core::Topology::GisTopologyCombineType;

inline const GEOSContextHandle_t geos = GEOS_init_r();

struct Destroy {
    void operator()(GEOSGeometry* geometry) const { GEOSGeom_destroy_r(geos, geometry); }
};
using Geometry = std::unique_ptr<GEOSGeometry, Destroy>;

/// Where rings cross, what they enclose, and no lines or points that are left over.
inline Geometry madeValid(const GEOSGeometry* geometry) {
    const std::unique_ptr<GEOSMakeValidParams, void (*)(GEOSMakeValidParams*)> params(
        GEOSMakeValidParams_create_r(geos),
        [](GEOSMakeValidParams* p) { GEOSMakeValidParams_destroy_r(geos, p); });
    GEOSMakeValidParams_setMethod_r(geos, params.get(), GEOS_MAKE_VALID_STRUCTURE);
    GEOSMakeValidParams_setKeepCollapsed_r(geos, params.get(), 0);
    return Geometry(GEOSMakeValidWithParams_r(geos, geometry, params.get()));
}

/// Shells and holes told apart by GDAL; made valid if it is not.
inline Geometry geometryOf(const GisShapePolygon& polygon) {
    std::vector<OGRGeometry*> rings;
    for (const QList<GisShapePoint>& part : polygon.parts()) {
        auto ring = std::make_unique<OGRLinearRing>();
        for (const GisShapePoint& vertex : part) {
            ring->addPoint(vertex.x(), vertex.y());
        }
        ring->closeRings();
        rings.push_back(new OGRPolygon());
        rings.back()->toPolygon()->addRingDirectly(ring.release());
    }
    if (rings.empty()) {
        return Geometry(GEOSGeom_createEmptyPolygon_r(geos));
    }
    int isValid = 0;
    const std::unique_ptr<OGRGeometry> nested(OGRGeometryFactory::organizePolygons(
        rings.data(), static_cast<int>(rings.size()), &isValid, nullptr));
    Geometry geometry(nested->exportToGEOS(geos));
    if (GEOSisValid_r(geos, geometry.get()) != 1) {
        geometry = madeValid(geometry.get());
    }
    return geometry;
}

inline void addRings(plain::Edges& edges, const GEOSGeometry* geometry) {
    const auto add = [&edges](const GEOSGeometry* ring, bool isHole) {
        const GEOSCoordSequence* sequence = GEOSGeom_getCoordSeq_r(geos, ring);
        unsigned size = 0;
        GEOSCoordSeq_getSize_r(geos, sequence, &size);
        QList<GisShapePoint> vertices;
        for (unsigned i = 0; i < size; ++i) {
            double x = 0.0;
            double y = 0.0;
            GEOSCoordSeq_getXY_r(geos, sequence, i, &x, &y);
            vertices.append(GisShapePoint(x, y));
        }
        edges.addRing(vertices, isHole);
    };
    const int type = GEOSGeomTypeId_r(geos, geometry);
    if (type == GEOS_POLYGON && GEOSisEmpty_r(geos, geometry) == 0) {
        add(GEOSGetExteriorRing_r(geos, geometry), false);
        for (int i = 0; i < GEOSGetNumInteriorRings_r(geos, geometry); ++i) {
            add(GEOSGetInteriorRingN_r(geos, geometry, i), true);
        }
    } else if (type == GEOS_MULTIPOLYGON || type == GEOS_GEOMETRYCOLLECTION) {
        for (int i = 0; i < GEOSGetNumGeometries_r(geos, geometry); ++i) {
            addRings(edges, GEOSGetGeometryN_r(geos, geometry, i));
        }
    }
}

/// Members that are no areas have none.
inline plain::Edges edgesOf(const GEOSGeometry* geometry) {
    plain::Edges edges;
    addRings(edges, geometry);
    return edges;
}

/// With a grid of 0 by OverlayNG's own choice of noding, else rounded to the grid. Null when it fails.
inline Geometry overlay(const GEOSGeometry* a, const GEOSGeometry* b, GisTopologyCombineType type,
                        double grid) {
    switch (type) {
    case GisTopologyCombineType::Intersection:
        return Geometry(grid == 0.0 ? GEOSIntersection_r(geos, a, b)
                                    : GEOSIntersectionPrec_r(geos, a, b, grid));
    case GisTopologyCombineType::Difference:
        return Geometry(grid == 0.0 ? GEOSDifference_r(geos, a, b) : GEOSDifferencePrec_r(geos, a, b, grid));
    case GisTopologyCombineType::SymmetricalDifference:
        return Geometry(grid == 0.0 ? GEOSSymDifference_r(geos, a, b)
                                    : GEOSSymDifferencePrec_r(geos, a, b, grid));
    case GisTopologyCombineType::Union:
        break;
    }
    return Geometry(grid == 0.0 ? GEOSUnion_r(geos, a, b) : GEOSUnionPrec_r(geos, a, b, grid));
}

/// A polygon in the forms that are needed.
struct Operand {
    explicit Operand(const GisShapePolygon& polygon)
        : geometry(geometryOf(polygon)), edges(edgesOf(geometry.get())) {}

    Geometry geometry;
    plain::Edges edges;
};

struct Expected {
    std::array<long double, 4> areas{}; ///< by the integral where that is not too slow, else by GEOS
    std::array<Geometry, 4> geometries; ///< by GEOS
    long double smaller = 0.0L;         ///< area of the inputs
    long double rounding = 0.0L;        ///< what moving the vertices to the next double may change
    bool agrees = true; ///< all ways, within a millionth of the smaller or what rounding to the grid may do
};

inline Expected expected(const Operand& a, const Operand& b) {
    using Type = GisTopologyCombineType;
    Expected result;
    const double reach = std::max(a.edges.reach(), b.edges.reach());
    const double ulp = std::nextafter(reach, INFINITY) - reach;
    long double length = 0.0L; // of the edges near the other shape
    for (const auto& [own, other] : {std::pair(&a.edges, &b.edges), std::pair(&b.edges, &a.edges)}) {
        for (const plain::Edge& edge : own->edges) {
            if (std::max(edge.x0, edge.x1) >= other->xMin && std::min(edge.x0, edge.x1) <= other->xMax &&
                std::max(edge.y0, edge.y1) >= other->yMin && std::min(edge.y0, edge.y1) <= other->yMax) {
                length += std::hypot(edge.x1 - edge.x0, edge.y1 - edge.y0);
            }
        }
    }
    result.smaller = std::min(a.edges.area, b.edges.area);
    result.rounding = ulp * length;
    const bool isFast = a.edges.edges.size() * b.edges.edges.size() < 4'000'000;
    const long double both = isFast ? plain::commonArea(a.edges, b.edges) : 0.0L;
    const long double areaA = a.edges.area;
    const long double areaB = b.edges.area;
    const std::array<long double, 4> exact{areaA + areaB - both, both, areaA - both,
                                           areaA + areaB - 2 * both};
    const double grid = std::exp2(std::floor(std::log2(reach)) - 50); // a few units in the last place
    for (const Type type : {Type::Union, Type::Intersection, Type::Difference, Type::SymmetricalDifference}) {
        const auto i = static_cast<std::size_t>(type);
        result.geometries[i] = overlay(a.geometry.get(), b.geometry.get(), type, 0.0);
        const Geometry rounded = overlay(a.geometry.get(), b.geometry.get(), type, grid);
        const auto areaOf = [](const Geometry& geometry) {
            return geometry == nullptr ? static_cast<long double>(NAN) : edgesOf(geometry.get()).area;
        };
        const long double byGeos = areaOf(result.geometries[i]);
        const long double allowed = 1e-6 * result.smaller + 16 * result.rounding;
        result.areas[i] = isFast ? exact[i] : byGeos;
        result.agrees =
            result.agrees && std::fabs(result.areas[i] - byGeos) <= allowed &&
            std::fabs(areaOf(rounded) - byGeos) <= allowed + grid * (a.edges.length + b.edges.length);
    }
    return result;
}

} // namespace reference
