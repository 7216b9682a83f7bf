#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Shapes/GisShape.h>

#include <QTypeInfo>

#include <cmath>
#include <limits>

namespace Cartolith::Core::Shapes {

/// A single planar position, and the vertex type of the whole library: polylines and polygons store their
/// vertices as values of this class.
///
/// The empty point is the one with a NaN coordinate. Two points are compared through contains() with a
/// tolerance or through their coordinates; there is no operator==, because it would have to choose between
/// the two.
class CARTOLITH_CORE_EXPORT GisShapePoint : public GisShape {
public:
    /// The empty point: both coordinates NaN.
    GisShapePoint() noexcept : GisShape(GisShapeType::Point) {}

    /// The coordinates are not checked; a NaN makes the point empty.
    GisShapePoint(double x, double y) noexcept : GisShape(GisShapeType::Point), m_x(x), m_y(y) {}

    GisShapePoint(const GisShapePoint&) = default;
    GisShapePoint(GisShapePoint&&) noexcept = default;
    GisShapePoint& operator=(const GisShapePoint&) = default;
    GisShapePoint& operator=(GisShapePoint&&) noexcept = default;
    ~GisShapePoint() override;

    double x() const noexcept { return m_x; }
    double y() const noexcept { return m_y; }
    void setX(double x) noexcept { m_x = x; }
    void setY(double y) noexcept { m_y = y; }

    /// The position grown by 1e-9 on every side, so that a spatial index sees a box of positive width. Beyond
    /// 2^24 (some 16.8 million) that is lost in rounding, and the box is the point. Empty for the empty
    /// point.
    GisExtent extent() const override;

    /// True when x or y is NaN.
    bool isEmpty() const override;

    /// True when the other point is at most the tolerance away (inclusive). A tolerance of 0 accepts only the
    /// same position, a negative one nothing; NaN on either side never matches.
    bool contains(const GisShapePoint& point, double tolerance) const override;

    std::unique_ptr<GisShape> clone() const override;

    QString toWkt() const override;
    /// Rejects "POINT EMPTY".
    void fromWkt(const QString& wkt) override;
    /// \throws std::runtime_error for the empty point, which OGC WKB cannot express
    QByteArray toWkb() const override;
    void fromWkb(const QByteArray& wkb) override;
    /// \throws std::runtime_error for the empty point, which GeoJSON cannot express
    QString toGeoJson() const override;
    void fromGeoJson(const QString& json) override;

private:
    double m_x = std::numeric_limits<double>::quiet_NaN();
    double m_y = std::numeric_limits<double>::quiet_NaN();
};

} // namespace Cartolith::Core::Shapes

// QList may move vertices with memcpy: the only member with a constructor is a pointer to the attributes.
Q_DECLARE_TYPEINFO(Cartolith::Core::Shapes::GisShapePoint, Q_RELOCATABLE_TYPE);
