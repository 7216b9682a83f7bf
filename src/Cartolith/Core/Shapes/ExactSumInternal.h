#pragma once

#include <array>
#include <cmath>
#include <cstddef>

namespace Cartolith::Core::Shapes::Internal {

/// A sum without rounding: numbers of growing size that do not overlap, of which a double has room for 40.
class ExactSum {
public:
    void addProduct(double a, double b) noexcept {
        const double product = a * b;
        add(std::fma(a, b, -product));
        add(product);
    }

    int sign() const noexcept {
        const double largest = m_count == 0 ? 0.0 : m_terms[m_count - 1];
        return (largest > 0.0) - (largest < 0.0);
    }

private:
    void add(double value) noexcept {
        std::size_t kept = 0;
        for (std::size_t i = 0; i < m_count; ++i) {
            const double sum = value + m_terms[i];
            const double part = sum - value;
            const double rest = (value - (sum - part)) + (m_terms[i] - part);
            if (rest != 0.0) {
                m_terms[kept++] = rest;
            }
            value = sum;
        }
        if (value != 0.0) {
            m_terms[kept++] = value;
        }
        m_count = kept;
    }

    static constexpr std::size_t most = 42;
    std::array<double, most> m_terms{};
    std::size_t m_count = 0;
};

} // namespace Cartolith::Core::Shapes::Internal
