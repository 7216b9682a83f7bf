#pragma once

#include <Cartolith/Core/Shapes/GisExtent.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Topology/WorkInternal.h>

#include <cstddef>
#include <vector>

namespace Cartolith::Core::Topology::Internal {

/// What is inside of rings: whatever they wind round, or what lies in an odd number of them.
enum class RingReading { Winding, Nesting };

/// The rings of a polygon that can enclose something, as flat coordinates. Each ring ends where it starts,
/// and no vertex equals the one before.
struct Outline {
    struct Ring {
        std::size_t begin; ///< of its vertices in x and y
        std::size_t end;
        long double area; ///< signed: positive when the ring runs counterclockwise
        double low;
        double high;
        /// 1 when the ring counts as it runs, -1 when the other way round, 0 when it encloses nothing, so
        /// that the sum over all rings is 1 inside the polygon and 0 outside.
        int factor;
    };
    std::vector<double> x;
    std::vector<double> y;
    std::vector<Ring> rings;
    Shapes::GisExtent extent;
    double reach = 0.0; ///< the largest absolute coordinate
    /// Whether the factors are right if no ring crosses itself or another. False where rings were seen to
    /// cross of which some run like the one around them.
    bool hasFactors = true;
    long double area = 0.0L; ///< by the factors
};

/// Vertices that cannot be overlaid are left out, and rings of fewer than three corners. \throws Stopped
Outline outlineOf(const Shapes::GisShapePolygon& polygon, RingReading reading, Work& work);

} // namespace Cartolith::Core::Topology::Internal
