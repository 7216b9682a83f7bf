// Classifying columns of numbers, natural breaks beside the plain recurrence.

#include <Cartolith/Core/Symbology/GisClassificationEngine.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace {

using Cartolith::Core::Symbology::GisClassificationEngine;
using Cartolith::Core::Symbology::GisClassificationMethod;

constexpr int classes = 7;

enum class Data : int { Uniform, Clustered, LongTail, WholeNumbers, EvenlySpaced, FarFromZero };

/// In random order; always the same.
QList<double> column(Data data, qsizetype count) {
    std::mt19937_64 random(1);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    std::normal_distribution<double> normal(0.0, 1.0);
    QList<double> values;
    values.reserve(count);
    for (qsizetype i = 0; i < count; ++i) {
        const double evenly = 0.1 * static_cast<double>(i);
        values.append(data == Data::Uniform        ? unit(random)
                      : data == Data::Clustered    ? 10.0 * std::floor(6.0 * unit(random)) + normal(random)
                      : data == Data::LongTail     ? std::exp(2.0 * normal(random))
                      : data == Data::WholeNumbers ? std::floor(1000.0 * unit(random))
                      : data == Data::EvenlySpaced ? evenly
                                                   : 1.7e9 + std::floor(86'400.0 * unit(random)));
    }
    std::shuffle(values.begin(), values.end(), random);
    return values;
}

/// The recurrence with both of its matrices in full.
std::vector<double> plainNaturalBreaks(const QList<double>& sorted, std::size_t k) {
    const auto n = static_cast<std::size_t>(sorted.size());
    std::vector<int> limit((n + 1) * (k + 1), 1);
    std::vector<double> sums((n + 1) * (k + 1), std::numeric_limits<double>::infinity());
    std::fill_n(sums.begin() + static_cast<std::ptrdiff_t>(k + 1), k + 1, 0.0);
    for (std::size_t l = 2; l <= n; ++l) {
        double sum = 0.0;
        double squares = 0.0;
        double variance = 0.0;
        for (std::size_t i = l; i > 0; --i) {
            const double x = sorted[static_cast<qsizetype>(i - 1)];
            sum += x;
            squares += x * x;
            variance = squares - sum * sum / static_cast<double>(l - i + 1);
            for (std::size_t j = 2; i > 1 && j <= k; ++j) {
                const double candidate = variance + sums[(i - 1) * (k + 1) + j - 1];
                if (candidate < sums[l * (k + 1) + j]) {
                    limit[l * (k + 1) + j] = static_cast<int>(i);
                    sums[l * (k + 1) + j] = candidate;
                }
            }
        }
        sums[l * (k + 1) + 1] = variance;
    }
    std::vector<double> breaks{sorted.last()};
    std::size_t row = n;
    for (std::size_t j = k; j > 1; --j) {
        const int cut = limit[row * (k + 1) + j] - 1;
        breaks.push_back(sorted[cut]);
        row = static_cast<std::size_t>(std::max(cut, 1));
    }
    return breaks;
}

void classify(benchmark::State& state, GisClassificationMethod method, Data data) {
    const QList<double> values = column(data, state.range(0));
    // A width that makes seven classes of the uniform column, and the deviation itself.
    const double interval = method == GisClassificationMethod::DefinedInterval ? 1.0 / classes : 1.0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(GisClassificationEngine::classify(values, method, classes, interval));
    }
}

void optimalClasses(benchmark::State& state, Data data) {
    const QList<double> values = column(data, state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(GisClassificationEngine::optimalClasses(values, classes));
    }
}

void sortAlone(benchmark::State& state) {
    const QList<double> values = column(Data::Uniform, state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(GisClassificationEngine::sortedFiniteValues(values));
    }
}

void plainRecurrence(benchmark::State& state, Data data) {
    const QList<double> values = column(data, state.range(0));
    for (auto _ : state) {
        const QList<double> sorted = GisClassificationEngine::sortedFiniteValues(values);
        benchmark::DoNotOptimize(plainNaturalBreaks(sorted, classes));
    }
}

using Method = GisClassificationMethod;

void sizes(benchmark::internal::Benchmark* bench) {
    bench->RangeMultiplier(10)->Range(1'000, 1'000'000)->Unit(benchmark::kMillisecond);
}
/// Where the whole recurrence decides, a million values would take a quarter of an hour.
void sizesOfFallback(benchmark::internal::Benchmark* bench) {
    bench->RangeMultiplier(10)->Range(1'000, 100'000)->Unit(benchmark::kMillisecond);
}
void sizesOfPlain(benchmark::internal::Benchmark* bench) {
    bench->RangeMultiplier(10)->Range(1'000, 10'000)->Unit(benchmark::kMillisecond);
}

} // namespace

BENCHMARK(sortAlone)->Apply(sizes);
BENCHMARK_CAPTURE(classify, defined interval, Method::DefinedInterval, Data::Uniform)->Apply(sizes);
BENCHMARK_CAPTURE(classify, equal interval, Method::EqualInterval, Data::Uniform)->Apply(sizes);
BENCHMARK_CAPTURE(classify, quantile, Method::Quantile, Data::Uniform)->Apply(sizes);
BENCHMARK_CAPTURE(classify, quartile, Method::Quartile, Data::Uniform)->Apply(sizes);
BENCHMARK_CAPTURE(classify, standard deviation, Method::StandardDeviation, Data::Uniform)->Apply(sizes);
BENCHMARK_CAPTURE(classify, geometrical interval, Method::GeometricalInterval, Data::Uniform)->Apply(sizes);
BENCHMARK_CAPTURE(classify, kMeans uniform, Method::KMeans, Data::Uniform)->Apply(sizes);
BENCHMARK_CAPTURE(classify, kMeans clustered, Method::KMeans, Data::Clustered)->Apply(sizes);
BENCHMARK_CAPTURE(classify, natural uniform, Method::NaturalBreaks, Data::Uniform)->Apply(sizes);
BENCHMARK_CAPTURE(classify, natural clustered, Method::NaturalBreaks, Data::Clustered)->Apply(sizes);
BENCHMARK_CAPTURE(classify, natural long tail, Method::NaturalBreaks, Data::LongTail)->Apply(sizes);
BENCHMARK_CAPTURE(classify, natural whole numbers, Method::NaturalBreaks, Data::WholeNumbers)->Apply(sizes);
BENCHMARK_CAPTURE(classify, natural evenly spaced, Method::NaturalBreaks, Data::EvenlySpaced)->Apply(sizes);
BENCHMARK_CAPTURE(classify, natural far from 0, Method::NaturalBreaks, Data::FarFromZero)
    ->Apply(sizesOfFallback);
BENCHMARK_CAPTURE(optimalClasses, uniform, Data::Uniform)->Apply(sizes);
BENCHMARK_CAPTURE(optimalClasses, clustered, Data::Clustered)->Apply(sizes);
BENCHMARK_CAPTURE(optimalClasses, long tail, Data::LongTail)->Apply(sizes);
BENCHMARK_CAPTURE(optimalClasses, whole numbers, Data::WholeNumbers)->Apply(sizes);
BENCHMARK_CAPTURE(optimalClasses, evenly spaced, Data::EvenlySpaced)->Apply(sizes);
BENCHMARK_CAPTURE(optimalClasses, far from 0, Data::FarFromZero)->Apply(sizes);
BENCHMARK_CAPTURE(plainRecurrence, uniform, Data::Uniform)->Apply(sizesOfPlain);
BENCHMARK_CAPTURE(plainRecurrence, clustered, Data::Clustered)->Apply(sizesOfPlain);
BENCHMARK_CAPTURE(plainRecurrence, long tail, Data::LongTail)->Apply(sizesOfPlain);
BENCHMARK_CAPTURE(plainRecurrence, whole numbers, Data::WholeNumbers)->Apply(sizesOfPlain);
BENCHMARK_CAPTURE(plainRecurrence, evenly spaced, Data::EvenlySpaced)->Apply(sizesOfPlain);
BENCHMARK_CAPTURE(plainRecurrence, far from 0, Data::FarFromZero)->Apply(sizesOfPlain);

BENCHMARK_MAIN();
