#include <Cartolith/Core/Spatial/SpatialIndexItem.h>

#include <stdexcept>

namespace Cartolith::Core::Spatial {

Shapes::GisShape* SpatialIndexItem::throwNullShape() {
    throw std::invalid_argument("SpatialIndexItem shape cannot be null.");
}

} // namespace Cartolith::Core::Spatial
