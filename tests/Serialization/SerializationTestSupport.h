#pragma once

#include "TestSeed.h"

#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>

#include <bit>
#include <cmath>
#include <memory>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>

namespace SerializationTest {

using namespace Cartolith::Core::Shapes;
using Parts = QList<QList<GisShapePoint>>;

using test::seed;

inline qsizetype below(std::mt19937_64& random, qsizetype bound) {
    return static_cast<qsizetype>(random() % static_cast<quint64>(bound));
}

/// Doubles of every magnitude, exact ties at the 16th decimal, short decimals, degrees, non-finite ones.
inline double randomDouble(std::mt19937_64& random) {
    const auto bits = static_cast<qint64>(random());
    const double kinds[] = {std::bit_cast<double>(bits), static_cast<double>(bits >> below(random, 60)) / 0x1p17,
                            std::ldexp(static_cast<double>(bits), -55 - static_cast<int>(below(random, 70))),
                            static_cast<double>(bits % 1000000) / std::pow(10, below(random, 20)),
                            static_cast<double>(bits) * (180.0 / 0x1p63)};
    return kinds[below(random, 5)];
}

template <typename Shape>
std::unique_ptr<GisShape> shapeOf(const Parts& parts) {
    auto shape = std::make_unique<Shape>();
    shape->parts() = parts;
    return shape;
}

/// The class and the coordinates of a shape, bit for bit.
inline std::string bits(const GisShape& shape) {
    const auto* const line = dynamic_cast<const GisShapePolyline*>(&shape);
    const auto* const polygon = dynamic_cast<const GisShapePolygon*>(&shape);
    const auto* const point = dynamic_cast<const GisShapePoint*>(&shape);
    std::ostringstream out;
    out << (line ? "line" : polygon ? "polygon" : "point") << std::hex;
    for (const auto& part : line ? line->parts() : polygon ? polygon->parts() : Parts{{*point}}) {
        out << " (";
        for (const auto& p : part) {
            out << std::bit_cast<quint64>(p.x()) << ' ' << std::bit_cast<quint64>(p.y()) << ',';
        }
    }
    return out.str();
}

/// What the function returns, or the class and message of what it throws.
template <typename Function>
std::string outcome(Function function) {
    try {
        return function();
    } catch (const std::invalid_argument& error) {
        return std::string("invalid_argument: ") + error.what();
    } catch (const std::runtime_error& error) {
        return std::string("runtime_error: ") + error.what();
    }
}

} // namespace SerializationTest
