#pragma once

#include <Cartolith/Core/Spatial/RTreeNode.h>
#include <Cartolith/Core/Spatial/RTreeSpatialIndex.h>

#include <QVarLengthArray>

namespace Cartolith::Core::Spatial::RTree {

/// Visits the leaves below a node in order, as far as `enter` says yes to them and to the nodes above them.
/// The nodes still to be visited are kept in a list, so that the depth of the tree costs no stack.
///
/// `enter(const RTreeNode& parent, qsizetype child)` is asked about every child, last one first.
template <typename Enter, typename VisitLeaf>
void visitLeaves(const RTreeNode& root, Enter enter, VisitLeaf visitLeaf) {
    QVarLengthArray<const RTreeNode*, 128> pending;
    pending.append(&root);
    while (!pending.isEmpty()) {
        const RTreeNode& node = *pending.last();
        pending.removeLast();
        if (node.isLeaf()) {
            visitLeaf(node);
            continue;
        }
        for (qsizetype i = node.children().size() - 1; i >= 0; --i) {
            if (enter(node, i)) {
                pending.append(&node.children()[i]);
            }
        }
    }
}

/// Visits the shapes below a node that meet the query, by nothing but the nodes' own bounds. The query is not
/// empty.
template <typename VisitShape>
void visitHits(const RTreeNode& root, const Shapes::GisExtent& query, VisitShape visitShape) {
    if (!RTreeSpatialIndex::intersects(root.extent(), query)) {
        return;
    }
    const double xMin = query.xMin();
    const double yMin = query.yMin();
    const double xMax = query.xMax();
    const double yMax = query.yMax();
    visitLeaves(
        root,
        [=](const RTreeNode& node, qsizetype i) {
            return node.childXMax()[i] >= xMin && xMax >= node.childXMin()[i] &&
                   node.childYMax()[i] >= yMin && yMax >= node.childYMin()[i];
        },
        [=, &visitShape](const RTreeNode& leaf) {
            for (qsizetype i = 0; i < leaf.items().size(); ++i) {
                if (leaf.itemXMax()[i] >= xMin && xMax >= leaf.itemXMin()[i] && leaf.itemYMax()[i] >= yMin &&
                    yMax >= leaf.itemYMin()[i]) {
                    visitShape(leaf.items()[i].shape());
                }
            }
        });
}

} // namespace Cartolith::Core::Spatial::RTree
