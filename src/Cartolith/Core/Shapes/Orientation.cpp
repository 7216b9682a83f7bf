#include <Cartolith/Core/Shapes/ExactSumInternal.h>
#include <Cartolith/Core/Shapes/OrientationInternal.h>

#include <cmath>

namespace Cartolith::Core::Shapes::Internal {

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
