#include <Cartolith/Core/Shapes/GisShape.h>
#include <Cartolith/Core/Spatial/RTreeNode.h>
#include <Cartolith/Core/Spatial/RTreeSpatialIndex.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>
#include <vector>

namespace Cartolith::Core::Spatial::RTree {

using Shapes::GisExtent;
using Shapes::GisShape;

namespace {

// Visits the hit items in order. The nodes still to be visited are kept in a list of their own, so that the
// depth of the tree costs no stack.
template <typename Visit>
void visitHits(const RTreeNode& root, const GisExtent& query, Visit visit) {
    std::vector<const RTreeNode*> pending;
    if (RTreeSpatialIndex::intersects(root.extent(), query)) {
        pending.push_back(&root);
    }
    while (!pending.empty()) {
        const RTreeNode& node = *pending.back();
        pending.pop_back();
        if (node.isLeaf()) {
            for (qsizetype i = 0; i < node.items().size(); ++i) {
                if (RTreeSpatialIndex::intersectsFast(node.itemXMin()[i], node.itemYMin()[i],
                                                      node.itemXMax()[i], node.itemYMax()[i], query)) {
                    visit(node.items()[i].shape());
                }
            }
            continue;
        }
        for (qsizetype i = node.children().size() - 1; i >= 0; --i) {
            if (RTreeSpatialIndex::intersectsFast(node.childXMin()[i], node.childYMin()[i],
                                                  node.childXMax()[i], node.childYMax()[i], query)) {
                pending.push_back(&node.children()[i]);
            }
        }
    }
}

template <typename Key>
QList<QList<SpatialIndexItem>> split(const QList<SpatialIndexItem>& items, int groupSize, Key key) {
    using Keyed = std::pair<decltype(key(items.first())), qsizetype>;
    std::vector<Keyed> order;
    order.reserve(static_cast<std::size_t>(items.size()));
    for (qsizetype i = 0; i < items.size(); ++i) {
        order.emplace_back(key(items[i]), i);
    }
    std::sort(order.begin(), order.end());
    QList<QList<SpatialIndexItem>> groups;
    for (std::size_t i = 0; i < order.size(); ++i) {
        if (i % static_cast<std::size_t>(groupSize) == 0) {
            groups.emplaceBack();
        }
        groups.last().append(items[order[i].second]);
    }
    return groups;
}

// A NaN has no place in a strict weak order: such a centre counts as the largest.
double sortable(double center) {
    return std::isnan(center) ? std::numeric_limits<double>::infinity() : center;
}

} // namespace

RTreeSpatialIndex::RTreeSpatialIndex(int maxItemsPerNode, RTreeBuildStrategy strategy)
    : m_maxItemsPerNode(maxItemsPerNode), m_strategy(strategy) {
    if (maxItemsPerNode < 4) {
        throw std::out_of_range("RTreeSpatialIndex maxItemsPerNode must be at least 4.");
    }
}

RTreeSpatialIndex::~RTreeSpatialIndex() = default;

void RTreeSpatialIndex::clear() {
    m_root.reset();
    m_built = false;
}

void RTreeSpatialIndex::insert(GisShape* shape) {
    if (!shape) {
        throw std::invalid_argument("RTreeSpatialIndex::insert shape cannot be null.");
    }
    const SpatialIndexItem item(shape, shape->extent());
    if (!m_root) {
        m_root = std::make_unique<RTreeNode>();
    }
    insert(*m_root, item);
    m_built = true;
}

void RTreeSpatialIndex::insert(RTreeNode& root, const SpatialIndexItem& item) const {
    const GisExtent extent = item.extent();
    RTreeNode* parent = nullptr;
    RTreeNode* node = &root;
    qsizetype index = 0;
    for (;;) {
        node->setExtent(node->extent().expand(extent));
        if (parent) {
            parent->refreshChild(index);
        }
        if (node->isLeaf()) {
            break;
        }
        index = chooseBestChild(*node, extent);
        parent = node;
        node = &parent->children()[index];
    }
    node->appendItem(item);
    if (node->items().size() > m_maxItemsPerNode) {
        splitLeaf(*node, QList<SpatialIndexItem>(node->items()));
        if (parent) {
            parent->refreshChild(index);
        }
    }
}

void RTreeSpatialIndex::build(const QList<GisShape*>& shapes) {
    clear();
    QList<SpatialIndexItem> items;
    items.reserve(shapes.size());
    for (GisShape* shape : shapes) {
        if (!shape) {
            continue;
        }
        const GisExtent extent = shape->extent();
        if (!extent.isEmpty()) {
            items.emplaceBack(shape, extent);
        }
    }
    m_root = std::make_unique<RTreeNode>(buildNode(items));
    m_built = true;
}

QList<GisShape*> RTreeSpatialIndex::search(const GisExtent& extent) const {
    QList<GisShape*> results;
    results.reserve(64);
    search(extent, results);
    return results;
}

int RTreeSpatialIndex::search(const GisExtent& extent, QList<GisShape*>& results) const {
    if (!m_root || extent.isEmpty()) {
        return 0;
    }
    const qsizetype before = results.size();
    visitHits(*m_root, extent, [&results](GisShape* shape) { results.append(shape); });
    return static_cast<int>(results.size() - before);
}

QList<int> RTreeSpatialIndex::searchShapeIds(const GisExtent& extent) const {
    QList<int> ids;
    ids.reserve(64);
    searchShapeIds(extent, ids);
    return ids;
}

int RTreeSpatialIndex::searchShapeIds(const GisExtent& extent, QList<int>& ids) const {
    if (!m_root || extent.isEmpty()) {
        return 0;
    }
    const qsizetype before = ids.size();
    visitHits(*m_root, extent, [&ids](const GisShape* shape) { ids.append(shape->id()); });
    return static_cast<int>(ids.size() - before);
}

double RTreeSpatialIndex::area(const GisExtent& extent) {
    return extent.width() * extent.height();
}

double RTreeSpatialIndex::enlargement(const GisExtent& extent, const GisExtent& added) {
    return area(extent.expand(added)) - area(extent);
}

double RTreeSpatialIndex::centerX(const GisExtent& extent) {
    return (extent.xMin() + extent.xMax()) * 0.5;
}

double RTreeSpatialIndex::centerY(const GisExtent& extent) {
    return (extent.yMin() + extent.yMax()) * 0.5;
}

bool RTreeSpatialIndex::intersects(const GisExtent& a, const GisExtent& b) {
    return a.intersects(b);
}

bool RTreeSpatialIndex::intersectsFast(double xMin, double yMin, double xMax, double yMax,
                                       const GisExtent& query) {
    return xMax >= query.xMin() && query.xMax() >= xMin && yMax >= query.yMin() && query.yMax() >= yMin;
}

GisExtent RTreeSpatialIndex::calculateExtent(const QList<SpatialIndexItem>& items) {
    GisExtent extent;
    for (const SpatialIndexItem& item : items) {
        extent = extent.expand(item.extent());
    }
    return extent;
}

GisExtent RTreeSpatialIndex::calculateExtent(const QList<GisExtent>& extents) {
    GisExtent extent;
    for (const GisExtent& next : extents) {
        extent = extent.expand(next);
    }
    return extent;
}

quint16 RTreeSpatialIndex::normalizeCoordinate(double value, double min, double max) {
    if (min >= max) {
        return 0;
    }
    const double place = (value - min) / (max - min);
    if (place > 1.0) {
        return 65535;
    }
    return place >= 0.0 ? static_cast<quint16>(std::round(place * 65535.0)) : quint16{0};
}

void RTreeSpatialIndex::rotateHilbert(quint32 n, quint32& x, quint32& y, quint32 rx, quint32 ry) {
    if (ry != 0) {
        return;
    }
    if (rx == 1) {
        x = n - 1 - x;
        y = n - 1 - y;
    }
    std::swap(x, y);
}

quint64 RTreeSpatialIndex::hilbertIndex(quint32 x, quint32 y, int order) {
    quint64 distance = 0;
    for (quint32 s = static_cast<quint32>((quint64{1} << order) / 2); s > 0; s /= 2) {
        const quint32 rx = (x & s) != 0 ? 1 : 0;
        const quint32 ry = (y & s) != 0 ? 1 : 0;
        distance += quint64{s} * s * ((3 * rx) ^ ry);
        rotateHilbert(s, x, y, rx, ry);
    }
    return distance;
}

QList<QList<SpatialIndexItem>> RTreeSpatialIndex::splitItems(const QList<SpatialIndexItem>& items) const {
    return m_strategy == RTreeBuildStrategy::Hilbert ? splitItemsHilbert(items) : splitItemsSortAxis(items);
}

QList<QList<SpatialIndexItem>>
RTreeSpatialIndex::splitItemsHilbert(const QList<SpatialIndexItem>& items) const {
    const GisExtent all = calculateExtent(items);
    return split(items, m_maxItemsPerNode, [&all](const SpatialIndexItem& item) {
        return hilbertIndex(normalizeCoordinate(centerX(item.extent()), all.xMin(), all.xMax()),
                            normalizeCoordinate(centerY(item.extent()), all.yMin(), all.yMax()), 16);
    });
}

QList<QList<SpatialIndexItem>>
RTreeSpatialIndex::splitItemsSortAxis(const QList<SpatialIndexItem>& items) const {
    const GisExtent all = calculateExtent(items);
    const auto center = all.height() <= all.width() ? &centerX : &centerY;
    return split(items, m_maxItemsPerNode,
                 [center](const SpatialIndexItem& item) { return sortable(center(item.extent())); });
}

RTreeNode RTreeSpatialIndex::buildNode(const QList<SpatialIndexItem>& items) const {
    RTreeNode node;
    if (items.size() > m_maxItemsPerNode) {
        splitLeaf(node, items);
    } else {
        node.setItems(items);
        node.setExtent(calculateExtent(items));
    }
    return node;
}

void RTreeSpatialIndex::splitLeaf(RTreeNode& node, const QList<SpatialIndexItem>& items) const {
    const QList<QList<SpatialIndexItem>> groups = splitItems(items);
    QList<RTreeNode> leaves;
    leaves.reserve(groups.size());
    GisExtent extent;
    for (const QList<SpatialIndexItem>& group : groups) {
        RTreeNode leaf;
        leaf.setItems(group);
        leaf.setExtent(calculateExtent(group));
        extent = extent.expand(leaf.extent());
        leaves.append(std::move(leaf));
    }
    node.setItems({});
    node.setChildren(leaves);
    node.setExtent(extent);
}

qsizetype RTreeSpatialIndex::chooseBestChild(const RTreeNode& node, const GisExtent& extent) {
    const QList<RTreeNode>& children = node.children();
    qsizetype best = 0;
    double bestEnlargement = enlargement(children[0].extent(), extent);
    double bestArea = area(children[0].extent());
    for (qsizetype i = 1; i < children.size(); ++i) {
        const double childEnlargement = enlargement(children[i].extent(), extent);
        const double childArea = area(children[i].extent());
        if (childEnlargement < bestEnlargement ||
            (childEnlargement == bestEnlargement && childArea < bestArea)) {
            best = i;
            bestEnlargement = childEnlargement;
            bestArea = childArea;
        }
    }
    return best;
}

} // namespace Cartolith::Core::Spatial::RTree
