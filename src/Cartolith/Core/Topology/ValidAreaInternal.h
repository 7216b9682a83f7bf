#pragma once

#include <Cartolith/Core/Shapes/RingNestingInternal.h>
#include <Cartolith/Core/Topology/GisTopology.h>

namespace Cartolith::Core::Topology::Internal {

struct ValidArea {
    QList<Shapes::Internal::Ring> rings;
    QString problem; ///< what GEOS says when it fails; else empty
};

/// What rings cover that cross each other, by GEOS: each ring covers what it goes round, shells are joined,
/// holes taken out. By its repair by structure, and where that has another area, because it left out a piece
/// or a hole, by the pieces into which the rings cut the plane. Where GEOS can do neither, the area that their
/// lines make, in which what is covered twice is not covered. \throws Stopped
ValidArea validArea(const QList<Shapes::Internal::Ring>& rings, const GisTopology& topology);

} // namespace Cartolith::Core::Topology::Internal
