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
    const auto appendParts = [&](const QList<QList<GisShapePoint>>& parts) {
        const std::size_t before = coordinates.size();
        for (const QList<GisShapePoint>& part : parts) {
            const std::size_t first = coordinates.size();
            coordinates.resize(first + 2 * static_cast<std::size_t>(part.size()));
            double* to = coordinates.data() + first;
            for (const GisShapePoint& vertex : part) {
                *to++ = vertex.x();
                *to++ = vertex.y();
            }
            ends.push_back(static_cast<qsizetype>((coordinates.size() - before) / 2));
        }
    };
    const auto appendArea = [&] {
        const auto* const area = dynamic_cast<const Shapes::GisShapePolygon*>(&shape);
        if (area != nullptr) {
            appendParts(area->parts());
        }
        return area != nullptr;
    };
    // What a shape says of itself mostly is its class, and a wrong cast takes longer than a right one.
    const bool saysArea = shape.shapeType() == Shapes::GisShapeType::Polygon;
    if (saysArea && appendArea()) {
        return LayerSnapshot::Kind::Area;
    }
    if (const auto* const point = dynamic_cast<const GisShapePoint*>(&shape)) {
        coordinates.insert(coordinates.end(), {point->x(), point->y()});
        ends.push_back(1);
        return LayerSnapshot::Kind::Point;
    }
    if (const auto* const line = dynamic_cast<const Shapes::GisShapePolyline*>(&shape)) {
        appendParts(line->parts());
        return LayerSnapshot::Kind::Line;
    }
    if (!saysArea && appendArea()) {
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

FeatureIds::FeatureIds(const Layers::GisLayerVector& layer)
    : m_layer(layer), m_hasSource(dynamic_cast<const Layers::GisLayerOgrVector*>(&layer) != nullptr ||
                                  dynamic_cast<const Layers::GisLayerOgrOnDemand*>(&layer) != nullptr) {}

qint64 FeatureIds::of(const Shapes::GisShape& shape) const {
    if (const auto id = m_layer.featureId(shape)) {
        return *id;
    }
    return m_hasSource ? -static_cast<qint64>(shape.id()) : shape.id();
}

} // namespace Cartolith::Map::Internal
