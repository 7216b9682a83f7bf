#pragma once

#include <QtGlobal>

namespace Cartolith::Core::Topology {

/// What computes unions, intersections and differences.
enum class GisOverlayEngine : qint32 {
    /// Qt's vector paths for two polygons, predicates and simple constructions for every other pair. Right on
    /// clean data, wrong on some; docs/overlay.md says how often.
    PainterPath = 0,
    /// GEOS, by way of OGR geometry, for every pair of kinds.
    Geos = 1,
};

} // namespace Cartolith::Core::Topology
