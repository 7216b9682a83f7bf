#include <Cartolith/Core/Shapes/OrientationInternal.h>
#include <Cartolith/Core/Shapes/RingChordsInternal.h>

#include <cmath>
#include <limits>

namespace Cartolith::Core::Shapes::Internal {

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

/// What two sets of intervals have in common. Either is a list of ends in order, from, to, from, to.
double commonLength(const std::vector<double>& a, const std::vector<double>& b) {
    double length = 0.0;
    std::size_t j = 1;
    for (std::size_t i = 1; i < a.size(); i += 2) {
        while (j < b.size() && b[j] <= a[i - 1]) {
            j += 2;
        }
        for (std::size_t k = j; k < b.size() && b[k - 1] < a[i]; k += 2) {
            length += std::min(a[i], b[k]) - std::max(a[i - 1], b[k - 1]);
        }
    }
    return length;
}

} // namespace

int RingEdges::side(double x, double y, double scale) {
    int winding = 0;
    bool isOn = false;
    visitAt(y, [&](const GisShapePoint& a, const GisShapePoint& b) {
        const int side =
            orientation(a.x() * scale, a.y() * scale, b.x() * scale, b.y() * scale, x * scale, y * scale);
        isOn = isOn || (side == 0 && std::min(a.x(), b.x()) <= x && x <= std::max(a.x(), b.x()));
        if (crossesLine(a, b, y) && (side > 0) == (b.y() > a.y())) {
            winding += side > 0 ? 1 : -1;
        }
    });
    return isOn ? 0 : winding != 0 ? 1 : -1;
}

const std::vector<RingEdges::Crossing>& RingEdges::crossingsAt(double y) {
    m_crossings.clear();
    visitAt(y, [&](const GisShapePoint& a, const GisShapePoint& b) {
        if (crossesLine(a, b, y)) {
            m_crossings.emplace_back(crossingWithLine(a, b, y), b.y() > a.y() ? 1 : -1);
        }
    });
    std::sort(m_crossings.begin(), m_crossings.end());
    return m_crossings;
}

std::vector<double> RingEdges::chordsAt(double y) {
    std::vector<double> ends;
    int winding = 0;
    for (const auto& [x, direction] : crossingsAt(y)) {
        const bool wasOutside = winding == 0;
        winding += direction;
        if (wasOutside || winding == 0) {
            ends.push_back(x);
        }
    }
    return ends;
}

void RingEdges::makeIndex() {
    std::vector<Range> ranges;
    double before = m_ring.constLast().y();
    for (qsizetype i = 0; i < m_ring.size(); ++i) {
        const double y = m_ring[i].y();
        if (i % fanOut == 0) {
            ranges.push_back({before, before});
        }
        ranges.back() = {std::min(ranges.back().low, y), std::max(ranges.back().high, y)};
        before = y;
    }
    m_levels.push_back(std::move(ranges));
    while (m_levels.back().size() > 1) {
        std::vector<Range> parents;
        for (const Range& range : m_levels.back()) {
            if (parents.size() * fanOut <= static_cast<std::size_t>(&range - m_levels.back().data())) {
                parents.push_back(range);
            }
            parents.back() = {std::min(parents.back().low, range.low),
                              std::max(parents.back().high, range.high)};
        }
        m_levels.push_back(std::move(parents));
    }
}

RingChords::RingChords(const QList<GisShapePoint>& ring, double scale) : m_ring(ring), m_scale(scale) {
    const auto [bottom, top] =
        std::minmax_element(ring.begin(), ring.end(),
                            [](const GisShapePoint& a, const GisShapePoint& b) { return a.y() < b.y(); });
    m_bottom = bottom->y();
    m_top = top->y();
    RingEdges edges(ring);
    for (int i = 0; i < few; ++i) {
        Line& its = m_lines[static_cast<std::size_t>(i)];
        its = line(edges, i, few);
        m_length += its.length;
    }
}

RingChords::Line RingChords::line(RingEdges& edges, int number, int many) const {
    const double step = m_top / many - m_bottom / many;
    Line line{m_bottom + step * (number + 0.3819660112501051), {}, 0.0}; // not where grids have edges
    line.chords = edges.chordsAt(line.y);
    for (std::size_t k = 1; k < line.chords.size(); k += 2) {
        line.length += line.chords[k] - line.chords[k - 1];
    }
    return line;
}

RingBox RingChords::middles(double largest) const {
    RingBox box{infinity, infinity, -infinity, -infinity};
    const auto add = [&box](double x, double y) {
        box = {std::min(box.xMin, x), std::min(box.yMin, y), std::max(box.xMax, x), std::max(box.yMax, y)};
    };
    for (const Line& line : m_lines) {
        for (std::size_t k = 1; areLong(largest) && k < line.chords.size(); k += 2) {
            add(line.chords[k - 1] / 2 + line.chords[k] / 2, line.y);
        }
    }
    for (qsizetype i = 0; !areLong(largest) && i < m_ring.size(); ++i) {
        add(m_ring[i].x(), m_ring[i].y());
    }
    return box;
}

GisShapePoint RingChords::middle() const {
    constexpr double preference = 0x1p20; // halfway up, unless rounding could have made what is there
    double longest = 0.0;
    GisShapePoint middle;
    for (const Line& line : m_lines) {
        for (std::size_t k = 1; k < line.chords.size(); k += 2) {
            const double length = line.chords[k] - line.chords[k - 1];
            if (const double weighted = &line == &m_lines[few / 2] ? length * preference : length;
                weighted > longest) {
                longest = weighted;
                middle = GisShapePoint(line.chords[k - 1] / 2 + line.chords[k] / 2, line.y);
            }
        }
    }
    return middle;
}

bool RingChords::lieIn(RingEdges& outer, double largest) {
    if (!areLong(largest)) {
        return verticesLieIn(outer);
    }
    constexpr double rounding = 1e-9;
    double inside = 0.0;
    double outside = 0.0;
    for (const Line& line : m_lines) {
        const double its = commonLength(line.chords, outer.chordsAt(line.y));
        inside += its;
        outside += line.length - its;
        const bool isMixed = std::min(inside, outside) > rounding * m_length;
        if (isMixed) {
            return mostLiesIn(outer);
        }
        if (std::max(inside, outside) > m_length / 2) {
            break;
        }
    }
    return inside > outside;
}

bool RingChords::mostLiesIn(RingEdges& outer) {
    constexpr int many = 64;
    if (m_manyLines.empty()) {
        RingEdges edges(m_ring);
        for (int i = 0; i < many; ++i) {
            m_manyLines.push_back(line(edges, i, many));
            m_manyLength += m_manyLines.back().length;
        }
    }
    constexpr double rounding = 1e-12;
    const double half = m_manyLength / 2;
    double inside = 0.0;
    double left = m_manyLength; // of the lines to come
    for (const Line& its : m_manyLines) {
        inside += commonLength(its.chords, outer.chordsAt(its.y));
        left -= its.length;
        if (inside > half || inside + left < half * (1 - rounding)) {
            break;
        }
    }
    return inside > half;
}

bool RingChords::verticesLieIn(RingEdges& outer) const {
    qsizetype balance = 0;
    for (const GisShapePoint& vertex : m_ring) {
        balance += outer.side(vertex.x(), vertex.y(), m_scale);
    }
    if (balance == 0) { // they all touch
        const GisShapePoint* a = &m_ring.constLast();
        for (const GisShapePoint& b : m_ring) {
            balance += outer.side(a->x() / 2 + b.x() / 2, a->y() / 2 + b.y() / 2, m_scale);
            a = &b;
        }
    }
    return balance > 0;
}

} // namespace Cartolith::Core::Shapes::Internal
