#include <Cartolith/Map/Labels/LabelCandidatesInternal.h>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace Cartolith::Map::Labels::Internal {

namespace {

/// Whether an axis of `a` has the two apart.
bool isApartAlong(const Box& a, const Box& b) {
    const double dx = b.x - a.x;
    const double dy = b.y - a.y;
    const double along = std::abs(dx * a.cosine + dy * a.sine);
    const double across = std::abs(dy * a.cosine - dx * a.sine);
    const double cosine = std::abs(a.cosine * b.cosine + a.sine * b.sine);
    const double sine = std::abs(a.cosine * b.sine - a.sine * b.cosine);
    return along >= a.halfWidth + b.halfWidth * cosine + b.halfHeight * sine ||
           across >= a.halfHeight + b.halfWidth * sine + b.halfHeight * cosine;
}

} // namespace

bool overlap(const Box& a, const Box& b) {
    return !isApartAlong(a, b) && ((a.sine == b.sine && a.cosine == b.cosine) || !isApartAlong(b, a));
}

bool crosses(const Box& box, QPointF a, QPointF b, double distance) {
    // Cut to the box in its own axes (Liang and Barsky, 1984).
    const QPointF from(a.x() - box.x, a.y() - box.y);
    const QPointF way = b - a;
    const double origin[] = {from.x() * box.cosine + from.y() * box.sine,
                             from.y() * box.cosine - from.x() * box.sine};
    const double step[] = {way.x() * box.cosine + way.y() * box.sine,
                           way.y() * box.cosine - way.x() * box.sine};
    const double half[] = {box.halfWidth + distance, box.halfHeight + distance};
    double first = 0.0;
    double last = 1.0;
    for (int axis = 0; axis < 2; ++axis) {
        if (step[axis] == 0.0) {
            if (std::abs(origin[axis]) >= half[axis]) {
                return false;
            }
            continue;
        }
        const double s = (-half[axis] - origin[axis]) / step[axis];
        const double t = (half[axis] - origin[axis]) / step[axis];
        first = std::max(first, std::min(s, t));
        last = std::min(last, std::max(s, t));
    }
    return first < last;
}

bool Candidates::close(qint64 number, std::size_t firstBox, const QRectF& frame) {
    for (std::size_t i = firstBox; i < boxes.size(); ++i) {
        Box& box = boxes[i];
        box.halfWidth += margin.width();
        box.halfHeight += margin.height();
        if (!(box.x - box.reachX() >= frame.left() && box.x + box.reachX() <= frame.right() &&
              box.y - box.reachY() >= frame.top() && box.y + box.reachY() <= frame.bottom())) {
            boxes.resize(firstBox);
            return false;
        }
    }
    list.push_back({number, static_cast<int>(firstBox), static_cast<int>(boxes.size() - firstBox)});
    return true;
}

Found addPointCandidates(Candidates& candidates, const LabelSettings& settings, QSizeF size, QPointF place,
                         double clearance, const QRectF& frame) {
    // To the right and upwards, in half sizes; most wanted first (after Imhof).
    constexpr struct {
        double right, up;
    } ways[] = {{1, 1}, {1, -1}, {-1, 1}, {-1, -1}, {1, 0}, {-1, 0}, {0, 1}, {0, -1}};
    constexpr int wayCount = 8;
    const double radians = settings.rotation * std::numbers::pi / 180.0;
    const double cosine = settings.rotation == 0.0 ? 1.0 : std::cos(radians);
    const double sine = settings.rotation == 0.0 ? 0.0 : std::sin(radians);
    const std::size_t before = candidates.list.size();
    for (int number = 0; number < settings.maxCandidates; ++number) {
        const auto& way = ways[number % wayCount];
        const double gap = clearance + (number < wayCount ? 0.0 : size.height() * 0.5);
        // In corners the distance is a diagonal; and the text's own middle is beside the point there.
        const bool isCorner = way.right != 0.0 && way.up != 0.0;
        const double part = isCorner ? gap * std::numbers::sqrt2 * 0.5 : gap;
        const double right = way.right * (size.width() * 0.5 + part) + settings.offset.x();
        const double down =
            -way.up * (size.height() * 0.5 + (isCorner ? part * 0.5 : part)) + settings.offset.y();
        const std::size_t first = candidates.boxes.size();
        candidates.boxes.push_back({place.x() + right * cosine - down * sine,
                                    place.y() + right * sine + down * cosine, size.width() * 0.5,
                                    size.height() * 0.5, cosine, sine});
        candidates.close(number, first, frame);
    }
    return candidates.list.size() > before ? Found::Some : Found::OutsideView;
}

} // namespace Cartolith::Map::Labels::Internal
