// Natural breaks: whatever decides them, they are the recurrence's own, to the last bit. Optimal classes: the
// best there are, whatever the values.

#include "TestSeed.h"

#include <Cartolith/Core/Symbology/GisClassificationEngine.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <utility>
#include <vector>

namespace {

using Cartolith::Core::Symbology::GisClassificationEngine;

using Values = QList<double>;

// The two matrices, filled and read back as the method is defined: rows and columns from 1.
GisClassificationEngine::Ranges recurrence(const Values& sorted, int k) {
    const auto n = static_cast<std::size_t>(sorted.size());
    const auto width = static_cast<std::size_t>(k) + 1;
    std::vector<std::vector<int>> limit(n + 1, std::vector<int>(width, 0));
    std::vector<std::vector<double>> sums(n + 1, std::vector<double>(width, std::numeric_limits<double>::infinity()));
    std::fill(limit[1].begin() + 1, limit[1].end(), 1);
    std::fill(sums[1].begin(), sums[1].end(), 0.0);
    for (std::size_t l = 2; l <= n; ++l) {
        double s1 = 0.0;
        double s2 = 0.0;
        double variance = 0.0;
        for (std::size_t i3 = l; i3 > 0; --i3) {
            const double x = sorted[static_cast<qsizetype>(i3 - 1)];
            s1 += x;
            s2 += x * x;
            variance = s2 - s1 * s1 / static_cast<double>(l - i3 + 1);
            for (std::size_t j = 2; i3 != 1 && j < width; ++j) {
                if (variance + sums[i3 - 1][j - 1] < sums[l][j]) {
                    limit[l][j] = static_cast<int>(i3);
                    sums[l][j] = variance + sums[i3 - 1][j - 1];
                }
            }
        }
        limit[l][1] = 1;
        sums[l][1] = variance;
    }
    Values breaks{sorted.first(), sorted.last()};
    std::size_t row = n;
    for (std::size_t j = width - 1; j >= 2; --j) {
        const int id = limit[row][j] - 1;
        breaks.append(sorted[std::clamp<qsizetype>(id, 0, sorted.size() - 1)]);
        row = static_cast<std::size_t>(std::max(id, 1));
    }
    return GisClassificationEngine::rangesFromBreaks(breaks);
}

using Random = std::mt19937_64;

double unit(Random& random) {
    return std::uniform_real_distribution<double>(0.0, 1.0)(random);
}
double normal(Random& random) {
    return std::normal_distribution<double>(0.0, 1.0)(random);
}
int whole(Random& random, int below) {
    return std::uniform_int_distribution<int>(0, below - 1)(random);
}

struct Kind {
    const char* name;
    std::function<double(int, Random&)> value;
};

const std::vector<Kind>& kinds() {
    static const std::vector<Kind> result{
        {"uniform", [](int, Random& r) { return unit(r); }},
        {"clustered", [](int, Random& r) { return 10.0 * whole(r, 6) + 0.3 * normal(r); }},
        {"whole numbers", [](int, Random& r) { return whole(r, 1000); }},
        {"few distinct", [](int, Random& r) { return 0.1 * whole(r, 15); }},
        {"one in each unit", [](int i, Random&) { return i; }},
        {"evenly spaced, rounded", [](int i, Random&) { return 0.1 * i; }},
        {"mirrored", [](int i, Random&) { return i * std::abs(static_cast<double>(i)) - 3.0; }},
        {"nearly even", [](int i, Random& r) { return i + 1e-12 * unit(r); }},
        {"long tail", [](int, Random& r) { return std::exp(2.0 * normal(r)); }},
        {"long tail below", [](int, Random& r) { return -std::exp(2.0 * normal(r)); }},
        {"of all magnitudes", [](int, Random& r) { return std::ldexp(normal(r), whole(r, 60)); }},
        {"far from 0", [](int, Random& r) { return 1.7e9 + 86'400.0 * unit(r); }},
        {"seconds far from 0", [](int, Random& r) { return 1.7e9 + whole(r, 86'400); }},
        {"evenly spaced far from 0", [](int i, Random&) { return 1e6 + 0.1 * i; }},
        {"squares underflow", [](int, Random& r) { return 1e-300 * unit(r); }},
        {"squares overflow", [](int, Random& r) { return 1e200 * normal(r); }},
        {"squares overflow in part", [](int, Random& r) { return 2e154 * unit(r); }},
        {"denormal steps", [](int, Random& r) { return 5e-324 * whole(r, 100); }},
    };
    return result;
}

Values column(const Kind& kind, int count, Random& random) {
    Values values;
    for (int i = 0; i < count; ++i) {
        values.append(kind.value(i - count / 2, random));
    }
    std::sort(values.begin(), values.end());
    return values;
}

TEST(NaturalBreaks, AreThoseOfTheRecurrence) {
    Random random(test::seed());
    const auto check = [&random](const Kind& kind, int count) {
        const Values sorted = column(kind, count, random);
        const int wanted = 2 + whole(random, 11);
        const int k = std::min(wanted, int(GisClassificationEngine::sortedUniqueValues(sorted).size()));
        if (k > 1) {
            ASSERT_EQ(GisClassificationEngine::naturalBreaks(sorted, wanted), recurrence(sorted, k))
                << kind.name << ", " << count << " values, k = " << k << ", seed " << test::seed();
        }
    };
    using Row = std::pair<int, int>;
    for (const auto& [rounds, most] : {Row{200, 12}, {50, 60}, {8, 400}}) {
        for (int round = 0; round < rounds; ++round) {
            for (const Kind& kind : kinds()) {
                check(kind, 2 + whole(random, most - 1));
            }
        }
    }
    for (const std::size_t kind : {0U, 2U, 4U, 8U, 12U}) {
        check(kinds()[kind], 3000);
    }
}

// Where rounding does not decide, they leave the least variance too; only the greatest value has no class of its own.
TEST(NaturalBreaks, AreTheOptimalClassesButForTheGreatestValue) {
    Random random(test::seed());
    for (const std::size_t kind : {0U, 1U, 9U, 10U}) {
        for (int round = 0; round < 20; ++round) {
            const Values sorted = column(kinds()[kind], 12, random);
            for (int k = 2; k <= 12; ++k) {
                Values breaks{sorted.last()};
                for (const auto& range : GisClassificationEngine::optimalClasses(sorted, k)) {
                    breaks.append(range.lower);
                }
                EXPECT_EQ(GisClassificationEngine::naturalBreaks(sorted, k),
                          GisClassificationEngine::rangesFromBreaks(breaks))
                    << kinds()[kind].name << ", k = " << k << ", seed " << test::seed();
            }
        }
    }
}

double squaredDeviations(const Values& sorted, const QList<qsizetype>& counts) {
    long double sum = 0.0L;
    qsizetype begin = 0;
    for (const qsizetype count : counts) {
        long double mean = 0.0L;
        for (qsizetype i = begin; i < begin + count; ++i) {
            mean += (static_cast<long double>(sorted[i]) - sorted[begin]) / static_cast<long double>(count);
        }
        for (qsizetype i = begin; i < begin + count; ++i) {
            const long double deviation = (static_cast<long double>(sorted[i]) - sorted[begin]) - mean;
            sum += deviation * deviation;
        }
        begin += count;
    }
    return static_cast<double>(sum);
}

// Fisher's optimum by trying every beginning of every class, without the recurrence's sums of squares: how
// many values are in each class.
QList<qsizetype> plainOptimum(const Values& sorted, int k) {
    const auto n = static_cast<std::size_t>(sorted.size());
    const auto infinite = std::numeric_limits<long double>::infinity();
    std::vector<std::vector<long double>> least(static_cast<std::size_t>(k) + 1,
                                                std::vector<long double>(n + 1, infinite));
    std::vector<std::vector<std::size_t>> begins(least.size(), std::vector<std::size_t>(n + 1, 0));
    least[0][0] = 0.0L;
    for (std::size_t end = 1; end <= n; ++end) {
        long double mean = 0.0L; // from the last value on, so that what is added up is small
        long double sum = 0.0L;
        for (std::size_t begin = end; begin-- > 0;) {
            const long double x = static_cast<long double>(sorted[static_cast<qsizetype>(begin)]) -
                                  sorted[static_cast<qsizetype>(end - 1)];
            const long double apart = x - mean;
            mean += apart / static_cast<long double>(end - begin);
            sum += apart * (x - mean);
            for (std::size_t j = 1; j < least.size(); ++j) {
                if (least[j - 1][begin] + sum < least[j][end]) {
                    least[j][end] = least[j - 1][begin] + sum;
                    begins[j][end] = begin;
                }
            }
        }
    }
    QList<qsizetype> counts;
    std::size_t end = n;
    for (std::size_t j = least.size() - 1; j > 0; --j) {
        counts.prepend(static_cast<qsizetype>(end - begins[j][end]));
        end = begins[j][end];
    }
    return counts;
}

TEST(OptimalClasses, AreFishersOptimumOfEverySet) {
    Random random(test::seed());
    for (const Kind& kind : kinds()) {
        for (int round = 0; round < 40; ++round) {
            const Values sorted = column(kind, 2 + whole(random, round < 36 ? 40 : 300), random);
            const int wanted = 1 + whole(random, 9);
            const int k = std::min(wanted, int(GisClassificationEngine::sortedUniqueValues(sorted).size()));
            SCOPED_TRACE(testing::Message() << kind.name << ", k = " << k << ", seed " << test::seed());
            const auto fit =
                GisClassificationEngine::goodnessOfFit(sorted, GisClassificationEngine::optimalClasses(sorted, wanted));
            const QList<qsizetype> best = plainOptimum(sorted, k);
            ASSERT_EQ(fit.counts.size(), k);
            ASSERT_EQ(fit.outside, 0);
            ASSERT_FALSE(fit.counts.contains(0));
            // Of several that are equally good, as whole numbers have them, either may come out.
            if (fit.counts != best) {
                const double least = squaredDeviations(sorted, best);
                ASSERT_LE(squaredDeviations(sorted, fit.counts), least + 1e-12 * least);
            }
        }
    }
}

// What other programs publish for their own test data: how many values each class has.
TEST(OptimalClasses, AreTheKnownOnesOfPublicData) {
    const struct {
        const char* what;
        const char* values;
        int k;
        QList<qsizetype> counts;
        double gvf;
    } rows[] = {
        // In the examples of mapclassify and the tests of statsbreaks.
        {"employment density of the counties of California",
         "329.92 0.42 5.9 14.03 2.78 1.34 181.27 1.65 10.03 16.7 1.32 3.99 3.16 0.22 8.7 6.56 3.27 0.33 "
         "370.5 "
         "4.51 75.29 0.99 2.74 8.68 0.14 0.92 12.63 28.7 12.02 722.85 36.68 0.74 29.82 192.05 3.38 11.15 "
         "110.74 "
         "4111.45 49.47 10.33 317.11 20.47 264.93 66.26 5.39 0.13 0.61 50.65 40.48 36.67 13.09 1.81 0.2 7.6 "
         "2.51 57.26 24.32 6.97",
         5,
         {49, 3, 4, 1, 1},
         0.9984},
        {"the tests of jenkspy",
         "132 915 312 1424 1240 1370 113 1028 1078 416 963 359 1422 658 73 1326 245 848 683 255 1223 253 654 "
         "736 "
         "1079 39 583 1367 1237 327 1083 328 951 678 927 301 96 297 179 230 767 1248 1 37 1352 1009 663 1283 "
         "679 "
         "230",
         4,
         {20, 9, 10, 11},
         0.9597},
        {"the tests of simple-statistics", "1 2 4 5 7 9 10 20", 3, {4, 3, 1}, 0.9426},
        {"the greatest value alone", "1 2 3 100", 2, {3, 1}, 0.9997},
        {"greatest and least alone", "2 32 33 34 100", 3, {1, 3, 1}, 0.9996},
        {"as many classes as values", "9 10 11 12 13", 5, {1, 1, 1, 1, 1}, 1.0},
        {"more classes than values", "4 4 9 4", 7, {3, 1}, 1.0},
        {"one class", "1 2 3 100", 1, {4}, 0.0},
    };
    for (const auto& row : rows) {
        const QStringList texts = QString(row.values).split(' ');
        const Values values = GisClassificationEngine::numericValues(QVariantList(texts.begin(), texts.end()));
        const auto fit =
            GisClassificationEngine::goodnessOfFit(values, GisClassificationEngine::optimalClasses(values, row.k));
        EXPECT_EQ(fit.counts, row.counts) << row.what;
        EXPECT_NEAR(fit.gvf, row.gvf, 5e-5) << row.what;
    }
    const auto ranges = GisClassificationEngine::optimalClasses({100, 1, 2, 3}, 2);
    EXPECT_EQ(ranges,
              (GisClassificationEngine::Ranges{{1, 100, true, false, "1 - 100"}, {100, 100, true, true, "100"}}));
}

} // namespace
