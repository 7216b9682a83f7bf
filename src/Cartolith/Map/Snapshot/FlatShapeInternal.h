#pragma once

#include <Cartolith/Core/CoordinateSystems/CuttingTransformer.h>
#include <Cartolith/Map/LayerSnapshot.h>

#include <optional>
#include <vector>

namespace Cartolith::Core {
namespace Layers {
class GisLayerVector;
}
namespace Shapes {
class GisShape;
}
} // namespace Cartolith::Core

namespace Cartolith::Map::Internal {

/// Puts the vertices of a shape behind the coordinates, and behind the ends how many of them there are up to
/// the end of each part. None, and nothing is put there, for a host's own class of shape.
std::optional<LayerSnapshot::Kind> appendFlat(const Core::Shapes::GisShape& shape,
                                              std::vector<double>& coordinates, std::vector<qsizetype>& ends);

/// One shape, taken to another coordinate system.
void cutFlat(Core::CoordinateSystems::CuttingTransformer& cutting, LayerSnapshot::Kind kind,
             const Core::CoordinateSystems::CutParts& whole, Core::CoordinateSystems::CutParts& cut);

/// What a picture and its selection know a shape of a layer by: the id of its feature; else that of the
/// shape, which is negative where others of the layer may have ids of a source.
class FeatureIds {
public:
    explicit FeatureIds(const Core::Layers::GisLayerVector& layer);
    qint64 of(const Core::Shapes::GisShape& shape) const;

private:
    const Core::Layers::GisLayerVector& m_layer;
    bool m_hasSource;
};

} // namespace Cartolith::Map::Internal
