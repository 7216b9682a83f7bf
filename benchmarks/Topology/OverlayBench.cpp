// Overlay by both engines beside plain GEOS and Boost.Geometry on the same polygons, what the check costs
// beside it, and the union of many. Times are for one pair; the pairs of a set take turns.

#include "../../tests/Topology/OverlayPairs.h"

#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Topology/GisTopology.h>

#include <benchmark/benchmark.h>
#include <geos_c.h>

#ifdef __GNUC__
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wsign-conversion"
#pragma GCC diagnostic ignored "-Wshadow"
#pragma GCC diagnostic ignored "-Wold-style-cast"
#pragma GCC diagnostic ignored "-Wpedantic"
#endif
#include <boost/geometry.hpp>
#include <boost/geometry/geometries/multi_polygon.hpp>
#include <boost/geometry/geometries/point_xy.hpp>
#include <boost/geometry/geometries/polygon.hpp>
#ifdef __GNUC__
#pragma GCC diagnostic pop
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized" // where Boost's templates are instantiated
#endif

#include <cmath>
#include <memory>
#include <numbers>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

namespace bg = boost::geometry;
using namespace Cartolith::Core;
using Shapes::GisShape;
using Shapes::GisShapePoint;
using Shapes::GisShapePolygon;
using Topology::GisOverlayEngine;
using Topology::GisTopology;
using Type = Topology::GisTopologyCombineType;

using BoostShape = bg::model::multi_polygon<bg::model::polygon<bg::model::d2::point_xy<double>>>;

const GEOSContextHandle_t geos = GEOS_init_r();

struct GeosDeleter {
    void operator()(GEOSGeometry* geometry) const { GEOSGeom_destroy_r(geos, geometry); }
};
using GeosShape = std::unique_ptr<GEOSGeometry, GeosDeleter>;

/// One polygon in the form of each contender.
struct Entry {
    std::unique_ptr<GisShapePolygon> ours;
    GeosShape geosShape;
    BoostShape boost;

    explicit Entry(const GisShapePolygon& polygon) : ours(GisTopology::OrientRings(polygon)) {
        for (const QList<GisShapePoint>& ring : std::as_const(*ours).parts()) {
            const bool isHole = !boost.empty() && signedArea(ring) < 0;
            if (!isHole) {
                boost.emplace_back();
            } else {
                boost.back().inners().emplace_back();
            }
            auto& target = isHole ? boost.back().inners().back() : boost.back().outer();
            for (const GisShapePoint& vertex : ring) {
                target.emplace_back(vertex.x(), vertex.y());
            }
        }
        std::vector<GEOSGeometry*> members;
        for (const auto& member : boost) {
            std::vector<GEOSGeometry*> holes;
            for (const auto& hole : member.inners()) {
                holes.push_back(ringOf(hole));
            }
            members.push_back(GEOSGeom_createPolygon_r(geos, ringOf(member.outer()), holes.data(),
                                                       static_cast<unsigned>(holes.size())));
        }
        geosShape.reset(members.size() == 1
                            ? members.front()
                            : GEOSGeom_createCollection_r(geos, GEOS_MULTIPOLYGON, members.data(),
                                                          static_cast<unsigned>(members.size())));
        bg::correct(boost);
    }

    static double signedArea(const QList<GisShapePoint>& ring) {
        double sum = 0.0;
        for (qsizetype i = 2; i < ring.size(); ++i) {
            sum += GisTopology::Cross(ring[0], ring[i - 1], ring[i]) / 2;
        }
        return sum;
    }

    template <typename Ring>
    static GEOSGeometry* ringOf(const Ring& ring) {
        GEOSCoordSequence* sequence = GEOSCoordSeq_create_r(geos, static_cast<unsigned>(ring.size()), 2);
        for (unsigned i = 0; i < ring.size(); ++i) {
            GEOSCoordSeq_setXY_r(geos, sequence, i, ring[i].x(), ring[i].y());
        }
        return GEOSGeom_createLinearRing_r(geos, sequence);
    }
};

struct Data {
    std::vector<Entry> entries;
    std::vector<std::pair<const Entry*, const Entry*>> pairs;
};

const QList<GisShape*>& counties() {
    static Layers::GisLayerOgrVector layer(QStringLiteral(CARTOLITH_DATA_DIR "/us-counties.gpkg"));
    static const bool isOpen = layer.open();
    static const QList<GisShape*> shapes = isOpen ? layer.rawShapes() : QList<GisShape*>();
    return shapes;
}

/// A thousand pairs that touch.
const Data& neighbours() {
    static const Data data = [] {
        Data result;
        for (const GisShape* shape : counties()) {
            result.entries.emplace_back(dynamic_cast<const GisShapePolygon&>(*shape));
        }
        for (std::size_t i = 0; i < result.entries.size(); ++i) {
            for (std::size_t j = i + 1; j < result.entries.size() && result.pairs.size() < 1000; ++j) {
                const Entry& a = result.entries[i];
                const Entry& b = result.entries[j];
                if (a.ours->extent().intersects(b.ours->extent()) &&
                    GEOSIntersects_r(geos, a.geosShape.get(), b.geosShape.get()) == 1) {
                    result.pairs.emplace_back(&a, &b);
                }
            }
        }
        return result;
    }();
    return data;
}

/// A thousand parcels of 5 to 200 m, each with the county on whose edge it lies.
const Data& parcels() {
    static const Data data = [] {
        constexpr double metresPerDegree = 111'320.0;
        pairs::Polygons inMetres;
        for (const GisShape* shape : counties()) {
            inMetres.emplace_back(static_cast<GisShapePolygon*>(shape->clone().release()));
            for (QList<GisShapePoint>& ring : inMetres.back()->parts()) {
                for (GisShapePoint& vertex : ring) {
                    vertex = GisShapePoint(metresPerDegree * vertex.x(), metresPerDegree * vertex.y());
                }
            }
        }
        std::mt19937_64 random(20260117);
        const pairs::DataSet set = pairs::parcels(QString(), std::move(inMetres), 1000, random);
        Data result;
        for (const auto& polygon : set.polygons) {
            result.entries.emplace_back(*polygon);
        }
        for (const auto& [i, j] : set.pairs) {
            result.pairs.emplace_back(&result.entries[i], &result.entries[j]);
        }
        return result;
    }();
    return data;
}

Data pairOf(const GisShapePolygon& a, const GisShapePolygon& b) {
    Data data;
    data.entries.emplace_back(a);
    data.entries.emplace_back(b);
    data.pairs.emplace_back(&data.entries[0], &data.entries[1]);
    return data;
}

template <typename Radius>
GisShapePolygon roundShape(double x, int vertices, Radius radius) {
    QList<GisShapePoint> ring;
    for (int i = 0; i < vertices; ++i) {
        const double angle = 2.0 * std::numbers::pi * i / vertices;
        const double r = radius(i);
        ring.append(GisShapePoint(x + r * std::cos(angle), r * std::sin(angle)));
    }
    ring.append(GisShapePoint(ring.first()));
    GisShapePolygon polygon;
    polygon.parts().append(ring);
    return polygon;
}

/// Coastlines of 10^4 vertices, rough at every scale, that overlap by half.
const Data& coasts() {
    static const Data data = [] {
        std::mt19937_64 random(20260117);
        std::uniform_real_distribution<double> phase(0.0, 2.0 * std::numbers::pi);
        const auto coast = [&](double x) {
            std::vector<double> phases;
            for (int k = 0; k < 12; ++k) {
                phases.push_back(phase(random));
            }
            return roundShape(x, 10'000, [&phases](int i) {
                double r = 1.0;
                for (std::size_t k = 0; k < phases.size(); ++k) {
                    const double waves = std::pow(2.0, static_cast<double>(k) + 1.0);
                    r += 0.25 / waves * std::sin(waves * 2.0 * std::numbers::pi * i / 10'000.0 + phases[k]);
                }
                return r;
            });
        };
        const GisShapePolygon first = coast(0.0);
        return pairOf(first, coast(1.0));
    }();
    return data;
}

/// Stars of 10^4 spikes round one centre, each spike of one between two of the other.
const Data& stars() {
    static const Data data = pairOf(roundShape(0.0, 20'000, [](int i) { return i % 2 == 0 ? 1.0 : 0.5; }),
                                    roundShape(0.0, 20'000, [](int i) { return i % 2 == 0 ? 0.5 : 1.0; }));
    return data;
}

template <typename Operation>
void forEachPair(benchmark::State& state, const Data& data, Operation operation) {
    std::size_t next = 0;
    for (auto _ : state) {
        const auto& [a, b] = data.pairs[next];
        benchmark::DoNotOptimize(operation(*a, *b));
        next = next + 1 < data.pairs.size() ? next + 1 : 0;
    }
}

using DataOf = const Data& (*)();

void byEngine(benchmark::State& state, DataOf data, Type type, GisOverlayEngine engine) {
    GisTopology topology;
    topology.SetOverlayEngine(engine);
    forEachPair(state, data(),
                [&](const Entry& a, const Entry& b) { return topology.Combine(*a.ours, *b.ours, type); });
}

/// Of right results, made before the clock runs.
void check(benchmark::State& state, DataOf data, Type type) {
    GisTopology topology;
    topology.SetOverlayFallback(true); // GEOS takes very long for the stars
    std::vector<std::unique_ptr<GisShape>> results;
    for (const auto& [a, b] : data().pairs) {
        results.push_back(topology.Combine(*a->ours, *b->ours, type));
    }
    std::size_t next = 0;
    forEachPair(state, data(), [&](const Entry& a, const Entry& b) {
        const GisShape& result = *results[next];
        next = next + 1 < results.size() ? next + 1 : 0;
        return topology.CheckOverlay(*a.ours, *b.ours, type, result).plausible;
    });
}

void geosPlain(benchmark::State& state, DataOf data, Type type) {
    forEachPair(state, data(), [type](const Entry& a, const Entry& b) {
        return GeosShape(type == Type::Union
                             ? GEOSUnion_r(geos, a.geosShape.get(), b.geosShape.get())
                             : GEOSIntersection_r(geos, a.geosShape.get(), b.geosShape.get()));
    });
}

void boostPlain(benchmark::State& state, DataOf data, Type type) {
    forEachPair(state, data(), [type](const Entry& a, const Entry& b) {
        BoostShape result;
        if (type == Type::Union) {
            bg::union_(a.boost, b.boost, result);
        } else {
            bg::intersection(a.boost, b.boost, result);
        }
        return result.size();
    });
}

void addPairs(const std::string& name, DataOf data, bool once) {
    for (const Type type : {Type::Union, Type::Intersection}) {
        const std::string row = "Overlay/" + name + (type == Type::Union ? "/union/" : "/intersection/");
        const auto add = [&row, once](const char* contender, auto function) {
            auto* added = benchmark::RegisterBenchmark((row + contender).c_str(), function);
            added->Unit(benchmark::kMicrosecond);
            if (once) {
                added->Iterations(1);
            }
        };
        add("path", [=](auto& state) { byEngine(state, data, type, GisOverlayEngine::PainterPath); });
        add("check", [=](auto& state) { check(state, data, type); });
        add("geosEngine", [=](auto& state) { byEngine(state, data, type, GisOverlayEngine::Geos); });
        add("GEOS", [=](auto& state) { geosPlain(state, data, type); });
        add("Boost", [=](auto& state) { boostPlain(state, data, type); });
    }
}

QList<const GisShape*> firstCounties(qsizetype count) {
    const QList<GisShape*> shapes = counties().mid(0, count);
    return QList<const GisShape*>(shapes.begin(), shapes.end());
}

void oneByOne(benchmark::State& state, GisOverlayEngine engine) {
    GisTopology topology;
    topology.SetOverlayEngine(engine);
    const auto shapes = firstCounties(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(topology.UnionOnList(shapes));
    }
}

void cascaded(benchmark::State& state) {
    const auto shapes = firstCounties(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(GisTopology().CascadedUnion(shapes));
    }
}

void geosUnary(benchmark::State& state) {
    std::vector<GEOSGeometry*> members;
    for (qsizetype i = 0; i < std::min<qsizetype>(state.range(0), counties().size()); ++i) {
        members.push_back(
            GEOSGeom_clone_r(geos, neighbours().entries[static_cast<std::size_t>(i)].geosShape.get()));
    }
    const GeosShape all(GEOSGeom_createCollection_r(geos, GEOS_GEOMETRYCOLLECTION, members.data(),
                                                    static_cast<unsigned>(members.size())));
    for (auto _ : state) {
        const GeosShape result(GEOSUnaryUnion_r(geos, all.get()));
        if (result == nullptr) {
            state.SkipWithError("no result");
        }
        benchmark::DoNotOptimize(result.get());
    }
}

const bool added = [] {
    addPairs("neighbours", neighbours, false);
    addPairs("parcels", parcels, false);
    addPairs("coasts", coasts, false);
    addPairs("stars", stars, true);
    for (const int count : {100, 400}) {
        for (const auto engine : {GisOverlayEngine::PainterPath, GisOverlayEngine::Geos}) {
            benchmark::RegisterBenchmark(engine == GisOverlayEngine::Geos ? "UnionOfMany/oneByOneGeos"
                                                                          : "UnionOfMany/oneByOnePath",
                                         [engine](auto& state) { oneByOne(state, engine); })
                ->Arg(count)
                ->Iterations(1)
                ->Unit(benchmark::kMillisecond);
        }
    }
    for (const int count : {100, 400, 4000}) {
        benchmark::RegisterBenchmark("UnionOfMany/cascaded", cascaded)
            ->Arg(count)
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark("UnionOfMany/GEOS", geosUnary)
            ->Arg(count)
            ->Unit(benchmark::kMillisecond);
    }
    return true;
}();

} // namespace
