#pragma once

#include <Cartolith/Core/Serialization/GisWktReader.h>
#include <Cartolith/Core/Shapes/GisShape.h>

#include <QHash>
#include <QVariant>

#include <memory>

namespace test {

inline std::unique_ptr<Cartolith::Core::Shapes::GisShape> shapeOf(const QString& wkt,
                                                                  const QHash<QString, QVariant>& attributes = {}) {
    auto shape = Cartolith::Core::Serialization::Wkt::GisWktReader::read(wkt);
    shape->attributes() = attributes;
    return shape;
}

} // namespace test
