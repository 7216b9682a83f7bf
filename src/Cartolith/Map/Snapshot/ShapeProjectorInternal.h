#pragma once

#include <Cartolith/Core/CoordinateSystems/CuttingTransformer.h>

#include <limits>
#include <memory>

namespace Cartolith::Core::Shapes {
class GisShape;
}

namespace Cartolith::Map::Internal {

/// Takes single shapes from one coordinate system to another, cut where the map ends. One thread at a time.
class ShapeProjector {
public:
    /// The tolerance is for bent edges, in units of the target. \throws std::runtime_error when the two
    /// cannot be converted
    ShapeProjector(const Core::CoordinateSystems::CoordinateSystem& from,
                   const Core::CoordinateSystems::CoordinateSystem& to,
                   double tolerance = std::numeric_limits<double>::infinity())
        : m_cutting(from, to, tolerance) {}

    /// With id and attributes of the source. Null where it has no place in the target.
    std::unique_ptr<Core::Shapes::GisShape> project(const Core::Shapes::GisShape& shape);

    Core::CoordinateSystems::CuttingTransformer& cutting() { return m_cutting; }

private:
    Core::CoordinateSystems::CuttingTransformer m_cutting;
};

} // namespace Cartolith::Map::Internal
