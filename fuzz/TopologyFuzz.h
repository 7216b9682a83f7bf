#pragma once

#include "Topology/EditingTestShapes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>

/// Shapes out of bytes, and what the fuzzers of topology check.
namespace Fuzz {

/// Reads shapes on a small lattice, which meet in all sorts of ways, from the bytes of an input.
class Lattice {
public:
    Lattice(const unsigned char* data, std::size_t size) : m_data(data), m_size(size) {}

    /// 0 when there are no more bytes.
    unsigned int next() { return m_at < m_size ? m_data[m_at++] : 0; }

    /// Up to `most` parts of up to 24 vertices on a lattice of 16 by 16.
    QList<test::Part> parts(unsigned int most) {
        QList<test::Part> parts;
        for (unsigned int count = next() % (most + 1); count > 0; --count) {
            test::Part part;
            for (unsigned int vertices = next() % 25; vertices > 0; --vertices) {
                const unsigned int place = next();
                part.append(test::GisShapePoint(place % 16, place / 16));
            }
            parts.append(part);
        }
        return parts;
    }
    std::unique_ptr<test::GisShapePolygon> polygon() {
        QList<test::Part> rings = parts(4);
        for (test::Part& ring : rings) {
            if (!ring.isEmpty()) {
                ring.append(test::GisShapePoint(ring.constFirst()));
            }
        }
        return test::shapeOfParts<test::GisShapePolygon>(rings);
    }
    std::unique_ptr<test::GisShapePolyline> line() {
        return test::shapeOfParts<test::GisShapePolyline>(parts(3));
    }

    /// Moves shapes somewhere else: to a scale that is no power of two, far from 0, and with a byte for each
    /// vertex that takes it a few roundings off, so that what met nearly meets. Rings stay closed.
    void distort(std::initializer_list<test::GisShapePolygon*> shapes) {
        const double scale = std::array{1.0, 1.0 / 3, 1e-3 / 7, 1e5 / 7}[next() % 4];
        const double offset = std::array{0.0, 1e2 / 3, 431234.7, 5.1e6}[next() % 4];
        const bool isRough = next() % 2 != 0;
        const auto moved = [&](double place) {
            const double result = place * scale + offset;
            const int roundings = isRough ? static_cast<int>(next() % 5) - 2 : 0;
            return result + roundings * (std::nextafter(std::fabs(result), HUGE_VAL) - std::fabs(result));
        };
        for (test::GisShapePolygon* shape : shapes) {
            for (test::Part& ring : shape->parts()) {
                for (qsizetype i = 0; i + 1 < ring.size(); ++i) {
                    const double x = moved(ring[i].x());
                    ring[i] = test::GisShapePoint(x, moved(ring[i].y()));
                }
                if (!ring.isEmpty()) {
                    ring.last() = test::GisShapePoint(ring.constFirst());
                }
            }
        }
    }

private:
    const unsigned char* m_data;
    std::size_t m_size;
    std::size_t m_at = 0;
};

/// Ends the program, which the fuzzer records as a finding, unless it holds.
inline void require(bool holds, const char* what, std::initializer_list<const test::GisShape*> shapes) {
    if (!holds) {
        std::fprintf(stderr, "%s:\n", what);
        for (const test::GisShape* shape : shapes) {
            std::fprintf(stderr, "  %s\n", shape == nullptr ? "null" : qPrintable(shape->toWkt()));
        }
        std::abort();
    }
}

} // namespace Fuzz
