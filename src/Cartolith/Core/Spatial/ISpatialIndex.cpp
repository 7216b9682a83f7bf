#include <Cartolith/Core/Spatial/ISpatialIndex.h>

namespace Cartolith::Core::Spatial {

ISpatialIndex::~ISpatialIndex() = default;

} // namespace Cartolith::Core::Spatial
