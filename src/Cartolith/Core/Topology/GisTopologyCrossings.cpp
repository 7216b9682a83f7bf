#include <Cartolith/Core/Topology/CrossingsInternal.h>

namespace Cartolith::Core::Topology {

using Internal::SegmentList;
using Shapes::GisShape;

namespace {

QList<GisCrossing> crossingsOf(const SegmentList& a, const SegmentList& b, const GisTopology& topology) {
    return Internal::unlessStopped([&] { return Internal::CrossingSearch(a, b, topology).all(); });
}

} // namespace

QList<GisCrossing> GisTopology::GetCrossings(const GisShape& a, const GisShape& b) const {
    return crossingsOf(SegmentList(a), SegmentList(b), *this);
}

QList<GisCrossing> GisTopology::GetCrossings(const GisShape& shape) const {
    const SegmentList segments(shape);
    return crossingsOf(segments, segments, *this);
}

} // namespace Cartolith::Core::Topology
