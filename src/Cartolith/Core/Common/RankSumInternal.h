#pragma once

#include <vector>

namespace Cartolith::Core::Common::Internal {

/// By how much the numbers of one sample are larger than those of another.
struct Shift {
    double estimate; ///< the median of all differences between one of each (Hodges and Lehmann, 1963)
    double low;      ///< where it lies with a certainty of 99 %, by the ranks of these differences
    double high;
    bool differs; ///< the rank sum test (Mann and Whitney, 1947) says so at 1 %, both sides together
};

/// How many of the products of two sample sizes may point the other way when a difference is one at 1 %: -1
/// when none may be called one, whatever the numbers. Exact for up to 50 numbers together, by the normal
/// approximation beyond.
double mostAgainst(std::size_t countA, std::size_t countB);

/// Of b against a, both ascending and not empty. Ties count half on each side, which calls a difference one
/// more seldom. In (m + n) times the bits of a double.
Shift shiftBetween(const std::vector<double>& a, const std::vector<double>& b);

} // namespace Cartolith::Core::Common::Internal
