#pragma once

#include <Cartolith/Core/Shapes/RingNestingInternal.h>
#include <Cartolith/Core/Topology/GisTopology.h>

namespace Cartolith::Core::Topology::Internal {

struct ValidArea {
    QList<Shapes::Internal::Ring> rings;
    QString problem; ///< what GEOS says when it fails; else empty
};

/// What rings cover that cross each other, by GEOS: each ring covers what it goes round, shells are joined,
/// holes taken out. By its repair by structure; but where the pieces into which the rings cut the plane have
/// another area, because GEOS left out a piece or a hole, that one of its repair by structure, the union of
/// the pieces and, should both be wrong, its repair by lines that differs least from what the rings cover.
/// \throws Stopped
ValidArea validArea(const QList<Shapes::Internal::Ring>& rings, const GisTopology& topology);

} // namespace Cartolith::Core::Topology::Internal
