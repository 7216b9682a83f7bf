#pragma once

#include <Cartolith/Core/Shapes/GisShape.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>

#include <QList>
#include <QString>

#include <memory>

namespace Cartolith::Core::Topology {

/// What can be wrong with a shape. The numbers are fixed: hosts store them.
enum class GisShapeProblemKind : qint32 {
    NotANumber = 0,     ///< a vertex with a NaN
    Infinite = 1,       ///< a vertex with an infinite coordinate
    TooFewVertices = 2, ///< a line of fewer than two different vertices, a ring of fewer than three
    OpenRing = 3,       ///< the last vertex does not repeat the first
    RepeatedVertex = 4, ///< a vertex at exactly the place of the one before
    Spike = 5,          ///< the boundary turns back on itself
    SelfCrossing = 6,   ///< a ring crosses, touches or runs along itself
    RingsCross = 7,     ///< two rings cross, or run along each other
    HoleOutside = 8,    ///< a ring wound as a hole that lies in no other
    NestedShells = 9,   ///< a ring that lies in another and is wound as a shell
    Invalid = 10,       ///< rings touch in so many places that they cut an area in two
};

struct GisShapeProblem {
    GisShapeProblemKind kind = GisShapeProblemKind::Invalid;
    Shapes::GisShapePoint place; ///< empty where there is none, as for a part without a vertex
    int part = -1;               ///< -1 for the shape as a whole
    int vertex = -1;             ///< the vertex, or the one the segment at fault starts from; -1 for the part
    QString text;                ///< in English, for the user
};

/// What FixShape() made of a shape. A failure is no result but an exception.
struct GisShapeFix {
    std::unique_ptr<Shapes::GisShape> shape; ///< null when the busy callback stopped the work
    /// What was wrong and is no more, with a text that says what was done; empty when the shape is a copy.
    QList<GisShapeProblem> changes;
};

} // namespace Cartolith::Core::Topology
