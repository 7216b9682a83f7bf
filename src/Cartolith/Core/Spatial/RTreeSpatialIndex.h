#pragma once

#include <Cartolith/Core/Spatial/ISpatialIndex.h>
#include <Cartolith/Core/Spatial/RTreeBuildStrategy.h>
#include <Cartolith/Core/Spatial/RTreeIndexHeader.h>
#include <Cartolith/Core/Spatial/SpatialIndexItem.h>

#include <QByteArray>

#include <functional>
#include <memory>

class QFile;
class QString;

namespace Cartolith::Core::Spatial::RTree {

class RTreeChanges;
class RTreeNode;
class RTreeSearchTable;

/// A packed R-tree: the index to choose unless there is a reason against it.
///
/// build() orders all items once, by the centre along the longer axis or by the centre's place on a Hilbert
/// curve, and cuts that sequence into leaves of maxItemsPerNode items. The tree it makes has two levels at
/// most, a root over all leaves. insert() descends by least enlargement and splits an overflowing leaf the
/// same way, in place: the leaf becomes an inner node over the new leaves. Inner nodes are not split.
///
/// Results come in leaf order, and within a leaf in the order of its items. Among items with equal keys that
/// order is not fixed.
///
/// A search costs about the square root of the number of items plus the hits; build() is linear in practice;
/// insert() is linear in the number of children of the nodes on its way and meant for a few shapes between
/// builds. After it a search that comes near the new item costs some more, until so many came that one of
/// them rearranges up to a few thousand items there. Equal points inserted one by one make a chain of nodes
/// as long as their number, in quadratic time. Infinite bounds are valid. A shape with an empty extent is
/// left out by build(), kept by insert() and never found.
///
/// When memory runs out, build(), insert() and load() leave the index as it was, and a search leaves the
/// caller's list as it was.
///
/// The packing follows Kamel and Faloutsos (1993), descent by least enlargement Guttman (1984).
class CARTOLITH_CORE_EXPORT RTreeSpatialIndex final : public ISpatialIndex {
public:
    /// \throws std::out_of_range "RTreeSpatialIndex maxItemsPerNode must be at least 4."
    RTreeSpatialIndex(int maxItemsPerNode, RTreeBuildStrategy strategy);
    RTreeSpatialIndex(const RTreeSpatialIndex&) = delete;
    RTreeSpatialIndex& operator=(const RTreeSpatialIndex&) = delete;
    ~RTreeSpatialIndex() override;

    int maxItemsPerNode() const noexcept { return m_maxItemsPerNode; }
    RTreeBuildStrategy strategy() const noexcept { return m_strategy; }

    /// True after build(), insert() or load(), until clear().
    bool isBuilt() const override { return m_built; }
    void clear() override;

    /// \throws std::invalid_argument "RTreeSpatialIndex::insert shape cannot be null."
    void insert(Shapes::GisShape* shape) override;
    void build(const QList<Shapes::GisShape*>& shapes) override;
    /// Tells a built index of a change of the list that it was built from: a shape, with the extent that it
    /// had, has left it, another one has come, or one stands for the other; either may be null. Searches then
    /// give what they would give had build() been called with the new list, in the same order, where ids grow
    /// along the list. False, and nothing is changed, where that takes building anew: no build() before,
    /// no more items than fit into one node, the frame around all items another one, infinite bounds, some
    /// thousand changes. Takes time in proportion to the shapes that came at most; each of them is looked
    /// at in every search, and for each hit whether it has left.
    ///
    /// insert() and save() take the changes into the tree, which costs as much as build().
    bool update(const Shapes::GisShape* removed, const Shapes::GisExtent& removedExtent,
                Shapes::GisShape* added);
    /// A shape that update() was told had left is back between the shapes between which it was: it does not
    /// count as a change any more. Any other is one that has come.
    bool updatePutBack(Shapes::GisShape* shape);
    /// Whether update() has noted changes that are not in the tree.
    bool hasUpdates() const noexcept;

    QList<Shapes::GisShape*> search(const Shapes::GisExtent& extent) const override;
    int search(const Shapes::GisExtent& extent, QList<Shapes::GisShape*>& results) const override;

    /// The ids, as they are now, of the shapes that search() returns, in the same order.
    QList<int> searchShapeIds(const Shapes::GisExtent& extent) const;
    /// The same, appended to what the list already holds. Returns how many were appended.
    int searchShapeIds(const Shapes::GisExtent& extent, QList<int>& ids) const;

    /// A cursor over the bytes of an index file. Every operation returns false, and neither moves nor writes,
    /// when the bytes it needs are not there. Numbers are little-endian. The reader that load() hands to
    /// readExtra reads from the file: when that gets shorter meanwhile, the operations return false.
    class CARTOLITH_CORE_EXPORT MappedReader {
    public:
        /// The bytes must outlive the reader.
        MappedReader(const unsigned char* data, long long size);
        MappedReader(const MappedReader&) = delete;
        MappedReader& operator=(const MappedReader&) = delete;
        ~MappedReader();

        bool readDouble(double& value);
        /// xMin, yMin, xMax, yMax.
        bool readExtent(Shapes::GisExtent& extent);
        bool readByte(quint8& value);
        bool readInt32(qint32& value);
        bool readInt64(qint64& value);
        bool readBytes(void* target, long long count);
        long long remaining() const;

    private:
        friend class RTreeSpatialIndex;
        explicit MappedReader(QFile& file);
        bool fetch(long long count);
        // The next bytes, valid until the next call; null when there are not so many.
        const unsigned char* take(long long count);

        const unsigned char* m_at = nullptr;
        const unsigned char* m_end = nullptr;
        QFile* m_file = nullptr;
        qint64 m_unread = 0;
        QByteArray m_buffer;
    };

    /// Writes the tree as it is, with the ids that its shapes have now, behind the header, which is written
    /// unchanged, and whatever writeExtra writes there (it returns false when it fails). Does nothing when
    /// the index holds nothing yet. A failure leaves a part of the file behind: save under another name and
    /// rename when that matters. \throws std::runtime_error "RTreeSpatialIndex::save could not open file for
    /// writing.", "RTreeSpatialIndex::save failed while writing index data."
    void save(const QString& path, const RTreeIndexHeader& header,
              const std::function<bool(QFile&)>& writeExtra = {}) const;

    /// Replaces the tree by a saved one whose ids are those of the shapes; of shapes with one id the last
    /// counts, and an id that none has is left out. The extents are those of the time of saving.
    ///
    /// False, and the index is as before, when the file cannot be read, is cut short or malformed, when its
    /// header is not the expected one (a negative expected count accepts any) or its count is not that of the
    /// shapes, or when readExtra, which must read exactly what writeExtra wrote, returns false. What follows
    /// the tree is not looked at. The file is not trusted: the stack is constant, and memory is at most 14
    /// times the size of the file (a chain of nodes with one child each takes nearly that), 4 MB, and 40
    /// bytes a shape. An index that build() or insert() made takes about three times the size of its file.
    bool load(const QString& path, const RTreeIndexHeader& expected, const QList<Shapes::GisShape*>& shapes,
              const std::function<bool(MappedReader&)>& readExtra = {});

    /// The tree, for tests and tools; null before the first build() or insert(). Valid until the next change.
    /// What update() was told is beside it.
    const RTreeNode* root() const noexcept { return m_root.get(); }

    /// NaN for an empty extent; NaN or infinite for infinite bounds.
    static double area(const Shapes::GisExtent& extent);
    /// By how much the area of the first extent grows when it takes in the second.
    static double enlargement(const Shapes::GisExtent& extent, const Shapes::GisExtent& added);
    static double centerX(const Shapes::GisExtent& extent);
    static double centerY(const Shapes::GisExtent& extent);
    /// Closed; false when either is empty.
    static bool intersects(const Shapes::GisExtent& a, const Shapes::GisExtent& b);
    /// The same for bounds and a query that is not empty.
    static bool intersectsFast(double xMin, double yMin, double xMax, double yMax,
                               const Shapes::GisExtent& query);
    /// The union of the extents that are not empty.
    static Shapes::GisExtent calculateExtent(const QList<SpatialIndexItem>& items);
    static Shapes::GisExtent calculateExtent(const QList<Shapes::GisExtent>& extents);
    /// The place of a value between min and max on a grid of 0 to 65535, rounded half up and clamped. 0 when
    /// there is no range, and when the range or the value leave no place (NaN).
    static quint16 normalizeCoordinate(double value, double min, double max);
    /// One step of hilbertIndex(): mirrors and swaps x and y (modulo 2^32) for the quadrant (rx, ry) of a
    /// square with side n.
    static void rotateHilbert(quint32 n, quint32& x, quint32& y, quint32 rx, quint32 ry);
    /// The distance along the Hilbert curve that fills a grid of 2^order cells a side, at cell (x, y). The
    /// order is 1 to 32.
    static quint64 hilbertIndex(quint32 x, quint32 y, int order);

    /// The items in the order of the strategy, cut into groups of maxItemsPerNode; the last one takes the
    /// rest.
    QList<QList<SpatialIndexItem>> splitItems(const QList<SpatialIndexItem>& items) const;
    QList<QList<SpatialIndexItem>> splitItemsHilbert(const QList<SpatialIndexItem>& items) const;
    /// Orders by centerX when the items together are at least as wide as high, else by centerY; a centre that
    /// is NaN comes last.
    QList<QList<SpatialIndexItem>> splitItemsSortAxis(const QList<SpatialIndexItem>& items) const;
    /// The tree over the items: a leaf, or a node over leaves when there are more than maxItemsPerNode.
    RTreeNode buildNode(const QList<SpatialIndexItem>& items) const;
    /// Turns a leaf into an inner node over leaves that hold the items.
    void splitLeaf(RTreeNode& node, const QList<SpatialIndexItem>& items) const;
    /// The index of the child that grows least, then the smallest, then the first. The node has children.
    static qsizetype chooseBestChild(const RTreeNode& node, const Shapes::GisExtent& extent);

private:
    class TreeReader;

    // Returns the index of the root's child that took the item; 0 when the root is a leaf.
    qsizetype insert(RTreeNode& root, const SpatialIndexItem& item) const;
    void replaceTree(std::unique_ptr<RTreeNode> root);
    QList<Shapes::GisShape*> shapesNow() const;
    void renewTable();

    int m_maxItemsPerNode;
    RTreeBuildStrategy m_strategy;
    std::unique_ptr<RTreeNode> m_root;
    // Derived from the tree below the root, which nobody else can change; null for a root that is a leaf and
    // for a tree that grew by insertion alone.
    std::unique_ptr<RTreeSearchTable> m_table;
    std::unique_ptr<RTreeChanges> m_changes; // null unless the tree is one that build() made
    bool m_built = false;
};

} // namespace Cartolith::Core::Spatial::RTree
