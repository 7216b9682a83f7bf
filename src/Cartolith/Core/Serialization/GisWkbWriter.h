#pragma once

#include <Cartolith/Core/Export.h>

class QByteArray;

namespace Cartolith::Core::Shapes {
class GisShapePoint;
class GisShapePolygon;
class GisShapePolyline;
} // namespace Cartolith::Core::Shapes

namespace Cartolith::Core::Serialization::Wkb {

/// Writes classic two-dimensional OGC WKB, always little-endian, coordinates bit for bit.
///
/// Parts and rings are written as they are stored: none is left out and no ring is closed. The format counts
/// with 32 bits. All operations are safe to call from several threads.
class CARTOLITH_CORE_EXPORT GisWkbWriter {
public:
    /// Type 1, 21 bytes. \throws std::runtime_error for the empty point, which the format cannot express
    static QByteArray writePoint(const Shapes::GisShapePoint& point);

    /// Type 2 for exactly one part, type 5 for any other number of them, none included.
    static QByteArray writePolyline(const Shapes::GisShapePolyline& polyline);

    /// Type 3 with all rings, also for what was read from a multipolygon.
    static QByteArray writePolygon(const Shapes::GisShapePolygon& polygon);

    /// These append to the target, least significant byte first.
    static void writeByte(QByteArray& target, unsigned char value);
    static void writeUInt32(QByteArray& target, unsigned int value);
    static void writeDouble(QByteArray& target, double value);
    /// The byte order mark 1, then the type.
    static void writeGeometryHeader(QByteArray& target, unsigned int type);
};

} // namespace Cartolith::Core::Serialization::Wkb
