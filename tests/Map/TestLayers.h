#pragma once

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
