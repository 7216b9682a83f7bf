#pragma once

#include <Cartolith/Core/Shapes/CompensatedSumInternal.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Shapes/RingAreaInternal.h>

#include <QList>

#include <cmath>

namespace Cartolith::Core::Topology::Internal {

using Shapes::Internal::CompensatedSum;
using Shapes::Internal::signedArea;

inline bool isFinite(const Shapes::GisShapePoint& p) {
    return std::isfinite(p.x()) && std::isfinite(p.y());
}

/// Exactly, without a tolerance.
inline bool isSamePlace(const Shapes::GisShapePoint& a, const Shapes::GisShapePoint& b) {
    return a.x() == b.x() && a.y() == b.y();
}

/// Open, as it is.
double lengthOf(const QList<Shapes::GisShapePoint>& part);

} // namespace Cartolith::Core::Topology::Internal
