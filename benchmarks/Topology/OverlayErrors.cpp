// How often overlay by painter path is wrong, by areas found without the library, and what the check makes of
// it.

#include "../../tests/Topology/OverlayPairs.h"
#include "OverlayReference.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateTransformer.h>
#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Topology/GisTopology.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QElapsedTimer>

#include <array>
#include <cmath>
#include <cstdio>
#include <exception>
#include <memory>
#include <optional>
#include <random>
#include <tuple>
#include <utility>
#include <vector>

using namespace Cartolith::Core;
using pairs::DataSet;
using pairs::Polygons;
using Shapes::GisShapePoint;
using Shapes::GisShapePolygon;
using Topology::GisTopology;
using Topology::GisTopologyCombineType;

namespace {

constexpr std::array operations{GisTopologyCombineType::Union, GisTopologyCombineType::Intersection,
                                GisTopologyCombineType::Difference,
                                GisTopologyCombineType::SymmetricalDifference};
constexpr double wrongShare = 1e-6; ///< of the smaller input's area
constexpr double badShare = 1e-2;

struct Counts {
    int done = 0;
    std::array<int, 4> wrong{};
    std::array<int, 4> bad{};
    int flagged = 0; ///< of the wrong ones
    int flaggedBad = 0;
    int falseAlarms = 0;
    int misplaced = 0; ///< right by area, not flagged, and yet off by more than badShare
    int wrongAfterFallback = 0;
    int badAfterFallback = 0;
    int disputed = 0; ///< pairs on whose areas the references do not agree
};

long double areaOf(const Shapes::GisShape& result) {
    return plain::edgesByNesting(dynamic_cast<const GisShapePolygon&>(result)).area;
}

/// By the integral, because GEOS does not always survive two geometries that are nearly the same.
bool isMisplaced(const Shapes::GisShape& result, const reference::Geometry& expected, long double allowed) {
    const plain::Edges own = plain::edgesByNesting(dynamic_cast<const GisShapePolygon&>(result));
    const plain::Edges right = reference::edgesOf(expected.get());
    return own.edges.size() * right.edges.size() < 4'000'000 &&
           own.area + right.area - 2 * plain::commonArea(own, right) > allowed;
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
    std::vector<std::optional<reference::Operand>> operands(data.polygons.size());
    for (std::size_t p = 0; p < data.pairs.size(); ++p) {
        progress.show(data.name, p, data.pairs.size());
        const auto [i, j] = data.pairs[p];
        for (const std::size_t k : {i, j}) {
            if (!operands[k]) {
                operands[k].emplace(*data.polygons[k]);
            }
        }
        const GisShapePolygon& a = *data.polygons[i];
        const GisShapePolygon& b = *data.polygons[j];
        const reference::Expected expected = reference::expected(*operands[i], *operands[j]);
        counts.disputed += expected.agrees ? 0 : 1;
        for (std::size_t op = 0; op < operations.size(); ++op) {
            const auto isWrong = [&](const Shapes::GisShape& shape, double share) {
                return !(std::fabs(areaOf(shape) - expected.areas[op]) <=
                         share * expected.smaller + expected.rounding);
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
                const auto mended = guarded.Combine(a, b, operations[op]);
                counts.wrongAfterFallback += isWrong(*mended, wrongShare) ? 1 : 0;
                counts.badAfterFallback += isWrong(*mended, badShare) ? 1 : 0;
            } else if (expected.agrees && isMisplaced(*result, expected.geometries[op],
                                                      badShare * expected.smaller + expected.rounding)) {
                ++counts.misplaced;
            }
        }
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
    std::vector<reference::Geometry> geometries;
    for (const auto& polygon : polygons) {
        geometries.push_back(reference::geometryOf(*polygon));
    }
    std::vector<std::pair<std::size_t, std::size_t>> found;
    for (std::size_t i = 0; i < polygons.size(); ++i) {
        for (std::size_t j = i + 1; j < polygons.size(); ++j) {
            if (polygons[i]->extent().intersects(polygons[j]->extent()) &&
                GEOSIntersects_r(reference::geos, geometries[i].get(), geometries[j].get()) == 1) {
                found.emplace_back(i, j);
            }
        }
    }
    if (found.size() > limit) { // spread over all of them
        for (std::size_t k = 0; k < limit; ++k) {
            found[k] = found[k * found.size() / limit];
        }
        found.resize(limit);
    }
    return found;
}

/// Stars of 64 corners that overlap.
DataSet randomPairs(const QString& name, double radius, double spread, std::size_t count,
                    std::mt19937_64& engine) {
    DataSet data{name, {}, {}};
    pairs::Random random(engine);
    const auto starAt = [&](double x, double y) {
        return pairs::polygonOf({pairs::star(x, y, radius, 0.5, 64, random)});
    };
    for (std::size_t k = 0; k < count; ++k) {
        const double x = spread * random.between(-1, 1);
        const double y = spread / 2 * random.between(-1, 1);
        auto first = starAt(x, y);
        const double dx = radius * random.between(-1, 1);
        data.add(std::move(first), starAt(x + dx, y + radius * random.between(-1, 1)));
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
    line += QStringLiteral(" %1 (%2) | %3 | %4 | %5 (%6) | %7 |")
                .arg(percent(counts.flagged, wrong), percent(counts.flaggedBad, bad),
                     percent(counts.falseAlarms, counts.done - wrong))
                .arg(counts.misplaced)
                .arg(counts.wrongAfterFallback)
                .arg(counts.badAfterFallback)
                .arg(counts.disputed);
    std::printf("%s\n", qPrintable(line));
    std::fflush(stdout);
}

void report(const DataSet& data, Progress& progress) {
    const Counts counts = measure(data, progress);
    Progress::clear();
    print(data, counts);
}

void measureLayer(const QString& file, const QString& name, std::size_t limit, std::mt19937_64& random,
                  Progress& progress) {
    Layers::GisLayerOgrVector layer(QStringLiteral(CARTOLITH_DATA_DIR "/") + file);
    layer.open();
    for (const bool inMetres : {false, true}) {
        const double metre = inMetres ? 1.0 : 1.0 / 111'320.0;
        const Polygons polygons = polygonsOf(layer, inMetres);
        const auto found = neighbours(polygons, limit);
        const QString base = name + (inMetres ? QStringLiteral(", 3857") : QStringLiteral(", 4326"));
        const auto with = [&](const QString& noise, Polygons shapes) {
            report({base + noise, std::move(shapes), found}, progress);
        };
        with(QString(), copyOf(polygons));
        with(QStringLiteral(", 1 ulp"), withNoise(polygons, 0.0, random));
        with(QStringLiteral(", 1 µm"), withNoise(polygons, 1e-6 * metre, random));
        with(QStringLiteral(", 1 mm"), withNoise(polygons, 1e-3 * metre, random));
        with(QStringLiteral(", 1 cm"), withNoise(polygons, 1e-2 * metre, random));
    }
}

Polygons countiesInMetres() {
    Layers::GisLayerOgrVector layer(QStringLiteral(CARTOLITH_DATA_DIR "/us-counties.gpkg"));
    layer.open();
    return polygonsOf(layer, true);
}

struct Options {
    std::size_t limit;
    std::size_t made;
    bool madeOnly;
    unsigned seed;
};

int run(const Options& options) {
    std::mt19937_64 random(options.seed);
    Progress progress;
    std::printf(
        "| data | pairs | union | intersection | difference | symmetrical difference | flagged | false "
        "alarms | misplaced | wrong after fallback | pairs on which the references differ |\n"
        "| --- | --- | --- | --- | --- | --- | --- | --- | --- | --- | --- |\n");
    report(
        pairs::parcels(QStringLiteral("parcels on counties, 3857"), countiesInMetres(), options.made, random),
        progress);
    report(pairs::closePairs(QStringLiteral("close pairs"), options.made, random), progress);
    if (options.madeOnly) {
        return 0;
    }
    measureLayer(QStringLiteral("us-counties.gpkg"), QStringLiteral("counties"), options.limit, random,
                 progress);
    measureLayer(QStringLiteral("world-countries.gpkg"), QStringLiteral("countries"), options.limit, random,
                 progress);
    const std::vector<std::tuple<QString, double, double>> sets{
        {QStringLiteral("stars, radius 1"), 1.0, 180.0},
        {QStringLiteral("stars, radius 1e-4"), 1e-4, 180.0},
        {QStringLiteral("stars, radius 1e-5"), 1e-5, 180.0},
        {QStringLiteral("stars, radius 1e-6 at the origin"), 1e-6, 1e-5},
        {QStringLiteral("stars, radius 1e5 at 1e7"), 1e5, 1e7},
    };
    for (const auto& [name, radius, spread] : sets) {
        report(randomPairs(name, radius, spread, options.limit, random), progress);
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Overlays parcels with the counties on whose boundaries they lie, small polygons that touch or "
        "nearly "
        "coincide, neighbouring counties and countries, and random stars by painter path, compares the areas "
        "with those found by an integral and by GEOS, and prints a table in Markdown: in percent, the "
        "results "
        "off by more than 1e-6 of the smaller input's area (in brackets by more than 1 %), what share of "
        "these "
        "the check flags, what share of the right ones it flags too; then numbers of operations: results of "
        "the right area in the wrong place that it does not flag, and what the fallback leaves wrong by 1e-6 "
        "(and 1 %); and of pairs on whose areas the integral, GEOS, and GEOS with snapping to a grid "
        "differ."));
    parser.addHelpOption();
    const QCommandLineOption limit(QStringLiteral("pairs"),
                                   QStringLiteral("At most so many pairs of neighbours and stars of a kind."),
                                   QStringLiteral("count"), QStringLiteral("2000"));
    const QCommandLineOption made(QStringLiteral("made"),
                                  QStringLiteral("So many parcels, and so many close pairs."),
                                  QStringLiteral("count"), QStringLiteral("12000"));
    const QCommandLineOption only(QStringLiteral("made-only"), QStringLiteral("Only these."));
    const QCommandLineOption seed(QStringLiteral("seed"), QStringLiteral("Of the random numbers."),
                                  QStringLiteral("number"), QStringLiteral("20260117"));
    parser.addOptions({limit, made, only, seed});
    parser.process(application);
    bool isLimit = false;
    bool isMade = false;
    bool isSeed = false;
    const int pairCount = parser.value(limit).toInt(&isLimit);
    const int madeCount = parser.value(made).toInt(&isMade);
    const unsigned number = parser.value(seed).toUInt(&isSeed);
    if (!isLimit || pairCount < 1 || !isMade || madeCount < 1 || !isSeed ||
        !parser.positionalArguments().isEmpty()) {
        std::fputs("Options take positive numbers; see --help.\n", stderr);
        return 2;
    }
    try {
        return run({static_cast<std::size_t>(pairCount), static_cast<std::size_t>(madeCount),
                    parser.isSet(only), number});
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
