#pragma once

#include <Cartolith/Core/Layers/GisLayerVector.h>
#include <Cartolith/Core/Spatial/ISpatialIndex.h>

namespace Cartolith::Core::Layers {

/// Stand-ins of a layer's shapes for one level of detail, with an index of their own where the layer uses
/// one.
struct GisLayerVector::LodLevel {
    std::vector<std::unique_ptr<Shapes::GisShape>> shapes;
    std::unique_ptr<Spatial::ISpatialIndex> index;

    QList<Shapes::GisShape*> query(const Shapes::GisExtent& extent) const;
};

} // namespace Cartolith::Core::Layers
