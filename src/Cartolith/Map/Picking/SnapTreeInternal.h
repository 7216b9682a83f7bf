#pragma once

#include <QPointF>
#include <queue>

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Cartolith::Map::Picking::Internal {

/// A piece of a line or an outline, or a single place, in map units.
struct SnapItem {
    enum Flag : quint32 {
        StartIsVertex = 1,
        EndIsVertex = 2,
        IsEdge = 4,   ///< not a single place
        IsCentre = 8, ///< of its shape
    };
    QPointF from, to;
    quint32 feature = 0;
    quint32 flags = 0;
};

/// Finds items in the order of their distance from a place. A tree of boxes over items along a Hilbert curve,
/// packed; made in small pieces of work, so that somebody can do other things in between.
class SnapTree {
public:
    /// Before the first build(). Items with a coordinate that is not finite are left out.
    void add(const SnapItem& item);
    /// Some thousand items further; false when it is complete.
    bool build();
    bool isComplete() const { return m_stage == Stage::Complete; }
    /// Of the building, from 0 to 1.
    double progress() const;

    /// Calls visit(item, distance), nearest first, up to a distance, until it says no or `most` were visited.
    template <typename Visit>
    void visit(QPointF place, double farthest, std::size_t most, Visit visit) const {
        Queue queue;
        if (isComplete() && !m_boxes.empty()) {
            push(queue, m_levels.size() - 1, 0, place, farthest);
        }
        while (!queue.empty() && most > 0) {
            const Entry entry = queue.top();
            queue.pop();
            if (entry.level < 0) {
                if (!visit(m_items[entry.index], entry.distance)) {
                    return;
                }
                --most;
            } else {
                open(queue, entry, place, farthest);
            }
        }
    }

private:
    enum class Stage { Collecting, Keys, Sorting, Ordering, Boxes, Complete };
    struct Box {
        double left, bottom, right, top;
    };
    struct Key {
        quint32 place;
        quint32 item;
    };
    struct Entry {
        double distance;
        std::ptrdiff_t level; ///< of boxes; below 0 for an item
        std::size_t index;
        /// The nearest on top; of equal ones always the same.
        bool operator<(const Entry& other) const {
            return distance != other.distance ? distance > other.distance
                   : level != other.level     ? level > other.level
                                              : index > other.index;
        }
    };
    using Queue = std::priority_queue<Entry>;

    static constexpr std::size_t chunkSize = 8192;
    static constexpr std::size_t fanOut = 16;
    static constexpr unsigned digitBits = 11;
    static constexpr unsigned digits = 3;

    const SnapItem& collected(std::size_t i) const { return m_chunks[i / chunkSize][i % chunkSize]; }
    quint32 keyOf(const SnapItem& item) const;
    void beginSorting();
    void beginBoxes();
    Box boxOf(std::size_t level, std::size_t index) const;
    void push(Queue& queue, std::size_t level, std::size_t index, QPointF place, double farthest) const;
    void open(Queue& queue, const Entry& entry, QPointF place, double farthest) const;
    std::size_t countBelow(std::size_t level) const {
        return level == 0 ? m_items.size() : m_levels[level] - m_levels[level - 1];
    }

    Stage m_stage = Stage::Collecting;
    std::size_t m_count = 0;
    std::size_t m_position = 0;
    Box m_all{0, 0, 0, 0};
    std::vector<std::vector<SnapItem>>
        m_chunks; // until they are in order: no list that is copied as it grows
    std::vector<Key> m_keys, m_sorted;
    std::array<std::array<std::size_t, std::size_t{1} << digitBits>, digits> m_places{};
    unsigned m_digit = 0;

    std::vector<SnapItem> m_items;
    std::vector<Box> m_boxes;          // level by level, the lowest first
    std::vector<std::size_t> m_levels; // where they begin in it
};

} // namespace Cartolith::Map::Picking::Internal
