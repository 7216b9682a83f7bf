#pragma once

#include <Cartolith/Map/Labels/LabelCandidatesInternal.h>
#include <Cartolith/Map/Labels/LabelGridInternal.h>
#include <Cartolith/Map/Labels/LabelObstaclesInternal.h>
#include <Cartolith/Map/Labels/LabelPlaces.h>

#include <cmath>
#include <vector>

namespace Cartolith::Map::Labels::Internal {

/// One label, or one repeat of a line's, with its candidates in Candidates::list.
struct Item {
    int firstCandidate;
    int candidateCount;
    bool keepsFirst; ///< it was at its first candidate in the picture before
    int priority;
    double value;
    bool allowOverlap;
    bool avoidsObstacles;
    double strength; ///< of what it may cross
    qsizetype label; ///< whose obstacles are none to it

    /// Whether it may drive the other one out.
    bool isGreaterThan(const Item& other) const {
        return priority != other.priority ? priority > other.priority : value > other.value;
    }
};

/// Chooses a candidate for each item: first greedily by priority, then by exchange.
class LabelSearch {
public:
    /// The list is that of the candidates; those of an item are put into the order of what they cross when it
    /// is needed, which for most of a dense map is never. All must live as long as this object.
    LabelSearch(const std::vector<Item>& items, const Candidates& candidates, std::vector<Candidate>& list,
                LabelObstacles& obstacles, const QRectF& frame);

    /// First those that keep what they had, then the others where these leave room, or lesser ones can be
    /// driven out.
    void placeGreedily();
    /// Looks for room for those that have none, for so many candidates looked at; what it leaves is in order.
    void exchange(qint64 budget);
    /// Last, those without room that may lie on others.
    void placeOverlapping();

    /// The candidate of an item in Candidates::list; below 0 for none.
    int chosen(int item) const { return m_chosen[static_cast<std::size_t>(item)]; }
    /// Whether a candidate crosses nothing that is stronger than the item.
    bool mayBeAt(int self, int candidate) {
        return item(self).strength >= m_obstacles.heaviest() || std::isfinite(crossed(self, candidate));
    }
    /// An item in the way of the candidate; below 0 for none.
    int firstBlocker(int self, int candidate);

private:
    /// A box with what is around it, which decides most questions.
    struct Entry {
        double left, top, right, bottom;
        int box;
        int item;
        bool isStraight;
    };
    struct Cell {
        std::vector<Entry> entries;
        int freed = 0; // when something was taken out of it
    };

    double crossed(int self, int candidate);
    void sortByCrossed(int self);
    const Box& box(int number) const { return m_candidates.boxes[static_cast<std::size_t>(number)]; }
    const LabelGrid<Cell>::Range& rangeOf(int box) const { return m_ranges[static_cast<std::size_t>(box)]; }
    const Candidate& at(int candidate) const { return m_list[static_cast<std::size_t>(candidate)]; }
    const Item& item(int i) const { return m_items[static_cast<std::size_t>(i)]; }
    /// Calls the function with each item in the way of a candidate, some more than once, until it returns
    /// false.
    template <typename Function>
    bool forEachBlocker(int self, int candidate, Function function);
    /// Who is in the way of a candidate, each once. False, with some of them, when they are more than `most`
    /// or the function is false for one.
    template <typename Function>
    bool blockers(int self, int candidate, std::size_t most, Function mayBe);
    bool isFree(int self, int candidate);
    void put(int self, int candidate);
    void take(int self);
    /// Only to where something was taken out since then.
    bool driveOut(int self, int since);
    /// Whether anything may have been taken out since then where the item's candidates are.
    bool mayHaveRoom(int self, int since);
    bool moveOthers(int self);
    /// Somewhere else than now, clear of the candidate that is to come.
    int otherPlace(int other, int coming);

    const std::vector<Item>& m_items;
    const Candidates& m_candidates;
    std::vector<Candidate>& m_list;
    LabelObstacles& m_obstacles;
    LabelGrid<Cell> m_grid;
    std::vector<LabelGrid<Cell>::Range> m_ranges;  // of Candidates::boxes, each asked for many times
    std::vector<LabelGrid<Cell>::Range> m_reaches; // of all candidates of an item
    std::vector<int> m_chosen;
    std::vector<int> m_order;    // of priority
    std::vector<int> m_blockers; // of the last question
    qint64 m_looks = 0;
    qint64 m_asked = 0; // what is crossed
    int m_time = 1;
};

} // namespace Cartolith::Map::Labels::Internal
