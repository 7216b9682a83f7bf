#include <Cartolith/Map/Raster/StrokeMaskInternal.h>
#include <Cartolith/Map/Raster/WholeInternal.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <emmintrin.h>

namespace Cartolith::Map::Raster::Internal {

namespace {

constexpr std::size_t mostPlanes = 4;
constexpr int lanes = 4;

/// Shares from 0 to 1, where the mask has less.
void addShares(std::uint8_t* mask, __m128 shares) {
    const __m128i levels =
        _mm_cvttps_epi32(_mm_add_ps(_mm_mul_ps(shares, _mm_set1_ps(255.0F)), _mm_set1_ps(0.5F)));
    const __m128i words = _mm_packs_epi32(levels, levels);
    const __m128i bytes = _mm_packus_epi16(words, words);
    std::int32_t before = 0;
    std::memcpy(&before, mask, lanes);
    const std::int32_t after = _mm_cvtsi128_si32(_mm_max_epu8(bytes, _mm_cvtsi32_si128(before)));
    std::memcpy(mask, &after, lanes);
}

} // namespace

/// A segment with a distance, in floats from its own corner.
struct StrokeMask::Shape {
    QPointF a, b;
    double radius;
    double reach; // beyond the ends
    std::span<const EndPlane> planes;
};

StrokeMask::StrokeMask(int width, int height)
    : m_width(width), m_height(height), m_stride(static_cast<std::size_t>(width) + 2 * std::size_t{lanes}),
      m_shares(m_stride * static_cast<std::size_t>(height)),
      m_ranges(static_cast<std::size_t>(height), {width, 0}), m_top(height) {}

void StrokeMask::addCapsule(QPointF a, QPointF b, double radius, std::span<const EndPlane> planes) {
    if (planes.empty()) {
        add<true, false>({a, b, radius, radius, {}}); // by far the most
    } else {
        add<true, true>({a, b, radius, radius, planes});
    }
}

void StrokeMask::addStrip(QPointF a, QPointF b, double radius, double reach,
                          std::span<const EndPlane> planes) {
    add<false, true>({a, b, radius, reach, planes});
}

bool StrokeMask::addSmall(std::span<const QPointF> points, bool isClosed, double radius) {
    constexpr double soft = 0.5;
    constexpr int most = 32; // groups of pixels in the box
    const double reach = radius + soft;
    double minX = points[0].x();
    double maxX = minX;
    double minY = points[0].y();
    double maxY = minY;
    for (const QPointF p : points) {
        minX = std::min(minX, p.x());
        maxX = std::max(maxX, p.x());
        minY = std::min(minY, p.y());
        maxY = std::max(maxY, p.y());
    }
    if (!((maxX - minX + 2.0 * reach) * (maxY - minY + 2.0 * reach) < lanes * most)) {
        return false;
    }
    // Pixels whose middles are nearer than that.
    const int left = floorOf(std::clamp(minX - reach + 0.5, 0.0, static_cast<double>(m_width)));
    const int right = ceilOf(std::clamp(maxX + reach - 0.5, 0.0, static_cast<double>(m_width)));
    const int top = floorOf(std::clamp(minY - reach + 0.5, 0.0, static_cast<double>(m_height)));
    const int bottom = ceilOf(std::clamp(maxY + reach - 0.5, 0.0, static_cast<double>(m_height)));
    if (left >= right || top >= bottom) {
        return true;
    }
    if ((bottom - top) * ((right - left + lanes - 1) / lanes) > most) {
        return false;
    }
    const std::size_t segments = isClosed && points.size() > 2 ? points.size() : points.size() - 1;
    m_pieces.resize(segments);
    for (std::size_t i = 0; i < segments; ++i) {
        const QPointF a = points[i];
        const QPointF b = points[i + 1 < points.size() ? i + 1 : 0];
        const double x = b.x() - a.x();
        const double y = b.y() - a.y();
        const double length = std::sqrt(x * x + y * y);
        const QPointF along = length > 0.0 ? QPointF(x, y) / length : QPointF(1.0, 0.0);
        m_pieces[i] = {static_cast<float>(a.x() - left), static_cast<float>(a.y() - top),
                       static_cast<float>(along.x()), static_cast<float>(along.y()),
                       static_cast<float>(length)};
    }
    const __m128 zero = _mm_setzero_ps();
    const __m128 one = _mm_set1_ps(1.0F);
    const __m128 outer = _mm_set1_ps(static_cast<float>(reach));
    m_top = std::min(m_top, top);
    m_bottom = std::max(m_bottom, bottom);
    for (int row = top; row < bottom; ++row) {
        const float middle = static_cast<float>(row - top) + 0.5F;
        std::uint8_t* const shares = rowAt(row);
        __m128 column = _mm_setr_ps(0.5F, 1.5F, 2.5F, 3.5F);
        for (int x = left; x < right; x += lanes) {
            __m128 nearest = _mm_set1_ps(HUGE_VALF); // squared
            for (const Piece& piece : m_pieces) {
                const float down = middle - piece.y;
                const __m128 aside = _mm_sub_ps(column, _mm_set1_ps(piece.x));
                const __m128 across = _mm_sub_ps(_mm_set1_ps(down * piece.alongX),
                                                 _mm_mul_ps(aside, _mm_set1_ps(piece.alongY)));
                const __m128 t = _mm_add_ps(_mm_mul_ps(aside, _mm_set1_ps(piece.alongX)),
                                            _mm_set1_ps(down * piece.alongY));
                const __m128 beyond =
                    _mm_sub_ps(t, _mm_min_ps(_mm_max_ps(t, zero), _mm_set1_ps(piece.length)));
                nearest =
                    _mm_min_ps(nearest, _mm_add_ps(_mm_mul_ps(across, across), _mm_mul_ps(beyond, beyond)));
            }
            const __m128 share = _mm_max_ps(_mm_min_ps(_mm_sub_ps(outer, _mm_sqrt_ps(nearest)), one), zero);
            addShares(shares + x, share);
            column = _mm_add_ps(column, _mm_set1_ps(static_cast<float>(lanes)));
        }
        Range& range = m_ranges[static_cast<std::size_t>(row)];
        range.from = std::min(range.from, left);
        range.to = std::max(range.to, std::min(left + (right - left + lanes - 1) / lanes * lanes, m_width));
    }
    return true;
}

bool StrokeMask::cut(QPointF& a, QPointF& b, double margin) const {
    const auto isNear = [&](QPointF p) {
        return p.x() > -margin && p.y() > -margin && p.x() < m_width + margin && p.y() < m_height + margin;
    };
    if (isNear(a) && isNear(b)) {
        return true;
    }
    const QPointF way = b - a;
    double first = 0.0;
    double last = 1.0;
    const double from[] = {a.x(), a.y()};
    const double step[] = {way.x(), way.y()};
    const double high[] = {m_width + margin, m_height + margin};
    for (int axis = 0; axis < 2; ++axis) {
        if (step[axis] == 0.0) {
            if (from[axis] < -margin || from[axis] > high[axis]) {
                return false;
            }
            continue;
        }
        const double s = (-margin - from[axis]) / step[axis];
        const double t = (high[axis] - from[axis]) / step[axis];
        first = std::max(first, std::min(s, t));
        last = std::min(last, std::max(s, t));
    }
    if (!(first <= last)) {
        return false;
    }
    b = last < 1.0 ? a + way * last : b;
    a = first > 0.0 ? a + way * first : a;
    return true;
}

template <bool isCapsule, bool hasPlanes>
void StrokeMask::add(const Shape& shape) {
    constexpr double soft = 0.5; // half a pixel, over which a share falls from 1 to 0
    const double radius = shape.radius + soft;
    const double margin = std::max(radius, shape.reach) + 2.0;
    QPointF a = shape.a;
    QPointF b = shape.b;
    if (!cut(a, b, margin)) {
        return;
    }
    const double reach = (isCapsule ? shape.radius : std::hypot(shape.radius, shape.reach)) + soft;
    // Pixels whose middles are nearer than that.
    const auto below = [&](double value, int size) {
        return floorOf(std::clamp(value - reach + 0.5, 0.0, static_cast<double>(size)));
    };
    const auto above = [&](double value, int size) {
        return ceilOf(std::clamp(value + reach - 0.5, 0.0, static_cast<double>(size)));
    };
    const int left = below(std::min(a.x(), b.x()), m_width);
    const int right = above(std::max(a.x(), b.x()), m_width);
    const int top = below(std::min(a.y(), b.y()), m_height);
    const int bottom = above(std::max(a.y(), b.y()), m_height);
    if (left >= right || top >= bottom) {
        return;
    }
    const QPointF way = shape.b - shape.a;
    const double length = std::sqrt(way.x() * way.x() + way.y() * way.y());
    const QPointF along = length > 0.0 ? way / length : QPointF(1.0, 0.0);
    const double cutLength = QPointF::dotProduct(b - a, along);

    const __m128 zero = _mm_setzero_ps();
    const __m128 one = _mm_set1_ps(1.0F);
    const __m128 step = _mm_set1_ps(static_cast<float>(lanes));
    const __m128 outer = _mm_set1_ps(static_cast<float>(radius));
    const __m128 alongX = _mm_set1_ps(static_cast<float>(along.x()));
    const __m128 alongY = _mm_set1_ps(static_cast<float>(along.y()));
    const __m128 end = _mm_set1_ps(static_cast<float>(cutLength));
    // Middles of pixels, from the beginning of the segment.
    const __m128 firstX =
        _mm_add_ps(_mm_set1_ps(static_cast<float>(left - a.x())), _mm_setr_ps(0.5F, 1.5F, 2.5F, 3.5F));
    __m128 planeX[mostPlanes];
    const std::size_t planes = hasPlanes ? std::min(shape.planes.size(), mostPlanes) : 0;
    for (std::size_t i = 0; i < planes; ++i) {
        planeX[i] = _mm_set1_ps(static_cast<float>(shape.planes[i].outward.x()));
    }
    // Which pixels of a row can be touched: those beside the line. Small shapes and nearly level lines touch
    // the whole box.
    constexpr int small = 2 * lanes;
    const double steep = std::abs(along.y());
    const bool isBounded = right - left > small && steep > 0.05;
    const double aside = isBounded ? radius / steep : 0.0;
    const double perRow = isBounded ? along.x() / along.y() : 0.0;

    m_top = std::min(m_top, top);
    m_bottom = std::max(m_bottom, bottom);
    for (int row = top; row < bottom; ++row) {
        const double y = row + 0.5 - a.y();
        int from = left;
        int to = right;
        if (isBounded) {
            const double middle = a.x() + y * perRow;
            from = std::max(from, static_cast<int>(std::max(middle - aside, static_cast<double>(left))));
            to = std::min(to, static_cast<int>(std::min(middle + aside, static_cast<double>(right))) + 1);
        }
        if (from >= to) {
            continue;
        }
        const __m128 fromBegin = _mm_set1_ps(static_cast<float>(y));
        const __m128 alongRow = _mm_mul_ps(fromBegin, alongY);
        const __m128 acrossRow = _mm_mul_ps(fromBegin, alongX);
        __m128 planeRow[mostPlanes];
        for (std::size_t i = 0; i < planes; ++i) {
            const EndPlane& plane = shape.planes[i];
            // Half a pixel less the distance beyond the plane; x is added below.
            planeRow[i] =
                _mm_set1_ps(static_cast<float>(0.5 - (row + 0.5 - plane.at.y()) * plane.outward.y() -
                                               (a.x() - plane.at.x()) * plane.outward.x()));
        }
        std::uint8_t* const shares = rowAt(row);
        __m128 x = from == left ? firstX : _mm_add_ps(firstX, _mm_set1_ps(static_cast<float>(from - left)));
        for (int column = from; column < to; column += lanes, x = _mm_add_ps(x, step)) {
            const __m128 across = _mm_sub_ps(acrossRow, _mm_mul_ps(x, alongY));
            __m128 distance;
            if constexpr (isCapsule) {
                const __m128 t = _mm_add_ps(_mm_mul_ps(x, alongX), alongRow);
                const __m128 beyond = _mm_sub_ps(t, _mm_min_ps(_mm_max_ps(t, zero), end));
                distance = _mm_sqrt_ps(_mm_add_ps(_mm_mul_ps(across, across), _mm_mul_ps(beyond, beyond)));
            } else {
                distance = _mm_max_ps(across, _mm_sub_ps(zero, across));
            }
            __m128 share = _mm_min_ps(_mm_sub_ps(outer, distance), one);
            for (std::size_t i = 0; i < planes; ++i) {
                share = _mm_min_ps(share, _mm_sub_ps(planeRow[i], _mm_mul_ps(x, planeX[i])));
            }
            addShares(shares + column, _mm_max_ps(share, zero));
        }
        // Whole steps may have gone beyond; what they wrote has to be seen and cleared.
        Range& range = m_ranges[static_cast<std::size_t>(row)];
        range.from = std::min(range.from, from);
        range.to = std::max(range.to, std::min(from + (to - from + lanes - 1) / lanes * lanes, m_width));
    }
}

} // namespace Cartolith::Map::Raster::Internal
