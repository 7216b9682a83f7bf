#pragma once

#include <Cartolith/Core/Spatial/SpatialIndexItem.h>

#include <QList>

#include <vector>

namespace Cartolith::Core::Spatial::RTree {

/// RTreeSpatialIndex::normalizeCoordinate(), where the compiler can see it.
inline quint16 gridCoordinate(double value, double min, double max) noexcept {
    if (min >= max) {
        return 0;
    }
    const double place = (value - min) / (max - min);
    if (place > 1.0) {
        return 65535;
    }
    if (!(place >= 0.0)) {
        return 0;
    }
    // Rounds half up without a call: the difference to the integer part is exact.
    const double scaled = place * 65535.0;
    const auto whole = static_cast<qint32>(scaled);
    return static_cast<quint16>(whole + (scaled - whole >= 0.5 ? 1 : 0));
}

/// RTreeSpatialIndex::hilbertIndex(x, y, 16), by table.
quint32 hilbertKey(quint16 x, quint16 y) noexcept;

/// By which hilbertOrder() orders: the place of the centre on the curve that fills the frame.
quint32 hilbertKey(const Shapes::GisExtent& extent, const Shapes::GisExtent& frame) noexcept;
/// By which axisOrder() orders: the centre along one axis as an integer of the same order, a NaN the largest.
quint64 axisKey(const Shapes::GisExtent& extent, bool alongX) noexcept;
/// Along which axis items that lie in the frame are ordered.
inline bool isAlongX(const Shapes::GisExtent& frame) {
    return frame.height() <= frame.width();
}

/// The positions of the items in ascending order of the Hilbert key of their centres within the extent. Equal
/// keys keep the order of the list. Linear in the number of items.
std::vector<quint32> hilbertOrder(const QList<SpatialIndexItem>& items, const Shapes::GisExtent& extent);

/// The same by the centre along one axis, a NaN last. Linear as long as few centres agree in their first 32
/// significant bits.
std::vector<quint32> axisOrder(const QList<SpatialIndexItem>& items, bool alongX);

} // namespace Cartolith::Core::Spatial::RTree
