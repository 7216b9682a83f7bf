#include <Cartolith/Core/Layers/GisLayerOgrOnDemand.h>
#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Map/Snapshot/FlatShapeInternal.h>

using namespace Cartolith::Core;
using Shapes::GisShapePoint;

namespace Cartolith::Map::Internal {

std::optional<LayerSnapshot::Kind> appendFlat(const Shapes::GisShape& shape, std::vector<double>& coordinates,
                                              std::vector<qsizetype>& ends) {
    const std::size_t before = coordinates.size();
    const auto append = [&](const GisShapePoint& vertex) {
        coordinates.push_back(vertex.x());
        coordinates.push_back(vertex.y());
    };
    const auto appendParts = [&](const QList<QList<GisShapePoint>>& parts) {
        for (const QList<GisShapePoint>& part : parts) {
            for (const GisShapePoint& vertex : part) {
                append(vertex);
            }
            ends.push_back(static_cast<qsizetype>((coordinates.size() - before) / 2));
        }
    };
    if (const auto* const point = dynamic_cast<const GisShapePoint*>(&shape)) {
        append(*point);
        ends.push_back(1);
        return LayerSnapshot::Kind::Point;
    }
    if (const auto* const line = dynamic_cast<const Shapes::GisShapePolyline*>(&shape)) {
        appendParts(line->parts());
        return LayerSnapshot::Kind::Line;
    }
    if (const auto* const area = dynamic_cast<const Shapes::GisShapePolygon*>(&shape)) {
        appendParts(area->parts());
        return LayerSnapshot::Kind::Area;
    }
    return std::nullopt;
}

void cutFlat(CoordinateSystems::CuttingTransformer& cutting, LayerSnapshot::Kind kind,
             const CoordinateSystems::CutParts& whole, CoordinateSystems::CutParts& cut) {
    if (kind == LayerSnapshot::Kind::Point) {
        cutting.points(whole.coordinates, whole.ends, cut);
    } else if (kind == LayerSnapshot::Kind::Line) {
        cutting.lines(whole.coordinates, whole.ends, cut);
    } else {
        cutting.rings(whole.coordinates, whole.ends, cut);
    }
}

qint64 featureIdOf(const Layers::GisLayerVector& layer, const Shapes::GisShape& shape) {
    if (const auto id = layer.featureId(shape)) {
        return *id;
    }
    const bool hasSource = dynamic_cast<const Layers::GisLayerOgrVector*>(&layer) != nullptr ||
                           dynamic_cast<const Layers::GisLayerOgrOnDemand*>(&layer) != nullptr;
    return hasSource ? -static_cast<qint64>(shape.id()) : shape.id();
}

} // namespace Cartolith::Map::Internal
