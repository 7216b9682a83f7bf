#include <Cartolith/Core/Shapes/FarthestVertexInternal.h>
#include <Cartolith/Core/Shapes/SegmentFormulasInternal.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <emmintrin.h>
#include <limits>

namespace Cartolith::Core::Shapes::Internal {

/// The distance to the chord, and of boxes a distance that the computed one of none of their vertices
/// exceeds.
class FarthestVertex::Chord {
public:
    Chord(const GisShapePoint& a, const GisShapePoint& b, double largest)
        : m_ax(a.x()), m_ay(a.y()), m_bx(b.x()), m_by(b.y()), m_noise(largest * 0x1p-46) {
        const double dx = m_bx - m_ax;
        const double dy = m_by - m_ay;
        m_length = std::sqrt(dx * dx + dy * dy);
        m_alongX = dx / m_length;
        m_alongY = dy / m_length;
    }

    double distanceOf(const GisShapePoint& p) const {
        return distanceToSegment(p.x(), p.y(), m_ax, m_ay, m_bx, m_by);
    }

    /// Of which the roots are the distances, two at a time: the same steps as there, with sound numbers. Up
    /// to one more than `count` are read and written. Returns the largest written.
    double squaresOf(const double* x, const double* y, std::size_t count, double* squares) const {
        const double dx = m_bx - m_ax;
        const double dy = m_by - m_ay;
        const __m128d fromX = _mm_set1_pd(m_ax);
        const __m128d fromY = _mm_set1_pd(m_ay);
        const __m128d alongX = _mm_set1_pd(dx);
        const __m128d alongY = _mm_set1_pd(dy);
        const __m128d square = _mm_set1_pd(dx == 0.0 && dy == 0.0 ? 1.0 : dx * dx + dy * dy);
        const __m128d zero = _mm_setzero_pd();
        const __m128d one = _mm_set1_pd(1.0);
        __m128d most = zero;
        for (std::size_t i = 0; i < count; i += 2) {
            const __m128d px = _mm_loadu_pd(x + i);
            const __m128d py = _mm_loadu_pd(y + i);
            const __m128d product = _mm_add_pd(_mm_mul_pd(_mm_sub_pd(px, fromX), alongX),
                                               _mm_mul_pd(_mm_sub_pd(py, fromY), alongY));
            const __m128d t = _mm_min_pd(_mm_max_pd(_mm_div_pd(product, square), zero), one);
            const __m128d offX = _mm_sub_pd(px, _mm_add_pd(fromX, _mm_mul_pd(t, alongX)));
            const __m128d offY = _mm_sub_pd(py, _mm_add_pd(fromY, _mm_mul_pd(t, alongY)));
            const __m128d both = _mm_add_pd(_mm_mul_pd(offX, offX), _mm_mul_pd(offY, offY));
            _mm_storeu_pd(squares + i, both);
            most = _mm_max_pd(most, both);
        }
        return std::max(_mm_cvtsd_f64(most), _mm_cvtsd_f64(_mm_unpackhi_pd(most, most)));
    }

    double mostIn(const Box& box) const {
        const bool isLevel = m_ay == m_by;
        const bool isUpright = m_ax == m_bx;
        if (isLevel || isUpright) {
            // Across such a chord nothing is rounded but the difference, and rounding keeps the order: a
            // bound without a margin, so that equally far vertices are seen to be no farther. Along it the
            // foot may be off by the noise, which the square of the distance mostly swallows. Of a chord
            // without length both hold.
            const double x =
                isUpright ? across(m_ax, box.xMin, box.xMax) : along(m_ax, m_bx, box.xMin, box.xMax);
            const double y =
                isLevel ? across(m_ay, box.yMin, box.yMax) : along(m_ay, m_by, box.yMin, box.yMax);
            return std::sqrt(x * x + y * y);
        }
        // Beside the chord the distance is that from its line.
        const double toX = 0.5 * (box.xMin + box.xMax) - m_ax;
        const double toY = 0.5 * (box.yMin + box.yMax) - m_ay;
        const double halfWidth = 0.5 * (box.xMax - box.xMin);
        const double halfHeight = 0.5 * (box.yMax - box.yMin);
        const double foot = toX * m_alongX + toY * m_alongY;
        const double reach = halfWidth * std::abs(m_alongX) + halfHeight * std::abs(m_alongY);
        if (foot - reach >= 0.0 && foot + reach <= m_length) {
            return std::abs(toY * m_alongX - toX * m_alongY) + halfWidth * std::abs(m_alongY) +
                   halfHeight * std::abs(m_alongX) + m_noise;
        }
        // The distance to a segment is convex: over a box it is largest in a corner.
        const double most = std::max({distanceToSegment(box.xMin, box.yMin, m_ax, m_ay, m_bx, m_by),
                                      distanceToSegment(box.xMin, box.yMax, m_ax, m_ay, m_bx, m_by),
                                      distanceToSegment(box.xMax, box.yMin, m_ax, m_ay, m_bx, m_by),
                                      distanceToSegment(box.xMax, box.yMax, m_ax, m_ay, m_bx, m_by)});
        return most * (1.0 + 0x1p-48) + m_noise;
    }

private:
    static double across(double place, double low, double high) {
        return std::max(std::abs(low - place), std::abs(high - place));
    }
    double along(double a, double b, double low, double high) const {
        const double beyond = std::max({0.0, std::min(a, b) - low, high - std::max(a, b)});
        return beyond * (1.0 + 0x1p-48) + m_noise;
    }

    double m_ax;
    double m_ay;
    double m_bx;
    double m_by;
    double m_noise;
    double m_length;
    double m_alongX; ///< not a number for a chord without length
    double m_alongY;
};

FarthestVertex::FarthestVertex(const QList<GisShapePoint>& points, int first, int last)
    : m_points(points.constData()), m_first(first) {
    constexpr int few = 4 * runLength;
    if (last - first < few) {
        return;
    }
    bool isSound = true; // squares neither overflow nor underflow
    const auto take = [&](double value) {
        const double size = std::abs(value);
        isSound = isSound && size <= 1e100 && (size == 0.0 || size >= 1e-100);
        m_largest = std::max(m_largest, size);
    };
    m_x.reserve(static_cast<std::size_t>(last) - static_cast<std::size_t>(first) + 2);
    m_y.reserve(m_x.capacity());
    std::vector<Box> runs;
    runs.reserve((static_cast<std::size_t>(last) - static_cast<std::size_t>(first)) / runLength + 1);
    for (int begin = first; begin <= last; begin += runLength) {
        Box box{m_points[begin].x(), m_points[begin].y(), m_points[begin].x(), m_points[begin].y()};
        for (int i = begin; i <= std::min(begin + runLength - 1, last); ++i) {
            const GisShapePoint& p = m_points[i];
            take(p.x());
            take(p.y());
            m_x.push_back(p.x());
            m_y.push_back(p.y());
            box = {std::min(box.xMin, p.x()), std::min(box.yMin, p.y()), std::max(box.xMax, p.x()),
                   std::max(box.yMax, p.y())};
        }
        runs.push_back(box);
    }
    if (!isSound) {
        return;
    }
    m_x.push_back(0.0);
    m_y.push_back(0.0);
    m_levels.push_back(std::move(runs));
    while (m_levels.back().size() > 1) {
        const std::vector<Box>& below = m_levels.back();
        std::vector<Box> level;
        level.reserve(below.size() / fanOut + 1);
        for (std::size_t i = 0; i < below.size(); ++i) {
            const Box& box = below[i];
            if (i % fanOut == 0) {
                level.push_back(box);
            } else {
                Box& all = level.back();
                all = {std::min(all.xMin, box.xMin), std::min(all.yMin, box.yMin),
                       std::max(all.xMax, box.xMax), std::max(all.yMax, box.yMax)};
            }
        }
        m_levels.push_back(std::move(level));
    }
}

void FarthestVertex::scanRun(const Chord& chord, int begin, int end, Best& best) const {
    std::array<double, scanLength> squares; // an even number
    const auto offset = static_cast<std::size_t>(begin - m_first);
    const auto count = static_cast<std::size_t>(end - begin);
    const double most = chord.squaresOf(m_x.data() + offset, m_y.data() + offset, count, squares.data());
    // Two squares may have one root.
    const double enough = best.square * (1.0 - 0x1p-50);
    const bool isLater = begin > best.index;
    if (isLater ? most <= best.square : most < enough) {
        return;
    }
    for (std::size_t i = 0; i < count; ++i) {
        if (isLater ? squares[i] > best.square : squares[i] >= enough) {
            const double distance = std::sqrt(squares[i]);
            const int index = begin + static_cast<int>(i);
            if (distance > best.distance || (distance == best.distance && index < best.index)) {
                best = {{distance, index, best.looks}, squares[i]};
            }
        }
    }
}

FarthestVertex::Answer FarthestVertex::ofAll(const Chord& chord, int from, int to) const {
    Best best;
    best.looks = to - from;
    for (int begin = from + 1; begin < to; begin += scanLength) {
        scanRun(chord, begin, std::min(begin + scanLength, to), best);
    }
    return best;
}

FarthestVertex::Answer FarthestVertex::between(int from, int to) const {
    const Chord chord(m_points[from], m_points[to], m_largest);
    if (m_levels.empty()) {
        Answer best;
        best.looks = to - from;
        for (int i = from + 1; i < to; ++i) {
            if (const double distance = chord.distanceOf(m_points[i]); distance > best.distance) {
                best = {distance, i};
            }
        }
        return best;
    }
    if (to - from <= scanLength) {
        return ofAll(chord, from, to);
    }
    // Where the boxes leave out little, looking at all is several times as fast.
    int runsLeft = 8 + (to - from) / (8 * runLength);
    Best best;
    struct Node {
        double most;
        int level;
        int index;
        int begin; ///< of its vertices
    };
    // Of each level at most eight siblings wait, and 2^31 vertices have ten levels. The most promising one
    // comes first; what comes later has to be farther, or as far with a lower index.
    std::array<Node, 96> pending;
    std::size_t count = 0;
    const auto isWorthwhile = [&best](const Node& node) {
        return node.most > best.distance || (node.most == best.distance && node.begin < best.index);
    };
    const auto comesLater = [](const Node& a, const Node& b) {
        return a.most != b.most ? a.most < b.most : a.begin > b.begin;
    };
    pending[count++] = {std::numeric_limits<double>::infinity(), static_cast<int>(m_levels.size()) - 1, 0,
                        m_first};
    while (count > 0) {
        const Node node = pending[--count];
        best.looks += runLength;
        if (!isWorthwhile(node)) {
            continue;
        }
        if (node.level == 0) {
            if (--runsLeft < 0) {
                return ofAll(chord, from, to);
            }
            scanRun(chord, std::max(from + 1, node.begin), std::min(to, node.begin + runLength), best);
            continue;
        }
        const std::size_t firstChild = count;
        const auto& children = m_levels[static_cast<std::size_t>(node.level) - 1];
        const int size = runLength << (3 * (node.level - 1)); // of a child, in vertices
        const int last = std::min<int>(node.index * fanOut + fanOut, static_cast<int>(children.size())) - 1;
        for (int i = last; i >= node.index * fanOut; --i) {
            const qint64 start = m_first + static_cast<qint64>(i) * size;
            if (start < to && start + size > from + 1) {
                const Node child{chord.mostIn(children[static_cast<std::size_t>(i)]), node.level - 1, i,
                                 static_cast<int>(start)};
                if (isWorthwhile(child)) {
                    pending[count++] = child;
                }
            }
        }
        const auto begin = pending.begin() + static_cast<std::ptrdiff_t>(firstChild);
        const auto end = pending.begin() + static_cast<std::ptrdiff_t>(count);
        if (!std::is_sorted(begin, end, comesLater)) {
            std::sort(begin, end, comesLater);
        }
    }
    return best;
}

} // namespace Cartolith::Core::Shapes::Internal
