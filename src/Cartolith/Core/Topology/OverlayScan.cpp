#include <Cartolith/Core/Topology/OverlayScanInternal.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace Cartolith::Core::Topology::Internal {

using Shapes::GisExtent;
using Type = GisTopologyCombineType;

namespace {

constexpr std::size_t linesWhereBothAre = 32;
constexpr std::size_t linesElsewhere = 12;
constexpr std::size_t crossingsAtOnce = 1U << 20U;

struct ScanLine {
    double y;
    double height; ///< of the strip it stands for
    bool isCommon; ///< both inputs are there
    std::size_t crossings = 0;
};

struct Crossing {
    double x;
    quint8 outline;
    qint8 direction;
    qint8 weight; ///< the direction by the ring's factor
};

bool isInside(Type type, bool inA, bool inB) {
    switch (type) {
    case Type::Intersection:
        return inA && inB;
    case Type::Difference:
        return inA && !inB;
    case Type::SymmetricalDifference:
        return inA != inB;
    case Type::Union:
        break;
    }
    return inA || inB;
}

class Scanner {
public:
    Scanner(const Outline& a, const Outline& b, const Outline& result, Type type, RingReading reading)
        : m_outlines{&a, &b, &result}, m_type(type), m_reading(reading),
          m_left(std::max(a.extent.xMin(), b.extent.xMin())),
          m_right(std::min(a.extent.xMax(), b.extent.xMax())), m_negligible{1e-6 * a.extent.width(),
                                                                            1e-6 * b.extent.width()} {}

    OverlayScan run() {
        layLines();
        for (const Outline* outline : m_outlines) {
            walk(*outline, [this](std::size_t line, std::size_t from, std::size_t to) {
                (void)from;
                (void)to;
                ++m_lines[line].crossings;
            });
        }
        for (std::size_t begin = 0; begin < m_lines.size();) {
            std::size_t end = begin;
            std::size_t count = 0;
            do {
                count += m_lines[end++].crossings;
            } while (end < m_lines.size() && count + m_lines[end].crossings <= crossingsAtOnce);
            collect(begin, end, count);
            begin = end;
        }
        return m_scan;
    }

private:
    void layLines() {
        const GisExtent& a = m_outlines[0]->extent;
        const GisExtent& b = m_outlines[1]->extent;
        std::vector<double> ends;
        for (const GisExtent& box : {a, b}) {
            if (!box.isEmpty()) {
                ends.insert(ends.end(), {box.yMin(), box.yMax()});
            }
        }
        std::sort(ends.begin(), ends.end());
        for (std::size_t i = 1; i < ends.size(); ++i) {
            const auto reaches = [&ends, i](const GisExtent& box) {
                return box.yMin() <= ends[i - 1] && ends[i] <= box.yMax();
            };
            if (ends[i] > ends[i - 1] && (reaches(a) || reaches(b))) {
                addStrips(ends[i - 1], ends[i], reaches(a) && reaches(b));
            }
        }
    }

    void addStrips(double low, double high, bool isCommon) {
        const std::size_t count = isCommon ? linesWhereBothAre : linesElsewhere;
        const double height = (high - low) / static_cast<double>(count);
        double jitter = 0.37;
        for (std::size_t i = 0; i < count; ++i) {
            jitter += 0.6180339887498949; // spreads evenly, and coordinates of real data do not repeat it
            jitter -= std::floor(jitter);
            m_lines.push_back(
                {low + height * (static_cast<double>(i) + 0.1 + 0.8 * jitter), height, isCommon});
        }
    }

    /// Calls visit(line, from, to) where the edge between two vertices crosses a line. What a vertex is above
    /// of is found from where its predecessor was, so that most edges take a comparison or two.
    template <typename Visit>
    void walk(const Outline& outline, const Visit& visit) const {
        std::size_t below = 0; // how many lines the vertex lies above of
        for (const Outline::Ring& ring : outline.rings) {
            for (std::size_t v = ring.begin; v < ring.end; ++v) {
                const double y = outline.y[v];
                for (; below < m_lines.size() && m_lines[below].y < y; ++below) {
                    if (v > ring.begin) {
                        visit(below, v - 1, v);
                    }
                }
                for (; below > 0 && m_lines[below - 1].y >= y; --below) {
                    if (v > ring.begin) {
                        visit(below - 1, v - 1, v);
                    }
                }
            }
        }
    }

    void collect(std::size_t begin, std::size_t end, std::size_t count) {
        m_crossings.resize(count);
        std::vector<std::size_t> next(end - begin);
        for (std::size_t i = begin, place = 0; i < end; place += m_lines[i++].crossings) {
            next[i - begin] = place;
        }
        for (std::size_t which = 0; which < m_outlines.size(); ++which) {
            const Outline& outline = *m_outlines[which];
            std::size_t ring = 0;
            walk(outline, [&](std::size_t line, std::size_t from, std::size_t to) {
                while (from >= outline.rings[ring].end) {
                    ++ring;
                }
                if (line < begin || line >= end) {
                    return;
                }
                const int direction = outline.y[to] > outline.y[from] ? 1 : -1;
                const double slope = (outline.x[to] - outline.x[from]) / (outline.y[to] - outline.y[from]);
                m_crossings[next[line - begin]++] = {
                    outline.x[from] + (m_lines[line].y - outline.y[from]) * slope, static_cast<quint8>(which),
                    static_cast<qint8>(direction),
                    static_cast<qint8>(direction * outline.rings[ring].factor)};
            });
        }
        std::size_t place = 0;
        for (std::size_t i = begin; i < end; ++i) { // a line need not cross anything
            Crossing* const first = m_crossings.data() + place;
            place += m_lines[i].crossings;
            std::sort(first, m_crossings.data() + place,
                      [](const Crossing& p, const Crossing& q) { return p.x < q.x; });
            measure(m_lines[i], first, m_lines[i].crossings);
        }
    }

    bool isInInput(int winding) const {
        return m_reading == RingReading::Winding ? winding != 0 : (winding & 1) != 0;
    }

    void measure(const ScanLine& line, const Crossing* crossings, std::size_t count) {
        std::array<int, 3> winding{};
        std::array<int, 3> weighted{}; // -1 inside an input, as a line enters it over an edge that runs down
        double wrong = 0.0;
        double wrongInCommon = 0.0;
        for (std::size_t i = 0; i + 1 < count; ++i) {
            winding[crossings[i].outline] += crossings[i].direction;
            weighted[crossings[i].outline] += crossings[i].weight;
            const double left = crossings[i].x;
            const double right = crossings[i + 1].x;
            const std::array<bool, 2> isIn{isInInput(winding[0]), isInInput(winding[1])};
            for (std::size_t k = 0; k < 2; ++k) {
                m_scan.areas[k] += isIn[k] ? (right - left) * line.height : 0.0;
                const bool isSingle = weighted[k] == 0 || weighted[k] == -1;
                m_scan.isSingle = m_scan.isSingle && (isSingle || !(right - left > m_negligible[k]));
            }
            if (isInside(m_type, isIn[0], isIn[1]) != ((winding[2] & 1) != 0)) {
                wrong += right - left;
                wrongInCommon += std::max(0.0, std::min(right, m_right) - std::max(left, m_left));
            }
        }
        m_scan.wrongArea += wrong * line.height;
        m_scan.wrongAreaInCommon += line.isCommon ? wrongInCommon * line.height : 0.0;
        if (wrong > m_worst) {
            m_worst = wrong;
            m_scan.worstAt = line.y;
        }
    }

    std::array<const Outline*, 3> m_outlines;
    Type m_type;
    RingReading m_reading;
    double m_left; ///< of the common extent
    double m_right;
    std::array<double, 2> m_negligible; ///< of lengths
    std::vector<ScanLine> m_lines;
    std::vector<Crossing> m_crossings;
    double m_worst = 0.0;
    OverlayScan m_scan;
};

} // namespace

OverlayScan scanOverlay(const Outline& a, const Outline& b, const Outline& result, Type type,
                        RingReading reading) {
    return Scanner(a, b, result, type, reading).run();
}

} // namespace Cartolith::Core::Topology::Internal
