#pragma once

#include <Cartolith/Core/CoordinateSystems/CuttingTransformer.h>
#include <Cartolith/Core/Shapes/GisExtent.h>
#include <Cartolith/Map/LayerSnapshot.h>
#include <Cartolith/Map/Snapshot/BendingInternal.h>

#include <memory>
#include <optional>

namespace Cartolith::Core {
namespace CoordinateSystems {
class CoordinateSystem;
class CoordinateTransformer;
} // namespace CoordinateSystems
namespace Layers {
class GisLayer;
}
namespace Shapes {
class GisShape;
}
} // namespace Cartolith::Core

namespace Cartolith::Map::Picking::Internal {

/// Takes the shapes of a layer to where the map shows them: into its coordinate system, cut and bent as they
/// are drawn.
class ShapesOnMap {
public:
    using Systems = std::shared_ptr<Core::CoordinateSystems::CoordinateSystem>;

    /// `mapSystem` is null for a map in the layer's own units. Edges are not bent before bend() is called.
    /// \throws std::runtime_error when the layer's system is not known, or nothing leads to the map's
    ShapesOnMap(const Core::Layers::GisLayer& layer, const Systems& mapSystem);
    ~ShapesOnMap();

    bool isElsewhere() const { return m_cutting != nullptr; }
    void bend(const Map::Internal::Bending& bending);

    /// Takes a shape, which parts() is then of; none when nothing of it is on the map.
    std::optional<LayerSnapshot::Kind> take(const Core::Shapes::GisShape& shape);
    /// The ends count vertices.
    const Core::CoordinateSystems::CutParts& parts() const { return isElsewhere() ? m_cut : m_read; }
    /// Whether parts() may have vertices that the shape does not have, which bends and cuts put in.
    bool hasOthers() const;
    /// x and y of the shape's own vertices.
    std::span<const double> vertices();

    /// Around what the layer has in a box of the map, in its own units; none where it can have nothing there.
    std::optional<Core::Shapes::GisExtent> onLayer(const Core::Shapes::GisExtent& box) const;

private:
    std::unique_ptr<Core::CoordinateSystems::CuttingTransformer> m_cutting; // null where the systems are one
    std::unique_ptr<Core::CoordinateSystems::CoordinateTransformer> m_back;
    Core::CoordinateSystems::CutParts m_read, m_cut, m_vertices;
};

} // namespace Cartolith::Map::Picking::Internal
