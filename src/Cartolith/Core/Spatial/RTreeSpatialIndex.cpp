#include <Cartolith/Core/Common/RoomInternal.h>
#include <Cartolith/Core/Shapes/GisShape.h>
#include <Cartolith/Core/Spatial/IndexItemsInternal.h>
#include <Cartolith/Core/Spatial/RTreeChangesInternal.h>
#include <Cartolith/Core/Spatial/RTreeNode.h>
#include <Cartolith/Core/Spatial/RTreeOrderInternal.h>
#include <Cartolith/Core/Spatial/RTreeResultWriterInternal.h>
#include <Cartolith/Core/Spatial/RTreeSearchTableInternal.h>
#include <Cartolith/Core/Spatial/RTreeSpatialIndex.h>
#include <Cartolith/Core/Spatial/RTreeTraversalInternal.h>

#include <QVarLengthArray>

#include <algorithm>
#include <limits>
#include <new>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

namespace Cartolith::Core::Spatial::RTree {

using Shapes::GisExtent;
using Shapes::GisShape;

namespace {

QList<QList<SpatialIndexItem>> groupsOf(const QList<SpatialIndexItem>& items,
                                        const std::vector<quint32>& order, int groupSize) {
    const auto size = static_cast<std::size_t>(groupSize);
    const SpatialIndexItem* const data = items.constData();
    QList<QList<SpatialIndexItem>> groups;
    groups.reserve(static_cast<qsizetype>((order.size() + size - 1) / size));
    for (std::size_t first = 0; first < order.size(); first += size) {
        const std::size_t last = std::min(first + size, order.size());
        QList<SpatialIndexItem>& group = groups.emplaceBack();
        group.reserve(static_cast<qsizetype>(last - first));
        for (std::size_t i = first; i < last; ++i) {
            group.append(data[order[i]]);
        }
    }
    return groups;
}

/// RTreeSpatialIndex::chooseBestChild() by the bound arrays, which lie closer together than the children: the
/// same sums and comparisons. A child without an extent has NaN for an enlargement there as well.
qsizetype bestChildByBounds(const RTreeNode& node, const GisExtent& extent) {
    if (extent.isEmpty()) {
        return RTreeSpatialIndex::chooseBestChild(node, extent);
    }
    const double* const xMin = node.childXMin().constData();
    const double* const yMin = node.childYMin().constData();
    const double* const xMax = node.childXMax().constData();
    const double* const yMax = node.childYMax().constData();
    const auto areaOf = [=](qsizetype i) { return (xMax[i] - xMin[i]) * (yMax[i] - yMin[i]); };
    const auto enlargementOf = [=](qsizetype i, double area) {
        return (std::max(xMax[i], extent.xMax()) - std::min(xMin[i], extent.xMin())) *
                   (std::max(yMax[i], extent.yMax()) - std::min(yMin[i], extent.yMin())) -
               area;
    };
    qsizetype best = 0;
    double bestArea = areaOf(0);
    double bestEnlargement = enlargementOf(0, bestArea);
    for (qsizetype i = 1; i < node.children().size(); ++i) {
        const double area = areaOf(i);
        const double enlargement = enlargementOf(i, area);
        if (enlargement < bestEnlargement || (enlargement == bestEnlargement && area < bestArea)) {
            best = i;
            bestEnlargement = enlargement;
            bestArea = area;
        }
    }
    return best;
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
    m_changes.reset();
    m_table.reset();
    m_root.reset();
    m_built = false;
}

void RTreeSpatialIndex::insert(GisShape* shape) {
    if (!shape) {
        throw std::invalid_argument("RTreeSpatialIndex::insert shape cannot be null.");
    }
    if (hasUpdates()) {
        build(shapesNow());
    }
    m_changes.reset();
    const SpatialIndexItem item(shape, shape->extent());
    if (m_root) {
        const qsizetype child = insert(*m_root, item);
        if (m_table) {
            m_table->childChanged(child, item.extent());
            renewTable();
        }
    } else {
        auto root = std::make_unique<RTreeNode>();
        insert(*root, item);
        m_root = std::move(root);
    }
    m_built = true;
}

// What may fail comes before the first change that can be seen.
qsizetype RTreeSpatialIndex::insert(RTreeNode& root, const SpatialIndexItem& item) const {
    struct Step {
        RTreeNode* parent;
        qsizetype child;
    };
    const GisExtent extent = item.extent();
    QVarLengthArray<Step, 16> path;
    RTreeNode* leaf = &root;
    for (;;) {
        leaf->prepareInsertion();
        if (leaf->isLeaf()) {
            break;
        }
        path.append({leaf, bestChildByBounds(*leaf, extent)});
        leaf = &leaf->children()[path.last().child];
    }
    std::optional<RTreeNode> split;
    if (leaf->items().size() >= m_maxItemsPerNode) {
        QList<SpatialIndexItem> items = std::as_const(*leaf).items();
        items.append(item);
        splitLeaf(split.emplace(), items);
    }

    root.setExtent(root.extent().expand(extent));
    if (split) {
        *leaf = std::move(*split);
    } else {
        leaf->setExtent(path.isEmpty() ? root.extent() : leaf->extent().expand(extent));
        leaf->appendItem(item);
    }
    for (qsizetype i = path.size() - 1; i >= 0; --i) {
        RTreeNode& parent = *path[i].parent;
        if (i > 0) {
            parent.setExtent(parent.extent().expand(extent));
        }
        parent.refreshChild(path[i].child);
    }
    return path.isEmpty() ? 0 : path.first().child;
}

void RTreeSpatialIndex::build(const QList<GisShape*>& shapes) {
    auto items = Internal::itemsOf(shapes);
    const auto itemCount = items.size();
    auto root = std::make_unique<RTreeNode>(buildNode(items));
    auto changes = root->isLeaf() ? nullptr
                                  : std::make_unique<RTreeChanges>(m_strategy, root->extent(), itemCount,
                                                                   m_maxItemsPerNode);
    replaceTree(std::move(root));
    m_changes = std::move(changes);
}

void RTreeSpatialIndex::replaceTree(std::unique_ptr<RTreeNode> root) {
    m_table = root->isLeaf() ? nullptr : std::make_unique<RTreeSearchTable>(*root, m_strategy);
    m_changes.reset();
    m_root = std::move(root);
    m_built = true;
}

bool RTreeSpatialIndex::update(const GisShape* removed, const GisExtent& removedExtent, GisShape* added) {
    return m_changes != nullptr && m_changes->apply(removed, removedExtent, added);
}

bool RTreeSpatialIndex::updatePutBack(GisShape* shape) {
    return m_changes != nullptr && m_changes->putBack(shape);
}

bool RTreeSpatialIndex::hasUpdates() const noexcept {
    return m_changes != nullptr && !m_changes->isEmpty();
}

QList<GisShape*> RTreeSpatialIndex::shapesNow() const {
    constexpr double most = std::numeric_limits<double>::infinity();
    QList<GisShape*> shapes = search({-most, -most, most, most});
    std::sort(shapes.begin(), shapes.end(),
              [](const GisShape* a, const GisShape* b) { return a->id() < b->id(); });
    return shapes;
}

void RTreeSpatialIndex::renewTable() {
    if (!m_table->isOutgrown()) {
        return;
    }
    try {
        m_table = std::make_unique<RTreeSearchTable>(*m_root, m_strategy);
    } catch (const std::bad_alloc&) {
        // The one that is there gives the same answers.
    }
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
    {
        ResultWriter writer(results);
        if (m_table) {
            m_table->search(*m_root, extent, writer);
        } else {
            visitHits(*m_root, extent, [&writer](GisShape* shape) { writer.append(shape); });
        }
        writer.finish();
    }
    if (hasUpdates()) {
        try {
            m_changes->correct(extent, results, before);
        } catch (...) {
            results.resize(before);
            throw;
        }
    }
    return static_cast<int>(results.size() - before);
}

QList<int> RTreeSpatialIndex::searchShapeIds(const GisExtent& extent) const {
    QList<int> ids;
    searchShapeIds(extent, ids);
    return ids;
}

int RTreeSpatialIndex::searchShapeIds(const GisExtent& extent, QList<int>& ids) const {
    const QList<GisShape*> shapes = search(extent);
    Common::Internal::makeRoom(ids, shapes.size());
    for (const GisShape* shape : shapes) {
        ids.append(shape->id());
    }
    return static_cast<int>(shapes.size());
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
        if (const GisExtent next = item.extent(); !next.isEmpty()) {
            extent = extent.expand(next);
        }
    }
    return extent;
}

GisExtent RTreeSpatialIndex::calculateExtent(const QList<GisExtent>& extents) {
    GisExtent extent;
    for (const GisExtent& next : extents) {
        if (!next.isEmpty()) {
            extent = extent.expand(next);
        }
    }
    return extent;
}

quint16 RTreeSpatialIndex::normalizeCoordinate(double value, double min, double max) {
    return gridCoordinate(value, min, max);
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
    for (auto s = static_cast<quint32>((quint64{1} << order) / 2); s > 0; s /= 2) {
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
    return groupsOf(items, hilbertOrder(items, calculateExtent(items)), m_maxItemsPerNode);
}

QList<QList<SpatialIndexItem>>
RTreeSpatialIndex::splitItemsSortAxis(const QList<SpatialIndexItem>& items) const {
    const GisExtent all = calculateExtent(items);
    return groupsOf(items, axisOrder(items, isAlongX(all)), m_maxItemsPerNode);
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
