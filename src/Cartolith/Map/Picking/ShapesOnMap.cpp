#include <Cartolith/Core/CoordinateSystems/CoordinateTransformer.h>
#include <Cartolith/Core/Layers/GisLayer.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Map/Picking/ShapesOnMapInternal.h>
#include <Cartolith/Map/Projection.h>
#include <Cartolith/Map/Snapshot/FlatShapeInternal.h>

#include <limits>
#include <stdexcept>

using namespace Cartolith::Core;

namespace Cartolith::Map::Picking::Internal {

ShapesOnMap::ShapesOnMap(const Layers::GisLayer& layer, const Systems& mapSystem) {
    if (mapSystem == nullptr || Projection::isIn(layer, *mapSystem)) {
        return;
    }
    const auto own = layer.coordinateSystem();
    if (own == nullptr) {
        throw std::runtime_error("the layer does not say its coordinate system");
    }
    m_cutting = std::make_unique<CoordinateSystems::CuttingTransformer>(
        *own, *mapSystem, std::numeric_limits<double>::infinity());
    m_back = std::make_unique<CoordinateSystems::CoordinateTransformer>(*mapSystem, *own);
}

ShapesOnMap::~ShapesOnMap() = default;

void ShapesOnMap::bend(const Map::Internal::Bending& bending) {
    if (m_cutting != nullptr) {
        bending.applyTo(*m_cutting);
    }
}

std::optional<LayerSnapshot::Kind> ShapesOnMap::take(const Shapes::GisShape& shape) {
    m_read.clear();
    const auto kind = Map::Internal::appendFlat(shape, m_read.coordinates, m_read.ends);
    if (kind && isElsewhere()) {
        Map::Internal::cutFlat(*m_cutting, *kind, m_read, m_cut);
    }
    return parts().coordinates.empty() ? std::nullopt : kind;
}

bool ShapesOnMap::hasOthers() const {
    return isElsewhere() && (m_cut.isCut || m_cut.coordinates.size() != m_read.coordinates.size());
}

std::span<const double> ShapesOnMap::vertices() {
    if (!isElsewhere()) {
        return m_read.coordinates;
    }
    m_cutting->points(m_read.coordinates, m_read.ends, m_vertices);
    return m_vertices.coordinates;
}

std::optional<Shapes::GisExtent> ShapesOnMap::onLayer(const Shapes::GisExtent& box) const {
    if (!isElsewhere()) {
        return box;
    }
    constexpr int steps = 4;
    Shapes::GisExtent found;
    for (int i = 0; i < (steps + 1) * (steps + 1); ++i) {
        const int column = i % (steps + 1);
        const int row = i / (steps + 1);
        const double right = static_cast<double>(column) / steps;
        const double up = static_cast<double>(row) / steps;
        try {
            const Shapes::GisShapePoint place =
                m_back->transform({box.xMin() + right * box.width(), box.yMin() + up * box.height()});
            found = found.expand({place.x(), place.y(), place.x(), place.y()});
        } catch (const std::runtime_error&) { // no place of the layer
            continue;
        }
    }
    if (found.isEmpty()) {
        return std::nullopt;
    }
    constexpr double around = 0.25; // for what bends in between
    return found.inflate(found.width() * around, found.height() * around);
}

} // namespace Cartolith::Map::Picking::Internal
