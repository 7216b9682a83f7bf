#include <Cartolith/Core/Shapes/GisShape.h>
#include <Cartolith/Core/Spatial/IndexItemsInternal.h>
#include <Cartolith/Core/Spatial/QuadTreeSpatialIndex.h>

#include <algorithm>
#include <stdexcept>
#include <utility>
#include <vector>

namespace Cartolith::Core::Spatial::QuadTree {

using Shapes::GisExtent;
using Shapes::GisShape;

namespace {

using Node = QuadTreeSpatialIndex::Node;

// Last in, first out: pushing the quadrants backwards visits them in order.
void pushChildren(const Node& node, std::vector<const Node*>& pending) {
    for (auto child = node.children.rbegin(); child != node.children.rend(); ++child) {
        if (*child) {
            pending.push_back(child->get());
        }
    }
}

} // namespace

// A chain of nodes can be as long as the maximum depth: taken apart one by one, not by recursion. The nodes
// that wait hang in one chain of first children, at whose end the others are put: memory to note them down in
// could be missing.
QuadTreeSpatialIndex::Node::~Node() {
    const auto firstChild = [](Node& node) -> std::unique_ptr<Node>* {
        const auto child = std::find_if(node.children.begin(), node.children.end(),
                                        [](const std::unique_ptr<Node>& any) { return any != nullptr; });
        return child != node.children.end() ? &*child : nullptr;
    };
    Node* last = this;
    const auto findLast = [&] {
        while (std::unique_ptr<Node>* const child = firstChild(*last)) {
            last = child->get();
        }
    };
    findLast();
    std::unique_ptr<Node> head;
    for (Node* node = this; std::unique_ptr<Node>* const first = firstChild(*node); node = head.get()) {
        std::unique_ptr<Node> next = std::move(*first);
        for (std::unique_ptr<Node>& child : node->children) {
            if (child) {
                last->children.front() = std::move(child);
                findLast();
            }
        }
        head = std::move(next);
    }
}

QuadTreeSpatialIndex::QuadTreeSpatialIndex(int maxItemsPerNode, int maxDepth)
    : m_maxItemsPerNode(maxItemsPerNode), m_maxDepth(maxDepth) {
    if (maxItemsPerNode < 1) {
        throw std::out_of_range("QuadTreeSpatialIndex maxItemsPerNode must be at least 1.");
    }
    if (maxDepth < 1) {
        throw std::out_of_range("QuadTreeSpatialIndex maxDepth must be at least 1.");
    }
}

void QuadTreeSpatialIndex::clear() {
    m_root.reset();
    m_built = false;
}

void QuadTreeSpatialIndex::insert(GisShape* shape) {
    if (!shape) {
        throw std::invalid_argument("QuadTreeSpatialIndex::insert shape cannot be null.");
    }
    const SpatialIndexItem item(shape, shape->extent());
    if (item.extent().isEmpty()) {
        return;
    }
    if (!m_root) {
        auto root = std::make_unique<Node>(padExtent(item.extent()));
        insert(*root, item, 0);
        m_root = std::move(root);
    } else if (containsExtent(m_root->extent, item.extent())) {
        insert(*m_root, item, 0);
    } else {
        QList<SpatialIndexItem> items;
        collectItems(*m_root, items);
        items.append(item);
        m_root = buildNode(padExtent(calculateExtent(items)), items, 0);
    }
    m_built = true;
}

void QuadTreeSpatialIndex::build(const QList<GisShape*>& shapes) {
    const QList<SpatialIndexItem> items = Internal::itemsOf(shapes);
    m_root = items.isEmpty() ? nullptr : buildNode(padExtent(calculateExtent(items)), items, 0);
    m_built = true;
}

QList<GisShape*> QuadTreeSpatialIndex::search(const GisExtent& extent) const {
    QList<GisShape*> results;
    search(extent, results);
    return results;
}

int QuadTreeSpatialIndex::search(const GisExtent& extent, QList<GisShape*>& results) const {
    if (extent.isEmpty() || !m_root) {
        return 0;
    }
    Internal::AppendedResults appended(results);
    searchNode(*m_root, extent, results);
    return appended.finish();
}

GisExtent QuadTreeSpatialIndex::calculateExtent(const QList<SpatialIndexItem>& items) {
    GisExtent extent;
    for (const SpatialIndexItem& item : items) {
        extent = extent.expand(item.extent());
    }
    return extent;
}

GisExtent QuadTreeSpatialIndex::padExtent(const GisExtent& extent) {
    if (extent.isEmpty()) {
        return extent;
    }
    const double longer = std::max(extent.width(), extent.height());
    const double padding = longer < 1.0 ? 1e-9 : 1e-9 * longer;
    const GisExtent padded = extent.inflate(padding, padding);
    return padded.isEmpty() ? extent : padded;
}

GisExtent QuadTreeSpatialIndex::childExtent(const GisExtent& extent, int index) {
    const double x = (extent.xMin() + extent.xMax()) * 0.5;
    const double y = (extent.yMin() + extent.yMax()) * 0.5;
    switch (index) {
    case 0:
        return {extent.xMin(), extent.yMin(), x, y};
    case 1:
        return {x, extent.yMin(), extent.xMax(), y};
    case 2:
        return {extent.xMin(), y, x, extent.yMax()};
    default:
        return {x, y, extent.xMax(), extent.yMax()};
    }
}

bool QuadTreeSpatialIndex::containsExtent(const GisExtent& outer, const GisExtent& inner) {
    if (outer.isEmpty() || inner.isEmpty()) {
        return false;
    }
    return inner.xMin() >= outer.xMin() && outer.xMax() >= inner.xMax() && inner.yMin() >= outer.yMin() &&
           outer.yMax() >= inner.yMax();
}

int QuadTreeSpatialIndex::childIndexContaining(const GisExtent& nodeExtent, const GisExtent& itemExtent) {
    for (int index = 0; index < 4; ++index) {
        if (containsExtent(childExtent(nodeExtent, index), itemExtent)) {
            return index;
        }
    }
    return -1;
}

bool QuadTreeSpatialIndex::canSplit(const GisExtent& extent) {
    return !extent.isEmpty() && extent.width() > 1e-12 && extent.height() > 1e-12;
}

void QuadTreeSpatialIndex::collectItems(const Node& node, QList<SpatialIndexItem>& items) {
    std::vector<const Node*> pending{&node};
    while (!pending.empty()) {
        const Node& next = *pending.back();
        pending.pop_back();
        items.append(next.items);
        pushChildren(next, pending);
    }
}

std::unique_ptr<QuadTreeSpatialIndex::Node>
QuadTreeSpatialIndex::buildNode(const GisExtent& extent, const QList<SpatialIndexItem>& items,
                                int depth) const {
    struct Task {
        Node* node;
        int depth;
    };
    auto root = std::make_unique<Node>(extent);
    root->items = items;
    std::vector<Task> pending{{root.get(), depth}};
    while (!pending.empty()) {
        const auto [node, nodeDepth] = pending.back();
        pending.pop_back();
        if (node->items.size() <= m_maxItemsPerNode || nodeDepth >= m_maxDepth || !canSplit(node->extent)) {
            continue;
        }
        QList<SpatialIndexItem> kept;
        std::array<QList<SpatialIndexItem>, 4> parts;
        for (const SpatialIndexItem& item : std::as_const(node->items)) {
            const int index = childIndexContaining(node->extent, item.extent());
            (index < 0 ? kept : parts[static_cast<std::size_t>(index)]).append(item);
        }
        node->items = std::move(kept);
        for (std::size_t index = 0; index < parts.size(); ++index) {
            if (parts[index].isEmpty()) {
                continue;
            }
            std::unique_ptr<Node>& child = node->children[index];
            child = std::make_unique<Node>(childExtent(node->extent, static_cast<int>(index)));
            child->items = std::move(parts[index]);
            pending.push_back({child.get(), nodeDepth + 1});
        }
    }
    return root;
}

void QuadTreeSpatialIndex::insert(Node& node, const SpatialIndexItem& item, int depth) const {
    Node* target = &node;
    // Nodes that are not there yet are made aside, with the item in the last one.
    std::unique_ptr<Node> made;
    std::unique_ptr<Node>* place = nullptr;
    for (; depth < m_maxDepth && canSplit(target->extent); ++depth) {
        const int index = childIndexContaining(target->extent, item.extent());
        if (index < 0) {
            break;
        }
        std::unique_ptr<Node>& child = target->children[static_cast<std::size_t>(index)];
        if (!child) {
            auto next = std::make_unique<Node>(childExtent(target->extent, index));
            if (place == nullptr) {
                place = &child;
                target = next.get();
                made = std::move(next);
                continue;
            }
            child = std::move(next);
        }
        target = child.get();
    }
    target->items.append(item);
    if (place != nullptr) {
        *place = std::move(made);
    }
}

void QuadTreeSpatialIndex::searchNode(const Node& node, const GisExtent& extent, QList<GisShape*>& results) {
    std::vector<const Node*> pending{&node};
    while (!pending.empty()) {
        const Node& next = *pending.back();
        pending.pop_back();
        if (!next.extent.intersects(extent)) {
            continue;
        }
        for (const SpatialIndexItem& item : next.items) {
            if (item.extent().intersects(extent)) {
                results.append(item.shape());
            }
        }
        pushChildren(next, pending);
    }
}

} // namespace Cartolith::Core::Spatial::QuadTree
