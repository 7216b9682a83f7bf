#include <Cartolith/Core/Shapes/OrientationInternal.h>

#include <array>
#include <cmath>
#include <cstddef>

namespace Cartolith::Core::Shapes::Internal {

namespace {

/// A sum without rounding: numbers of growing size that do not overlap.
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

    std::array<double, 12> m_terms{};
    std::size_t m_count = 0;
};

} // namespace

int orientation(double ax, double ay, double bx, double by, double cx, double cy) noexcept {
    const double left = (ax - cx) * (by - cy);
    const double right = (ay - cy) * (bx - cx);
    const double determinant = left - right;
    // (3 + 16 eps) eps with eps = 2^-53, Shewchuk's bound of the rounding
    if (std::fabs(determinant) > 3.3306690738754716e-16 * (std::fabs(left) + std::fabs(right))) {
        return determinant > 0.0 ? 1 : -1;
    }
    ExactSum sum;
    sum.addProduct(ax, by);
    sum.addProduct(-ay, bx);
    sum.addProduct(bx, cy);
    sum.addProduct(-by, cx);
    sum.addProduct(cx, ay);
    sum.addProduct(-cy, ax);
    return sum.sign();
}

} // namespace Cartolith::Core::Shapes::Internal
