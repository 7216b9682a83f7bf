#include "TestData.h"

#include "CountyBoxes.h"
#include "TestSeed.h"

#include <algorithm>
#include <limits>

namespace test {

using Cartolith::Core::Shapes::GisExtent;

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

template <typename Make>
DataSet generate(const char* name, int count, Make make) {
    std::mt19937 random(seed());
    DataSet data{name, {}};
    for (int i = 0; i < count; ++i) {
        data.extents.push_back(make(random));
    }
    return data;
}

double real(std::mt19937& random, double low, double high) {
    return std::uniform_real_distribution<double>(low, high)(random);
}

GisExtent box(std::mt19937& random, double x, double y, double side) {
    return {x, y, x + real(random, 0, side), y + real(random, 0, side)};
}

std::vector<DataSet> makeDataSets() {
    // Every value that a bound can be troublesome with.
    const std::vector<double> extremes{-infinity, -1e308, -1.0, -5e-324, 0.0, 1e-300, 1.0, 1e39, 1e308, infinity};
    return {
        generate("Uniform", 4000, [](auto& r) { return box(r, real(r, 0, 1), real(r, -2, 0), 0.02); }),
        generate("Wide", 2500, [](auto& r) { return box(r, real(r, 0, 1000), real(r, 0, 1), 0.1); }),
        generate("Clustered", 3000,
                 [](auto& r) {
                     const double cluster = static_cast<double>(r() % 7);
                     std::normal_distribution<double> spread(cluster * cluster, 0.01);
                     return box(r, spread(r), spread(r), 0.005);
                 }),
        generate("Identical", 700, [](auto&) { return GisExtent(3, 4, 3, 4); }),
        generate("OnOneLine", 900,
                 [](auto& r) {
                     const double y = real(r, 0, 9);
                     return GisExtent(5, y, 5, y + 0.1);
                 }),
        generate("Grid", 5000,
                 [](auto& r) {
                     const auto whole = [&r](unsigned int limit) { return static_cast<double>(r() % limit); };
                     const double x = whole(50);
                     const double y = whole(50);
                     return GisExtent(x, y, x + whole(3), y + whole(3));
                 }),
        // Single precision does not tell these apart.
        generate("FineAndFar", 3000,
                 [](auto& r) { return box(r, r() % 2 == 0 ? 1e9 : -1e9 + real(r, 0, 1e-3), real(r, 0, 1e-12), 1e-7); }),
        generate("Extremes", 800,
                 [&extremes](auto& r) {
                     const auto pick = [&] { return extremes[r() % extremes.size()]; };
                     const double x = pick();
                     const double y = pick();
                     return r() % 2 == 0 ? GisExtent(x, y, x, y) : GisExtent(x, y, pick(), pick());
                 }),
        generate("AllInfinite", 100, [](auto&) { return GisExtent(infinity, -infinity, infinity, infinity); }),
        generate("SomeEmpty", 1000,
                 [](auto& r) {
                     return r() % 5 == 0 ? GisExtent(nan, 1, 2, r() % 2 == 0 ? 3 : nan)
                                         : box(r, real(r, 0, 1), real(r, 0, 1), 0.1);
                 }),
        {"Counties", countyBoxes()},
    };
}

} // namespace

const std::vector<DataSet>& dataSets() {
    static const std::vector<DataSet> sets = makeDataSets();
    return sets;
}

std::vector<GisExtent> windows(const DataSet& data, int count, std::mt19937& random) {
    std::vector<GisExtent> result{{-infinity, -infinity, infinity, infinity}, {nan, 0, 1, 1}, {}};
    while (static_cast<int>(result.size()) < count) {
        const GisExtent& a = data.extents[random() % data.extents.size()];
        const GisExtent& b = data.extents[random() % data.extents.size()];
        switch (random() % 4) {
        case 0: // as far as the near corner of another box: they touch
            result.emplace_back(a.xMax(), a.yMax(), b.xMin(), b.yMin());
            break;
        case 1: // the box itself
            result.push_back(a);
            break;
        case 2: // a small one around it
            result.push_back(a.inflate(real(random, 0, 0.1), real(random, 0, 0.1)));
            break;
        default: // a corner
            result.emplace_back(a.xMin(), a.yMax(), a.xMin(), a.yMax());
        }
    }
    return result;
}

} // namespace test
