#include <Cartolith/Core/Spatial/RTreeNode.h>

#include <utility>
#include <vector>

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
// nobody shares are taken apart here, one after the other, instead of by their own nested destruction.
RTreeNode::~RTreeNode() {
    if (m_children.isEmpty() || !m_children.isDetached()) {
        return;
    }
    std::vector<QList<RTreeNode>> pending;
    pending.push_back(std::move(m_children));
    while (!pending.empty()) {
        QList<RTreeNode> nodes = std::move(pending.back());
        pending.pop_back();
        for (RTreeNode& node : nodes) {
            if (!node.m_children.isEmpty() && node.m_children.isDetached()) {
                pending.push_back(std::move(node.m_children));
            }
        }
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
