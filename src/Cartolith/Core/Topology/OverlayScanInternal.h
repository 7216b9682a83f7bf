#pragma once

#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Topology/GisTopologyCombineType.h>

#include <array>
#include <limits>
#include <vector>

/// Two polygons and what an overlay made of them, measured along horizontal lines.
namespace Cartolith::Core::Topology::Internal {

/// The rings of a polygon that can enclose something, as flat coordinates; each ring ends where it starts.
struct Outline {
    struct Ring {
        std::size_t begin; ///< of its vertices in x and y
        std::size_t end;
        double area; ///< signed: positive when the ring runs counterclockwise
        double low;
        double high;
    };
    std::vector<double> x;
    std::vector<double> y;
    std::vector<Ring> rings;
    Shapes::GisExtent extent;
    double reach = 0.0; ///< the largest absolute coordinate
};

Outline outlineOf(const Shapes::GisShapePolygon& polygon);

/// What is inside of an input's rings; the result is always read by nesting.
enum class RingReading { Winding, Nesting };

/// An area estimated along lines, one in each strip, and how far that may be off.
struct ScannedArea {
    double area = 0.0;
    double uncertainty = 0.0; ///< strip height times the sum of the changes from line to line
};

struct OverlayScan {
    /// What the result has too much or too little, estimated along lines: one in each strip, ...
    double wrongArea = 0.0;
    /// ... and with the lines through rings, which stand for the heights of these, on top of that.
    double suspectArea = 0.0;
    double worstAt = std::numeric_limits<double>::quiet_NaN(); ///< y of the line where most is wrong
    ScannedArea both;
    ScannedArea onlyA;
    ScannedArea onlyB;
    /// Of a, b and the result, from their rings; NaN when it is not certain how these count. That of the
    /// result may be off where rings have common edges.
    std::array<double, 3> areas;
};

/// The crossings of each line with the edges are sorted, and what the operation makes of a and b is compared
/// with the result piece by piece. Edges that agree but for rounding leave pieces of that size. An edge
/// counts at its lower and not at its upper end, so vertices on a line do no harm.
OverlayScan scanOverlay(const Outline& a, const Outline& b, const Outline& result,
                        GisTopologyCombineType type, RingReading reading);

} // namespace Cartolith::Core::Topology::Internal
