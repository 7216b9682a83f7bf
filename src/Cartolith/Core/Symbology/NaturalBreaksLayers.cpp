#include <Cartolith/Core/Symbology/NaturalBreaksLayersInternal.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

namespace Cartolith::Core::Symbology::Internal {

namespace {

static_assert(std::numeric_limits<long double>::digits >= 64, "the bounds count on a wider type");

// The greatest relative error of one operation, in the recurrence's type and in the one used here.
constexpr double unit = std::numeric_limits<double>::epsilon() / 2.0;
constexpr double wideUnit = static_cast<double>(std::numeric_limits<long double>::epsilon()) / 2.0;
// Covers what first-order bounds leave out: terms in unit squared and the rounding of the bounds themselves.
constexpr double slack = 1.01;
// More than n squares, products and quotients of the recurrence can lose to underflow together.
constexpr double underflow = 1e-300;
constexpr double mostSquared = 1e300;

/// Neumaier's sum: to within two units of the sum of the magnitudes.
class Sum {
public:
    void add(long double term) {
        const long double next = m_sum + term;
        m_lost += std::abs(m_sum) >= std::abs(term) ? (m_sum - next) + term : (term - next) + m_sum;
        m_sum = next;
    }
    long double value() const { return m_sum + m_lost; }

private:
    long double m_sum = 0.0L;
    long double m_lost = 0.0L;
};

/// Whether sums of the values and of their squares are exact in double: all values are multiples of one
/// power of two, and the sum of all squares is at most 2^53 of its squares.
bool sumsAreExact(const std::vector<double>& sorted, double greatest) {
    int lowestBit = std::numeric_limits<int>::max();
    for (const double x : sorted) {
        if (x != 0.0) {
            int exponent = 0;
            const auto digits =
                static_cast<std::uint64_t>(std::ldexp(std::abs(std::frexp(x, &exponent)), 53));
            lowestBit = std::min(lowestBit, exponent - 53 + std::countr_zero(digits));
        }
    }
    const long double multiple =
        greatest == 0.0 ? 0.0L : std::ldexp(static_cast<long double>(greatest), -lowestBit);
    return multiple * multiple * static_cast<long double>(sorted.size()) <= 0x1p53L;
}

} // namespace

NaturalBreaksLayers::NaturalBreaksLayers(const std::vector<double>& sorted, std::size_t k)
    : m_classes(static_cast<double>(k)) {
    const std::size_t n = sorted.size();
    const double greatest = std::max(std::abs(sorted.front()), std::abs(sorted.back()));
    const double sumMost = greatest * static_cast<double>(n);
    m_valid = sumMost * sumMost <= mostSquared;
    if (!m_valid) {
        return;
    }
    m_exact = sumsAreExact(sorted, greatest);
    addUp(sorted);
    m_least.resize(k);
    std::for_each(m_least.begin() + 1, m_least.end(), [n](auto& layer) { layer.assign(n + 1, 0.0L); });
    for (std::size_t l = 2; l <= n; ++l) {
        m_least[1][l] = deviations(1, l);
    }
    for (std::size_t j = 2; j < k; ++j) {
        fillLayer(j, 2, n, 2, n);
    }
    findLongestClass(k);
}

// Errors of an evaluation, in wide units, to first order: a value minus the middle one is off by 1 of itself,
// its square by 3; a prefix sum by 2 more. So a difference of two prefixes of the squares is off by 11 of the
// last prefix Q, the sum of a class by 7 of the sum T of all magnitudes, which divided by the length times
// the sum itself is 14 M T with M the greatest magnitude; squaring, dividing and the two additions are off by
// 4 of at most Q. With exact sums only those 4 remain.
void NaturalBreaksLayers::addUp(const std::vector<double>& sorted) {
    const std::size_t n = sorted.size();
    const long double middle = sorted[n / 2];
    m_sums.assign(n + 1, 0.0L);
    m_squares.assign(n + 1, 0.0L);
    m_rawSquares.assign(n + 1, 0.0);
    Sum sum;
    Sum squares;
    Sum rawSquares;
    long double magnitudes = 0.0L;
    for (std::size_t i = 1; i <= n; ++i) {
        const long double raw = sorted[i - 1];
        const long double x = raw - middle;
        sum.add(x);
        squares.add(x * x);
        rawSquares.add(raw * raw);
        magnitudes += std::abs(x);
        m_sums[i] = sum.value();
        m_squares[i] = squares.value();
        m_rawSquares[i] = static_cast<double>(rawSquares.value());
    }
    const long double farthest = std::max(middle - sorted.front(), sorted.back() - middle);
    const auto all = static_cast<double>(m_squares[n]);
    m_evaluation =
        wideUnit * (m_exact ? 6.0 * all : 24.0 * (all + static_cast<double>(farthest * magnitudes)));
    // What one layer adds: see fillLayer().
    m_layers = m_classes * (2.0 * static_cast<double>(std::bit_width(n)) + 6.0) * m_evaluation;
}

// Divide and conquer. V meets the quadrangle inequality, V(i,l) + V(o,m) <= V(i,m) + V(o,l) for
// i <= o <= l <= m, so whatever is added to it for each i, a row after m gains nothing from beginnings before
// the best one of m, and a row before m nothing from those after. The best one found is worse than the best
// there is by 2 evaluation errors at most; the inequality hands exactly that loss to the rows after and
// before. Over bit_width(n) levels and the row's own evaluation that makes 2 bit_width(n) + 3 of them a
// layer.
void NaturalBreaksLayers::fillLayer(std::size_t j, std::size_t firstRow, std::size_t lastRow, std::size_t low,
                                    std::size_t high) {
    const std::size_t l = firstRow + (lastRow - firstRow) / 2;
    const std::size_t end = std::min(high, l);
    std::size_t best = low;
    long double least = std::numeric_limits<long double>::infinity();
    for (std::size_t i = low; i <= end; ++i) {
        const long double sum = candidate(i, l, j);
        if (sum < least) {
            least = sum;
            best = i;
        }
    }
    m_least[j][l] = least;
    if (firstRow < l) {
        fillLayer(j, firstRow, l - 1, low, best);
    }
    if (l < lastRow) {
        fillLayer(j, l + 1, lastRow, best, high);
    }
}

// Bounds of the recurrence's errors grow with the length of a class. V grows when a class does, so classes of
// a sum that is not too great are not too long.
void NaturalBreaksLayers::findLongestClass(std::size_t k) {
    const std::size_t n = m_sums.size() - 1;
    long double least = std::numeric_limits<long double>::infinity();
    for (std::size_t i = 2; i <= n; ++i) {
        least = std::min(least, candidate(i, n, k));
    }
    m_enough = least + static_cast<long double>(m_layers + 4.0 * greatestOfPath(n, n));
    std::size_t begin = 1;
    for (std::size_t l = 1; l <= n; ++l) {
        while (begin < l && deviations(begin, l) > m_enough + static_cast<long double>(m_evaluation)) {
            ++begin;
        }
        m_longest = std::max(m_longest, l - begin + 1);
    }
}

// The recurrence's sum of squares over w values is off by w units of itself, the square of its sum divided by
// w by 2 w units of the sum of squares (by the inequality of Cauchy and Schwarz), the difference by 1 more.
// Exact sums leave 2 units for the quotient and 1 for the difference.
double NaturalBreaksLayers::ofRounding(std::size_t length, double squares) const {
    return slack * unit * (m_exact ? 4.0 : 3.0 * static_cast<double>(length) + 4.0) * squares;
}

// Along any path of classes that are not longer than `longest`: their errors together, and an addition each.
double NaturalBreaksLayers::greatestOfPath(std::size_t l, std::size_t longest) const {
    return ofRounding(longest, m_rawSquares[l]) + slack * unit * m_classes * m_rawSquares[l] + underflow;
}

// The recurrence's C is off by no more than the worse of two paths: that of the exact optimum, which bounds
// it from above, and its own, which bounds it from below. With E the bound for classes of any length, both
// sum up to C + 2 E at most in exact arithmetic, and so do their classes.
double NaturalBreaksLayers::error(std::size_t i, std::size_t l, std::size_t j) const {
    const double squares = m_rawSquares[l];
    const double own =
        ofRounding(l - i + 1, squares - m_rawSquares[i - 1] + 8.0 * unit * squares) + slack * unit * squares;
    double rest = 0.0;
    if (i > 2) { // one value has no deviation, not in the recurrence either
        rest = greatestOfPath(i - 1, i - 1);
        if (m_least[j - 1][i - 1] + static_cast<long double>(m_layers + 2.0 * rest) <= m_enough) {
            rest = std::min(rest, greatestOfPath(i - 1, m_longest));
        }
    }
    return own + rest + m_layers + 4.0 * m_evaluation + underflow;
}

double NaturalBreaksLayers::greatestError(std::size_t l) const {
    return 2.0 * greatestOfPath(l, l) + 16.0 * unit * m_rawSquares[l] + m_layers + 4.0 * m_evaluation +
           underflow;
}

} // namespace Cartolith::Core::Symbology::Internal
