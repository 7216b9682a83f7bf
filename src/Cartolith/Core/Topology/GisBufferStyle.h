#pragma once

#include <QtGlobal>

namespace Cartolith::Core::Topology {

enum class GisBufferCap : qint32 { Round = 1, Flat = 2, Square = 3 };
enum class GisBufferJoin : qint32 { Round = 1, Mitre = 2, Bevel = 3 };
/// Left and right as seen along the line.
enum class GisBufferSide : qint32 { Both = 0, Left = 1, Right = 2 };

/// How a buffer goes round ends and corners.
struct GisBufferStyle {
    GisBufferCap cap = GisBufferCap::Round; ///< at the ends of lines; one-sided buffers are always flat
    GisBufferJoin join = GisBufferJoin::Round;
    /// A mitred corner reaches out at most so many times the distance and is cut off beyond; at least 1.
    double mitreLimit = 5.0;
    int quadrantSegments = 8;                 ///< of a quarter of a circle; 1 to 1000
    GisBufferSide side = GisBufferSide::Both; ///< of lines; points and polygons ignore it
};

} // namespace Cartolith::Core::Topology
