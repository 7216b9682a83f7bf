#include <Cartolith/Core/Common/RankSumInternal.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>

namespace Cartolith::Core::Common::Internal {

namespace {

constexpr double level = 0.01;

/// How many differences b - a are below a value, or at most that.
struct Count {
    double below = 0.0;
    double atMost = 0.0;
};

Count countDifferences(const std::vector<double>& a, const std::vector<double>& b, double value) {
    Count count;
    std::size_t above = 0;   // of a, those with b - a < value from here on
    std::size_t aboveOr = 0; // and those with b - a <= value
    for (const double x : b) {
        while (above < a.size() && !(x - a[above] < value)) {
            ++above;
        }
        while (aboveOr < a.size() && !(x - a[aboveOr] <= value)) {
            ++aboveOr;
        }
        count.below += static_cast<double>(a.size() - above);
        count.atMost += static_cast<double>(a.size() - aboveOr);
    }
    return count;
}

/// The difference that has so many before it when all stand in order.
double differenceAt(const std::vector<double>& a, const std::vector<double>& b, double before) {
    // No more than `before` differences are at most the lower bound, more than that at most the upper one.
    double low = std::nextafter(b.front() - a.back(), -std::numeric_limits<double>::infinity());
    double high = b.back() - a.front();
    for (int halving = 0; halving < 64; ++halving) {
        const double middle = low + (high - low) / 2.0;
        (countDifferences(a, b, middle).atMost > before ? high : low) = middle;
    }
    // The difference itself, not a number beside it.
    double least = high;
    for (const double x : b) {
        // Those of `a` from here on lie at or below the lower bound: by the differences, which are not
        // rounded.
        const auto end =
            std::partition_point(a.begin(), a.end(), [x, low](double value) { return x - value > low; });
        if (end != a.begin()) {
            least = std::min(least, x - *std::prev(end));
        }
    }
    return least;
}

} // namespace

double mostAgainst(std::size_t countA, std::size_t countB) {
    const auto m = static_cast<double>(countA);
    const auto n = static_cast<double>(countB);
    constexpr std::size_t exactUpTo = 50;
    if (countA + countB > exactUpTo) {
        constexpr double quantile = 2.5758293035489; // half a percent lies beyond
        return std::floor(m * n / 2.0 - 0.5 - quantile * std::sqrt(m * n * (m + n + 1.0) / 12.0));
    }
    // How many orders of all have so many products against: the coefficients of a Gaussian binomial. Every
    // number on the way is a whole one below 2^53.
    std::vector<double> orders{1.0};
    orders.resize(countA * countB + 1, 0.0);
    double all = 1.0;
    for (std::size_t i = 1; i <= countA; ++i) {
        all = all * static_cast<double>(countB + i) / static_cast<double>(i);
        for (std::size_t k = orders.size(); k-- > countB + i;) {
            orders[k] -= orders[k - countB - i];
        }
        for (std::size_t k = i; k < orders.size(); ++k) {
            orders[k] += orders[k - i];
        }
    }
    double sum = 0.0;
    double most = -1.0;
    for (const double order : orders) {
        sum += order;
        if (2.0 * sum > level * all) {
            break;
        }
        most += 1.0;
    }
    return most;
}

Shift shiftBetween(const std::vector<double>& a, const std::vector<double>& b) {
    const double pairs = static_cast<double>(a.size()) * static_cast<double>(b.size());
    const double most = mostAgainst(a.size(), b.size());
    const double half = std::floor((pairs - 1.0) / 2.0);
    const double estimate = (differenceAt(a, b, half) + differenceAt(a, b, pairs - 1.0 - half)) / 2.0;
    const Count zero = countDifferences(a, b, 0.0);
    const double against = zero.below + (zero.atMost - zero.below) / 2.0;
    return {estimate, differenceAt(a, b, std::max(most, 0.0)),
            differenceAt(a, b, pairs - 1.0 - std::max(most, 0.0)),
            std::min(against, pairs - against) <= most};
}

} // namespace Cartolith::Core::Common::Internal
