#pragma once

#include <cstddef>
#include <vector>

namespace Cartolith::Core::Symbology::Internal {

/// The k classes with the least sum of squared deviations from their means (W. Fisher, 1958), as the
/// positions where they begin, 0 first. Values ascend strictly and are finite, each counts as often as its
/// weight says; 1 <= k <= the number of values. Where several divisions are equally good, it is not said
/// which of them comes out.
///
/// O(k n log n) time, 4 bytes for each value and class beside what ClassDeviations takes.
std::vector<std::size_t> optimalClasses(const std::vector<double>& values, const std::vector<double>& weights,
                                        std::size_t k);

} // namespace Cartolith::Core::Symbology::Internal
