#pragma once

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/CoordinateSystems/CuttingTransformer.h>
#include <Cartolith/Core/Layers/GisLayerVector.h>
#include <Cartolith/Core/Serialization/GisWktReader.h>

#include <QVariant>

#include <memory>

namespace test {

inline std::unique_ptr<Cartolith::Core::Layers::GisLayerVector> layerOf(const QStringList& texts) {
    using namespace Cartolith::Core;
    auto layer = Layers::GisLayerVector::createInMemory("test", Shapes::GisShapeType::Null, Shapes::GisExtent());
    for (const QString& text : texts) {
        layer->addShape(Serialization::Wkt::GisWktReader::read(text));
    }
    return layer;
}

/// Every shape of a layer on the map, its edges bent to that tolerance from end to end.
inline std::unique_ptr<Cartolith::Core::Layers::GisLayerVector>
bentAll(const Cartolith::Core::Layers::GisLayerVector& layer,
        const std::shared_ptr<Cartolith::Core::CoordinateSystems::CoordinateSystem>& mapSystem, double tolerance) {
    auto bent = layerOf({});
    Cartolith::Core::CoordinateSystems::CuttingTransformer cutting(*layer.coordinateSystem(), *mapSystem, tolerance);
    for (const auto& shape : layer.items()) {
        bent->addShape(cutting.transformShape(*shape));
    }
    bent->setCoordinateSystem(mapSystem);
    bent->style() = layer.style();
    return bent;
}

/// Edges of tens of degrees, which bend by hundreds of kilometres in Europe's system.
inline std::unique_ptr<Cartolith::Core::Layers::GisLayerVector> longEdges() {
    auto layer = layerOf({"POLYGON ((-30 50, 50 50, 50 60, -30 60, -30 50), (20 52, 20 58, 21 58, 21 52, 20 52))",
                          "LINESTRING (-40 50.0001, 50 50.0001)", "LINESTRING (20.0001 35, 20.0001 80)",
                          "POLYGON ((19.999 50.0001, 20.001 50.0001, 20 50.001, 19.999 50.0001))",
                          "LINESTRING (-30 50, 20 58)"});
    layer->setCoordinateSystem(Cartolith::Core::CoordinateSystems::CoordinateSystemFactory::fromEpsg(4326));
    return layer;
}

/// Squares of side 10 side by side from the origin to the right, with the values in the field "v".
inline std::unique_ptr<Cartolith::Core::Layers::GisLayerVector> squaresOf(const QVariantList& values) {
    QStringList texts;
    for (qsizetype i = 0; i < values.size(); ++i) {
        texts.append(QString("POLYGON ((%1 0, %2 0, %2 10, %1 10, %1 0))").arg(i * 10).arg(i * 10 + 10));
    }
    auto layer = layerOf(texts);
    for (qsizetype i = 0; i < values.size(); ++i) {
        layer->items().at(static_cast<std::size_t>(i))->attributes().insert("v", values.at(i));
    }
    return layer;
}

} // namespace test
