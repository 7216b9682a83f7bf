#pragma once

#include <algorithm>
#include <cstddef>
#include <limits>
#include <optional>
#include <vector>

namespace Cartolith::Core::Shapes::Internal {

struct RingBox {
    double xMin;
    double yMin;
    double xMax;
    double yMax;

    bool operator==(const RingBox&) const = default;
    bool meets(const RingBox& other) const noexcept {
        return xMin <= other.xMax && other.xMin <= xMax && yMin <= other.yMax && other.yMin <= yMax;
    }
    double middleX() const noexcept { return xMin / 2 + xMax / 2; }
    double middleY() const noexcept { return yMin / 2 + yMax / 2; }
};

/// Boxes of rings and the ranks of these by size, packed by place (sort-tile-recursive), to find the smallest
/// ring around another.
class RingBoxTree {
public:
    struct Item {
        RingBox box;
        int rank; ///< by size, the smallest first
        int ring;
    };

    explicit RingBoxTree(std::vector<Item> items);

    /// The smallest ring of more than the given rank whose box meets the one given and which is accepted; of
    /// several of one rank the first. -1 when there is none; nothing when more boxes than `most` had to
    /// be looked at. Asks `accepts(ring)` only of rings smaller than the smallest so far.
    template <typename Accepts>
    std::optional<int> smallestAround(const RingBox& box, int rank, std::size_t most, Accepts accepts) const {
        Best best{most};
        for (std::size_t i = 0; i < m_levels.back().size(); ++i) {
            visit(m_levels.size() - 1, i, box, rank, accepts, best);
        }
        return best.effort == 0 ? std::nullopt : std::optional(best.ring);
    }

private:
    static constexpr std::size_t fanOut = 8;
    static constexpr std::size_t question = 16; ///< as an effort

    struct Node {
        RingBox box;
        int smallest;
        int largest;
    };

    struct Best {
        std::size_t effort;
        int rank = std::numeric_limits<int>::max();
        int ring = -1;

        bool isBeatenBy(const Item& item) const noexcept {
            return item.rank < rank || (item.rank == rank && item.ring < ring);
        }
    };

    /// Level 0 are the nodes around items.
    template <typename Accepts>
    void visit(std::size_t level, std::size_t index, const RingBox& box, int rank, Accepts& accepts,
               Best& best) const {
        const Node& node = m_levels[level][index];
        if (!node.box.meets(box) || node.largest <= rank || node.smallest > best.rank) {
            return;
        }
        const std::size_t first = index * fanOut;
        const std::size_t end =
            std::min(first + fanOut, level == 0 ? m_items.size() : m_levels[level - 1].size());
        for (std::size_t i = first; i < end && best.effort > 0; ++i) {
            --best.effort;
            if (level > 0) {
                visit(level - 1, i, box, rank, accepts, best);
            } else if (const Item& item = m_items[i];
                       item.rank > rank && item.box.meets(box) && best.isBeatenBy(item)) {
                if (accepts(item.ring)) {
                    best.rank = item.rank;
                    best.ring = item.ring;
                }
                best.effort -= std::min(best.effort, question);
            }
        }
    }

    std::vector<Item> m_items;
    std::vector<std::vector<Node>> m_levels;
};

} // namespace Cartolith::Core::Shapes::Internal
