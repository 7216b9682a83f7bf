#include <Cartolith/Core/Shapes/RingBoxTreeInternal.h>

#include <cmath>
#include <utility>

namespace Cartolith::Core::Shapes::Internal {

namespace {

/// Rings around one middle go by their ranks, so that a node has similar ones.
struct Keyed {
    double key;
    int rank;
    int item;

    bool operator<(const Keyed& other) const noexcept {
        return key < other.key || (key == other.key && rank < other.rank);
    }
};

} // namespace

RingBoxTree::RingBoxTree(std::vector<Item> items) : m_items(std::move(items)) {
    if (m_items.size() > fanOut) { // slices of one column each, in order of height
        std::vector<Keyed> order;
        order.reserve(m_items.size());
        for (const Item& item : m_items) {
            order.push_back({item.box.middleX(), item.rank, static_cast<int>(order.size())});
        }
        std::sort(order.begin(), order.end());
        const double columns = std::sqrt(static_cast<double>(m_items.size()) / fanOut);
        const std::size_t slice =
            fanOut * static_cast<std::size_t>(
                         std::ceil(static_cast<double>(m_items.size()) / (fanOut * std::max(columns, 1.0))));
        std::vector<Item> sorted;
        sorted.reserve(m_items.size());
        for (std::size_t first = 0; first < order.size(); first += slice) {
            const auto begin = order.begin() + static_cast<std::ptrdiff_t>(first);
            const auto end =
                order.begin() + static_cast<std::ptrdiff_t>(std::min(first + slice, order.size()));
            for (auto it = begin; it != end; ++it) {
                it->key = m_items[static_cast<std::size_t>(it->item)].box.middleY();
            }
            std::sort(begin, end);
            for (auto it = begin; it != end; ++it) {
                sorted.push_back(m_items[static_cast<std::size_t>(it->item)]);
            }
        }
        m_items = std::move(sorted);
    }
    std::vector<Node> nodes;
    nodes.reserve(m_items.size());
    for (const Item& item : m_items) {
        nodes.push_back({item.box, item.rank, item.rank});
    }
    do {
        std::vector<Node> parents;
        for (std::size_t i = 0; i < nodes.size(); ++i) {
            if (i % fanOut == 0) {
                parents.push_back(nodes[i]);
                continue;
            }
            const Node& node = nodes[i];
            Node& parent = parents.back();
            parent.box = {std::min(parent.box.xMin, node.box.xMin), std::min(parent.box.yMin, node.box.yMin),
                          std::max(parent.box.xMax, node.box.xMax), std::max(parent.box.yMax, node.box.yMax)};
            parent.smallest = std::min(parent.smallest, node.smallest);
            parent.largest = std::max(parent.largest, node.largest);
        }
        m_levels.push_back(parents);
        nodes = std::move(parents);
    } while (nodes.size() > 1);
}

} // namespace Cartolith::Core::Shapes::Internal
