// How often overlay by painter path is wrong, by the areas that GEOS gets, and what the check makes of it.

#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateTransformer.h>
#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Topology/GisTopology.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <ogr_api.h>
#include <ogr_geometry.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <exception>
#include <memory>
#include <random>
#include <utility>
#include <vector>

using namespace Cartolith::Core;
using Shapes::GisShapePoint;
using Shapes::GisShapePolygon;
using Topology::GisTopology;
using Topology::GisTopologyCombineType;

namespace {

constexpr std::array operations{GisTopologyCombineType::Union, GisTopologyCombineType::Intersection,
                                GisTopologyCombineType::Difference,
                                GisTopologyCombineType::SymmetricalDifference};
constexpr double wrongShare = 1e-6; ///< of the larger input's area
constexpr double badShare = 1e-2;

using Polygons = std::vector<std::unique_ptr<GisShapePolygon>>;

struct DataSet {
    QString name;
    Polygons polygons;
    std::vector<std::pair<std::size_t, std::size_t>> pairs;
};

struct Counts {
    int done = 0;
    std::array<int, 4> wrong{};
    std::array<int, 4> bad{};
    int flagged = 0; ///< of the wrong ones
    int flaggedBad = 0;
    int falseAlarms = 0;
    int wrongAfterFallback = 0;
    int identities = 0; ///< that GEOS's own areas do not meet
};

/// Made valid, because noise makes some rings cross themselves. Straight from the shapes, not by the engine
/// under test.
std::unique_ptr<OGRGeometry> geometryOf(const GisShapePolygon& polygon) {
    auto* parts = new OGRPolygon*[static_cast<std::size_t>(polygon.parts().size())];
    int count = 0;
    for (const QList<GisShapePoint>& ring : polygon.parts()) {
        auto* outline = new OGRLinearRing();
        for (const GisShapePoint& vertex : ring) {
            outline->addPoint(vertex.x(), vertex.y());
        }
        outline->closeRings();
        parts[count] = new OGRPolygon();
        parts[count++]->addRingDirectly(outline);
    }
    int isValid = 0;
    std::unique_ptr<OGRGeometry> geometry(OGRGeometryFactory::organizePolygons(
        reinterpret_cast<OGRGeometry**>(parts), count, &isValid, nullptr));
    delete[] parts;
    if (!geometry->IsValid()) {
        geometry.reset(geometry->MakeValid());
    }
    return geometry;
}

double areaByGeos(const OGRGeometry& a, const OGRGeometry& b, GisTopologyCombineType type) {
    std::unique_ptr<OGRGeometry> result;
    switch (type) {
    case GisTopologyCombineType::Union:
        result.reset(a.Union(&b));
        break;
    case GisTopologyCombineType::Intersection:
        result.reset(a.Intersection(&b));
        break;
    case GisTopologyCombineType::Difference:
        result.reset(a.Difference(&b));
        break;
    case GisTopologyCombineType::SymmetricalDifference:
        result.reset(a.SymDifference(&b));
        break;
    }
    if (result != nullptr && result->getDimension() < 2) {
        return 0.0;
    }
    return result == nullptr ? NAN : OGR_G_Area(OGRGeometry::ToHandle(result.get()));
}

class Progress {
public:
    void show(const QString& name, std::size_t done, std::size_t total) {
        if (m_sinceShown.isValid() && m_sinceShown.elapsed() < 500) {
            return;
        }
        m_sinceShown.start();
        std::fprintf(stderr, "\r\033[K%s: %zu of %zu pairs", qPrintable(name), done, total);
    }
    static void clear() { std::fputs("\r\033[K", stderr); }

private:
    QElapsedTimer m_sinceShown;
};

Counts measure(const DataSet& data, Progress& progress) {
    Counts counts;
    GisTopology plain;
    GisTopology guarded;
    guarded.SetOverlayFallback(true);
    std::vector<std::unique_ptr<OGRGeometry>> geometries(data.polygons.size());
    for (std::size_t p = 0; p < data.pairs.size(); ++p) {
        progress.show(data.name, p, data.pairs.size());
        const auto [i, j] = data.pairs[p];
        for (const std::size_t k : {i, j}) {
            if (geometries[k] == nullptr) {
                geometries[k] = geometryOf(*data.polygons[k]);
            }
        }
        const GisShapePolygon& a = *data.polygons[i];
        const GisShapePolygon& b = *data.polygons[j];
        const double areaOfA = OGR_G_Area(OGRGeometry::ToHandle(geometries[i].get()));
        const double areaOfB = OGR_G_Area(OGRGeometry::ToHandle(geometries[j].get()));
        const double larger = std::max(areaOfA, areaOfB);
        std::array<double, 4> areas{};
        for (std::size_t op = 0; op < operations.size(); ++op) {
            areas[op] = areaByGeos(*geometries[i], *geometries[j], operations[op]);
            const auto isWrong = [&](const Shapes::GisShape& shape, double share) {
                return !(std::fabs(GisTopology::Area(shape) - areas[op]) <= share * larger);
            };
            const auto result = plain.Combine(a, b, operations[op]);
            const bool wrong = isWrong(*result, wrongShare);
            const bool bad = wrong && isWrong(*result, badShare);
            const bool flagged = !plain.CheckOverlay(a, b, operations[op], *result).plausible;
            ++counts.done;
            counts.wrong[op] += wrong ? 1 : 0;
            counts.bad[op] += bad ? 1 : 0;
            counts.flagged += wrong && flagged ? 1 : 0;
            counts.flaggedBad += bad && flagged ? 1 : 0;
            counts.falseAlarms += !wrong && flagged ? 1 : 0;
            if (wrong || flagged) { // otherwise the guarded result is the same
                counts.wrongAfterFallback +=
                    isWrong(*guarded.Combine(a, b, operations[op]), wrongShare) ? 1 : 0;
            }
        }
        const bool adds = std::fabs(areaOfA + areaOfB - areas[0] - areas[1]) <= wrongShare * larger &&
                          std::fabs(areaOfA - areas[1] - areas[2]) <= wrongShare * larger &&
                          std::fabs(areas[0] - areas[1] - areas[3]) <= wrongShare * larger;
        counts.identities += adds ? 0 : 1;
    }
    return counts;
}

Polygons copyOf(const Polygons& polygons) {
    Polygons copies;
    for (const auto& polygon : polygons) {
        copies.emplace_back(static_cast<GisShapePolygon*>(polygon->clone().release()));
    }
    return copies;
}

/// Each vertex moved by up to `distance` on both axes, by one unit in the last place up or down if that is 0.
/// Rings stay closed.
Polygons withNoise(const Polygons& polygons, double distance, std::mt19937_64& random) {
    std::uniform_real_distribution<double> place(-1.0, 1.0);
    const auto moved = [&](double value) {
        const double step = place(random);
        return distance > 0.0 ? value + distance * step
                              : std::nextafter(value, step < 0.0 ? -INFINITY : INFINITY);
    };
    Polygons noisy = copyOf(polygons);
    for (const auto& polygon : noisy) {
        for (QList<GisShapePoint>& ring : polygon->parts()) {
            for (GisShapePoint& vertex : ring) {
                const double x = moved(vertex.x());
                vertex = GisShapePoint(x, moved(vertex.y()));
            }
            ring.last() = GisShapePoint(ring.first());
        }
    }
    return noisy;
}

Polygons polygonsOf(Layers::GisLayerOgrVector& layer, bool inMetres) {
    const auto degrees = CoordinateSystems::CoordinateSystemFactory::fromEpsg(4326);
    const auto metres = CoordinateSystems::CoordinateSystemFactory::fromEpsg(3857);
    const CoordinateSystems::CoordinateTransformer transformer(*degrees, *metres);
    Polygons polygons;
    for (const Shapes::GisShape* shape : layer.rawShapes()) {
        const auto* polygon = dynamic_cast<const GisShapePolygon*>(shape);
        if (polygon != nullptr && polygon->extent().yMin() > -85.0) { // the rest has no place in EPSG:3857
            auto copy = inMetres ? transformer.transformShape(*polygon) : polygon->clone();
            polygons.emplace_back(static_cast<GisShapePolygon*>(copy.release()));
        }
    }
    return polygons;
}

/// Those that touch or overlap.
std::vector<std::pair<std::size_t, std::size_t>> neighbours(const Polygons& polygons, std::size_t limit) {
    std::vector<std::unique_ptr<OGRGeometry>> geometries;
    for (const auto& polygon : polygons) {
        geometries.push_back(geometryOf(*polygon));
    }
    std::vector<std::pair<std::size_t, std::size_t>> pairs;
    for (std::size_t i = 0; i < polygons.size(); ++i) {
        for (std::size_t j = i + 1; j < polygons.size(); ++j) {
            if (polygons[i]->extent().intersects(polygons[j]->extent()) &&
                geometries[i]->Intersects(geometries[j].get())) {
                pairs.emplace_back(i, j);
            }
        }
    }
    if (pairs.size() > limit) { // spread over all of them
        for (std::size_t k = 0; k < limit; ++k) {
            pairs[k] = pairs[k * pairs.size() / limit];
        }
        pairs.resize(limit);
    }
    return pairs;
}

/// A star-shaped ring of 64 vertices with radii from a half to the whole of the given one.
std::unique_ptr<GisShapePolygon> star(double x, double y, double radius, std::mt19937_64& random) {
    std::uniform_real_distribution<double> share(0.5, 1.0);
    auto polygon = std::make_unique<GisShapePolygon>();
    QList<GisShapePoint> ring;
    for (int k = 0; k < 64; ++k) {
        const double r = radius * share(random);
        const double angle = k * 2.0 * M_PI / 64.0;
        ring.append(GisShapePoint(x + r * std::cos(angle), y + r * std::sin(angle)));
    }
    ring.append(GisShapePoint(ring.first()));
    polygon->parts().append(ring);
    return polygon;
}

DataSet randomPairs(const QString& name, double radius, double spread, std::size_t count,
                    std::mt19937_64& random) {
    DataSet data{name, {}, {}};
    std::uniform_real_distribution<double> place(-1.0, 1.0);
    for (std::size_t k = 0; k < count; ++k) {
        const double x = spread * place(random);
        const double y = spread / 2 * place(random);
        data.polygons.push_back(star(x, y, radius, random));
        const double dx = radius * place(random);
        data.polygons.push_back(star(x + dx, y + radius * place(random), radius, random));
        data.pairs.emplace_back(2 * k, 2 * k + 1);
    }
    return data;
}

QString percent(double part, double whole) {
    return whole == 0 ? QStringLiteral("-") : QString::number(100.0 * part / whole, 'f', part == 0 ? 0 : 2);
}

void print(const DataSet& data, const Counts& counts) {
    const double pairs = static_cast<double>(data.pairs.size());
    int wrong = 0;
    int bad = 0;
    QString line = QStringLiteral("| %1 | %2 |").arg(data.name).arg(data.pairs.size());
    for (std::size_t op = 0; op < operations.size(); ++op) {
        line += QStringLiteral(" %1 (%2) |")
                    .arg(percent(counts.wrong[op], pairs), percent(counts.bad[op], pairs));
        wrong += counts.wrong[op];
        bad += counts.bad[op];
    }
    line += QStringLiteral(" %1 (%2) | %3 | %4 | %5 |")
                .arg(percent(counts.flagged, wrong), percent(counts.flaggedBad, bad),
                     percent(counts.falseAlarms, counts.done - wrong),
                     percent(counts.wrongAfterFallback, counts.done))
                .arg(counts.identities);
    std::printf("%s\n", qPrintable(line));
    std::fflush(stdout);
}

void measureLayer(const QString& file, const QString& name, std::size_t limit, std::mt19937_64& random,
                  Progress& progress) {
    Layers::GisLayerOgrVector layer(QStringLiteral(CARTOLITH_DATA_DIR "/") + file);
    layer.open();
    for (const bool inMetres : {false, true}) {
        const double metre = inMetres ? 1.0 : 1.0 / 111'320.0;
        const Polygons polygons = polygonsOf(layer, inMetres);
        const auto pairs = neighbours(polygons, limit);
        const QString base = name + (inMetres ? QStringLiteral(", 3857") : QStringLiteral(", 4326"));
        const auto report = [&](const QString& noise, Polygons shapes) {
            const DataSet data{base + noise, std::move(shapes), pairs};
            const Counts counts = measure(data, progress);
            Progress::clear();
            print(data, counts);
        };
        report(QString(), copyOf(polygons));
        report(QStringLiteral(", 1 ulp"), withNoise(polygons, 0.0, random));
        report(QStringLiteral(", 1 µm"), withNoise(polygons, 1e-6 * metre, random));
        report(QStringLiteral(", 1 mm"), withNoise(polygons, 1e-3 * metre, random));
        report(QStringLiteral(", 1 cm"), withNoise(polygons, 1e-2 * metre, random));
    }
}

int run(std::size_t limit, unsigned seed) {
    std::mt19937_64 random(seed);
    Progress progress;
    std::printf(
        "| data | pairs | union | intersection | difference | symmetrical difference | flagged | false "
        "alarms | wrong after fallback | pairs against GEOS's own identities |\n"
        "| --- | --- | --- | --- | --- | --- | --- | --- | --- | --- |\n");
    measureLayer(QStringLiteral("us-counties.gpkg"), QStringLiteral("counties"), limit, random, progress);
    measureLayer(QStringLiteral("world-countries.gpkg"), QStringLiteral("countries"), limit, random,
                 progress);
    const std::vector<std::tuple<QString, double, double>> sets{
        {QStringLiteral("stars, radius 1"), 1.0, 180.0},
        {QStringLiteral("stars, radius 1e-4"), 1e-4, 180.0},
        {QStringLiteral("stars, radius 1e-5"), 1e-5, 180.0},
        {QStringLiteral("stars, radius 1e-6 at the origin"), 1e-6, 1e-5},
        {QStringLiteral("stars, radius 1e5 at 1e7"), 1e5, 1e7},
    };
    for (const auto& [name, radius, spread] : sets) {
        const DataSet data = randomPairs(name, radius, spread, limit, random);
        const Counts counts = measure(data, progress);
        Progress::clear();
        print(data, counts);
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Overlays neighbouring counties and countries and random stars by painter path, compares the areas "
        "with those that GEOS gets, and prints a table in Markdown: in percent, the results off by more than "
        "1e-6 of the larger input's area (in brackets by more than 1 %), what share of these the check "
        "flags, "
        "what share of the right ones it flags too, and what the fallback leaves wrong."));
    parser.addHelpOption();
    const QCommandLineOption limit(QStringLiteral("pairs"),
                                   QStringLiteral("At most so many pairs of a kind."),
                                   QStringLiteral("count"), QStringLiteral("2000"));
    const QCommandLineOption seed(QStringLiteral("seed"), QStringLiteral("Of the random numbers."),
                                  QStringLiteral("number"), QStringLiteral("20260117"));
    parser.addOptions({limit, seed});
    parser.process(application);
    bool isLimit = false;
    bool isSeed = false;
    const int count = parser.value(limit).toInt(&isLimit);
    const unsigned number = parser.value(seed).toUInt(&isSeed);
    if (!isLimit || count < 1 || !isSeed || !parser.positionalArguments().isEmpty()) {
        std::fputs("Options take positive numbers; see --help.\n", stderr);
        return 2;
    }
    try {
        return run(static_cast<std::size_t>(count), number);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
