#pragma once

#include <Cartolith/Core/Shapes/GisShape.h>
#include <Cartolith/Core/Spatial/RTreeNode.h>
#include <Cartolith/Core/Spatial/RTreeSpatialIndex.h>

#include <utility>

/// Insertion as the nodes of an R-tree alone do it, step by step, with nothing beside them that has to follow.
class PlainInsertion {
public:
    using Tree = Cartolith::Core::Spatial::RTree::RTreeSpatialIndex;
    using Node = Cartolith::Core::Spatial::RTree::RTreeNode;

    /// Into a copy of the tree, which is built.
    explicit PlainInsertion(const Tree& tree) : m_tree(tree.maxItemsPerNode(), tree.strategy()), m_root(*tree.root()) {}

    const Node& root() const { return m_root; }

    void insert(Cartolith::Core::Shapes::GisShape* shape) {
        const Cartolith::Core::Spatial::SpatialIndexItem item(shape, shape->extent());
        Node* parent = nullptr;
        Node* node = &m_root;
        qsizetype child = 0;
        for (;;) {
            node->setExtent(node->extent().expand(item.extent()));
            if (parent != nullptr) {
                parent->refreshChild(child);
            }
            if (node->isLeaf()) {
                break;
            }
            child = Tree::chooseBestChild(*node, item.extent());
            parent = node;
            node = &node->children()[child];
        }
        node->appendItem(item);
        if (node->items().size() > m_tree.maxItemsPerNode()) {
            m_tree.splitLeaf(*node, std::as_const(*node).items());
            if (parent != nullptr) {
                parent->refreshChild(child);
            }
        }
    }

private:
    Tree m_tree;
    Node m_root;
};
