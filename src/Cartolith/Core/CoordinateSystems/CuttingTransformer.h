#pragma once

#include <Cartolith/Core/Export.h>

#include <QtGlobal>

#include <memory>
#include <span>
#include <vector>

namespace Cartolith::Core::Shapes {
class GisExtent;
class GisShape;
} // namespace Cartolith::Core::Shapes

namespace Cartolith::Core::CoordinateSystems {

class CoordinateSystem;

/// Parts (lines, rings, groups of points), one after the other.
struct CutParts {
    std::vector<double> coordinates; ///< x and y in turn
    std::vector<qsizetype> ends;     ///< the numbers of vertices up to the end of each part
    qsizetype dropped = 0;           ///< vertices given that have no image anywhere near them
    bool isCut = false;              ///< something was cut off or apart
    /// At most so far, in units of the target, is an edge from the image that it stands for: often much less
    /// than the tolerance. Infinite where nobody asked.
    double deviation = 0.0;

    void clear() noexcept {
        coordinates.clear();
        ends.clear();
        dropped = 0;
        isCut = false;
        deviation = 0.0;
    }
};

/// Takes points, lines and areas from one coordinate system to another and cuts them where the map ends: at
/// the antimeridian of the target's central meridian, at the horizon of an orthographic projection, at the
/// place opposite to the centre of an azimuthal one, before the poles of a Mercator map.
///
/// CoordinateTransformer is for places, and for shapes that lie well inside of the target's area: it moves
/// the vertices, in the same order, whatever becomes of the edges between them. This class is for maps and
/// for operations over the whole earth:
///
/// - Edges are straight in the source. Where their image is bent, vertices are put in until the result is not
///   farther from it than the tolerance (4096 pieces to an edge at the most): in the middle of each piece,
///   and of long ones and those near the map's end in the middles of its parts too. An edge of the result is
///   never longer than the image that it stands for.
/// - An area that is cut is closed along the end of the map; one in which the map's end lies wholly gets it
///   as a ring. Rings are closed, at least three places, by the even-odd rule; the orientation and order of
///   rings that were cut is not said. They need no orientation in the source. Rings that cross themselves
///   come out as they are.
/// - In degrees, longitudes go on beyond 180: from 170 to 190 is a way over the antimeridian. An edge over
///   more than 350 degrees, as from 179 to -179, is taken for the short way round, but not one from end to
///   end of the map, over 360. A ring that goes round once that way is closed over the pole on its side.
///   Rings that meet along the two ends of the map in degrees, and the edges along its poles, are joined
///   where the target has no end there: Antarctica around the pole is one ring.
/// - A vertex that is not finite, or without an image inside of the domain, is dropped and counted; lines
///   break there. Points outside of the domain are dropped and counted.
///
/// The domain is what PROJ can draw without a leap: of orthographic and perspective projections what is seen,
/// of gnomonic ones 80 degrees around the centre, of Lambert's azimuthal ones all but 0.1 degrees around the
/// opposite place, of stereographic and azimuthal equidistant ones all but a degree, of Mercator maps 85.0511
/// degrees to both sides, of transverse ones (UTM) all but 10 degrees around two places a quarter of a turn
/// from the central meridian on the equator, of maps of the world all. For other projections it is the area
/// of use, and as much as its size around it where the image has no leap there. Interrupted projections are
/// not taken apart at their gaps.
///
/// Vertices inside get the coordinates that CoordinateTransformer gives. Finding out that a geometry needs no
/// cut costs a look at its box in degrees (for sources not in degrees, also 25 points of it are transformed);
/// cutting costs several transformations for each crossing, and one for each vertex.
///
/// One object is used by one thread at a time; different ones are independent. Making one
/// takes milliseconds, and up to half a second where PROJ looks for shifts between datums.
class CARTOLITH_CORE_EXPORT CuttingTransformer {
public:
    /// The tolerance is in units of the target, half a pixel for a picture; infinite for none.
    /// \throws std::invalid_argument for a tolerance that is not greater than 0; std::runtime_error as
    /// CoordinateTransformer
    CuttingTransformer(const CoordinateSystem& source, const CoordinateSystem& target, double tolerance);
    ~CuttingTransformer();
    CuttingTransformer(const CuttingTransformer&) = delete;
    CuttingTransformer& operator=(const CuttingTransformer&) = delete;

    double tolerance() const noexcept;
    /// \throws std::invalid_argument when it is not greater than 0
    void setTolerance(double tolerance);
    /// Within a part of the map, in units of the target, another tolerance holds than elsewhere, which should
    /// be less: for a view that shows but little of what is transformed. An empty extent takes it back.
    /// \throws std::invalid_argument when the tolerance is not greater than 0
    void setFinerWithin(const Shapes::GisExtent& extent, double tolerance);

    /// \name Flat arrays
    /// x and y in turn; `ends` are the numbers of vertices up to the end of each part. The result is emptied
    /// first and keeps its memory. What is left of nothing is nothing. They throw std::invalid_argument when
    /// the ends fall, or do not fit the coordinates, and std::bad_alloc.
    /// @{
    /// Each group keeps its place in `ends`, whatever it loses: many features go in one call.
    void points(std::span<const double> coordinates, std::span<const qsizetype> ends, CutParts& result);
    void lines(std::span<const double> coordinates, std::span<const qsizetype> ends, CutParts& result);
    /// The rings of one area, closed or not.
    void rings(std::span<const double> coordinates, std::span<const qsizetype> ends, CutParts& result);
    /// @}

    /// A new shape of the same class with the same id and attributes; null when nothing of it is left, and
    /// for an empty one. \throws std::invalid_argument for a class other than point, polyline and polygon
    std::unique_ptr<Shapes::GisShape> transformShape(const Shapes::GisShape& shape);

private:
    class CARTOLITH_CORE_NO_EXPORT Private;
    std::unique_ptr<Private> d;
};

} // namespace Cartolith::Core::CoordinateSystems
