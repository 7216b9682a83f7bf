#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Shapes/GisShape.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>

#include <memory>

class QByteArray;

namespace Cartolith::Core::Serialization::Wkb {

class WkbCursor;

/// How a geometry record begins.
struct WkbHeader {
    bool littleEndian; ///< the byte order of everything else in this record
    quint32 type;      ///< as found, not checked
};

/// Reads classic two-dimensional OGC WKB: types 1 to 3, 5 and 6, in either byte order. The children of a
/// multi geometry are records with a byte order of their own. Z, M and SRID variants, whatever their coding,
/// are unsupported types.
///
/// The polygons of a multipolygon are flattened into one list of rings. Coordinates are taken bit for bit,
/// NaN and infinity included. Bytes after a complete geometry are ignored.
///
/// Input is not trusted: the memory used is bounded by a small multiple of the bytes given, whatever counts
/// they declare, and the stack is constant. Errors are std::runtime_error, unless said otherwise, and leave
/// nothing behind:
/// - "Invalid WKB: unexpected end of data.", "Invalid WKB byte order.",
/// - "Unsupported WKB geometry type.", "MULTIPOINT WKB is not supported yet." from read(),
/// - "WKB geometry is not POINT." and so on from the others, for a record of another type,
/// - "Invalid MULTILINESTRING WKB child geometry." and the same for MULTIPOLYGON.
///
/// All operations are safe to call from several threads.
class CARTOLITH_CORE_EXPORT GisWkbReader {
public:
    /// Any of the supported types. \throws std::invalid_argument for an empty array
    static std::unique_ptr<Shapes::GisShape> read(const QByteArray& wkb);

    /// Each accepts its own type only.
    static Shapes::GisShapePoint readPoint(const QByteArray& wkb);
    static Shapes::GisShapePolyline readLineString(const QByteArray& wkb);
    static Shapes::GisShapePolyline readMultiLineString(const QByteArray& wkb);
    static Shapes::GisShapePolygon readPolygon(const QByteArray& wkb);
    static Shapes::GisShapePolygon readMultiPolygon(const QByteArray& wkb);
};

CARTOLITH_CORE_EXPORT WkbHeader readHeader(WkbCursor& cursor);

/// What follows the header of a LineString: a polyline of one part.
CARTOLITH_CORE_EXPORT Shapes::GisShapePolyline readLineStringBody(WkbCursor& cursor, bool littleEndian);

/// What follows the header of a Polygon.
CARTOLITH_CORE_EXPORT Shapes::GisShapePolygon readPolygonBody(WkbCursor& cursor, bool littleEndian);

} // namespace Cartolith::Core::Serialization::Wkb
