#pragma once

#include <Cartolith/Core/Shapes/GisShapePoint.h>

#include <QList>

#include <cstddef>
#include <iterator>
#include <new>
#include <utility>

namespace Cartolith::Core::Serialization::Internal {

/// What an iterator that makes vertices says of itself.
struct VertexIterator {
    using iterator_category = std::forward_iterator_tag;
    using value_type = Shapes::GisShapePoint;
    using difference_type = std::ptrdiff_t;
    using pointer = void;
    using reference = Shapes::GisShapePoint;

    bool operator==(const VertexIterator&) const noexcept = default;
};

/// The vertices that a walk of so many steps makes, each in its place: appending one by one costs a capacity
/// and sharing test for every vertex. As QList's constructor from a range, which goes through a null pointer
/// where there is no memory.
template <typename Iterator>
QList<Shapes::GisShapePoint> vertexList(Iterator first, Iterator last, qsizetype count) {
    if (count == 0) {
        return {};
    }
    const auto memory = QTypedArrayData<Shapes::GisShapePoint>::allocate(count);
    if (memory.second == nullptr) {
        throw std::bad_alloc();
    }
    QArrayDataPointer<Shapes::GisShapePoint> points(memory);
    points->appendIteratorRange(first, last);
    return QList<Shapes::GisShapePoint>(std::move(points));
}

} // namespace Cartolith::Core::Serialization::Internal
