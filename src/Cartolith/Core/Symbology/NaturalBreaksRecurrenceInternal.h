#pragma once

#include <cstddef>
#include <vector>

namespace Cartolith::Core::Symbology::Internal {

/// The sums of squared deviations of the values from a row backwards, in the very operations of the
/// recurrence: results depend on their order, so there is no other copy of them but the one in lanes.
class BackwardVariance {
public:
    void add(double x) {
        m_sum += x;
        m_squares += x * x;
        m_count += 1.0;
    }
    double value() const { return m_squares - m_sum * m_sum / m_count; }
    double sum() const { return m_sum; }
    double squares() const { return m_squares; }
    double count() const { return m_count; }

private:
    double m_sum = 0.0;
    double m_squares = 0.0;
    double m_count = 0.0;
};

/// Where the classes but the first begin, as positions in `sorted`, by the whole recurrence: k - 1 of them,
/// ascending. Time in n squared times k, memory for n times k numbers. Any values, overflow included.
std::vector<std::size_t> recurrenceCuts(const std::vector<double>& sorted, std::size_t k);

} // namespace Cartolith::Core::Symbology::Internal
