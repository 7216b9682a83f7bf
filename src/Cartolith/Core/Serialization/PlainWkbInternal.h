#pragma once

#include <Cartolith/Core/Shapes/GisShape.h>

#include <QByteArrayView>

#include <cstddef>
#include <memory>

namespace Cartolith::Core::Serialization::Wkb::Internal {

/// The shape that Ogr::Internal::shapesOf() makes of what these bytes hold, without the geometry in between:
/// for a point, a line string, a polygon without holes, and the multi geometries of the last two, in two
/// dimensions and little-endian. Null for anything else, for what shapesOf() complains about, and where
/// writing the geometry would not give these very bytes again.
std::unique_ptr<Shapes::GisShape> shapeOfPlainWkb(QByteArrayView wkb);

/// How many bytes writePlainWkb() writes: the little-endian ISO WKB of Ogr::Internal::geometryOf(), without
/// the geometry in between. 0 where that is not the shape as it stands: for anything but a point, one line
/// and one closed ring, and where a vertex has a NaN.
std::size_t plainWkbSize(const Shapes::GisShape& shape);
void writePlainWkb(const Shapes::GisShape& shape, char* out);

} // namespace Cartolith::Core::Serialization::Wkb::Internal
