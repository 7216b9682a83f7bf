// Let u = 2^-53, r and s the differences of the ends of two segments as computed, S = |rx sy| + |ry sx|, and
// the denominator d of the plain test more than the tolerance but less than 128 * 3u S. Then
//
// - |rx sy - ry sx| <= 387u S. Neither product is zero, since d would not be noise then, and they have one
// sign. So
//   the slopes ry / rx and sy / sx have one sign and agree within 775u of their size, 778u as computed:
//   less than 1024 steps of a double. Cells of 2048 steps therefore hold both, if each is looked for at 1024
//   steps up and down.
// - |d| > tol needs 384u |r| |s| > tol, as S <= |r| |s|.
// - The first parameter is in [-tol, 1 + tol], so |D x s| <= (1 + tol) 385u S + 3u |D| |s| with D = q1 - p1:
// p1 is
//   within u R (388 + 385 tol) of the other's line, R the size of the box around both shapes. Measured from a
//   common origin, along directions that differ by 388u at most, the distances of the two lines from the
//   origin differ by less than u R (800 + 385 tol) with the rounding.

#include <Cartolith/Core/Topology/BoundaryJoinInternal.h>

#include <bit>
#include <vector>

namespace Cartolith::Core::Topology::Internal {

namespace {

constexpr double unit = 0x1p-53;
constexpr quint64 halfCell = 1024;
constexpr int cellBits = 11;

struct Line {
    quint64 slope; ///< its bits; their order does not matter, only that neighbours are close
    qsizetype start;
    double offset = 0.0;

    quint64 cell() const { return slope >> cellBits; }
};

quint64 scattered(quint64 cell) {
    return (cell * 0x9E3779B97F4A7C15U) >> 32U;
}

/// A set of cells that may have a few too many.
class Cells {
public:
    explicit Cells(const std::vector<Line>& lines)
        : m_mask(std::bit_ceil(std::max<std::size_t>(lines.size(), 4)) * 16 - 1), m_words((m_mask + 1) / 64) {
        for (const Line& line : lines) {
            const quint64 bit = scattered(line.cell()) & m_mask;
            m_words[bit / 64] |= quint64(1) << (bit % 64);
        }
    }
    bool mayHoldNeighbour(const Line& line) const {
        return mayHold((line.slope - halfCell) >> cellBits) || mayHold((line.slope + halfCell) >> cellBits);
    }

private:
    bool mayHold(quint64 cell) const {
        const quint64 bit = scattered(cell) & m_mask;
        return (m_words[bit / 64] >> (bit % 64) & 1U) != 0;
    }

    quint64 m_mask;
    std::vector<quint64> m_words;
};

double longest(const Boundary& boundary) {
    double length = 0.0;
    for (qsizetype i = 0; i < boundary.count(0); ++i) {
        const Box& box = boundary.box(0, i);
        length = std::max(length, (box.xMax - box.xMin) + (box.yMax - box.yMin));
    }
    return length;
}

std::vector<Line> linesLongerThan(double length, const Boundary& boundary) {
    std::vector<Line> lines;
    for (qsizetype i = 0; i < boundary.count(0); ++i) {
        const Boundary::Run& run = boundary.run(i);
        for (qsizetype j = run.start; j < run.start + run.segments; ++j) {
            const double dx = boundary.vertex(j + 1).x - boundary.vertex(j).x;
            const double dy = boundary.vertex(j + 1).y - boundary.vertex(j).y;
            if (dx != 0.0 && dy != 0.0 && std::abs(dx) + std::abs(dy) > length) {
                lines.push_back({std::bit_cast<quint64>(dy / dx), j});
            }
        }
    }
    return lines;
}

void keepNeighbours(std::vector<Line>& lines, const Cells& cells) {
    std::erase_if(lines, [&cells](const Line& line) { return !cells.mayHoldNeighbour(line); });
}

void measureOffsets(std::vector<Line>& lines, const Boundary& boundary, Position origin) {
    for (Line& line : lines) {
        const Position from = boundary.vertex(line.start);
        const Position to = boundary.vertex(line.start + 1);
        const double dx = to.x - from.x;
        const double dy = to.y - from.y;
        const double length = std::copysign(std::sqrt(dx * dx + dy * dy), dx);
        line.offset = ((from.x - origin.x) * dy - (from.y - origin.y) * dx) / length;
    }
}

} // namespace

bool noiseMeets(const Boundary& a, const Boundary& b, bool properOnly, Work& work) {
    const double tolerance = a.tolerance();
    const double longestA = longest(a);
    const double longestB = longest(b);
    const double least = tolerance / (400.0 * unit);
    work.add(a.count(0) + b.count(0));
    if (longestA * longestB <= least) {
        return false;
    }
    std::vector<Line> linesA = linesLongerThan(least / longestB, a);
    std::vector<Line> linesB = linesLongerThan(least / longestA, b);
    work.add(8 * (a.count(0) + b.count(0)));
    // The smaller set thins out the larger one, and what remains of that the smaller one.
    std::vector<Line>& few = linesA.size() < linesB.size() ? linesA : linesB;
    std::vector<Line>& many = linesA.size() < linesB.size() ? linesB : linesA;
    keepNeighbours(many, Cells(few));
    keepNeighbours(few, Cells(many));
    if (linesA.empty() || linesB.empty()) {
        return false;
    }
    const Box boxA = a.box();
    const Box boxB = b.box();
    const Position origin{boxA.xMin, boxA.yMin};
    const double size = (std::max(boxA.xMax, boxB.xMax) - std::min(boxA.xMin, boxB.xMin)) +
                        (std::max(boxA.yMax, boxB.yMax) - std::min(boxA.yMin, boxB.yMin));
    const double apart = unit * size * (1024.0 + 512.0 * tolerance);
    measureOffsets(linesA, a, origin);
    measureOffsets(linesB, b, origin);
    std::sort(linesB.begin(), linesB.end(), [](const Line& left, const Line& right) {
        return left.cell() != right.cell() ? left.cell() < right.cell() : left.offset < right.offset;
    });
    const auto cellMeets = [&](quint64 cell, const Line& line) {
        auto it = std::lower_bound(
            linesB.begin(), linesB.end(), line.offset - apart, [cell](const Line& other, double offset) {
                return other.cell() != cell ? other.cell() < cell : other.offset < offset;
            });
        for (; it != linesB.end() && it->cell() == cell && it->offset <= line.offset + apart; ++it) {
            work.add(1);
            if (pairMeets(a, line.start, b, it->start, properOnly)) {
                return true;
            }
        }
        return false;
    };
    return std::any_of(linesA.begin(), linesA.end(), [&](const Line& line) {
        const quint64 below = (line.slope - halfCell) >> cellBits;
        const quint64 above = (line.slope + halfCell) >> cellBits;
        work.add(16);
        return cellMeets(below, line) || (above != below && cellMeets(above, line));
    });
}

} // namespace Cartolith::Core::Topology::Internal
