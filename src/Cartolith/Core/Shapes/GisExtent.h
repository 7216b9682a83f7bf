#pragma once

#include <Cartolith/Core/Export.h>

#include <QTypeInfo>

#include <algorithm>
#include <cmath>
#include <limits>

class QString;

namespace Cartolith::Core::Shapes {

class GisShapePoint;

/// An axis-aligned rectangle, closed on all sides, in whatever coordinate system and unit its owner uses.
///
/// The empty extent has NaN bounds; an extent counts as empty as soon as one bound is NaN. Nothing here
/// throws: emptiness propagates, and sums beyond the range of a double are infinite. A small value type: copy
/// it, and use separate copies from separate threads.
class CARTOLITH_CORE_EXPORT GisExtent {
public:
    /// The empty extent.
    GisExtent() noexcept = default;

    /// The rectangle spanned by two opposite corners, given in any order. A NaN in the second corner is
    /// passed over; one in the first makes the extent empty.
    GisExtent(double x1, double y1, double x2, double y2) noexcept
        : m_xMin(x2 < x1 ? x2 : x1), m_yMin(y2 < y1 ? y2 : y1), m_xMax(x2 > x1 ? x2 : x1),
          m_yMax(y2 > y1 ? y2 : y1) {}

    static GisExtent empty() noexcept { return {}; }

    double xMin() const noexcept { return m_xMin; }
    double yMin() const noexcept { return m_yMin; }
    double xMax() const noexcept { return m_xMax; }
    double yMax() const noexcept { return m_yMax; }

    /// NaN for the empty extent.
    double width() const noexcept { return m_xMax - m_xMin; }
    /// NaN for the empty extent.
    double height() const noexcept { return m_yMax - m_yMin; }

    bool isEmpty() const noexcept {
        return std::isnan(m_xMin) || std::isnan(m_yMin) || std::isnan(m_xMax) || std::isnan(m_yMax);
    }

    /// True when the two closed rectangles share at least a point: touching edges and corners count. False
    /// when either is empty.
    bool intersects(const GisExtent& other) const noexcept {
        if (isEmpty() || other.isEmpty()) {
            return false;
        }
        return !(other.m_xMin > m_xMax || m_xMin > other.m_xMax || other.m_yMin > m_yMax ||
                 m_yMin > other.m_yMax);
    }

    /// True when the point lies inside or on the boundary. A NaN bound or coordinate gives false.
    bool contains(const GisShapePoint& point) const noexcept;

    /// The smallest extent that covers both. An empty operand leaves the other one as it is.
    GisExtent expand(const GisExtent& other) const noexcept {
        if (isEmpty()) {
            return other;
        }
        if (other.isEmpty()) {
            return *this;
        }
        return {std::min(m_xMin, other.m_xMin), std::min(m_yMin, other.m_yMin),
                std::max(m_xMax, other.m_xMax), std::max(m_yMax, other.m_yMax)};
    }

    /// A copy grown by dx on the left and the right and by dy below and above.
    ///
    /// Note that a negative amount beyond half the size does not give an empty extent: the bounds cross over
    /// and are put back in order, so `inflate(-10, 0)` of a rectangle 4 wide is 16 wide.
    GisExtent inflate(double dx, double dy) const noexcept {
        return {m_xMin - dx, m_yMin - dy, m_xMax + dx, m_yMax + dy};
    }

    /// The middle of the rectangle; an empty point for the empty extent.
    GisShapePoint center() const;

    /// "xMin, yMin, xMax, yMax" with six significant digits, for messages. Not meant to be read back.
    QString toString() const;

private:
    double m_xMin = std::numeric_limits<double>::quiet_NaN();
    double m_yMin = std::numeric_limits<double>::quiet_NaN();
    double m_xMax = std::numeric_limits<double>::quiet_NaN();
    double m_yMax = std::numeric_limits<double>::quiet_NaN();
};

} // namespace Cartolith::Core::Shapes

Q_DECLARE_TYPEINFO(Cartolith::Core::Shapes::GisExtent, Q_RELOCATABLE_TYPE);
