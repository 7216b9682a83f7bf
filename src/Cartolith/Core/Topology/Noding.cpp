#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Core/Topology/NodingInternal.h>
#include <Cartolith/Core/Topology/RingMeasuresInternal.h>
#include <Cartolith/Core/Topology/RunStripInternal.h>
#include <Cartolith/Core/Topology/SegmentMeetingInternal.h>
#include <Cartolith/Core/Topology/SegmentPairsInternal.h>

#include <algorithm>
#include <cmath>
#include <set>
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

/// Some of many lines as segments.
class LineSegments {
public:
    template <typename IsTaken>
    LineSegments(const QList<Path>& lines, IsTaken isTaken) : m_list(shapeOf(lines, m_numbers, isTaken)) {}

    const SegmentList& list() const noexcept { return m_list; }
    const Segment& operator[](std::size_t i) const { return m_list.segments()[i]; }
    int lineOf(std::size_t i) const { return m_numbers[static_cast<std::size_t>((*this)[i].part)]; }

private:
    template <typename IsTaken>
    static Shapes::GisShapePolyline shapeOf(const QList<Path>& lines, std::vector<int>& numbers,
                                            IsTaken isTaken) {
        Shapes::GisShapePolyline shape;
        for (int i = 0; i < lines.size(); ++i) {
            if (!lines[i].isEmpty() && isTaken(i)) {
                shape.parts().append(lines[i]);
                numbers.push_back(i);
            }
        }
        return shape;
    }

    std::vector<int> m_numbers; ///< of the lines
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
            run, {run, runs}, work, [&](qsizetype other) { return strips.mayMeet(run, other); },
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

void addVertex(Path& line, Position place) {
    const GisShapePoint vertex = pointOf(place);
    if (line.isEmpty() || !isSamePlace(line.constLast(), vertex)) {
        line.append(vertex);
    }
}

class Noder {
public:
    Noder(const QList<Path>& lines, const NodingGrid& grid, Work& work)
        : m_original(lines), m_lines(lines), m_work(work), m_grid(grid),
          m_isCoarse(static_cast<std::size_t>(lines.size()), grid.smallest > 0.0 || grid.level > 0) {
        for (const Path& line : lines) {
            for (const GisShapePoint& p : line) {
                m_largest = std::max({m_largest, std::fabs(p.x()), std::fabs(p.y())});
            }
        }
    }

    QList<Path> run() {
        constexpr int mostRounds = 6;
        while (true) {
            if (cell() > 0.0) {
                snap();
            }
            for (int round = 0; round < mostRounds; ++round) {
                m_meeting.clear();
                if (cut().empty()) {
                    return std::move(m_lines);
                }
            }
            ++m_grid.level;
            for (const int line : m_meeting) { // the one that is cut, and the one that cuts it
                m_isCoarse[static_cast<std::size_t>(line)] = true;
            }
        }
    }

private:
    double cell() const {
        return m_grid.level == 0 ? m_grid.smallest
                                 : std::max(m_grid.smallest,
                                            std::ldexp(1.0, std::ilogb(m_largest) - 50 + 4 * m_grid.level));
    }
    bool isCoarse(int line) const { return m_isCoarse[static_cast<std::size_t>(line)]; }

    void add(const LineSegments& segments, std::size_t i, Position place) {
        constexpr std::size_t most = 20'000'000; // two for a crossing
        const GisShapePoint vertex = pointOf(place);
        if (!isSamePlace(*segments[i].start, vertex) && !isSamePlace(*segments[i].end, vertex)) {
            if (m_nodes.size() == most) {
                throw TooManyCrossings();
            }
            m_nodes.push_back({i, place});
        }
    }

    /// One round. Returns the lines that were cut.
    std::vector<int> cut() {
        const LineSegments segments(m_lines, [](int /*line*/) { return true; });
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
                m_meeting.insert(segments.lineOf(i));
                m_meeting.insert(segments.lineOf(j));
            }
        });
        return addNodes(segments);
    }

    /// All coarse lines from the beginning.
    void snap() {
        const double size = cell();
        const auto rounded = [size](Position p) {
            return Position{std::rint(p.x / size) * size, std::rint(p.y / size) * size};
        };
        for (int i = 0; i < m_lines.size(); ++i) {
            if (isCoarse(i)) {
                m_lines[i].clear();
                for (const GisShapePoint& p : std::as_const(m_original[i])) {
                    addVertex(m_lines[i], rounded(positionOf(p)));
                }
                if (m_lines[i].size() < 2) {
                    m_lines[i].clear();
                }
            }
        }
        const LineSegments segments(m_lines, [this](int line) { return isCoarse(line); });
        std::vector<std::pair<double, double>> centres;
        for (const Segment& segment : segments.list().segments()) {
            centres.emplace_back(segment.start->x(), segment.start->y());
            centres.emplace_back(segment.end->x(), segment.end->y());
        }
        visitPairs(segments, m_work, [&](std::size_t i, std::size_t j) {
            const SegmentMeeting meeting = meetingOf(segments[i], segments[j]);
            if (meeting.kind == SegmentMeeting::Kind::Cross) {
                const Position place = rounded(meeting.places[0]);
                add(segments, i, place);
                add(segments, j, place);
                centres.emplace_back(place.x, place.y);
            }
        });
        std::sort(centres.begin(), centres.end());
        centres.erase(std::unique(centres.begin(), centres.end()), centres.end());
        const double half = size / 2;
        QList<Path> cells;
        for (const auto& [x, y] : centres) {
            cells.append({{x - half, y - half}, {x + half, y + half}});
        }
        const LineSegments squares(cells, [](int /*cell*/) { return true; });
        const SegmentPairs pairs(segments.list(), squares.list(), 0.0, Boundary::Boxes::Bare);
        pairs.visitAll(m_work, [&](std::size_t i, std::size_t j) { // of which the boxes meet
            const Segment& segment = segments[i];
            const auto& [x, y] = centres[static_cast<std::size_t>(squares.lineOf(j))];
            const double dx = segment.end->x() - segment.start->x();
            const double dy = segment.end->y() - segment.start->y();
            const double beside = dx * (y - segment.start->y()) - dy * (x - segment.start->x());
            if (std::fabs(beside) <= (std::fabs(dx) + std::fabs(dy)) * half) {
                add(segments, i, {x, y});
            }
        });
        addNodes(segments);
    }

    std::vector<int> addNodes(const LineSegments& segments) {
        std::sort(m_nodes.begin(), m_nodes.end(), [&segments](const Node& a, const Node& b) {
            return a.segment != b.segment ? a.segment < b.segment
                                          : comesFirst(segments[a.segment], a.place, b.place);
        });
        QList<std::pair<int, Path>> cutLines;
        for (auto node = m_nodes.cbegin(); node != m_nodes.cend();) {
            const int number = segments.lineOf(node->segment);
            std::size_t segment = node->segment - static_cast<std::size_t>(segments[node->segment].index);
            Path line{*segments[segment].start};
            for (qsizetype i = 1; i < m_lines[number].size(); ++i, ++segment) {
                for (; node != m_nodes.cend() && node->segment == segment; ++node) {
                    addVertex(line, node->place);
                }
                addVertex(line, positionOf(*segments[segment].end));
            }
            m_work.add(16 * line.size());
            cutLines.append({number, std::move(line)});
        }
        m_nodes.clear();
        std::vector<int> numbers;
        for (auto& [number, line] : cutLines) {
            m_lines[number] = std::move(line);
            numbers.push_back(number);
        }
        return numbers;
    }

    const QList<Path> m_original;
    QList<Path> m_lines;
    Work& m_work;
    NodingGrid m_grid;
    std::vector<bool> m_isCoarse; ///< the lines on the grid
    double m_largest = 0.0;
    std::vector<Node> m_nodes;
    std::set<int> m_meeting; ///< the lines that met in the last round
};

} // namespace

QList<QList<GisShapePoint>> nodedLines(const QList<QList<GisShapePoint>>& lines, const NodingGrid& grid,
                                       Work& work) {
    return Noder(lines, grid, work).run();
}

} // namespace Cartolith::Core::Topology::Internal
