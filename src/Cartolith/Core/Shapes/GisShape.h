#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Shapes/AttributeSlot.h>
#include <Cartolith/Core/Shapes/GisExtent.h>
#include <Cartolith/Core/Shapes/GisShapeType.h>

#include <QHash>
#include <QString>
#include <QVariant>

#include <memory>

class QByteArray;

namespace Cartolith::Core::Shapes {

/// The abstract base of all geometry: a planar shape with an identifier and a table of attribute values.
///
/// The family is closed: GisShapePoint, GisShapePolyline and GisShapePolygon. Coordinates are plain doubles,
/// x (easting or longitude) before y (northing or latitude), in the coordinate system of whoever owns the
/// shape; the model is unit-free and has no Z or M.
///
/// Owned shapes travel as `std::unique_ptr<GisShape>`; raw `GisShape*` never own. Copying through the base is
/// not possible, use clone(). A shape is used by one thread at a time; const members do not change it.
class CARTOLITH_CORE_EXPORT GisShape {
public:
    /// The bounding box of all vertices; empty when there are none. Lines and polygons pass over coordinates
    /// that are NaN. Where every x is NaN, their box is not empty but reaches from -DBL_MAX to DBL_MAX along
    /// x; likewise y.
    virtual GisExtent extent() const = 0;

    /// True when there is nothing to draw or measure; each class says what that means for it.
    virtual bool isEmpty() const = 0;

    /// True when the point lies on or in the shape, within the tolerance (in coordinate units) where the
    /// class uses one.
    virtual bool contains(const GisShapePoint& point, double tolerance) const = 0;

    /// True when the shape's bounding box meets the given one. A coarse test, on purpose: it is what the
    /// spatial indexes answer too.
    virtual bool intersects(const GisExtent& extent) const;

    /// A deep copy with the same id and attributes, and the shape type of its class, whatever this one was
    /// set to. The base implementation returns simplify(0.0).
    virtual std::unique_ptr<GisShape> clone() const;

    /// A copy with fewer vertices, simplified part by part: within a part, no dropped vertex is farther than
    /// the tolerance (in coordinate units) from what remains. Parts that cannot be drawn are dropped whole,
    /// at any tolerance. 0 and less drop nothing else, NaN keeps but the ends of each part. Null where the
    /// class has no simplification. Coordinates have to be finite: beside an infinite vertex, and beside an
    /// end of a part that is NaN, all vertices up to the next that stays may go; so call FixShape() first.
    virtual std::unique_ptr<GisShape> simplify(double tolerance) const;

    /// The geometry as two-dimensional WKT, in the C locale.
    virtual QString toWkt() const = 0;

    /// Replaces the geometry by what the text says; id and attributes stay, and the shape type becomes that
    /// of the class. On a throw the shape is unchanged.
    /// \throws std::runtime_error with the messages of GisWktReader
    virtual void fromWkt(const QString& wkt) = 0;

    /// The geometry as little-endian OGC WKB.
    /// \throws std::runtime_error when the class has no WKB form or the shape cannot be written
    virtual QByteArray toWkb() const;

    /// As fromWkt(). \throws std::invalid_argument for no bytes, where any geometry is read first (lines and
    /// polygons), std::runtime_error with the messages of GisWkbReader, for a geometry of another class, and
    /// when the class has no WKB form
    virtual void fromWkb(const QByteArray& wkb);

    /// The geometry as a compact GeoJSON geometry object. A coordinate that is not finite is written as null,
    /// which cannot be read again.
    /// \throws std::runtime_error when the class has no GeoJSON form and for the empty point
    virtual QString toGeoJson() const;

    /// As fromWkt(). \throws std::runtime_error when the class has no GeoJSON form, when the text cannot be
    /// read, and for a geometry of another class
    virtual void fromGeoJson(const QString& json);

    virtual ~GisShape();

    /// The feature identifier; 0 until somebody sets it. A vector layer numbers its shapes from 1.
    int id() const noexcept { return m_id; }
    void setId(int id) noexcept { m_id = id; }

    GisShapeType shapeType() const noexcept { return m_shapeType; }
    void setShapeType(GisShapeType type) noexcept { m_shapeType = type; }

    /// Attribute values by field name. Names are case-sensitive; a missing key and an invalid QVariant both
    /// mean "no value".
    ///
    /// A shape that a layer has read keeps its values in a compact row. The first call makes a table of them,
    /// of some 500 bytes and more, which stays; attributeValue() needs none.
    const QHash<QString, QVariant>& attributes() const { return m_attributes.table(); }
    QHash<QString, QVariant>& attributes() { return m_attributes.table(); }
    /// The value of one field; invalid when there is none.
    QVariant attributeValue(const QString& name) const { return m_attributes.value(name); }
    /// Where the attributes are; for copying them all at once, and for who makes shapes with rows.
    const AttributeSlot& attributeSlot() const noexcept { return m_attributes; }
    AttributeSlot& attributeSlot() noexcept { return m_attributes; }

    /// Gives the target this shape's id and writes every attribute of this shape into the target's table.
    /// Keys that only the target has are kept, and its shape type is left alone.
    void copyAttributesTo(GisShape& target) const;

protected:
    GisShape() noexcept = default;
    explicit GisShape(GisShapeType type) noexcept : m_shapeType(type) {}
    GisShape(const GisShape&) = default;
    GisShape(GisShape&&) noexcept = default;
    GisShape& operator=(const GisShape&) = default;
    GisShape& operator=(GisShape&&) noexcept = default;

private:
    int m_id = 0;
    GisShapeType m_shapeType = GisShapeType::Null;
    AttributeSlot m_attributes;
};

} // namespace Cartolith::Core::Shapes
