#pragma once

#include <Cartolith/Core/Shapes/GisShape.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Core/Topology/GisBoundaryPosition.h>

#include <QList>

#include <cmath>
#include <cstddef>
#include <memory>
#include <tuple>
#include <vector>

namespace Cartolith::Core::Topology::Internal {

struct SegmentPart {
    QList<Shapes::GisShapePoint> vertices; ///< of a ring with the first one repeated at the end
    bool isClosed = false;                 ///< false for a point, too
    /// Of each vertex the last of those in a row at exactly its place; empty when no vertex is repeated.
    std::vector<int> lastEqual;

    /// A single vertex counts as a segment without length.
    int segmentCount() const {
        return static_cast<int>(vertices.size() > 1 ? vertices.size() - 1 : vertices.size());
    }
};

struct Segment {
    const Shapes::GisShapePoint* start;
    const Shapes::GisShapePoint* end;
    int part;
    int index; ///< in its part
};

/// Lines, rings and points alike as a list of segments, rings closed. Shares the vertices of the shape.
class SegmentList {
public:
    explicit SegmentList(const Shapes::GisShape& shape);
    SegmentList(const SegmentList&) = delete;
    SegmentList& operator=(const SegmentList&) = delete;

    const std::vector<SegmentPart>& parts() const noexcept { return m_parts; }
    const SegmentPart& partOf(const GisBoundaryPosition& at) const {
        return m_parts[static_cast<std::size_t>(at.part)];
    }
    /// Those with finite coordinates, in order.
    const std::vector<Segment>& segments() const noexcept { return m_segments; }
    /// The same as lines of finite vertices.
    const Shapes::GisShapePolyline& lines() const noexcept { return m_lines; }
    /// Which of the segments is the first of a line.
    std::size_t firstSegmentOf(qsizetype line) const {
        return m_firstSegments[static_cast<std::size_t>(line)];
    }
    Shapes::GisShapePoint pointAt(const GisBoundaryPosition& at) const;

private:
    std::vector<SegmentPart> m_parts;
    std::vector<Segment> m_segments;
    Shapes::GisShapePolyline m_lines;
    std::vector<std::size_t> m_firstSegments;
};

/// The parts of a line or polygon; null for every other shape.
QList<QList<Shapes::GisShapePoint>>* mutablePartsOf(Shapes::GisShape& shape);

/// A copy whose vertices are finite: the others are left out. A point becomes the empty point.
std::unique_ptr<Shapes::GisShape> finiteCopy(const Shapes::GisShape& shape);

inline bool isBefore(const GisBoundaryPosition& a, const GisBoundaryPosition& b) {
    return std::tie(a.part, a.segment, a.fraction) < std::tie(b.part, b.segment, b.fraction);
}

/// How far along the segment from a to b the place nearest to p lies, 0 to 1.
double fractionAlong(const Shapes::GisShapePoint& p, const Shapes::GisShapePoint& a,
                     const Shapes::GisShapePoint& b) noexcept;

} // namespace Cartolith::Core::Topology::Internal
