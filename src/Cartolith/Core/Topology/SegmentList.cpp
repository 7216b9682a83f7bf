#include <Cartolith/Core/Serialization/RingsInternal.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Core/Topology/GisTopology.h>
#include <Cartolith/Core/Topology/RingMeasuresInternal.h>
#include <Cartolith/Core/Topology/SegmentListInternal.h>

#include <algorithm>
#include <cmath>

namespace Cartolith::Core::Topology::Internal {

using Shapes::GisShapePoint;

namespace {

std::vector<int> lastEqualOf(const QList<GisShapePoint>& vertices) {
    const auto isRepeated = [](const GisShapePoint& a, const GisShapePoint& b) {
        return a.x() == b.x() && a.y() == b.y();
    };
    std::vector<int> lastEqual;
    if (std::adjacent_find(vertices.begin(), vertices.end(), isRepeated) != vertices.end()) {
        lastEqual.resize(static_cast<std::size_t>(vertices.size()));
        for (int i = static_cast<int>(vertices.size()) - 1, last = i; i >= 0; --i) {
            last = i + 1 < vertices.size() && isRepeated(vertices[i], vertices[i + 1]) ? last : i;
            lastEqual[static_cast<std::size_t>(i)] = last;
        }
    }
    return lastEqual;
}

} // namespace

SegmentList::SegmentList(const Shapes::GisShape& shape) {
    const bool isPolygon = dynamic_cast<const Shapes::GisShapePolygon*>(&shape) != nullptr;
    for (const QList<GisShapePoint>& part : GisTopology::BoundaryPartsOf(shape)) {
        const bool isClosed = isPolygon || (part.size() > 2 && !Serialization::Internal::isOpen(part));
        m_parts.push_back({isPolygon && part.size() > 1 ? Serialization::Internal::closedRing(part) : part,
                           isClosed && part.size() > 1,
                           {}});
        m_parts.back().lastEqual = lastEqualOf(m_parts.back().vertices);
    }
    for (std::size_t i = 0; i < m_parts.size(); ++i) {
        const QList<GisShapePoint>& vertices = m_parts[i].vertices;
        const bool isSound = std::all_of(vertices.begin(), vertices.end(), isFinite);
        const int count = m_parts[i].segmentCount();
        bool isInLine = false;
        for (int j = 0; j < count; ++j) {
            const GisShapePoint& start = vertices[j];
            const GisShapePoint& end = vertices[std::min<qsizetype>(j + 1, vertices.size() - 1)];
            if (!isFinite(start) || !isFinite(end)) {
                isInLine = false;
                continue;
            }
            if (!isInLine) {
                isInLine = true;
                m_firstSegments.push_back(m_segments.size());
                m_lines.parts().append(isSound ? vertices : QList<GisShapePoint>{start});
            }
            if (!isSound) {
                m_lines.parts().last().append(end);
            }
            m_segments.push_back({&start, &end, static_cast<int>(i), j});
        }
    }
}

GisShapePoint SegmentList::pointAt(const GisBoundaryPosition& at) const {
    const QList<GisShapePoint>& vertices = partOf(at).vertices;
    const GisShapePoint& start = vertices[at.segment];
    if (at.fraction <= 0.0) {
        return {start.x(), start.y()};
    }
    const GisShapePoint& end = vertices[std::min<qsizetype>(at.segment + 1, vertices.size() - 1)];
    if (at.fraction >= 1.0) {
        return {end.x(), end.y()};
    }
    return {start.x() + at.fraction * (end.x() - start.x()), start.y() + at.fraction * (end.y() - start.y())};
}

QList<QList<GisShapePoint>>* mutablePartsOf(Shapes::GisShape& shape) {
    if (auto* line = dynamic_cast<Shapes::GisShapePolyline*>(&shape)) {
        return &line->parts();
    }
    auto* polygon = dynamic_cast<Shapes::GisShapePolygon*>(&shape);
    return polygon == nullptr ? nullptr : &polygon->parts();
}

std::unique_ptr<Shapes::GisShape> finiteCopy(const Shapes::GisShape& shape) {
    std::unique_ptr<Shapes::GisShape> copy = shape.clone();
    if (auto* point = dynamic_cast<GisShapePoint*>(copy.get()); point != nullptr && !isFinite(*point)) {
        point->setX(std::nan(""));
        point->setY(std::nan(""));
    }
    if (auto* const parts = mutablePartsOf(*copy)) {
        for (QList<GisShapePoint>& part : *parts) {
            if (!std::all_of(part.cbegin(), part.cend(), isFinite)) { // only what changes is detached
                part.removeIf([](const GisShapePoint& vertex) { return !isFinite(vertex); });
            }
        }
    }
    return copy;
}

double fractionAlong(const GisShapePoint& p, const GisShapePoint& a, const GisShapePoint& b) noexcept {
    const double dx = b.x() - a.x();
    const double dy = b.y() - a.y();
    const double t = ((p.x() - a.x()) * dx + (p.y() - a.y()) * dy) / (dx * dx + dy * dy);
    return t > 0.0 ? std::min(t, 1.0) : 0.0; // 0 for the NaN of a segment too short to square
}

} // namespace Cartolith::Core::Topology::Internal
