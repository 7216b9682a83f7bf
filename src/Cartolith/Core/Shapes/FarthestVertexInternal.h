#pragma once

#include <Cartolith/Core/Shapes/GisShapePoint.h>

#include <QList>

#include <vector>

namespace Cartolith::Core::Shapes::Internal {

/// The vertex of a stretch that is farthest from the stretch's chord: the question of Douglas and Peucker.
///
/// The answer is that of comparing every vertex, by GisShapePolyline::distancePointToSegment() and to the
/// last bit, the lowest index on a tie. A tree of boxes over runs of vertices leaves out what provably is not
/// farther: about logarithmic time for each question, linear where rounding alone decides among many, as for
/// a chord that runs along a slanted zigzag; some nanoseconds a vertex then. Memory: 20 bytes for each
/// vertex.
class FarthestVertex {
public:
    /// Of the vertices from `first` to `last`. The list must outlive this and not change.
    FarthestVertex(const QList<GisShapePoint>& points, int first, int last);

    struct Answer {
        double distance = -1.0; ///< -1 when there is no vertex in between, or none with a distance
        int index = -1;
        qint64 looks = 0; ///< at vertices, about
    };
    /// Of those strictly between the two.
    Answer between(int from, int to) const;

private:
    static constexpr int runLength = 16;
    static constexpr int fanOut = 8;
    static constexpr int scanLength = 128; ///< at once

    struct Box {
        double xMin;
        double yMin;
        double xMax;
        double yMax;
    };
    class Chord;

    struct Best : Answer {
        double square = -1.0;
    };
    void scanRun(const Chord& chord, int begin, int end, Best& best) const;
    Answer ofAll(const Chord& chord, int from, int to) const;

    const GisShapePoint* m_points;
    int m_first;
    double m_largest = 0.0; ///< coordinate
    std::vector<double> m_x;
    std::vector<double> m_y;
    /// Level by level, the runs first; none when there are few vertices, or numbers that say nothing about
    /// rounding.
    std::vector<std::vector<Box>> m_levels;
};

} // namespace Cartolith::Core::Shapes::Internal
