// Areas of polygons of many rings, of which the library finds out what is a shell and what a hole. GEOS and
// GDAL are told; GDAL's organizePolygons() finds out, too.

#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Topology/GisTopology.h>

#include <benchmark/benchmark.h>
#include <geos_c.h>
#include <ogr_geometry.h>

#include <memory>
#include <string>
#include <vector>

namespace {

using Cartolith::Core::Shapes::GisShapePoint;
using Cartolith::Core::Shapes::GisShapePolygon;
using Cartolith::Core::Topology::GisTopology;
using Ring = QList<GisShapePoint>;

constexpr int side = 200;

Ring squareOf(double x, double y, double size) {
    return {{x, y}, {x + size, y}, {x + size, y + size}, {x, y + size}, {x, y}};
}

struct Case {
    const char* name;
    QList<Ring> rings;
    bool isShellFirst; ///< and the rest its holes; else all are shells
};

const std::vector<Case>& cases() {
    static const std::vector<Case> all = [] {
        Case apart{"side by side", {}, false};
        Case holes{"holes", {squareOf(-1, -1, side + 2)}, true};
        Case nested{"one in another", {}, false};
        for (int i = 0; i < side * side; ++i) {
            apart.rings.append(squareOf(i / side, i % side, 1));
            holes.rings.append(squareOf(i / side, i % side, 0.5));
            nested.rings.append(squareOf(-i, -i, 2 * i + 1));
        }
        return std::vector<Case>{apart, holes, nested};
    }();
    return all;
}

std::unique_ptr<OGRPolygon> polygonOf(const Ring& ring) {
    auto line = std::make_unique<OGRLinearRing>();
    for (const GisShapePoint& vertex : ring) {
        line->addPoint(vertex.x(), vertex.y());
    }
    auto polygon = std::make_unique<OGRPolygon>();
    polygon->addRingDirectly(line.release());
    return polygon;
}

void ours(benchmark::State& state, const Case& rings) {
    GisShapePolygon polygon;
    polygon.parts() = rings.rings;
    double area = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(area = GisTopology::Area(polygon));
    }
    state.counters["area"] = area;
}

void geos(benchmark::State& state, const Case& rings) {
    OGRMultiPolygon all;
    for (const Ring& ring : rings.rings) {
        auto polygon = polygonOf(ring);
        if (rings.isShellFirst && all.getNumGeometries() == 1) {
            all.getGeometryRef(0)->addRing(polygon->getExteriorRing());
        } else {
            all.addGeometryDirectly(polygon.release());
        }
    }
    const GEOSContextHandle_t context = OGRGeometry::createGEOSContext();
    GEOSGeometry* const geometry = all.exportToGEOS(context);
    double area = 0;
    for (auto _ : state) {
        GEOSArea_r(context, geometry, &area);
    }
    state.counters["area"] = area;
    GEOSGeom_destroy_r(context, geometry);
    OGRGeometry::freeGEOSContext(context);
}

/// With the copy of the rings that it takes over.
void gdal(benchmark::State& state, const Case& rings) {
    for (auto _ : state) {
        std::vector<OGRGeometry*> polygons;
        for (const Ring& ring : rings.rings) {
            polygons.push_back(polygonOf(ring).release());
        }
        OGRGeometry* const organised = OGRGeometryFactory::organizePolygons(
            polygons.data(), static_cast<int>(polygons.size()), nullptr, nullptr);
        benchmark::DoNotOptimize(organised);
        OGRGeometryFactory::destroyGeometry(organised);
    }
}

const bool areRegistered = [] {
    for (const Case& rings : cases()) {
        const std::string name = std::string("AreaOfManyRings/") + rings.name;
        benchmark::RegisterBenchmark((name + "/ours").c_str(), ours, rings)->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark((name + "/GEOS, told the structure").c_str(), geos, rings)
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark((name + "/GDAL, organising").c_str(), gdal, rings)
            ->Unit(benchmark::kMillisecond);
    }
    return true;
}();

} // namespace
