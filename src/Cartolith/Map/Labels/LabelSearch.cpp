#include <Cartolith/Map/Labels/LabelSearchInternal.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace Cartolith::Map::Labels::Internal {

LabelSearch::LabelSearch(const std::vector<Item>& items, const Candidates& candidates,
                         std::vector<Candidate>& list, LabelObstacles& obstacles, const QRectF& frame)
    : m_items(items), m_candidates(candidates), m_list(list), m_obstacles(obstacles), m_grid(frame, 32.0),
      m_chosen(items.size(), -1), m_order(items.size()) {
    m_ranges.reserve(candidates.boxes.size());
    for (const Box& box : candidates.boxes) {
        m_ranges.push_back(m_grid.rangeOf(box));
    }
    m_reaches.reserve(items.size());
    for (const Item& item : items) {
        LabelGrid<Cell>::Range reach{std::numeric_limits<qint16>::max(), -1,
                                     std::numeric_limits<qint16>::max(), -1};
        for (int c = item.firstCandidate; c < item.firstCandidate + item.candidateCount; ++c) {
            for (int i = at(c).firstBox; i < at(c).firstBox + at(c).boxCount; ++i) {
                const auto& range = rangeOf(i);
                reach = {std::min(reach.left, range.left), std::max(reach.right, range.right),
                         std::min(reach.top, range.top), std::max(reach.bottom, range.bottom)};
            }
        }
        m_reaches.push_back(reach);
    }
    std::iota(m_order.begin(), m_order.end(), 0);
    std::size_t compared = 0;
    std::stable_sort(m_order.begin(), m_order.end(), [&](int a, int b) {
        m_candidates.watch.every(std::size_t{1} << 16, compared++);
        return item(a).isGreaterThan(item(b));
    });
}

double LabelSearch::crossed(int self, int candidate) {
    double& known = m_list[static_cast<std::size_t>(candidate)].crossed;
    if (std::isnan(known)) {
        m_candidates.watch.every(qint64{64}, m_asked++);
        const Item& asking = item(self);
        known = m_obstacles.crossedBy(m_candidates.boxesOf(at(candidate)), asking.label, asking.strength,
                                      asking.avoidsObstacles);
    }
    return known;
}

void LabelSearch::sortByCrossed(int self) {
    if (!item(self).avoidsObstacles || m_obstacles.isEmpty()) {
        return;
    }
    const int first = item(self).firstCandidate + (item(self).keepsFirst ? 1 : 0);
    const int end = item(self).firstCandidate + item(self).candidateCount;
    for (int c = first; c < end; ++c) {
        crossed(self, c);
    }
    std::stable_sort(m_list.begin() + first, m_list.begin() + end,
                     [](const Candidate& a, const Candidate& b) { return a.crossed < b.crossed; });
}

template <typename Function>
bool LabelSearch::forEachBlocker(int self, int candidate, Function function) {
    m_candidates.watch.every(qint64{1024}, m_looks++);
    const Candidate& place = at(candidate);
    for (int number = place.firstBox; number < place.firstBox + place.boxCount; ++number) {
        const Box& box = this->box(number);
        const bool isStraight = box.sine == 0.0;
        const double reachX = isStraight ? box.halfWidth : box.reachX();
        const double reachY = isStraight ? box.halfHeight : box.reachY();
        const double left = box.x - reachX;
        const double right = box.x + reachX;
        const double top = box.y - reachY;
        const double bottom = box.y + reachY;
        const bool isDone = m_grid.forEachCell(rangeOf(number), [&](const Cell& cell) {
            return std::all_of(cell.entries.cbegin(), cell.entries.cend(), [&](const Entry& entry) {
                const bool isClear = entry.left >= right || entry.right <= left || entry.top >= bottom ||
                                     entry.bottom <= top || entry.item == self ||
                                     (!(isStraight && entry.isStraight) &&
                                      !overlap(box, m_candidates.boxes[static_cast<std::size_t>(entry.box)]));
                return isClear || function(entry.item);
            });
        });
        if (!isDone) {
            return false;
        }
    }
    return true;
}

template <typename Function>
bool LabelSearch::blockers(int self, int candidate, std::size_t most, Function mayBe) {
    m_blockers.clear();
    return forEachBlocker(self, candidate, [&](int other) {
        if (std::find(m_blockers.cbegin(), m_blockers.cend(), other) != m_blockers.cend()) {
            return true;
        }
        m_blockers.push_back(other);
        return m_blockers.size() <= most && mayBe(other);
    });
}

bool LabelSearch::isFree(int self, int candidate) {
    return forEachBlocker(self, candidate, [](int) { return false; });
}

int LabelSearch::firstBlocker(int self, int candidate) {
    int blocker = -1;
    forEachBlocker(self, candidate, [&](int other) {
        blocker = other;
        return false;
    });
    return blocker;
}

void LabelSearch::put(int self, int candidate) {
    m_chosen[static_cast<std::size_t>(self)] = candidate;
    const Candidate& place = at(candidate);
    for (int i = place.firstBox; i < place.firstBox + place.boxCount; ++i) {
        const Box& box = this->box(i);
        const Entry entry{
            box.x - box.reachX(), box.y - box.reachY(), box.x + box.reachX(), box.y + box.reachY(), i, self,
            box.sine == 0.0};
        m_grid.forEachCell(rangeOf(i), [&](Cell& cell) {
            cell.entries.push_back(entry);
            return true;
        });
    }
}

void LabelSearch::take(int self) {
    const Candidate& place = at(m_chosen[static_cast<std::size_t>(self)]);
    ++m_time;
    for (int box = place.firstBox; box < place.firstBox + place.boxCount; ++box) {
        m_grid.forEachCell(rangeOf(box), [&](Cell& cell) {
            cell.entries.erase(std::remove_if(cell.entries.begin(), cell.entries.end(),
                                              [&](const Entry& e) { return e.item == self; }),
                               cell.entries.end());
            cell.freed = m_time;
            return true;
        });
    }
    m_chosen[static_cast<std::size_t>(self)] = -1;
}

void LabelSearch::placeGreedily() {
    bool areSomeKept = false;
    for (const int self : m_order) {
        if (item(self).keepsFirst && isFree(self, item(self).firstCandidate) &&
            mayBeAt(self, item(self).firstCandidate)) {
            put(self, item(self).firstCandidate);
            areSomeKept = true;
        }
    }
    for (const int self : m_order) {
        const int first = item(self).firstCandidate;
        const int end = first + item(self).candidateCount;
        int c = first;
        while (chosen(self) < 0 && c < end && !isFree(self, c)) {
            ++c;
        }
        if (chosen(self) < 0 && c < end) {
            sortByCrossed(self);
            for (c = first; c < end && chosen(self) < 0; ++c) {
                if (isFree(self, c) && mayBeAt(self, c)) {
                    put(self, c);
                }
            }
        }
        if (areSomeKept && chosen(self) < 0) {
            driveOut(self, 0);
        }
    }
}

bool LabelSearch::driveOut(int self, int since) {
    const auto isWorthALook = [&](int candidate) {
        const Candidate& place = at(candidate);
        bool isWorth = since == 0;
        for (int box = place.firstBox; box < place.firstBox + place.boxCount && !isWorth; ++box) {
            isWorth =
                !m_grid.forEachCell(rangeOf(box), [&](const Cell& cell) { return cell.freed <= since; });
        }
        return isWorth;
    };
    // Where the fewest have to go.
    std::vector<int> fewest;
    int best = -1;
    const int first = item(self).firstCandidate;
    for (int c = first; c < first + item(self).candidateCount && (best < 0 || !fewest.empty()); ++c) {
        const std::size_t most = best < 0 ? m_items.size() : fewest.size() - 1;
        if (isWorthALook(c) &&
            blockers(self, c, most, [&](int other) { return item(self).isGreaterThan(item(other)); }) &&
            mayBeAt(self, c)) {
            best = c;
            fewest.swap(m_blockers);
        }
    }
    if (best < 0) {
        return false;
    }
    for (const int other : fewest) {
        take(other);
    }
    put(self, best);
    return true;
}

int LabelSearch::otherPlace(int other, int coming) {
    const auto meets = [&](int c) {
        for (const Box& a : m_candidates.boxesOf(at(c))) {
            for (const Box& b : m_candidates.boxesOf(at(coming))) {
                if (overlap(a, b)) {
                    return true;
                }
            }
        }
        return false;
    };
    const int first = item(other).firstCandidate;
    for (int c = first; c < first + item(other).candidateCount; ++c) {
        if (c != chosen(other) && !meets(c) && isFree(other, c) && mayBeAt(other, c)) {
            return c;
        }
    }
    return -1;
}

bool LabelSearch::mayHaveRoom(int self, int since) {
    const auto& reach = m_reaches[static_cast<std::size_t>(self)];
    constexpr int most = 64; // cells, from which on candidates are looked at one by one
    return (reach.right - reach.left + 1) * (reach.bottom - reach.top + 1) > most ||
           !m_grid.forEachCell(reach, [&](const Cell& cell) { return cell.freed <= since; });
}

bool LabelSearch::moveOthers(int self) {
    constexpr std::size_t most = 2;
    const int first = item(self).firstCandidate;
    for (int c = first; c < first + item(self).candidateCount; ++c) {
        if (!blockers(self, c, most,
                      [&](int other) {
                          return !item(other).keepsFirst || chosen(other) != item(other).firstCandidate;
                      }) ||
            !mayBeAt(self, c)) {
            continue;
        }
        const std::vector<int> inTheWay = m_blockers;
        std::vector<std::pair<int, int>> moved; // with the place before
        for (const int other : inTheWay) {
            const int place = otherPlace(other, c);
            if (place < 0) {
                break;
            }
            moved.emplace_back(other, chosen(other));
            take(other);
            put(other, place);
        }
        if (moved.size() == inTheWay.size()) {
            put(self, c);
            return true;
        }
        for (auto it = moved.crbegin(); it != moved.crend(); ++it) {
            take(it->first);
            put(it->first, it->second);
        }
    }
    return false;
}

void LabelSearch::exchange(qint64 budget) {
    m_looks = 0;
    constexpr int mostRounds = 4;
    bool isChanged = true;
    for (int round = 0; round < mostRounds && isChanged && m_looks < budget; ++round) {
        isChanged = false;
        const int start = m_time;
        for (const int self : m_order) {
            if (m_looks >= budget) {
                break;
            }
            if (chosen(self) < 0 && item(self).candidateCount > 0) {
                isChanged |= moveOthers(self);
            }
        }
        // Room that was left may now hold a small label in a greater one's way. Whoever is driven out is
        // less, so this ends.
        for (int before = start, now = m_time; before < now; before = now, now = m_time) {
            m_candidates.watch();
            for (const int self : m_order) {
                if (chosen(self) < 0 && item(self).candidateCount > 0 && mayHaveRoom(self, before)) {
                    driveOut(self, before);
                }
            }
        }
    }
}

void LabelSearch::placeOverlapping() {
    for (const int self : m_order) {
        if (chosen(self) < 0 && item(self).allowOverlap && item(self).candidateCount > 0) {
            sortByCrossed(self);
            const int end = item(self).firstCandidate + item(self).candidateCount;
            for (int c = item(self).firstCandidate; c < end && chosen(self) < 0; ++c) {
                if (mayBeAt(self, c)) {
                    put(self, c);
                }
            }
        }
    }
}

} // namespace Cartolith::Map::Labels::Internal
