#pragma once

#include <Cartolith/Core/Shapes/RingNestingInternal.h>
#include <Cartolith/Core/Topology/GisTopology.h>

namespace Cartolith::Core::Topology::Internal {

struct ValidArea {
    QList<Shapes::Internal::Ring> rings;
    QString problem; ///< what GEOS says when it fails; else empty
};

/// What rings cover that cross each other, by GEOS: each ring covers what it encloses, shells are joined,
/// holes taken out. Where GEOS can do that neither at once nor ring by ring, the area that their lines make,
/// in which what is covered twice is not covered. \throws Stopped
ValidArea validArea(const QList<Shapes::Internal::Ring>& rings, const GisTopology& topology);

} // namespace Cartolith::Core::Topology::Internal
