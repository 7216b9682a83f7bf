#pragma once

#include <Cartolith/Core/CoordinateSystems/CoordinateTransformer.h>
#include <Cartolith/Core/Shapes/GisExtent.h>

#include <memory>
#include <optional>

namespace Cartolith::Core::Shapes {
class GisShape;
}

namespace Cartolith::Map::Internal {

/// Takes single shapes from one coordinate system to another, as Projection says. One thread at a time.
class ShapeProjector {
public:
    /// \throws std::runtime_error when the two cannot be converted
    ShapeProjector(const Core::CoordinateSystems::CoordinateSystem& from,
                   const Core::CoordinateSystems::CoordinateSystem& to);

    /// With id and attributes of the source. Null where it has no place in the target.
    std::unique_ptr<Core::Shapes::GisShape> project(const Core::Shapes::GisShape& shape) const;

private:
    Core::CoordinateSystems::CoordinateTransformer m_transformer;
    std::optional<Core::Shapes::GisExtent> m_band; ///< of latitudes to keep to, when there is one
};

} // namespace Cartolith::Map::Internal
