#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Shapes/GisExtent.h>

#include <QList>

namespace Cartolith::Core::Shapes {
class GisShape;
}

namespace Cartolith::Core::Spatial {

/// Answers which shapes have a bounding box that meets a given one.
///
/// An index never owns shapes: it keeps their pointers, which have to stay valid while they are in it, and a
/// copy of the extent each shape had when it was added. After a shape changed, the index answers with the old
/// extent until it is built anew. There is no removal of single shapes.
///
/// Extents are closed: touching edges and corners meet. An empty query finds nothing, a shape with an empty
/// extent is never found. All implementations return the same set of shapes, each in an order of its own.
///
/// Const members change nothing, so several threads may search at once as long as none inserts, builds or
/// clears.
class CARTOLITH_CORE_EXPORT ISpatialIndex {
public:
    /// Whether the index holds what it was last given, by build() or, in the tree indexes, by insert().
    virtual bool isBuilt() const = 0;

    /// Drops everything; afterwards the index is not built.
    virtual void clear() = 0;

    /// Adds one shape with its current extent. A shape added twice is found twice.
    /// \throws std::invalid_argument when the shape is null; the index is unchanged then
    virtual void insert(Shapes::GisShape* shape) = 0;

    /// Replaces the contents. Null shapes and shapes with an empty extent are left out without a report. The
    /// index is built afterwards, also when nothing was left to put into it.
    virtual void build(const QList<Shapes::GisShape*>& shapes) = 0;

    /// The shapes whose extent meets the given one.
    virtual QList<Shapes::GisShape*> search(const Shapes::GisExtent& extent) const = 0;

    /// The same, appended to what the list already holds. Returns how many were appended.
    virtual int search(const Shapes::GisExtent& extent, QList<Shapes::GisShape*>& results) const = 0;

    virtual ~ISpatialIndex();

protected:
    ISpatialIndex() noexcept = default;
    ISpatialIndex(const ISpatialIndex&) = default;
    ISpatialIndex(ISpatialIndex&&) noexcept = default;
    ISpatialIndex& operator=(const ISpatialIndex&) = default;
    ISpatialIndex& operator=(ISpatialIndex&&) noexcept = default;
};

} // namespace Cartolith::Core::Spatial
