#include <Cartolith/Map/Output/VectorPathInternal.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace Cartolith::Map::Output::Internal {

namespace {

struct Border {
    bool isOfX;
    double at;
    double side; ///< 1 keeps what is greater, -1 what is less

    double inside(QPointF p) const { return ((isOfX ? p.x() : p.y()) - at) * side; }
};

std::array<Border, 4> bordersOf(const QRectF& box) {
    return {{{true, box.left(), 1.0},
             {true, box.right(), -1.0},
             {false, box.top(), 1.0},
             {false, box.bottom(), -1.0}}};
}

} // namespace

bool VectorPath::read(std::span<const double> coordinates, std::span<const qsizetype> ends, bool areClosed) {
    m_coordinates.clear();
    m_ends.clear();
    m_begins.clear();
    std::size_t from = 0;
    for (const qsizetype end : ends) {
        const auto to = static_cast<std::size_t>(end) * 2;
        if (readPart(coordinates.subspan(from, to - from), areClosed)) {
            const bool isInside =
                std::all_of(m_part.cbegin(), m_part.cend(), [this](QPointF p) { return m_keep.contains(p); });
            if (isInside) {
                add(m_part, areClosed);
            } else if (areClosed) {
                cutRing();
            } else {
                cutLine();
            }
        }
        from = to;
    }
    return !m_ends.empty();
}

bool VectorPath::readPart(std::span<const double> part, bool isClosed) {
    constexpr double farthest = 1e12; // pixels; beyond, doubles are too coarse to cut
    m_part.clear();
    for (std::size_t i = 0; i + 1 < part.size(); i += 2) {
        const QPointF p = m_view.toPixel(part[i], part[i + 1]);
        if (!(std::abs(p.x()) < farthest && std::abs(p.y()) < farthest)) {
            return false;
        }
        m_part.push_back(p);
    }
    if (isClosed && m_part.size() > 1 && m_part.front() == m_part.back()) {
        m_part.pop_back();
    }
    return !m_part.empty();
}

/// Border after border (Sutherland and Hodgman, 1974): what runs along them lies outside of what is shown.
void VectorPath::cutRing() {
    for (const Border& border : bordersOf(m_keep)) {
        m_cut.clear();
        for (std::size_t i = 0; i < m_part.size(); ++i) {
            const QPointF a = m_part[i == 0 ? m_part.size() - 1 : i - 1];
            const QPointF b = m_part[i];
            const double ofA = border.inside(a);
            const double ofB = border.inside(b);
            if ((ofA < 0.0) != (ofB < 0.0)) {
                m_cut.push_back(a + (b - a) * (ofA / (ofA - ofB)));
            }
            if (ofB >= 0.0) {
                m_cut.push_back(b);
            }
        }
        m_part.swap(m_cut);
    }
    add(m_part, true);
}

void VectorPath::cutLine() {
    const auto borders = bordersOf(m_keep);
    m_cut.clear();
    double along = 0.0; // to the next vertex
    double first = 0.0; // of what is cut out
    for (std::size_t i = 0; i + 1 < m_part.size(); ++i) {
        const QPointF a = m_part[i];
        const QPointF b = m_part[i + 1];
        const double length = std::hypot(b.x() - a.x(), b.y() - a.y());
        along += length;
        double begin = 0.0;
        double end = 1.0;
        for (const Border& border : borders) {
            const double ofA = border.inside(a);
            const double ofB = border.inside(b);
            if (ofA < 0.0 && ofB < 0.0) {
                end = -1.0;
            } else if (ofA < 0.0) {
                begin = std::max(begin, ofA / (ofA - ofB));
            } else if (ofB < 0.0) {
                end = std::min(end, ofA / (ofA - ofB));
            }
        }
        if (begin > end) {
            continue;
        }
        if (begin > 0.0 || m_cut.empty()) {
            add(m_cut, false, first);
            m_cut.assign(1, a + (b - a) * begin);
            first = along - length * (1.0 - begin);
        }
        m_cut.push_back(a + (b - a) * end);
        if (end < 1.0) {
            add(m_cut, false, first);
            m_cut.clear();
        }
    }
    add(m_cut, false, first);
}

void VectorPath::add(std::span<const QPointF> part, bool isClosed, double begin) {
    const std::size_t first = m_coordinates.size();
    const auto count = [&] { return (m_coordinates.size() - first) / 2; };
    const auto last = [&](std::size_t back) {
        return QPointF(m_coordinates[m_coordinates.size() - 2 * back],
                       m_coordinates[m_coordinates.size() - 2 * back + 1]);
    };
    for (const QPointF place : part) {
        const QPointF p(std::round(place.x() / m_step), std::round(place.y() / m_step));
        if (count() > 0 && last(1) == p) {
            continue;
        }
        // Straight on: whole numbers, so this is exact.
        if (count() > 1) {
            const QPointF before = last(1) - last(2);
            const QPointF after = p - last(1);
            if (before.x() * after.y() == before.y() * after.x() &&
                QPointF::dotProduct(before, after) > 0.0) {
                m_coordinates.resize(m_coordinates.size() - 2);
            }
        }
        m_coordinates.insert(m_coordinates.end(), {p.x(), p.y()});
    }
    constexpr std::size_t fewest = 3; // a ring with less has no inside
    const bool isDrawn = count() > 0 && (!isClosed || count() >= fewest || m_ends.empty());
    if (!isDrawn) {
        m_coordinates.resize(first);
        return;
    }
    for (std::size_t i = first; i < m_coordinates.size(); ++i) {
        m_coordinates[i] *= m_step;
    }
    m_ends.push_back(static_cast<qsizetype>(m_coordinates.size() / 2));
    m_begins.push_back(begin);
}

} // namespace Cartolith::Map::Output::Internal
