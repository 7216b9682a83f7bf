// The predicates beside GEOS, plain and prepared, and Boost.Geometry, on the same shapes. Times are for one
// pair, or one point. The counter "true" says how often the answer was yes; it differs where the meaning
// does.

#include <Cartolith/Core/Serialization/GisWkbReader.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Topology/GisPreparedShape.h>
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
#include <gdal_priv.h>
#include <ogrsf_frmts.h>
#ifdef __GNUC__
#pragma GCC diagnostic pop
#endif

#include <cmath>
#include <cstdlib>
#include <map>
#include <memory>
#include <numbers>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

namespace bg = boost::geometry;
using Cartolith::Core::Shapes::GisShape;
using Cartolith::Core::Shapes::GisShapePoint;
using Cartolith::Core::Topology::GisPreparedShape;
using Cartolith::Core::Topology::GisTopology;

using BoostPoint = bg::model::d2::point_xy<double>;
using BoostPolygon = bg::model::polygon<BoostPoint>;
using BoostShape = bg::model::multi_polygon<BoostPolygon>;

const GEOSContextHandle_t geos = GEOS_init_r();

struct GeosDeleter {
    void operator()(GEOSGeometry* geometry) const { GEOSGeom_destroy_r(geos, geometry); }
    void operator()(const GEOSPreparedGeometry* prepared) const {
        GEOSPreparedGeom_destroy_r(geos, prepared);
    }
};

/// One geometry in the form of each contender.
struct Entry {
    std::unique_ptr<GisShape> ours;
    std::unique_ptr<GisPreparedShape> oursPrepared;
    std::unique_ptr<GEOSGeometry, GeosDeleter> geosShape;
    std::unique_ptr<const GEOSPreparedGeometry, GeosDeleter> geosPrepared;
    BoostShape boost;
    OGREnvelope box;

    explicit Entry(const OGRGeometry& geometry) {
        geometry.getEnvelope(&box);
        QByteArray wkb(static_cast<qsizetype>(geometry.WkbSize()), '\0');
        geometry.exportToWkb(wkbNDR, reinterpret_cast<unsigned char*>(wkb.data()));
        ours = Cartolith::Core::Serialization::Wkb::GisWkbReader::read(wkb);
        oursPrepared = std::make_unique<GisPreparedShape>(*ours);
        geosShape.reset(GEOSGeomFromWKB_buf_r(geos, reinterpret_cast<const unsigned char*>(wkb.constData()),
                                              static_cast<std::size_t>(wkb.size())));
        geosPrepared.reset(GEOSPrepare_r(geos, geosShape.get()));
        if (wkbFlatten(geometry.getGeometryType()) == wkbMultiPolygon) {
            for (const OGRPolygon* polygon : *geometry.toMultiPolygon()) {
                addToBoost(*polygon);
            }
        } else {
            addToBoost(*geometry.toPolygon());
        }
        bg::correct(boost);
    }

    void addToBoost(const OGRPolygon& polygon) {
        BoostPolygon& target = boost.emplace_back();
        target.inners().resize(static_cast<std::size_t>(polygon.getNumInteriorRings()));
        const auto copy = [](const OGRLinearRing& ring, auto& to) {
            for (int i = 0; i < ring.getNumPoints(); ++i) {
                to.emplace_back(ring.getX(i), ring.getY(i));
            }
        };
        copy(*polygon.getExteriorRing(), target.outer());
        for (int i = 0; i < polygon.getNumInteriorRings(); ++i) {
            copy(*polygon.getInteriorRing(i), target.inners()[static_cast<std::size_t>(i)]);
        }
    }
};

struct Pairs {
    std::string name;
    std::vector<Entry> entries;
    std::vector<std::pair<const Entry*, const Entry*>> pairs;

    /// Those whose boxes meet.
    void pairUp() {
        for (std::size_t i = 0; i < entries.size(); ++i) {
            for (std::size_t j = i + 1; j < entries.size(); ++j) {
                if (entries[i].box.Intersects(entries[j].box) != 0) {
                    pairs.emplace_back(&entries[i], &entries[j]);
                }
            }
        }
    }
};

void scaleBy(OGRGeometry& geometry, double factor) {
    class Scaling : public OGRDefaultGeometryVisitor {
    public:
        explicit Scaling(double factor) : m_factor(factor) {}
        using OGRDefaultGeometryVisitor::visit;
        // A ring hands out its first point again as its last.
        void visit(OGRLinearRing* ring) override {
            for (int i = 0; i < ring->getNumPoints(); ++i) {
                ring->setPoint(i, ring->getX(i) * m_factor, ring->getY(i) * m_factor);
            }
        }

    private:
        double m_factor;
    } scaling(factor);
    geometry.accept(&scaling);
}

/// `scale` makes metres, roughly, of degrees: longer segments, for the same tolerance.
Pairs fileOf(const char* name, const char* path, double scale = 1.0) {
    const GDALDatasetUniquePtr dataset(GDALDataset::Open(path, GDAL_OF_VECTOR));
    Pairs result{name, {}, {}};
    for (const OGRFeatureUniquePtr& feature : *dataset->GetLayer(0)) {
        OGRGeometry* const geometry = feature->GetGeometryRef();
        if (geometry != nullptr && !geometry->IsEmpty()) {
            scaleBy(*geometry, scale);
            result.entries.emplace_back(*geometry);
        }
    }
    result.pairUp();
    return result;
}

OGRPolygon star(double x, double y, double radius, int vertices) {
    std::mt19937_64 random(20241);
    std::uniform_real_distribution<double> depth(0.5, 1.0);
    OGRLinearRing ring;
    for (int i = 0; i < vertices; ++i) {
        const double angle = 2.0 * std::numbers::pi * i / vertices;
        const double r = radius * depth(random);
        ring.addPoint(x + r * std::cos(angle), y + r * std::sin(angle));
    }
    ring.closeRings();
    OGRPolygon polygon;
    polygon.addRing(&ring);
    return polygon;
}

Pairs stars(const char* name, double x, double y, double radius) {
    Pairs result{name, {}, {}};
    result.entries.emplace_back(star(0, 0, 1, 10000));
    result.entries.emplace_back(star(x, y, radius, 10000));
    result.pairUp();
    return result;
}

std::map<std::string, std::vector<bool>>& firstAnswers() {
    static std::map<std::string, std::vector<bool>> answers;
    return answers;
}

/// How many answers differ from those of the first contender that was asked this.
template <typename Answer>
int differences(const Pairs& data, const std::string& question, Answer answer) {
    std::vector<bool> answers;
    for (const auto& [a, b] : data.pairs) {
        answers.push_back(answer(*a, *b));
    }
    const std::vector<bool>& expected = firstAnswers().try_emplace(question, answers).first->second;
    int count = 0;
    for (std::size_t i = 0; i < answers.size(); ++i) {
        count += answers[i] != expected[i] ? 1 : 0;
    }
    return count;
}

template <typename Answer>
void addPairs(const Pairs& data, const std::string& name, Answer answer) {
    const auto run = [&data, answer,
                      question = data.name + name.substr(0, name.find('/'))](benchmark::State& state) {
        int yes = 0;
        for (auto _ : state) {
            yes = 0;
            for (const auto& [a, b] : data.pairs) {
                yes += answer(*a, *b) ? 1 : 0;
            }
        }
        const auto pairs = static_cast<double>(data.pairs.size());
        state.counters["pair"] = benchmark::Counter(pairs, benchmark::Counter::kIsIterationInvariantRate |
                                                               benchmark::Counter::kInvert);
        state.counters["true"] = yes;
        state.counters["pairs"] = pairs;
        state.counters["differ"] = differences(data, question, answer);
    };
    benchmark::RegisterBenchmark((data.name + "/" + name).c_str(), run)
        ->MinTime(0.2)
        ->Unit(benchmark::kMillisecond);
}

// Boost refuses some invalid input by an exception.
template <typename Question>
bool boostSays(Question question) {
    try {
        return question();
    } catch (const bg::exception&) {
        return false;
    }
}

void addAll(const Pairs& data) {
    static const GisTopology topology;
    using E = const Entry&;
    const auto boost = [](auto algorithm) {
        return [algorithm](E a, E b) { return boostSays([&] { return algorithm(a.boost, b.boost); }); };
    };
    addPairs(data, "intersects/Ours", [](E a, E b) { return topology.Intersect(*a.ours, *b.ours); });
    addPairs(data, "intersects/Geos",
             [](E a, E b) { return GEOSIntersects_r(geos, a.geosShape.get(), b.geosShape.get()) == 1; });
    addPairs(data, "intersects/Boost",
             boost([](const auto& a, const auto& b) { return bg::intersects(a, b); }));
    addPairs(data, "intersects/OursPrepared", [](E a, E b) { return a.oursPrepared->Intersect(*b.ours); });
    addPairs(data, "intersects/GeosPrepared", [](E a, E b) {
        return GEOSPreparedIntersects_r(geos, a.geosPrepared.get(), b.geosShape.get()) == 1;
    });

    addPairs(data, "touches/Ours", [](E a, E b) { return topology.Touch(*a.ours, *b.ours); });
    addPairs(data, "touches/Geos",
             [](E a, E b) { return GEOSTouches_r(geos, a.geosShape.get(), b.geosShape.get()) == 1; });
    addPairs(data, "touches/Boost", boost([](const auto& a, const auto& b) { return bg::touches(a, b); }));
    addPairs(data, "touches/OursPrepared", [](E a, E b) { return a.oursPrepared->Touch(*b.ours); });
    addPairs(data, "touches/GeosPrepared", [](E a, E b) {
        return GEOSPreparedTouches_r(geos, a.geosPrepared.get(), b.geosShape.get()) == 1;
    });

    addPairs(data, "within/Ours", [](E a, E b) { return topology.Within(*a.ours, *b.ours); });
    addPairs(data, "within/Geos",
             [](E a, E b) { return GEOSWithin_r(geos, a.geosShape.get(), b.geosShape.get()) == 1; });
    addPairs(data, "within/Boost", boost([](const auto& a, const auto& b) { return bg::within(a, b); }));
    addPairs(data, "contains/OursPrepared", [](E a, E b) { return a.oursPrepared->Contains(*b.ours); });
    addPairs(data, "contains/GeosPrepared", [](E a, E b) {
        return GEOSPreparedContains_r(geos, a.geosPrepared.get(), b.geosShape.get()) == 1;
    });

    addPairs(data, "relate/Ours", [](E a, E b) { return topology.Relate(*a.ours, *b.ours).front() == u'T'; });
    addPairs(data, "relate/OursPrepared",
             [](E a, E b) { return a.oursPrepared->Relate(*b.ours).front() == u'T'; });
    addPairs(data, "relate/Geos", [](E a, E b) {
        char* const matrix = GEOSRelate_r(geos, a.geosShape.get(), b.geosShape.get());
        const bool interiorsMeet = matrix != nullptr && matrix[0] != 'F'; // null: it gave up
        GEOSFree_r(geos, matrix);
        return interiorsMeet;
    });
    addPairs(data, "relate/Boost",
             boost([](const auto& a, const auto& b) { return bg::relation(a, b).str()[0] != 'F'; }));
}

struct Points {
    std::string name;
    Entry entry;
    std::vector<GisShapePoint> points;
    std::vector<std::unique_ptr<GEOSGeometry, GeosDeleter>> geosPoints;

    Points(std::string dataName, const OGRGeometry& geometry) : name(std::move(dataName)), entry(geometry) {
        std::mt19937_64 random(20242);
        std::uniform_real_distribution<double> x(entry.box.MinX, entry.box.MaxX);
        std::uniform_real_distribution<double> y(entry.box.MinY, entry.box.MaxY);
        for (int i = 0; i < 100'000; ++i) {
            const double px = x(random);
            const GisShapePoint& point = points.emplace_back(px, y(random));
            geosPoints.emplace_back(GEOSGeom_createPointFromXY_r(geos, point.x(), point.y()));
        }
    }
};

template <typename Answer>
void addPoints(const Points& data, const std::string& name, std::size_t count, Answer answer) {
    const auto run = [&data, count, answer](benchmark::State& state) {
        int yes = 0;
        for (auto _ : state) {
            yes = 0;
            for (std::size_t i = 0; i < count; ++i) {
                yes += answer(i) ? 1 : 0;
            }
        }
        state.counters["point"] =
            benchmark::Counter(static_cast<double>(count),
                               benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
        state.counters["true"] = yes;
    };
    benchmark::RegisterBenchmark((data.name + "/point/" + name).c_str(), run)
        ->MinTime(0.2)
        ->Unit(benchmark::kMillisecond);
}

void addAll(const Points& data) {
    const std::size_t few = 500; // what looks at every vertex each time
    addPoints(data, "Ours", few, [&data](std::size_t i) {
        return GisTopology::ContainsPoint(*data.entry.ours, data.points[i], 1e-9);
    });
    addPoints(data, "Geos", few, [&data](std::size_t i) {
        return GEOSIntersects_r(geos, data.entry.geosShape.get(), data.geosPoints[i].get()) == 1;
    });
    addPoints(data, "Boost", few, [&data](std::size_t i) {
        return bg::covered_by(BoostPoint(data.points[i].x(), data.points[i].y()), data.entry.boost);
    });
    addPoints(data, "OursPrepared", data.points.size(),
              [&data](std::size_t i) { return data.entry.oursPrepared->ContainsPoint(data.points[i]); });
    addPoints(data, "GeosPrepared", data.points.size(), [&data](std::size_t i) {
        return GEOSPreparedIntersects_r(geos, data.entry.geosPrepared.get(), data.geosPoints[i].get()) == 1;
    });
}

void addPreparation(const Points& data) {
    benchmark::RegisterBenchmark((data.name + "/prepare/Ours").c_str(), [&data](benchmark::State& state) {
        for (auto _ : state) {
            GisPreparedShape prepared(*data.entry.ours);
            benchmark::DoNotOptimize(prepared);
        }
    })->Unit(benchmark::kMicrosecond);
    // Its index is made by the first question.
    benchmark::RegisterBenchmark((data.name + "/prepare/Geos").c_str(), [&data](benchmark::State& state) {
        for (auto _ : state) {
            const std::unique_ptr<const GEOSPreparedGeometry, GeosDeleter> prepared(
                GEOSPrepare_r(geos, data.entry.geosShape.get()));
            benchmark::DoNotOptimize(
                GEOSPreparedIntersects_r(geos, prepared.get(), data.geosPoints.front().get()));
        }
    })->Unit(benchmark::kMicrosecond);
}

OGRGeometryUniquePtr largestOf(const char* path) {
    const GDALDatasetUniquePtr dataset(GDALDataset::Open(path, GDAL_OF_VECTOR));
    OGRGeometryUniquePtr largest;
    for (const OGRFeatureUniquePtr& feature : *dataset->GetLayer(0)) {
        const OGRGeometry* const geometry = feature->GetGeometryRef();
        if (geometry != nullptr && (!largest || geometry->WkbSize() > largest->WkbSize())) {
            largest.reset(geometry->clone());
        }
    }
    return largest;
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    GDALAllRegister();
    const Pairs counties = fileOf("counties", CARTOLITH_DATA_DIR "/us-counties.gpkg");
    const Pairs countries = fileOf("countries", CARTOLITH_DATA_DIR "/world-countries.gpkg");
    const Pairs countiesInMetres =
        fileOf("countiesInMetres", CARTOLITH_DATA_DIR "/us-counties.gpkg", 111319.5);
    const Pairs overlapping = stars("starsOverlapping", 0.7, 0.3, 1);
    const Pairs nested = stars("starsNested", 0.01, 0.02, 0.45);
    const Pairs apart = stars("starsApart", 1.45, 1.4, 1);
    for (const Pairs* data : {&counties, &countries, &countiesInMetres, &overlapping, &nested, &apart}) {
        addAll(*data);
    }
    const Points points("largestCountry", *largestOf(CARTOLITH_DATA_DIR "/world-countries.gpkg"));
    const Points starPoints("star", star(0, 0, 1, 10000));
    for (const Points* data : {&points, &starPoints}) {
        addAll(*data);
        addPreparation(*data);
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
