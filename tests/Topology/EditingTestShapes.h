#pragma once

#include "TestSeed.h"

#include <Cartolith/Core/Serialization/GisWktReader.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Core/Topology/GisTopology.h>

#include <QStringList>

#include <cmath>
#include <random>

namespace test {

using namespace Cartolith::Core;
using Shapes::GisShape;
using Shapes::GisShapePoint;
using Shapes::GisShapePolygon;
using Shapes::GisShapePolyline;
using Topology::GisTopology;
using Part = QList<GisShapePoint>;

/// With an id and an attribute, which most operations hand on.
inline std::unique_ptr<GisShape> shapeOf(const char* wkt) {
    std::unique_ptr<GisShape> shape = Serialization::Wkt::GisWktReader::read(QString::fromLatin1(wkt));
    shape->setId(7);
    shape->attributes().insert(QStringLiteral("name"), QStringLiteral("seven"));
    return shape;
}

inline bool hasIdAndAttributes(const GisShape& shape) {
    return shape.id() == 7 && shape.attributes().value(QStringLiteral("name")) == QStringLiteral("seven");
}

inline std::string wktOf(const std::unique_ptr<GisShape>& shape) {
    return shape == nullptr ? "null" : shape->toWkt().replace(QStringLiteral(", "), QStringLiteral(",")).toStdString();
}

template <typename Shape>
std::unique_ptr<Shape> shapeOfParts(const QList<Part>& parts) {
    auto shape = std::make_unique<Shape>();
    shape->parts() = parts;
    return shape;
}

class Random {
public:
    double between(double low, double high) { return std::uniform_real_distribution<>(low, high)(m_engine); }
    int whole(int low, int high) { return std::uniform_int_distribution<>(low, high)(m_engine); }

    /// Vertices on a grid of 21 by 21 when it is coarse, so that they meet in vertices and run along each other.
    Part walk(int count, bool onGrid) {
        Part part;
        for (int i = 0; i < count; ++i) {
            part.append(onGrid ? GisShapePoint(whole(-10, 10), whole(-10, 10))
                               : GisShapePoint(between(-10, 10), between(-10, 10)));
        }
        return part;
    }

    /// A ring that does not cross itself.
    Part star(double x, double y, double radius, int count) {
        Part ring;
        for (int i = 0; i < count; ++i) {
            const double angle = 2 * M_PI * i / count;
            const double r = radius * between(0.3, 1);
            ring.append(GisShapePoint(x + r * std::cos(angle), y + r * std::sin(angle)));
        }
        ring.append(GisShapePoint(ring.constFirst()));
        return ring;
    }

private:
    std::mt19937 m_engine{seed()};
};

} // namespace test
