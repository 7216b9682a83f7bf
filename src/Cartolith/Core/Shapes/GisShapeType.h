#pragma once

namespace Cartolith::Core::Shapes {

/// The kind of a shape or of a layer, numbered like the classic shapefile shape codes.
///
/// Only Point, Polyline and Polygon have a shape class. The others exist so that layers and styling can carry
/// the kinds of a data source. By family: {1, 8, 11, 18} are point-like, {3, 13} line-like, {5, 15}
/// area-like; any other value belongs to no family.
enum class GisShapeType : int {
    Null = 0, ///< no kind set; also the kind of an empty or mixed layer
    Point = 1,
    Polyline = 3,
    Polygon = 5,
    MultiPoint = 8,
    PointZ = 11,
    PolylineZ = 13,
    PolygonZ = 15,
    MultiPointZ = 18,
};

} // namespace Cartolith::Core::Shapes
