#include <Cartolith/Map/Labels/AreaScanInternal.h>
#include <Cartolith/Map/Labels/LabelCandidatesInternal.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

namespace Cartolith::Map::Labels::Internal {

namespace {

struct Bounds {
    double left = std::numeric_limits<double>::infinity(), right = -left, top = left, bottom = -left;
    explicit Bounds(const std::vector<QPointF>& points) {
        for (const QPointF& point : points) {
            left = std::min(left, point.x());
            right = std::max(right, point.x());
            top = std::min(top, point.y());
            bottom = std::max(bottom, point.y());
        }
    }
    double size() const { return (right - left) * (bottom - top); }
    bool hold(const Bounds& other) const {
        return left <= other.left && right >= other.right && top <= other.top && bottom >= other.bottom;
    }
    QPointF center() const { return {(left + right) * 0.5, (top + bottom) * 0.5}; }
};

/// The ring with the largest box, and those in that box: a spine is that of one part.
Rings largestPart(const Rings& rings) {
    const auto boundsOf = [&](std::size_t ring) {
        const auto begin = rings.points.cbegin();
        return Bounds({begin + static_cast<std::ptrdiff_t>(rings.starts[ring]),
                       begin + static_cast<std::ptrdiff_t>(rings.starts[ring + 1])});
    };
    std::size_t largest = 0;
    Bounds around = boundsOf(0);
    for (std::size_t ring = 1; ring + 1 < rings.starts.size(); ++ring) {
        const Bounds bounds = boundsOf(ring);
        if (bounds.size() > around.size()) {
            largest = ring;
            around = bounds;
        }
    }
    Rings part;
    const auto append = [&](std::size_t ring) {
        part.starts.push_back(part.points.size());
        part.points.insert(part.points.end(),
                           rings.points.cbegin() + static_cast<std::ptrdiff_t>(rings.starts[ring]),
                           rings.points.cbegin() + static_cast<std::ptrdiff_t>(rings.starts[ring + 1]));
    };
    append(largest);
    for (std::size_t ring = 0; ring + 1 < rings.starts.size(); ++ring) {
        if (ring != largest && around.hold(boundsOf(ring))) {
            append(ring);
        }
    }
    part.starts.push_back(part.points.size());
    return part;
}

/// The direction in which the first ring spreads most, by the length of its edges.
QPointF longAxis(const Rings& rings) {
    double length = 0.0, x = 0.0, y = 0.0;
    double xx = 0.0, xy = 0.0, yy = 0.0;
    const QPointF origin = rings.points.front();
    for (std::size_t i = rings.starts[0]; i + 1 < rings.starts[1];
         ++i) { // of the first ring: it has most to say
        const QPointF a = rings.points[i] - origin;
        const QPointF b = rings.points[i + 1] - origin;
        const double weight = std::hypot(b.x() - a.x(), b.y() - a.y());
        const QPointF middle = (a + b) * 0.5;
        length += weight;
        x += middle.x() * weight;
        y += middle.y() * weight;
        xx += middle.x() * middle.x() * weight;
        xy += middle.x() * middle.y() * weight;
        yy += middle.y() * middle.y() * weight;
    }
    if (!(length > 0.0)) {
        return {1.0, 0.0};
    }
    const double angle =
        0.5 * std::atan2(2.0 * (xy - x * y / length), (xx - x * x / length) - (yy - y * y / length));
    return {std::cos(angle), std::sin(angle)};
}

/// The line through the middles of the area's cross sections; bent as the area is.
std::optional<Path> spineOf(const Rings& area, double textWidth) {
    const Rings rings = largestPart(area);
    const QPointF axis = longAxis(rings);
    std::vector<QPointF> turned; // with the long axis downwards, so that sections are lines of constant y
    turned.reserve(rings.points.size());
    for (const QPointF& p : rings.points) {
        turned.emplace_back(p.x() * -axis.y() + p.y() * axis.x(), p.x() * axis.x() + p.y() * axis.y());
    }
    const Bounds bounds(turned);
    const double length = bounds.bottom - bounds.top;
    if (!(length >= textWidth)) {
        return std::nullopt;
    }
    constexpr int sections = 12;
    const double step = length / sections;
    const Scan scan(turned, rings.starts, bounds.top + step * 0.5, step, bounds.top, bounds.bottom);
    std::vector<QPointF> middles;
    for (qint64 k = scan.first(); k < scan.first() + scan.count(); ++k) {
        const auto line = scan.crossings(k);
        Span widest{0.0, 0.0};
        for (std::size_t i = 0; i + 1 < line.size(); i += 2) {
            if (line[i + 1] - line[i] > widest.to - widest.from) {
                widest = {line[i], line[i + 1]};
            }
        }
        if (widest.to > widest.from) {
            middles.emplace_back((widest.from + widest.to) * 0.5,
                                 bounds.top + step * (0.5 + static_cast<double>(k)));
        }
    }
    // Smoothed once: letters follow the area, not its coast.
    std::vector<QPointF> spine;
    for (std::size_t i = 0; i < middles.size(); ++i) {
        const QPointF before = middles[i > 0 ? i - 1 : i];
        const QPointF after = middles[i + 1 < middles.size() ? i + 1 : i];
        const QPointF p = (before + middles[i] * 2.0 + after) * 0.25;
        spine.emplace_back(p.x() * -axis.y() + p.y() * axis.x(), p.x() * axis.x() + p.y() * axis.y());
    }
    return spine.size() < 2 ? std::nullopt : std::optional(Path(spine));
}

struct Seat {
    double rank;
    qint64 number;
    QPointF center;
    bool operator<(const Seat& other) const {
        return rank != other.rank ? rank < other.rank : number < other.number;
    }
};

constexpr qint64 farthest = 1000;                  // from the middle of a span, in widths of the text
constexpr qint64 numbersInLine = 2 * farthest + 1; // of candidates

/// Where a horizontal text could be, by how much room there is and how central it lies.
std::vector<Seat> seats(const Rings& rings, const Text& text, const QRectF& frame, bool& fits) {
    constexpr int linesInHeight = 4;
    const Bounds bounds(rings.points);
    const QPointF middle = bounds.center();
    const double step = text.height / linesInHeight;
    const double width = bounds.right - bounds.left;
    const double height = bounds.bottom - bounds.top;
    std::vector<Seat> result;
    if (!(width >= text.width && height >= text.height)) {
        return result;
    }
    const double top = std::max(bounds.top, frame.top());
    const double bottom = std::min(bounds.bottom, frame.bottom());
    if (!(bottom - top >= text.height)) {
        fits = true; // as far as one can see
        return result;
    }
    const Scan scan(rings.points, rings.starts, middle.y(), step, top, bottom);
    // Of a tiny text there are more places than anybody looks at; the middle ones of each line are enough.
    constexpr qint64 most = 200'000;
    const qint64 beside = std::clamp(most / std::max<qint64>(scan.count(), 1), qint64{8}, farthest);
    for (qint64 k = scan.first(); k < scan.first() + scan.count(); ++k) {
        const auto line = scan.crossings(k);
        for (std::size_t i = 0; i + 1 < line.size(); i += 2) {
            if (line[i + 1] - line[i] < text.width) {
                continue;
            }
            // As far as the lines at the text's foot and head go, too.
            const double x = (line[i] + line[i + 1]) * 0.5;
            const auto head = scan.spanAround(k - linesInHeight / 2, x);
            const auto foot = scan.spanAround(k + linesInHeight / 2, x);
            if (!head || !foot) {
                continue;
            }
            const Span room{std::max({line[i], head->from, foot->from}),
                            std::min({line[i + 1], head->to, foot->to})};
            const double spare = (room.to - room.from) - text.width;
            if (spare < 0.0) {
                continue;
            }
            fits = true;
            const double center = (room.from + room.to) * 0.5;
            const auto shifts = std::min(static_cast<qint64>(spare * 0.5 / text.width), farthest);
            const double inView = std::ceil((frame.left() - center) / text.width);
            const double outOfView = std::floor((frame.right() - center) / text.width);
            qint64 from =
                inView > static_cast<double>(-shifts) ? static_cast<qint64>(std::min(inView, 1e9)) : -shifts;
            qint64 to = outOfView < static_cast<double>(shifts)
                            ? static_cast<qint64>(std::max(outOfView, -1e9))
                            : shifts;
            const qint64 central = std::clamp(qint64{0}, from, std::max(from, to));
            from = std::max(from, central - beside);
            to = std::min(to, central + beside);
            const double y = middle.y() + static_cast<double>(k) * step;
            for (qint64 shift = from; shift <= to; ++shift) {
                const double atX = center + static_cast<double>(shift) * text.width;
                const double roomy = std::min((room.to - room.from) / text.width, 3.0);
                const double aside =
                    std::abs(atX - middle.x()) / width + 2.0 * std::abs(y - middle.y()) / height;
                result.push_back({aside - 0.4 * roomy, (k * numbersInLine + shift) * 2, {atX, y}});
            }
        }
    }
    std::sort(result.begin(), result.end());
    return result;
}

/// Where a text that does not fit could have its middle: the middles of the widest spans first.
std::vector<Seat> centralSeats(const Rings& rings, const Text& text, const QRectF& frame) {
    const Bounds bounds(rings.points);
    const double middle = bounds.center().y();
    const double step = text.height * 0.25;
    std::vector<Seat> result;
    const Scan scan(rings.points, rings.starts, middle, step, std::max(bounds.top, frame.top()),
                    std::min(bounds.bottom, frame.bottom()));
    for (qint64 k = scan.first(); k < scan.first() + scan.count(); ++k) {
        const auto line = scan.crossings(k);
        for (std::size_t i = 0; i + 1 < line.size(); i += 2) {
            const double y = middle + static_cast<double>(k) * step;
            const double aside = 2.0 * std::abs(y - middle) / std::max(bounds.bottom - bounds.top, step);
            result.push_back({aside - (line[i + 1] - line[i]) / (bounds.right - bounds.left),
                              (k * numbersInLine + static_cast<qint64>(i)) * 2,
                              {(line[i] + line[i + 1]) * 0.5, y}});
        }
    }
    std::sort(result.begin(), result.end());
    return result;
}

} // namespace

bool Rings::hold(const Box& box) const {
    bool isInside = false;
    for (std::size_t ring = 0; ring + 1 < starts.size(); ++ring) {
        for (std::size_t i = starts[ring]; i < starts[ring + 1]; ++i) {
            const QPointF a = points[i];
            const QPointF b = points[i + 1 < starts[ring + 1] ? i + 1 : starts[ring]];
            if (crosses(box, a, b, 0.0)) {
                return false;
            }
            if ((a.y() <= box.y) != (b.y() <= box.y)) {
                isInside ^= a.x() + (b.x() - a.x()) * ((box.y - a.y()) / (b.y() - a.y())) > box.x;
            }
        }
    }
    return isInside;
}

Found addAreaCandidates(Candidates& candidates, const LabelSettings& settings, const Text& text,
                        const Rings& rings, const QRectF& frame) {
    const std::size_t before = candidates.list.size();
    const auto count = [&] { return static_cast<int>(candidates.list.size() - before); };
    bool fits = false;
    constexpr int mostLooks = 4; // for each candidate that is wanted
    int looks = 0;
    double lastY = std::numeric_limits<double>::quiet_NaN();
    for (const Seat& seat : seats(rings, text, frame, fits)) {
        candidates.watch();
        if (count() >= settings.maxCandidates || ++looks > mostLooks * settings.maxCandidates) {
            break;
        }
        const Box box{seat.center.x() + settings.offset.x(), seat.center.y() + settings.offset.y(),
                      text.width * 0.5, text.height * 0.5};
        if (std::abs(seat.center.y() - lastY) < text.height * 0.5 || !rings.hold(box)) {
            continue; // nearly the one before
        }
        const std::size_t first = candidates.boxes.size();
        candidates.boxes.push_back(box);
        candidates.close(seat.number, first, frame);
        lastY = seat.center.y();
    }
    if (count() > 0) {
        return Found::Some;
    }
    candidates.watch();
    if (const auto spine = spineOf(rings, text.width)) {
        const double freedom = (spine->length() - text.width) * 0.5;
        const double step =
            std::max(text.width * 0.125, 2.0 * freedom / std::max(settings.maxCandidates - 1, 1));
        LabelSettings along = settings;
        along.offset = {};
        for (int i = 0; i < settings.maxCandidates && freedom >= 0.0; ++i) {
            candidates.watch();
            const double shift = (i % 2 == 1 ? (i + 1) / 2 : -i / 2) * step;
            const std::size_t first = candidates.boxes.size();
            if (std::abs(shift) > freedom ||
                !addBoxesAlong(candidates, along, text, *spine, spine->length() * 0.5 + shift)) {
                continue;
            }
            if (!std::all_of(candidates.boxes.cbegin() + static_cast<std::ptrdiff_t>(first),
                             candidates.boxes.cend(), [&](const Box& box) { return rings.hold(box); })) {
                candidates.boxes.resize(first);
                continue;
            }
            fits = true;
            candidates.close(i * 2 + 1, first, frame);
        }
    }
    if (count() == 0 && settings.mayReachOut) {
        fits = true;
        for (const Seat& seat : centralSeats(rings, text, frame)) {
            if (count() >= settings.maxCandidates) {
                break;
            }
            const std::size_t first = candidates.boxes.size();
            candidates.boxes.push_back({seat.center.x() + settings.offset.x(),
                                        seat.center.y() + settings.offset.y(), text.width * 0.5,
                                        text.height * 0.5});
            candidates.close(seat.number, first, frame);
        }
    }
    return count() > 0 ? Found::Some : fits ? Found::OutsideView : Found::DoesNotFit;
}

} // namespace Cartolith::Map::Labels::Internal
