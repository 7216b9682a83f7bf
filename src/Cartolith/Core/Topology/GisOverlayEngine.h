#pragma once

#include <QtGlobal>

namespace Cartolith::Core::Topology {

/// What computes unions, intersections and differences.
enum class GisOverlayEngine : qint32 {
    /// Qt's vector paths for two polygons, predicates and simple constructions for every other pair. Right on
    /// clean data, wrong on some; docs/overlay.md says how often.
    PainterPath = 0,
    /// GEOS, by way of OGR geometry, for every pair of kinds. Mostly right, but GEOS 3.11 may lose an area
    /// that is thinner than about 1e-9 of the shapes.
    ///
    /// GisTopology::CheckOverlay() sees such a loss. With this engine no operation calls it by itself: the
    /// host does where it matters.
    Geos = 1,
};

} // namespace Cartolith::Core::Topology
