#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Core/Topology/NodingInternal.h>
#include <Cartolith/Core/Topology/RingMeasuresInternal.h>
#include <Cartolith/Core/Topology/RingOrderInternal.h>
#include <Cartolith/Core/Topology/RunStripInternal.h>
#include <Cartolith/Core/Topology/SegmentMeetingInternal.h>
#include <Cartolith/Core/Topology/SegmentPairsInternal.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <set>
#include <tuple>
#include <utility>
#include <vector>

namespace Cartolith::Core::Topology::Internal {

using Shapes::GisShapePoint;

namespace {

using Path = QList<GisShapePoint>;

/// A place in which a segment is to have a vertex.
struct Node {
    std::size_t segment;
    Position place;
};

/// Of places about on the segment, by the axis along which it goes farther. Exact.
bool comesFirst(const Segment& segment, Position p, Position q) {
    const double dx = segment.end->x() - segment.start->x();
    const double dy = segment.end->y() - segment.start->y();
    const auto isBehind = [](double direction, double a, double b) {
        return direction < 0.0 ? b < a : a < b;
    };
    const bool goesAlongX = std::fabs(dx) >= std::fabs(dy);
    if (goesAlongX ? p.x != q.x : p.y == q.y) {
        return isBehind(dx, p.x, q.x);
    }
    return isBehind(dy, p.y, q.y);
}

/// The segments of some of many lines, each once however often lines take it: where lines all but lie on each
/// other most are the same. Lines that lie near each other follow each other.
class LineSegments {
public:
    template <typename IsTaken>
    LineSegments(const QList<Path>& lines, IsTaken isTaken) : m_list(chainsOf(takeUses(lines, isTaken))) {}

    const SegmentList& list() const noexcept { return m_list; }
    const Segment& operator[](std::size_t i) const { return m_list.segments()[i]; }
    std::size_t size() const noexcept { return m_list.segments().size(); }

    /// A piece of a line, and which segment it is.
    struct Use {
        const GisShapePoint* start;
        const GisShapePoint* end;
        int line;
        std::size_t segment;
    };
    /// Line by line.
    const std::vector<Use>& uses() const noexcept { return m_uses; }

private:
    template <typename IsTaken>
    std::vector<Use>& takeUses(const QList<Path>& lines, IsTaken isTaken) {
        for (const int line : alongCurve(lines)) {
            for (qsizetype i = 1; isTaken(line) && i < lines[line].size(); ++i) {
                m_uses.push_back({&lines[line][i - 1], &lines[line][i], line, 0});
            }
        }
        return m_uses;
    }

    static std::tuple<double, double, double, double> keyOf(const Use& use) {
        const std::tuple forth(use.start->x(), use.start->y(), use.end->x(), use.end->y());
        const std::tuple back(use.end->x(), use.end->y(), use.start->x(), use.start->y());
        return std::min(forth, back);
    }

    /// Of the segments that no use before has.
    static Shapes::GisShapePolyline chainsOf(std::vector<Use>& uses) {
        std::vector<std::size_t> order(uses.size());
        std::iota(order.begin(), order.end(), std::size_t(0));
        std::sort(order.begin(), order.end(), [&uses](std::size_t a, std::size_t b) {
            return std::tuple(keyOf(uses[a]), a) < std::tuple(keyOf(uses[b]), b);
        });
        for (std::size_t i = 0; i < order.size(); ++i) {
            const bool isSame = i > 0 && keyOf(uses[order[i]]) == keyOf(uses[order[i - 1]]);
            uses[order[i]].segment = isSame ? uses[order[i - 1]].segment : order[i];
        }
        Shapes::GisShapePolyline chains;
        std::size_t count = 0;
        bool isConnected = false;
        for (std::size_t i = 0; i < uses.size(); ++i) {
            Use& use = uses[i];
            if (use.segment != i) {
                use.segment = uses[use.segment].segment;
                isConnected = false;
                continue;
            }
            use.segment = count++;
            if (!isConnected || use.line != uses[i - 1].line) {
                chains.parts().append(Path{*use.start});
                isConnected = true;
            }
            chains.parts().last().append(*use.end);
        }
        return chains;
    }

    std::vector<Use> m_uses;
    SegmentList m_list;
};

/// Calls `visit(i, j)` for the pairs of which the boxes meet.
template <typename Visit>
void visitPairs(const LineSegments& segments, Work& work, Visit visit) {
    const SegmentPairs pairs(segments.list(), segments.list(), 0.0, Boundary::Boxes::Bare);
    const RunStrips strips(pairs.boundaryA());
    const qsizetype runs = pairs.boundaryA().count(0);
    for (qsizetype run = 0; run < runs; ++run) {
        pairs.visitOfRun(
            run, {run, runs}, work,
            [&](int level, qsizetype node) { return strips.mayMeet(run, level, node); },
            [&](std::size_t i, std::size_t j) {
                if (i < j) {
                    visit(i, j);
                }
            });
    }
}

/// Whether the segment passes the place by no more than a few roundings, between its ends: nearer to each of
/// them than the other one is. So of two edges that go to one place from two others, a rounding apart, one
/// goes through the beginning of the other and not the reverse, whatever their direction.
bool passes(const Segment& segment, Position p) {
    const Position a = positionOf(*segment.start);
    const Position b = positionOf(*segment.end);
    const double dx = b.x - a.x;
    const double dy = b.y - a.y;
    // Of what the numbers at hand are rounded to
    const double few = 0x1p-50 * std::max(std::fabs(p.x), std::fabs(p.y));
    if (!(std::fabs(dx * (p.y - a.y) - dy * (p.x - a.x)) <= few * (std::fabs(dx) + std::fabs(dy)))) {
        return false;
    }
    const double length = std::hypot(dx, dy);
    return std::hypot(p.x - a.x, p.y - a.y) < length && std::hypot(p.x - b.x, p.y - b.y) < length;
}

void addVertex(Path& line, Position place, NodedAs as) {
    const GisShapePoint vertex = pointOf(place);
    const qsizetype size = line.size();
    if (as == NodedAs::Rings && size > 1 && isSamePlace(line[size - 2], vertex)) {
        line.removeLast();
    } else if (line.isEmpty() || !isSamePlace(line.constLast(), vertex)) {
        line.append(vertex);
    }
}

class Noder {
public:
    Noder(const QList<Path>& lines, NodedAs as, const NodingGrid& grid, Work& work)
        : m_original(lines), m_lines(lines), m_as(as), m_work(work),
          m_mostNodes(2 * static_cast<std::size_t>(work.mostCrossings())), m_grid(grid),
          m_isCoarse(static_cast<std::size_t>(lines.size()), grid.smallest > 0.0 || grid.level > 0) {
        for (const Path& line : lines) {
            for (const GisShapePoint& p : line) {
                m_largest = std::max({m_largest, std::fabs(p.x()), std::fabs(p.y())});
            }
        }
    }

    QList<Path> run() {
        constexpr int mostRounds = 6;
        for (; m_grid.level <= NodingGrid::lastLevel; ++m_grid.level) {
            if (cell() > 0.0) {
                snap();
            }
            for (int round = 0; round < mostRounds; ++round) {
                m_meeting.clear();
                if (!cut()) {
                    return std::move(m_lines);
                }
            }
            for (const int line : m_meeting) { // the one that is cut, and the one that cuts it
                m_isCoarse[static_cast<std::size_t>(line)] = true;
            }
        }
        throw NotNoded{NodingGrid::failing};
    }

private:
    double cell() const {
        return m_grid.level == 0 ? m_grid.smallest
                                 : std::max(m_grid.smallest,
                                            std::ldexp(1.0, std::ilogb(m_largest) - 50 + 4 * m_grid.level));
    }
    bool isCoarse(int line) const { return m_isCoarse[static_cast<std::size_t>(line)]; }

    void add(const LineSegments& segments, std::size_t i, Position place) {
        const GisShapePoint vertex = pointOf(place);
        if (!isSamePlace(*segments[i].start, vertex) && !isSamePlace(*segments[i].end, vertex)) {
            if (m_nodes.size() >= m_mostNodes) {
                refuse();
            }
            m_nodes.push_back({i, place});
        }
    }

    /// One round. False when nothing was cut.
    bool cut() {
        const LineSegments segments(m_lines, [](int /*line*/) { return true; });
        m_meets.assign(segments.size(), false);
        visitPairs(segments, m_work, [&](std::size_t i, std::size_t j) {
            const std::size_t before = m_nodes.size();
            for (const auto& [one, other] : {std::pair(i, j), std::pair(j, i)}) {
                for (const GisShapePoint* end : {segments[other].start, segments[other].end}) {
                    if (passes(segments[one], positionOf(*end))) {
                        add(segments, one, positionOf(*end));
                    }
                }
            }
            if (m_nodes.size() == before) { // else, a crossing beside these would be cut into crumbs
                const SegmentMeeting meeting = meetingOf(segments[i], segments[j]);
                for (int k = 0; k < meeting.count; ++k) {
                    add(segments, i, meeting.places[static_cast<std::size_t>(k)]);
                    add(segments, j, meeting.places[static_cast<std::size_t>(k)]);
                }
            }
            if (m_nodes.size() > before) {
                m_meets[i] = true;
                m_meets[j] = true;
            }
        });
        for (const LineSegments::Use& use : segments.uses()) {
            if (m_meets[use.segment]) {
                m_meeting.insert(use.line);
            }
        }
        return addNodes(segments);
    }

    /// All coarse lines from the beginning.
    void snap() {
        for (int i = 0; i < m_lines.size(); ++i) {
            if (isCoarse(i)) {
                m_lines[i].clear();
                for (const GisShapePoint& p : std::as_const(m_original[i])) {
                    addVertex(m_lines[i], rounded(positionOf(p)), m_as);
                }
                if (m_lines[i].size() < 2) {
                    m_lines[i].clear();
                }
            }
        }
        goThroughCells(false); // of lines that nearly lie on each other, few still cross after that
        goThroughCells(true);
    }

    Position rounded(Position p) const {
        const double size = cell();
        return {std::rint(p.x / size) * size, std::rint(p.y / size) * size};
    }

    /// Those around vertices, and around crossings if asked.
    void goThroughCells(bool ofCrossings) {
        const LineSegments segments(m_lines, [this](int line) { return isCoarse(line); });
        std::vector<std::pair<double, double>> centres;
        for (const Segment& segment : segments.list().segments()) {
            centres.emplace_back(segment.start->x(), segment.start->y());
            centres.emplace_back(segment.end->x(), segment.end->y());
        }
        if (ofCrossings) {
            visitPairs(segments, m_work, [&](std::size_t i, std::size_t j) {
                const SegmentMeeting meeting = meetingOf(segments[i], segments[j]);
                if (meeting.kind == SegmentMeeting::Kind::Cross) {
                    const Position place = rounded(meeting.places[0]);
                    add(segments, i, place);
                    add(segments, j, place);
                    centres.emplace_back(place.x, place.y);
                }
            });
        }
        std::sort(centres.begin(), centres.end());
        centres.erase(std::unique(centres.begin(), centres.end()), centres.end());
        const double half = cell() / 2;
        Shapes::GisShapePolyline squares;
        for (const auto& [x, y] : centres) {
            squares.parts().append(Path{{x - half, y - half}, {x + half, y + half}});
        }
        const SegmentList cells(squares);
        const SegmentPairs pairs(segments.list(), cells, 0.0, Boundary::Boxes::Bare);
        pairs.visitAll(m_work, [&](std::size_t i, std::size_t j) { // of which the boxes meet
            const Segment& segment = segments[i];
            const auto& [x, y] = centres[j];
            const double dx = segment.end->x() - segment.start->x();
            const double dy = segment.end->y() - segment.start->y();
            const double beside = dx * (y - segment.start->y()) - dy * (x - segment.start->x());
            if (std::fabs(beside) <= (std::fabs(dx) + std::fabs(dy)) * half) {
                add(segments, i, {x, y});
            }
        });
        addNodes(segments);
    }

    /// False when there are none.
    bool addNodes(const LineSegments& segments) {
        std::sort(m_nodes.begin(), m_nodes.end(), [&segments](const Node& a, const Node& b) {
            return a.segment != b.segment ? a.segment < b.segment
                                          : comesFirst(segments[a.segment], a.place, b.place);
        });
        std::vector<std::size_t> first(segments.size() + 1, 0); // node of each segment
        for (const Node& node : m_nodes) {
            ++first[node.segment + 1];
        }
        std::partial_sum(first.begin(), first.end(), first.begin());
        const std::vector<LineSegments::Use>& uses = segments.uses();
        std::vector<std::pair<int, Path>> cutLines;
        std::size_t vertices = 0;
        for (auto use = uses.begin(); use != uses.end();) {
            const int number = use->line;
            const auto end =
                std::find_if(use, uses.end(), [number](const auto& u) { return u.line != number; });
            if (std::any_of(use, end,
                            [&first](const auto& u) { return first[u.segment] < first[u.segment + 1]; })) {
                Path line{*use->start};
                for (; use != end; ++use) {
                    addNodesOf(*use, segments, first, line);
                    addVertex(line, positionOf(*use->end), m_as);
                }
                vertices += static_cast<std::size_t>(line.size());
                if (vertices > m_mostNodes + 2 * uses.size()) {
                    refuse();
                }
                cutLines.emplace_back(number, std::move(line));
            }
            use = end;
        }
        m_nodes.clear();
        for (auto& [number, line] : cutLines) { // of which the vertices were used
            m_lines[number] = std::move(line);
        }
        return !cutLines.empty();
    }

    void addNodesOf(const LineSegments::Use& use, const LineSegments& segments,
                    const std::vector<std::size_t>& first, Path& line) {
        const std::size_t begin = first[use.segment];
        const std::size_t count = first[use.segment + 1] - begin;
        const bool isForth = isSamePlace(*use.start, *segments[use.segment].start);
        for (std::size_t i = 0; i < count; ++i) {
            addVertex(line, m_nodes[isForth ? begin + i : begin + count - 1 - i].place, m_as);
        }
        m_work.add(16 * static_cast<qint64>(count + 1));
    }

    [[noreturn]] void refuse() const {
        throw NotNoded{"there are more than " + std::to_string(m_mostNodes / 2) + " crossings."};
    }

    const QList<Path> m_original;
    QList<Path> m_lines;
    NodedAs m_as;
    Work& m_work;
    std::size_t m_mostNodes; ///< two for a crossing
    NodingGrid m_grid;
    std::vector<bool> m_isCoarse; ///< the lines on the grid
    double m_largest = 0.0;
    std::vector<Node> m_nodes;
    std::vector<bool> m_meets; ///< the segments that did
    std::set<int> m_meeting;   ///< the lines that met in the last round
};

} // namespace

QList<QList<GisShapePoint>> nodedLines(const QList<QList<GisShapePoint>>& lines, NodedAs as,
                                       const NodingGrid& grid, Work& work) {
    return Noder(lines, as, grid, work).run();
}

} // namespace Cartolith::Core::Topology::Internal
