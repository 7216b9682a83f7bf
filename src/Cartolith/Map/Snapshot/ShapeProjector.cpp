#include <Cartolith/Core/Shapes/GisShape.h>
#include <Cartolith/Map/Snapshot/ShapeProjectorInternal.h>

#include <stdexcept>

using namespace Cartolith::Core;

namespace Cartolith::Map::Internal {

std::unique_ptr<Shapes::GisShape> ShapeProjector::project(const Shapes::GisShape& shape) {
    try {
        return m_cutting.transformShape(shape);
    } catch (const std::invalid_argument&) { // a host's own class of shape
        return nullptr;
    }
}

} // namespace Cartolith::Map::Internal
