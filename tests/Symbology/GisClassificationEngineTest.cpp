#include "TestSeed.h"

#include <Cartolith/Core/Symbology/GisClassificationEngine.h>
#include <Cartolith/Core/Symbology/GisColorRampRegistry.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <iterator>
#include <limits>
#include <random>
#include <utility>

using namespace Cartolith::Core::Symbology;

namespace {

using Engine = GisClassificationEngine;
using Method = GisClassificationMethod;
using Values = QList<double>;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double huge = std::numeric_limits<double>::max();

Engine::Ranges classify(Method method, const Values& values, int classCount = 3, double interval = 1.0) {
    return Engine::classify(values, method, classCount, interval, values);
}

Values breaksOf(const Engine::Ranges& ranges) {
    Values breaks;
    for (const GisClassificationRange& range : ranges) {
        breaks.append(range.lower);
    }
    return ranges.isEmpty() ? breaks : breaks << ranges.last().upper;
}

TEST(GisClassificationEngine, PutsBreaksWhereTheMethodSays) {
    const struct {
        Method method;
        Values values;
        int classCount;
        double interval;
        Values breaks;
    } rows[] = {
        {Method::Manual, {5, 1, nan, 1, infinity, 3}, 0, 0, {1, 3, 5}},
        {Method::Manual, {7}, 0, 0, {7, 7}},
        {Method::DefinedInterval, {0, 10}, 0, 4, {0, 4, 8, 10}},
        {Method::DefinedInterval, {0, 8}, 0, 4, {0, 4, 8}},
        {Method::DefinedInterval, {0, 0.3}, 0, 0.1, {0, 0.1, 0.2, 0.3}},
        {Method::DefinedInterval, {1e16, 1e16 + 4}, 0, 0.5, {1e16, 1e16 + 4}},
        {Method::DefinedInterval, {0, huge}, 0, huge, {0, huge}},
        {Method::DefinedInterval, {0, 8}, 0, 0, {}},
        {Method::DefinedInterval, {0, 8}, 0, nan, {}},
        {Method::EqualInterval, {10, nan, 0, -infinity}, 1, 0, {0, 10}},
        {Method::EqualInterval, {0, 0.9}, 3, 0, {0, 0.3, 0.6, 0.9}},
        {Method::Quantile, {1, 1, 1, 1, 2}, 4, 0, {1, 2}},
        {Method::Quantile, {1, 2, 3, 4, 5, 6, 7}, 3, 0, {1, 3, 5, 7}},
        {Method::Quartile, {1, 2, 3, 4, 5, 6}, 0, 0, {1, 2.25, 3.5, 4.75, 6}},
        {Method::NaturalBreaks, {3, 1, 9, 8, 1}, 1, 0, {1, 9}},
        {Method::NaturalBreaks, {1, 2, 1, 2}, 9, 0, {1, 2}},
        // Mean 5, deviation 2.
        {Method::StandardDeviation, {2, 4, 4, 4, 5, 5, 7, 9}, 0, 1, {2, 3, 5, 7, 9}},
        {Method::StandardDeviation, {2, 4, 4, 4, 5, 5, 7, 9}, 0, 0.5, {2, 3, 4, 5, 6, 7, 8, 9}},
        {Method::StandardDeviation, {2, 4, 4, 4, 5, 5, 7, 9}, 0, -2, {2, 3, 5, 7, 9}},
        {Method::StandardDeviationWithCentral, {2, 4, 4, 4, 5, 5, 7, 9}, 0, 1, {2, 4, 6, 8, 9}},
        {Method::StandardDeviationWithCentral, {2, 4, 4, 4, 5, 5, 7, 9}, 0, 9, {2, 9}},
        {Method::StandardDeviation, {-1e300, 1e300}, 0, 1, {-1e300, 1e300}}, // the deviation overflows
        {Method::GeometricalInterval, {1, 16}, 4, 0, {1, 4, 16}},            // two distinct values
        {Method::GeometricalInterval, {1, 3, 16}, 2, 0, {1, 4, 16}},
        {Method::GeometricalInterval, {-4, 0, 11}, 2, 0, {-4, -1, 11}},
        {Method::GeometricalInterval, {0, 0.1, 3}, 2, 0, {0, 1, 3}},
        {Method::GeometricalInterval, {-1e300, 0, 1e300}, 2, 0, {-1e300, 0, 1e300}}, // shifted by itself
        {Method::KMeans, {1, 2, 10, 11}, 2, 0, {1, 6, 11}},
        {Method::KMeansSpatial, {1, 2, 10, 11}, 2, 0, {1, 6, 11}},
        {Method::KMeans, {1, 2, 10, 4}, 1, 0, {1, 10}},
        {static_cast<Method>(11), {1, 2}, 3, 1, {}},
        {static_cast<Method>(-1), {1, 2}, 3, 1, {}},
    };
    for (const auto& row : rows) {
        const Values breaks = breaksOf(classify(row.method, row.values, row.classCount, row.interval));
        EXPECT_EQ(breaks, row.breaks) << "row " << &row - rows;
    }
    // The steps of a deviation end with 10,000 breaks; a distant value makes more than that.
    EXPECT_EQ(Engine::standardDeviation({0, 1, 2}, 1e-5).size(), 10'000);
}

TEST(GisClassificationEngine, MeetsEveryColumnThatIsNone) {
    for (int number = 0; number <= 10; ++number) {
        SCOPED_TRACE(number);
        const auto method = static_cast<Method>(number);
        EXPECT_TRUE(classify(method, {}).isEmpty());
        EXPECT_TRUE(classify(method, {nan, infinity, -infinity}).isEmpty());
        const GisClassificationRange five{5, 5, true, true, "5"};
        EXPECT_EQ(classify(method, {5}), Engine::Ranges{five});
        EXPECT_EQ(classify(method, {5, nan, 5, 5}), Engine::Ranges{five});
        const Values plain{1, 2, 2, 5, 7, 7.5, 9, 20};
        EXPECT_EQ(classify(method, {20, 2, nan, 7, 5, 2, infinity, 9, 7.5, 1, -infinity}), classify(method, plain));
        const bool counts = method == Method::EqualInterval || method == Method::Quantile ||
                            method == Method::NaturalBreaks || method == Method::GeometricalInterval ||
                            method == Method::KMeans || method == Method::KMeansSpatial;
        for (const int classCount : {0, -1, std::numeric_limits<int>::min()}) {
            EXPECT_EQ(classify(method, plain, classCount).isEmpty(), counts);
            EXPECT_EQ(classify(method, {5, 5}, classCount).isEmpty(), counts);
        }
    }
}

TEST(GisClassificationEngine, ClassesAreHalfOpenAndSayWhatTheyHold) {
    const auto ranges = Engine::equalInterval({0, 10}, 4);
    EXPECT_EQ(ranges, (Engine::Ranges{{0, 2.5, true, false, "0 - 2.5"},
                                      {2.5, 5, true, false, "2.5 - 5"},
                                      {5, 7.5, true, false, "5 - 7.5"},
                                      {7.5, 10, true, true, "7.5 - 10"}}));
    EXPECT_TRUE(ranges[1].contains(2.5) && !ranges[0].contains(2.5) && ranges[3].contains(10));
    const QList<double> numbers{0.1, 1234567, 1e15, 123456789012, 1234567890123, -1.0 / 3.0, 1e-5};
    QStringList texts;
    std::transform(numbers.begin(), numbers.end(), std::back_inserter(texts), Engine::numberText);
    EXPECT_EQ(texts.join(' '), "0.1 1234567 1e+15 123456789012 1.23456789012e+12 -0.333333333333 1e-05");
    EXPECT_EQ(Engine::label(3, 3), "3");
}

// The methods written down a second time, without regard to anything but the definition.

Values plainQuantile(const Values& sorted, int k) {
    Values breaks;
    for (int i = 0; i <= k; ++i) {
        const double position = static_cast<double>(i) / k * static_cast<double>(sorted.size() - 1);
        const double below = sorted[static_cast<qsizetype>(position)];
        const double above = sorted[static_cast<qsizetype>(std::ceil(position))];
        breaks.append(below + (position - std::floor(position)) * (above - below));
    }
    return Engine::sortedUniqueValues(breaks);
}

Values plainGeometrical(const Values& sorted, int k) {
    const double shift = sorted.first() > 0 ? 0 : 1 - sorted.first();
    const double first = sorted.first() + shift;
    Values breaks{sorted.first(), sorted.last()};
    for (int i = 1; i < k; ++i) {
        const double next = first * std::pow(std::pow((sorted.last() + shift) / first, 1.0 / k), i) - shift;
        breaks.append(std::clamp(next, sorted.first(), sorted.last()));
    }
    return Engine::sortedUniqueValues(breaks);
}

Values plainKMeans(const Values& sorted, int k) {
    Values centres;
    for (int i = 0; i < k; ++i) {
        centres.append(Engine::percentile(sorted, (i + 0.5) / k));
    }
    QList<qsizetype> assigned;
    for (int round = 0; round < 64; ++round) {
        const QList<qsizetype> before = std::exchange(assigned, {});
        QList<Values> members(k);
        for (const double x : sorted) {
            const auto nearer = [x](double a, double b) { return std::abs(x - a) < std::abs(x - b); };
            assigned.append(std::min_element(centres.begin(), centres.end(), nearer) - centres.begin());
            members[assigned.last()].append(x);
        }
        double movement = 0;
        for (qsizetype c = 0; c < k; ++c) {
            const double moved = members[c].isEmpty() ? centres[c] : Engine::mean(members[c]);
            movement = std::max(movement, std::abs(moved - centres[c]));
            centres[c] = moved;
        }
        if (assigned == before && movement <= 1e-12) {
            break;
        }
    }
    std::sort(centres.begin(), centres.end());
    Values breaks{sorted.first(), sorted.last()};
    for (qsizetype c = 1; c < k; ++c) {
        breaks.append(std::clamp((centres[c - 1] + centres[c]) * 0.5, sorted.first(), sorted.last()));
    }
    return Engine::sortedUniqueValues(breaks);
}

TEST(GisClassificationEngine, AgreesWithASecondImplementation) {
    std::mt19937_64 random(test::seed());
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    const std::function<double()> kinds[] = {
        [&] { return unit(random); },
        [&] { return std::floor(30 * unit(random)) - 10; },
        [&] { return 10 * std::floor(4 * unit(random)) + unit(random); },
        [&] { return std::exp(10 * unit(random)) - 5; },
        [&] { return 1.7e9 + unit(random); },
        [&] { return 1e16 + 2 * std::floor(20 * unit(random)); },
        [&] { return unit(random) < 0.5 ? 1e-20 * unit(random) : unit(random); },
        [&] { return 1e308 * (2 * unit(random) - 1); },
    };
    for (int round = 0; round < 150; ++round) {
        for (const auto& kind : kinds) {
            SCOPED_TRACE(testing::Message() << "kind " << &kind - kinds << ", seed " << test::seed());
            Values values(2 + static_cast<int>(120 * unit(random)));
            std::generate(values.begin(), values.end(), kind);
            const Values sorted = Engine::sortedFiniteValues(values);
            const int wanted = 2 + static_cast<int>(9 * unit(random));
            const int k = std::min(wanted, static_cast<int>(Engine::sortedUniqueValues(values).size()));
            if (k > 1) {
                EXPECT_EQ(breaksOf(Engine::quantile(values, wanted)), plainQuantile(sorted, k));
                EXPECT_EQ(breaksOf(Engine::kMeans(values, wanted)), plainKMeans(sorted, k));
            }
            if (k > 1 && &kind - kinds < 5) { // the rest falls back to equal intervals
                EXPECT_EQ(breaksOf(Engine::geometricalInterval(values, wanted)), plainGeometrical(sorted, k));
            }
        }
    }
}

TEST(GisClassificationEngine, CleansAndSumsUp) {
    EXPECT_EQ(Engine::sortedFiniteValues({3, nan, 1, infinity, 3, -infinity, huge}), (Values{1, 3, 3, huge}));
    EXPECT_EQ(Engine::sortedUniqueValues({3, nan, 1, 3, 1}), (Values{1, 3}));
    EXPECT_EQ(Engine::numericValues({"2.5", 7, "x", QVariant(), nan, "inf", true, "", 1e3, -1LL}),
              (Values{2.5, 7, 1, 1000, -1}));
    EXPECT_TRUE(std::isnan(Engine::mean({})) && std::isnan(Engine::percentile({}, 0.5)));
    EXPECT_TRUE(std::isnan(Engine::standardDeviationValue({}, 1)));
    EXPECT_TRUE(std::isnan(Engine::standardDeviationValue({1, 2}, infinity)));
    EXPECT_EQ(Engine::standardDeviationValue({1, 3}, 2), 1.0);
    EXPECT_EQ(Engine::standardDeviationValue({1, 3}, 0), std::sqrt(5.0)); // about the mean it is given
    const struct {
        Values sorted;
        double p;
        double expected;
    } rows[] = {{{4}, 0.9, 4},          {{1, 2, 4}, -1, 1},  {{1, 2, 4}, 2, 4},    {{1, 2, 4}, 0.5, 2},
                {{1, 2, 4}, 0.75, 3.0}, {{1, 2, 4}, nan, 1}, {{1, 2}, 0.25, 1.25}, {{5, 5}, 0.3, 5}};
    for (const auto& row : rows) {
        EXPECT_EQ(Engine::percentile(row.sorted, row.p), row.expected) << "row " << &row - rows;
    }
}

TEST(GisClassificationEngine, JudgesTheFitOfClasses) {
    const GisClassificationRange low{0, 5, true, false, {}};
    const GisClassificationRange high{5, 9, true, true, {}};
    const GisClassificationRange wide{-1, 9, true, true, {}};
    const GisClassificationRange none{nan, 3, true, true, {}};
    const auto farAway = Engine::manualBreaks({1e9, 1e9 + 5, 1e9 + 9});
    const struct {
        Values values;
        Engine::Ranges ranges;
        double gvf;
        QList<qsizetype> counts;
        qsizetype outside;
    } rows[] = {
        {{1, 3, 5, 9}, {low, high}, 1.0 - 10.0 / 35.0, {2, 2}, 0},
        {{9, nan, 10, 3, infinity, -2, 5, 1}, {high, none, wide}, 1.0 - 10.0 / 35.0, {2, 0, 2}, 2},
        {{1, 3, 5, 9}, {wide, low}, 0.0, {4, 0}, 0},
        {{4, 4}, {low, high}, 1.0, {2, 0}, 0},
        {{100, nan}, {low}, nan, {0}, 1},
        {{1}, {}, nan, {}, 1},
        {{-1e308, 0, 1e308}, {{-1e308, 1e308, true, true, {}}}, nan, {3}, 0}, // the squares are beyond all numbers
        // Sums of squares that are not about the mean would be nothing but rounding here.
        {{1e9 + 1, 1e9 + 3, 1e9 + 5, 1e9 + 9}, farAway, 1.0 - 10.0 / 35.0, {2, 2}, 0},
    };
    for (const auto& row : rows) {
        const GisClassificationFit fit = Engine::goodnessOfFit(row.values, row.ranges);
        EXPECT_TRUE(std::isnan(row.gvf) ? std::isnan(fit.gvf) : std::abs(fit.gvf - row.gvf) < 1e-15)
            << "row " << &row - rows << ": " << fit.gvf;
        EXPECT_EQ(fit.counts, row.counts) << "row " << &row - rows;
        EXPECT_EQ(fit.outside, row.outside) << "row " << &row - rows;
    }
}

TEST(GisClassificationEngine, ColoursClasses) {
    Cartolith::Core::Layers::GisLayerStyle red;
    red.setLineWidth(7);
    const GisColorRamp ramp = makeRamp("r", {"#000000", "#FF0000"});
    const GisClassificationRange range{0, 1, false, true, "text"};
    const auto symbols = Engine::graduatedRanges({range, range}, ramp, red, GisColorRampMode::Continuous, true);
    red.setFillColor("#FF0000");
    red.setLineColor("#FF0000");
    red.setPointColor("#FF0000");
    const auto black = Engine::styleWithColor(red, "#000000");
    EXPECT_EQ(symbols, (QList<GisGraduatedSymbolRange>{{0, 1, false, true, "text", red, true},
                                                       {0, 1, false, true, "text", black, true}}));
}

} // namespace
