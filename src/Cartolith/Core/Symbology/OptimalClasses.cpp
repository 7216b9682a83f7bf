#include <Cartolith/Core/Symbology/ClassDeviationsInternal.h>
#include <Cartolith/Core/Symbology/OptimalClassesInternal.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <utility>

namespace Cartolith::Core::Symbology::Internal {

namespace {

/// The best sums of the values up to each position, in one class more with every layer.
class LayeredSums {
public:
    LayeredSums(const std::vector<double>& values, const std::vector<double>& weights)
        : m_deviations(values, weights), m_least(values.size()) {
        for (std::size_t last = 0; last < values.size(); ++last) {
            m_least[last] = m_deviations.of(0, last);
        }
    }

    /// Where the last of `classes` begins, for all positions that have so many values up to them.
    std::vector<std::uint32_t> next(std::size_t classes) {
        m_begins.assign(m_least.size(), 0);
        m_sums.assign(m_least.size(), 0.0);
        fill(classes - 1, m_least.size() - 1, classes - 1, m_least.size() - 1);
        m_least.swap(m_sums);
        return std::move(m_begins);
    }

    /// The same for the last position alone.
    std::size_t last(std::size_t classes) {
        m_begins.assign(m_least.size(), 0);
        m_sums.assign(m_least.size(), 0.0);
        find(m_least.size() - 1, classes - 1, m_least.size() - 1);
        return m_begins.back();
    }

private:
    void find(std::size_t row, std::size_t low, std::size_t high) {
        double least = std::numeric_limits<double>::infinity();
        for (std::size_t begin = low; begin <= std::min(high, row); ++begin) {
            const double sum = m_least[begin - 1] + m_deviations.of(begin, row);
            if (sum <= least) {
                least = sum;
                m_begins[row] = static_cast<std::uint32_t>(begin);
            }
        }
        m_sums[row] = least;
    }

    /// The last class of a later row begins no earlier, because the sums meet the quadrangle inequality.
    void fill(std::size_t firstRow, std::size_t lastRow, std::size_t low, std::size_t high) {
        const std::size_t middle = firstRow + (lastRow - firstRow) / 2;
        find(middle, low, high);
        const std::size_t begin = m_begins[middle];
        if (middle > firstRow) {
            fill(firstRow, middle - 1, low, begin);
        }
        if (middle < lastRow) {
            fill(middle + 1, lastRow, begin, high);
        }
    }

    ClassDeviations m_deviations;
    std::vector<double> m_least;
    std::vector<double> m_sums;
    std::vector<std::uint32_t> m_begins;
};

} // namespace

std::vector<std::size_t> optimalClasses(const std::vector<double>& values, const std::vector<double>& weights,
                                        std::size_t k) {
    std::vector<std::size_t> result(k, 0);
    if (k == 1) {
        return result;
    }
    LayeredSums layers(values, weights);
    std::vector<std::vector<std::uint32_t>> begins;
    for (std::size_t classes = 2; classes < k; ++classes) {
        begins.push_back(layers.next(classes));
    }
    result[k - 1] = layers.last(k);
    for (std::size_t j = k - 1; j > 1; --j) {
        result[j - 1] = begins[j - 2][result[j] - 1];
    }
    return result;
}

} // namespace Cartolith::Core::Symbology::Internal
