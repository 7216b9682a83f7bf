#include <Cartolith/Core/Common/FloatsInternal.h>
#include <Cartolith/Core/Symbology/NaturalBreaksRecurrenceInternal.h>

#include <algorithm>
#include <array>
#include <emmintrin.h>

namespace Cartolith::Core::Symbology::Internal {

namespace {

using Common::Internal::infinity;
constexpr std::size_t pairCount = 4;
constexpr std::size_t laneCount = 2 * pairCount;
constexpr std::size_t chunkSize = 128;

using Lanes = std::array<double, laneCount>;

/// Two rows side by side. The operations are those on single numbers; _mm_min_pd(a, b) is a < b ? a : b.
struct Pair {
    __m128d rows;
};
using Pairs = std::array<Pair, pairCount>;

Pairs pairs(const Lanes& lanes) {
    Pairs result{};
    for (std::size_t at = 0; at < pairCount; ++at) {
        result[at].rows = _mm_loadu_pd(&lanes[2 * at]);
    }
    return result;
}

Pairs pairs(double value) {
    Lanes lanes{};
    lanes.fill(value);
    return pairs(lanes);
}

double lane(const Pairs& pairs, std::size_t at) {
    const __m128d rows = pairs[at / 2].rows;
    return _mm_cvtsd_f64(at % 2 == 0 ? rows : _mm_unpackhi_pd(rows, rows));
}

/// As BackwardVariance, in lanes.
class BackwardVariances {
public:
    explicit BackwardVariances(const std::array<BackwardVariance, laneCount>& from) {
        Lanes sums{};
        Lanes squareSums{};
        Lanes counts{};
        for (std::size_t at = 0; at < laneCount; ++at) {
            sums[at] = from[at].sum();
            squareSums[at] = from[at].squares();
            counts[at] = from[at].count();
        }
        m_sum = pairs(sums);
        m_squares = pairs(squareSums);
        m_count = pairs(counts);
    }

    Pairs add(double value) {
        const __m128d x = _mm_set1_pd(value);
        const __m128d square = _mm_set1_pd(value * value);
        const __m128d one = _mm_set1_pd(1.0);
        Pairs variance{};
        for (std::size_t at = 0; at < pairCount; ++at) {
            m_sum[at].rows = _mm_add_pd(m_sum[at].rows, x);
            m_squares[at].rows = _mm_add_pd(m_squares[at].rows, square);
            m_count[at].rows = _mm_add_pd(m_count[at].rows, one);
            variance[at].rows = _mm_sub_pd(
                m_squares[at].rows, _mm_div_pd(_mm_mul_pd(m_sum[at].rows, m_sum[at].rows), m_count[at].rows));
        }
        return variance;
    }

private:
    Pairs m_sum{};
    Pairs m_squares{};
    Pairs m_count{};
};

/// Takes the candidates that are lesser.
void lower(Pairs& least, const Pairs& variance, double rest) {
    const __m128d both = _mm_set1_pd(rest);
    for (std::size_t at = 0; at < pairCount; ++at) {
        least[at].rows = _mm_min_pd(_mm_add_pd(variance[at].rows, both), least[at].rows);
    }
}

/// Columns 1 to k - 1 of the least sums: [j][l] for the values 1 to l in j classes, counted from 1.
///
/// A least sum does not depend on the order of its candidates, so rows are computed side by side, eight to a
/// block, and where a least sum came from is looked up afterwards, for the k rows that matter. Each row still
/// adds up its own sums from the row backwards, operation by operation.
class LeastSums {
public:
    LeastSums(const std::vector<double>& sorted, std::size_t k)
        : m_sorted(sorted), m_columns(k, std::vector<double>(sorted.size() + 1, 0.0)) {
        for (std::size_t first = 2; first <= sorted.size(); first += laneCount) {
            computeBlock(first);
        }
    }

    /// The row that the last of j classes over the values 1 to l begins with; 0 when no sum is a number.
    std::size_t lowerLimit(std::size_t l, std::size_t j) const {
        BackwardVariance variance;
        double best = infinity;
        std::size_t limit = 0;
        for (std::size_t i = l; i > 1; --i) {
            variance.add(m_sorted[i - 1]);
            const double candidate = variance.value() + m_columns[j - 1][i - 1];
            if (candidate < best) {
                best = candidate;
                limit = i;
            }
        }
        return limit;
    }

private:
    void computeBlock(std::size_t first) {
        const std::size_t rows = std::min(laneCount, m_sorted.size() - first + 1);
        // Rows of one block are each other's candidates: the sums down to the first row come one by one.
        std::array<BackwardVariance, laneCount> ahead{};
        std::array<Lanes, laneCount> aheadVariance{};
        for (std::size_t row = 0; row < rows; ++row) {
            for (std::size_t i = first + row; i > first; --i) {
                ahead[row].add(m_sorted[i - 1]);
                aheadVariance[row][i - first] = ahead[row].value();
            }
        }
        std::vector<Pairs> best(m_columns.size(), pairs(infinity));
        const Pairs whole = sweep(first, BackwardVariances(ahead), best);
        for (std::size_t row = 0; row < rows; ++row) {
            m_columns[1][first + row] = lane(whole, row);
            for (std::size_t j = 2; j < m_columns.size(); ++j) {
                double least = lane(best[j], row);
                for (std::size_t i = first + row; i > first; --i) {
                    const double candidate = aheadVariance[row][i - first] + m_columns[j - 1][i - 1];
                    least = candidate < least ? candidate : least; // never NaN, as in the lanes
                }
                m_columns[j][first + row] = least;
            }
        }
    }

    /// All lanes from value `first` down to 1; returns what they have there.
    Pairs sweep(std::size_t first, BackwardVariances running, std::vector<Pairs>& best) const {
        std::array<Pairs, chunkSize> variance{};
        std::size_t size = 0;
        for (std::size_t top = first; top > 0; top -= size) {
            size = std::min(chunkSize, top);
            for (std::size_t at = 0; at < size; ++at) {
                variance[at] = running.add(m_sorted[top - at - 1]);
            }
            const std::size_t candidates = size == top ? size - 1 : size; // only the first class begins at 1
            for (std::size_t j = 2; j < m_columns.size(); ++j) {
                const double* rest = &m_columns[j - 1][top - 1];
                Pairs least = best[j];
                for (std::size_t at = 0; at < candidates; ++at) {
                    lower(least, variance[at], *(rest - at));
                }
                best[j] = least;
            }
        }
        return variance[size - 1];
    }

    const std::vector<double>& m_sorted;
    std::vector<std::vector<double>> m_columns;
};

} // namespace

std::vector<std::size_t> recurrenceCuts(const std::vector<double>& sorted, std::size_t k) {
    const LeastSums sums(sorted, k);
    std::vector<std::size_t> cuts(k - 1);
    std::size_t row = sorted.size();
    for (std::size_t j = k; j > 1; --j) {
        const std::size_t cut = std::max<std::size_t>(sums.lowerLimit(row, j), 1) - 1;
        cuts[j - 2] = cut;
        row = std::max<std::size_t>(cut, 1);
    }
    return cuts;
}

} // namespace Cartolith::Core::Symbology::Internal
