#pragma once

#include "Topology/EditingTestShapes.h"

#include <algorithm>
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
