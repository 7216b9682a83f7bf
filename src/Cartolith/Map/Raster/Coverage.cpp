#include <Cartolith/Map/Raster/CoverageInternal.h>
#include <Cartolith/Map/Raster/WholeInternal.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <emmintrin.h>
#include <utility>

namespace Cartolith::Map::Raster::Internal {

namespace {

constexpr int block = 8; // pixels that are looked at together

bool isZero(const float* sums) {
    const __m128 bits = _mm_or_ps(_mm_loadu_ps(sums), _mm_loadu_ps(sums + 4));
    return _mm_movemask_epi8(_mm_cmpeq_epi32(_mm_castps_si128(bits), _mm_setzero_si128())) == 0xFFFF;
}

} // namespace

Coverage::Coverage(int width, int height, Inside rule)
    : m_width(width), m_height(height), m_rule(rule), m_shares(static_cast<std::size_t>(width) + 1) {}

bool Coverage::begin(double left, double top, double right, double bottom) {
    if (!(left < m_width && top < m_height && right > 0.0 && bottom > 0.0)) {
        return false;
    }
    const int x0 = static_cast<int>(std::max(left, 0.0));
    const int y0 = static_cast<int>(std::max(top, 0.0));
    const int x1 = ceilOf(std::min(right, static_cast<double>(m_width)));
    const int y1 = ceilOf(std::min(bottom, static_cast<double>(m_height)));
    m_box = QRect(x0, y0, std::max(x1 - x0, 1), std::max(y1 - y0, 1));
    m_stride = static_cast<std::size_t>(m_box.width()) + 2;
    const std::size_t needed = m_stride * static_cast<std::size_t>(m_box.height());
    if (m_sums.size() < needed) {
        m_sums.resize(needed, 0.0F); // what was used before is 0 again
    }
    return true;
}

void Coverage::add(const std::vector<QPointF>& ring, float weight, const Map::Internal::Watch& watch) {
    for (std::size_t i = 0; i + 1 < ring.size(); ++i) {
        watch.every(std::size_t{64}, i);
        addEdge(ring[i], ring[i + 1], weight);
    }
    addEdge(ring.back(), ring.front(), weight);
}

void Coverage::addEdge(QPointF a, QPointF b, float weight) {
    // From the box's corner, downwards, cut to its rows in doubles: further out, floats are too coarse.
    double x0 = a.x() - m_box.left();
    double y0 = a.y() - m_box.top();
    double x1 = b.x() - m_box.left();
    double y1 = b.y() - m_box.top();
    if (y0 == y1) {
        return;
    }
    if (y0 > y1) {
        std::swap(x0, x1);
        std::swap(y0, y1);
        weight = -weight;
    }
    const double height = m_box.height();
    if (y1 <= 0.0 || y0 >= height) {
        return;
    }
    const double slope = (x1 - x0) / (y1 - y0);
    if (y0 < 0.0) {
        x0 -= y0 * slope;
        y0 = 0.0;
    }
    if (y1 > height) {
        x1 -= (y1 - height) * slope;
        y1 = height;
    }
    // Left of the box an edge counts at its border, right of it not at all.
    const double width = m_box.width();
    if (x0 >= 0.0 && x1 >= 0.0 && x0 <= width && x1 <= width) {
        addPiece(x0, y0, x1, y1, weight);
        return;
    }
    double cuts[4] = {y0, y1, y1, y1};
    int count = 1;
    const double borders[] = {slope > 0.0 ? 0.0 : width, slope > 0.0 ? width : 0.0}; // as they are met
    for (const double border : borders) {
        const double y = y0 + (border - x0) / slope;
        if (slope != 0.0 && y > cuts[count - 1] && y < y1) {
            cuts[count++] = y;
        }
    }
    cuts[count] = y1;
    for (int i = 0; i < count; ++i) {
        const auto at = [&](double y) { return std::clamp(x0 + (y - y0) * slope, 0.0, width); };
        addPiece(at(cuts[i]), cuts[i], at(cuts[i + 1]), cuts[i + 1], weight);
    }
}

void Coverage::addPiece(double x0, double y0, double x1, double y1, float weight) {
    if (!(y1 > y0)) {
        return;
    }
    const double slope = (x1 - x0) / (y1 - y0);
    double x = x0;
    const int lastRow = std::min(ceilOf(y1), m_box.height());
    for (int row = static_cast<int>(y0); row < lastRow; ++row) {
        float* const sums = m_sums.data() + static_cast<std::size_t>(row) * m_stride;
        const double top = std::max(static_cast<double>(row), y0);
        const double bottom = std::min(static_cast<double>(row + 1), y1);
        const float d = static_cast<float>(bottom - top) * weight;
        const double next = bottom == y1 ? x1 : x0 + slope * (bottom - y0);
        const int first = static_cast<int>(std::min(x, next));
        // From the first pixel's left edge.
        const auto left = static_cast<float>(std::min(x, next) - first);
        const auto right = static_cast<float>(std::max(x, next) - first);
        x = next;
        const int last = first + ceilOf(right);
        if (last <= first + 1) { // in one pixel: a trapezium
            const float share = d * 0.5F * (left + right);
            sums[first] += d - share;
            sums[first + 1] += share;
            continue;
        }
        // Across several: a triangle in the first, a triangle left out of the last, between them in steps.
        const float perPixel = 1.0F / (right - left);
        const float inFirst = 1.0F - left;
        const float beginning = 0.5F * perPixel * inFirst * inFirst;
        const float inLast = right - static_cast<float>(last - first - 1);
        const float ending = 0.5F * perPixel * inLast * inLast;
        sums[first] += d * beginning;
        if (last == first + 2) {
            sums[first + 1] += d * (1.0F - beginning - ending);
        } else {
            const float second = perPixel * (1.5F - left);
            sums[first + 1] += d * (second - beginning);
            for (int i = first + 2; i < last - 1; ++i) {
                sums[i] += d * perPixel;
            }
            const float before = second + static_cast<float>(last - first - 3) * perPixel;
            sums[last - 1] += d * (1.0F - before - ending);
        }
        sums[last] += d * ending;
    }
}

int Coverage::sumRow(int row) {
    float* const sums = m_sums.data() + static_cast<std::size_t>(row) * m_stride;
    const int width = m_box.width();
    float sum = 0.0F;
    int count = 0;
    std::uint8_t last = 0;
    for (int i = 0; i < width; ++i) {
        // Inside and outside of a large shape nothing changes for long.
        while (i + block <= width && isZero(sums + i)) {
            std::memset(m_shares.data() + i, last, block);
            i += block;
            count = last != 0 ? i : count;
        }
        if (i == width) {
            break;
        }
        sum += sums[i];
        sums[i] = 0.0F;
        // Inside of an odd number: 1 is inside, 2 is not, and in between as much of it.
        float inside = std::abs(sum);
        if (inside > 1.0F) {
            inside =
                m_rule == Inside::Odd ? std::abs(inside - 2.0F * std::floor(inside * 0.5F + 0.5F)) : 1.0F;
        }
        const int share = levelOf(inside);
        last = static_cast<std::uint8_t>(share);
        m_shares[static_cast<std::size_t>(i)] = last;
        if (share != 0) {
            count = i + 1;
        }
    }
    sums[width] = 0.0F;
    sums[width + 1] = 0.0F;
    return count;
}

} // namespace Cartolith::Map::Raster::Internal
