#include <Cartolith/Core/Common/RoomInternal.h>
#include <Cartolith/Core/Spatial/RTreeNode.h>

#include <utility>

namespace Cartolith::Core::Spatial::RTree {

namespace {

template <typename Entry>
void fillBounds(const QList<Entry>& entries, QList<double>& xMin, QList<double>& yMin, QList<double>& xMax,
                QList<double>& yMax) {
    const qsizetype count = entries.size();
    for (QList<double>* bounds : {&xMin, &yMin, &xMax, &yMax}) {
        bounds->resize(count);
    }
    double* const x1 = xMin.data();
    double* const y1 = yMin.data();
    double* const x2 = xMax.data();
    double* const y2 = yMax.data();
    for (qsizetype i = 0; i < count; ++i) {
        const Shapes::GisExtent& extent = entries[i].extent();
        x1[i] = extent.xMin();
        y1[i] = extent.yMin();
        x2[i] = extent.xMax();
        y2[i] = extent.yMax();
    }
}

} // namespace

// Splitting the leaf of many equal items makes a chain of nodes as long as the items are many: the lists that
// nobody shares are taken apart one after the other, instead of by their own nested destruction. Those that
// wait hang in one chain, each in the first place of the one before: memory to note them down in could be
// missing.
RTreeNode::~RTreeNode() {
    const auto isApart = [](const RTreeNode& node) {
        return node.m_children.isEmpty() || !node.m_children.isDetached();
    };
    if (isApart(*this)) {
        return;
    }
    const auto next = [&isApart](QList<RTreeNode>& nodes) -> QList<RTreeNode>* {
        for (RTreeNode& node : nodes) {
            if (!isApart(node)) {
                return &node.m_children;
            }
        }
        return nullptr;
    };
    QList<RTreeNode> nodes = std::move(m_children);
    QList<RTreeNode>* last = &nodes;
    const auto findLast = [&] {
        while (QList<RTreeNode>* const below = next(*last)) {
            last = below;
        }
    };
    findLast();
    while (QList<RTreeNode>* const first = next(nodes)) {
        for (RTreeNode& node : nodes) {
            if (!isApart(node) && &node.m_children != first) {
                RTreeNode& holder = last->first();
                holder.m_children = std::move(node.m_children);
                last = &holder.m_children;
                findLast();
            }
        }
        // What it is moved out of goes with the nodes beside it; the chain's last list may be that one.
        QList<RTreeNode> chain = std::move(*first);
        last = last == first ? &nodes : last;
        nodes.swap(chain);
    }
}

void RTreeNode::setChildren(const QList<RTreeNode>& children) {
    m_children = children;
    fillBounds(std::as_const(m_children), m_childXMin, m_childYMin, m_childXMax, m_childYMax);
}

void RTreeNode::setItems(const QList<SpatialIndexItem>& items) {
    m_items = items;
    fillBounds(std::as_const(m_items), m_itemXMin, m_itemYMin, m_itemXMax, m_itemYMax);
}

void RTreeNode::prepareInsertion() {
    using Common::Internal::makeRoom;
    if (isLeaf()) {
        makeRoom(m_items, 1);
        for (QList<double>* const bounds : {&m_itemXMin, &m_itemYMin, &m_itemXMax, &m_itemYMax}) {
            makeRoom(*bounds, 1);
        }
        return;
    }
    makeRoom(m_children);
    for (QList<double>* const bounds : {&m_childXMin, &m_childYMin, &m_childXMax, &m_childYMax}) {
        makeRoom(*bounds);
    }
}

void RTreeNode::refreshChild(qsizetype index) {
    const Shapes::GisExtent& extent = std::as_const(m_children)[index].extent();
    m_childXMin[index] = extent.xMin();
    m_childYMin[index] = extent.yMin();
    m_childXMax[index] = extent.xMax();
    m_childYMax[index] = extent.yMax();
}

void RTreeNode::appendItem(const SpatialIndexItem& item) {
    const Shapes::GisExtent extent = item.extent();
    m_items.append(item);
    m_itemXMin.append(extent.xMin());
    m_itemYMin.append(extent.yMin());
    m_itemXMax.append(extent.xMax());
    m_itemYMax.append(extent.yMax());
}

} // namespace Cartolith::Core::Spatial::RTree
