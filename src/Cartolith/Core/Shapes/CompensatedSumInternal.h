#pragma once

#include <cmath>

namespace Cartolith::Core::Shapes::Internal {

/// A sum whose error does not grow with the number of terms (Neumaier, 1974).
class CompensatedSum {
public:
    void add(double value) noexcept {
        const double sum = m_sum + value;
        m_lost += std::fabs(m_sum) >= std::fabs(value) ? (m_sum - sum) + value : (value - sum) + m_sum;
        m_sum = sum;
    }
    double value() const noexcept { return m_sum + m_lost; }

private:
    double m_sum = 0.0;
    double m_lost = 0.0;
};

} // namespace Cartolith::Core::Shapes::Internal
