#pragma once

#include "TestSeed.h"

#include <Cartolith/Core/Serialization/GisWktReader.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Core/Topology/GisTopology.h>

#include <QStringList>
#include <ogr_geometry.h>

#include <cmath>
#include <memory>
#include <random>
#include <vector>

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

struct Destroy {
    void operator()(OGRGeometry* geometry) const { OGRGeometryFactory::destroyGeometry(geometry); }
};
using Geometry = std::unique_ptr<OGRGeometry, Destroy>;

/// Shells and holes told apart by GDAL, not by the library.
inline Geometry geometryOf(const GisShape& shape) {
    std::vector<OGRGeometry*> polygons;
    if (const auto* polygon = dynamic_cast<const GisShapePolygon*>(&shape)) {
        for (const Part& part : polygon->parts()) {
            auto ring = std::make_unique<OGRLinearRing>();
            for (const GisShapePoint& vertex : part) {
                ring->addPoint(vertex.x(), vertex.y());
            }
            ring->closeRings();
            auto single = std::make_unique<OGRPolygon>();
            single->addRingDirectly(ring.release());
            polygons.push_back(single.release());
        }
        return polygons.empty() ? Geometry(new OGRMultiPolygon())
                                : Geometry(OGRGeometryFactory::organizePolygons(
                                      polygons.data(), static_cast<int>(polygons.size()), nullptr, nullptr));
    }
    OGRGeometry* geometry = nullptr;
    OGRGeometryFactory::createFromWkt(shape.toWkt().toLatin1().constData(), nullptr, &geometry);
    return Geometry(geometry);
}

/// A ring that goes to and fro between two circles.
inline Part spikes(int count, double inner, double outer) {
    Part ring;
    for (int i = 0; i < 2 * count; ++i) {
        const double r = i % 2 == 0 ? outer : inner;
        ring.append(GisShapePoint(r * std::cos(M_PI * i / count), r * std::sin(M_PI * i / count)));
    }
    ring.append(GisShapePoint(ring.constFirst()));
    return ring;
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

    /// A ring that does not cross itself, counterclockwise.
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
