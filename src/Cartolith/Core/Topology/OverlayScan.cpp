#include <Cartolith/Core/Topology/OverlayScanInternal.h>
#include <Cartolith/Core/Topology/PolygonPathInternal.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace Cartolith::Core::Topology::Internal {

using Shapes::GisExtent;
using Shapes::GisShapePoint;
using Shapes::GisShapePolygon;
using Type = GisTopologyCombineType;

namespace {

constexpr std::size_t linesWhereBothAre = 32;
constexpr std::size_t linesElsewhere = 12;
constexpr std::size_t crossingsAtOnce = 1U << 20U;
constexpr std::size_t noRing = static_cast<std::size_t>(-1);

struct ScanLine {
    double y;
    double height;    ///< of the strip or ring it stands for
    int outline;      ///< of the ring it was laid through
    std::size_t ring; ///< noRing for a line of a strip
    std::size_t crossings = 0;
};

struct Crossing {
    double x;
    quint32 ring;
    quint8 outline;
    qint8 direction;
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

void addStrips(std::vector<ScanLine>& lines, double low, double high, std::size_t count) {
    const double height = (high - low) / static_cast<double>(count);
    double jitter = 0.37;
    for (std::size_t i = 0; i < count; ++i) {
        jitter += 0.6180339887498949; // spreads evenly, and coordinates of real data do not repeat it
        jitter -= std::floor(jitter);
        lines.push_back({low + height * (static_cast<double>(i) + 0.1 + 0.8 * jitter), height, 0, noRing});
    }
}

class Scanner {
public:
    Scanner(const Outline& a, const Outline& b, const Outline& result, Type type, RingReading reading)
        : m_outlines{&a, &b, &result}, m_type(type), m_reading(reading) {
        for (std::size_t i = 0; i < 3; ++i) {
            m_signs[i].assign(m_outlines[i]->rings.size(), 0);
        }
        m_negligible = 1e-6 * a.extent.expand(b.extent).width();
    }

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
        measureAreas();
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
                addStrips(m_lines, ends[i - 1], ends[i],
                          reaches(a) && reaches(b) ? linesWhereBothAre : linesElsewhere);
            }
        }
        layLinesThroughRings();
        std::sort(m_lines.begin(), m_lines.end(),
                  [](const ScanLine& first, const ScanLine& second) { return first.y < second.y; });
    }

    /// So that no part is missed and each ring is known as shell or hole. Not for very many small rings,
    /// where it would be what costs most.
    void layLinesThroughRings() {
        std::size_t rings = 0;
        std::size_t vertices = 0;
        for (const Outline* outline : m_outlines) {
            rings += outline->rings.size() > 1 ? outline->rings.size() : 0;
            vertices += outline->x.size();
        }
        m_ringsAreKnown = rings <= 64 + vertices / 8;
        for (int i = 0; m_ringsAreKnown && i < 3; ++i) {
            const auto& all = m_outlines[static_cast<std::size_t>(i)]->rings;
            for (std::size_t r = 0; all.size() > 1 && r < all.size(); ++r) {
                const double height = all[r].high - all[r].low;
                m_lines.push_back({all[r].low + 0.4871 * height, height, i, r});
            }
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
        for (int which = 0; which < 3; ++which) {
            const Outline& outline = *m_outlines[static_cast<std::size_t>(which)];
            std::size_t ring = 0;
            walk(outline, [&](std::size_t line, std::size_t from, std::size_t to) {
                while (from >= outline.rings[ring].end) {
                    ++ring;
                }
                if (line < begin || line >= end) {
                    return;
                }
                const double slope = (outline.x[to] - outline.x[from]) / (outline.y[to] - outline.y[from]);
                m_crossings[next[line - begin]++] = {
                    outline.x[from] + (m_lines[line].y - outline.y[from]) * slope, static_cast<quint32>(ring),
                    static_cast<quint8>(which), static_cast<qint8>(outline.y[to] > outline.y[from] ? 1 : -1)};
            });
        }
        auto first = m_crossings.begin();
        for (std::size_t i = begin; i < end; ++i) {
            const auto last = first + static_cast<std::ptrdiff_t>(m_lines[i].crossings);
            std::sort(first, last, [](const Crossing& p, const Crossing& q) { return p.x < q.x; });
            measure(m_lines[i], &*first, m_lines[i].crossings);
            first = last;
        }
    }

    bool isInInput(int winding) const {
        return m_reading == RingReading::Winding ? winding != 0 : (winding & 1) != 0;
    }

    void measure(const ScanLine& line, const Crossing* crossings, std::size_t count) {
        std::array<int, 3> winding{};
        double both = 0.0;
        double onlyA = 0.0;
        double onlyB = 0.0;
        double mismatch = 0.0;
        bool isInRing = false; // that the line was laid through
        for (std::size_t i = 0; i < count; ++i) {
            winding[static_cast<std::size_t>(crossings[i].outline)] += crossings[i].direction;
            isInRing = isInRing || (line.ring == crossings[i].ring &&
                                    line.outline == static_cast<int>(crossings[i].outline));
            const double length = i + 1 < count ? crossings[i + 1].x - crossings[i].x : 0.0;
            const bool inA = isInInput(winding[0]);
            const bool inB = isInInput(winding[1]);
            (inA && inB ? both : inA ? onlyA : onlyB) += inA || inB ? length : 0.0;
            if (isInside(m_type, inA, inB) != ((winding[2] & 1) != 0)) {
                mismatch += length;
            }
            if (length > m_negligible) {
                note(line, isInRing, winding);
            }
        }
        m_scan.suspectArea += mismatch * line.height;
        if (mismatch > m_worst) {
            m_worst = mismatch;
            m_scan.worstAt = line.y;
        }
        if (line.ring == noRing) {
            m_scan.wrongArea += mismatch * line.height;
            add(m_scan.both, m_last[0], both, line.height);
            add(m_scan.onlyA, m_last[1], onlyA, line.height);
            add(m_scan.onlyB, m_last[2], onlyB, line.height);
        }
    }

    /// What a piece of noticeable length says about the rings: where the line enters the ring it was laid
    /// through, it enters the area or leaves it.
    void note(const ScanLine& line, bool isInRing, const std::array<int, 3>& winding) {
        const auto outline = static_cast<std::size_t>(line.outline);
        if (isInRing && m_signs[outline][line.ring] == 0) {
            m_signs[outline][line.ring] = (winding[outline] & 1) != 0 ? 1 : -1;
        }
        for (std::size_t k = 0; k < 2; ++k) {
            m_lowest[k] = std::min(m_lowest[k], winding[k]);
            m_highest[k] = std::max(m_highest[k], winding[k]);
        }
    }

    static void add(ScannedArea& sum, double& last, double length, double height) {
        sum.area += length * height;
        sum.uncertainty += std::fabs(length - last) * height;
        last = length;
    }

    void measureAreas() {
        for (std::size_t i = 0; i < 3; ++i) {
            const auto& rings = m_outlines[i]->rings;
            const bool byWinding = i < 2 && m_reading == RingReading::Winding;
            bool certain = rings.size() < 2 || m_ringsAreKnown;
            double area = 0.0;
            for (std::size_t r = 0; r < rings.size(); ++r) {
                const int sign = rings.size() == 1 ? 1 : m_signs[i][r];
                certain = certain && (sign != 0 || rings[r].area == 0.0);
                area += byWinding ? rings[r].area : sign * std::fabs(rings[r].area);
            }
            if (i < 2) { // rings that cover something twice, or turn inside out, do not add up
                certain = certain && m_highest[i] - m_lowest[i] <= 1;
            }
            m_scan.areas[i] = certain ? std::fabs(area) : std::numeric_limits<double>::quiet_NaN();
        }
    }

    std::array<const Outline*, 3> m_outlines;
    Type m_type;
    RingReading m_reading;
    double m_negligible; ///< of lengths; NaN when there is no input
    bool m_ringsAreKnown = false;
    std::vector<ScanLine> m_lines;
    std::vector<Crossing> m_crossings;
    std::array<std::vector<qint8>, 3> m_signs; ///< of each ring: 1 for a shell, -1 for a hole
    std::array<double, 3> m_last{};
    double m_worst = 0.0;
    std::array<int, 2> m_lowest{};
    std::array<int, 2> m_highest{};
    OverlayScan m_scan;
};

} // namespace

Outline outlineOf(const GisShapePolygon& polygon) {
    Outline outline;
    for (const QList<GisShapePoint>& part : polygon.parts()) {
        const std::size_t begin = outline.x.size();
        for (const GisShapePoint& vertex : part) {
            if (canOverlay(vertex)) {
                outline.x.push_back(vertex.x());
                outline.y.push_back(vertex.y());
            }
        }
        if (outline.x.size() < begin + 3) {
            outline.x.resize(begin);
            outline.y.resize(begin);
            continue;
        }
        if (outline.x.back() != outline.x[begin] || outline.y.back() != outline.y[begin]) {
            outline.x.push_back(outline.x[begin]);
            outline.y.push_back(outline.y[begin]);
        }
        double left = outline.x[begin];
        double right = left;
        double low = outline.y[begin];
        double high = low;
        double twice = 0.0;
        const double x0 = left;
        const double y0 = low;
        for (std::size_t v = begin + 1; v < outline.x.size(); ++v) {
            left = std::min(left, outline.x[v]);
            right = std::max(right, outline.x[v]);
            low = std::min(low, outline.y[v]);
            high = std::max(high, outline.y[v]);
            twice +=
                (outline.x[v - 1] - x0) * (outline.y[v] - y0) - (outline.x[v] - x0) * (outline.y[v - 1] - y0);
        }
        outline.rings.push_back({begin, outline.x.size(), twice / 2, low, high});
        outline.extent = outline.extent.expand(GisExtent(left, low, right, high));
        outline.reach =
            std::max({outline.reach, std::fabs(left), std::fabs(right), std::fabs(low), std::fabs(high)});
    }
    return outline;
}

OverlayScan scanOverlay(const Outline& a, const Outline& b, const Outline& result, Type type,
                        RingReading reading) {
    return Scanner(a, b, result, type, reading).run();
}

} // namespace Cartolith::Core::Topology::Internal
