#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Shapes/GisExtent.h>

namespace Cartolith::Core::Shapes {
class GisShape;
}

namespace Cartolith::Core::Spatial {

/// What a spatial index stores of a shape: a pointer that does not own it, and the extent it had when the
/// item was made.
///
/// The extent is a copy: it does not follow when the shape is moved or edited later. The shape has to
/// outlive the item.
class CARTOLITH_CORE_EXPORT SpatialIndexItem {
public:
    /// \throws std::invalid_argument "SpatialIndexItem shape cannot be null."
    SpatialIndexItem(Shapes::GisShape* shape, const Shapes::GisExtent& extent)
        : m_shape(shape ? shape : throwNullShape()), m_extent(extent) {}

    /// Never null.
    Shapes::GisShape* shape() const noexcept { return m_shape; }
    Shapes::GisExtent extent() const noexcept { return m_extent; }

private:
    [[noreturn]] static Shapes::GisShape* throwNullShape();

    Shapes::GisShape* m_shape;
    Shapes::GisExtent m_extent;
};

} // namespace Cartolith::Core::Spatial

Q_DECLARE_TYPEINFO(Cartolith::Core::Spatial::SpatialIndexItem, Q_RELOCATABLE_TYPE);
