#include <Cartolith/Map/Labels/LabelObstaclesInternal.h>
#include <Cartolith/Map/Labels/LabelPlacer.h>
#include <Cartolith/Map/Labels/LabelSearchInternal.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <numeric>
#include <optional>
#include <utility>

namespace Cartolith::Map::Labels {

using Internal::Candidate;
using Internal::Found;

class LabelPlacer::Private {
public:
    explicit Private(const MapView& usedView)
        : view(usedView), origin(usedView.originPixel()),
          frame(usedView.isUsable() ? usedView.frame().translated(-origin) : QRectF()), obstacles(frame) {}

    struct Entry {
        qsizetype label;
        int repeat;
        LabelOutcome outcome; // NoRoom while it is open
    };

    QPointF fromOrigin(QPointF place) const { return view.fromOrigin(place.x(), place.y()); }
    /// And near enough for whole numbers of pixels.
    static bool isFinite(QPointF p) {
        constexpr double farthest = 1e12;
        return std::abs(p.x()) < farthest && std::abs(p.y()) < farthest;
    }

    /// The vertices in pixels from the origin, without those that nobody could tell from the one before; not
    /// all of them when one is not finite.
    bool append(std::span<const double> coordinates, std::vector<QPointF>& points) const {
        constexpr double nearer = 0.25;
        const std::size_t first = points.size();
        for (std::size_t i = 0; i + 1 < coordinates.size(); i += 2) {
            const QPointF p = view.fromOrigin(coordinates[i], coordinates[i + 1]);
            if (!isFinite(p)) {
                return false;
            }
            const bool isLast = i + 3 >= coordinates.size();
            if (points.size() == first || isLast || std::abs(p.x() - points.back().x()) > nearer ||
                std::abs(p.y() - points.back().y()) > nearer) {
                points.push_back(p);
            }
        }
        return true;
    }

    /// Several of them are still finite: what nothing may cross is heavier.
    static constexpr double heaviest = 1e100;

    /// None when a coordinate is not finite.
    std::optional<Internal::Rings> ringsOf(std::span<const double> coordinates,
                                           std::span<const qsizetype> ends) const {
        Internal::Rings rings;
        rings.starts.push_back(0);
        std::size_t from = 0;
        for (const qsizetype end : ends) {
            const std::size_t to = std::clamp(static_cast<std::size_t>(std::max<qsizetype>(end, 0)) * 2, from,
                                              coordinates.size());
            if (!append(coordinates.subspan(from, to - from), rings.points)) {
                return std::nullopt;
            }
            if (rings.points.size() > rings.starts.back()) { // a ring without vertices is none
                rings.starts.push_back(rings.points.size());
            }
            from = to;
        }
        return rings;
    }

    static bool isUsable(const LabelSettings& settings, double width, double height) {
        constexpr double least = 0.1; // pixels: smaller ones would have places without end
        return std::isfinite(width) && std::isfinite(height) && width >= least && height >= least &&
               isFinite(settings.offset) && std::isfinite(settings.rotation);
    }

    static LabelSettings sane(LabelSettings settings) {
        settings.maxCandidates = std::clamp(settings.maxCandidates, 1, 16);
        settings.weight = settings.weight > 0.0 ? std::min(settings.weight, heaviest) : 0.0;
        settings.repeatDistance = settings.repeatDistance > 0.0 ? settings.repeatDistance : 0.0;
        const auto margin = [](double m) { return m > 0.0 && std::isfinite(m) ? m : 0.0; };
        settings.margin = {margin(settings.margin.width()), margin(settings.margin.height())};
        if (std::isnan(settings.priorityValue)) {
            settings.priorityValue = -std::numeric_limits<double>::infinity();
        }
        return settings;
    }

    void open(const LabelSettings& settings, int repeat, std::size_t firstCandidate, Found found) {
        entries.push_back({labelCount, repeat,
                           found == Found::Some          ? LabelOutcome::NoRoom
                           : found == Found::OutsideView ? LabelOutcome::OutsideView
                                                         : LabelOutcome::DoesNotFit});
        items.push_back({static_cast<int>(firstCandidate),
                         static_cast<int>(candidates.list.size() - firstCandidate), false, settings.priority,
                         settings.priorityValue, settings.allowOverlap, settings.avoidObstacles,
                         settings.weight, labelCount});
        margins.push_back(settings.margin);
    }
    void openNothing() {
        entries.push_back({labelCount, 0, LabelOutcome::NothingToPlace});
        items.push_back(
            {static_cast<int>(candidates.list.size()), 0, false, 0, 0.0, false, false, 0.0, labelCount});
        margins.emplace_back(0.0, 0.0);
    }

    MapView view;
    QPointF origin;
    QRectF frame; // from the origin, as everything here
    Internal::LabelObstacles obstacles;
    int obstacleCount = 0;
    Internal::Candidates candidates;
    std::vector<Entry> entries;
    std::vector<Internal::Item> items; // one for each entry
    std::vector<QSizeF> margins;       // as many
    qsizetype labelCount = 0;
    LabelPlaces previous;
    qint64 budget = 50000;
};

LabelPlacer::LabelPlacer(const MapView& view) : d(std::make_unique<Private>(view)) {}
LabelPlacer::~LabelPlacer() = default;

qsizetype LabelPlacer::addPoint(const LabelSettings& settings, QSizeF size, QPointF place, double clearance) {
    const QPointF point = d->fromOrigin(place);
    if (!Private::isUsable(settings, size.width(), size.height()) || !Private::isFinite(point) ||
        !std::isfinite(clearance)) {
        d->openNothing();
        return d->labelCount++;
    }
    const LabelSettings sane = Private::sane(settings);
    d->candidates.margin = sane.margin;
    const std::size_t first = d->candidates.list.size();
    d->open(sane, 0, first, addPointCandidates(d->candidates, sane, size, point, clearance, d->frame));
    return d->labelCount++;
}

qsizetype LabelPlacer::addLine(const LabelSettings& settings, double height, std::span<const double> advances,
                               std::span<const double> line) {
    const double width = std::accumulate(advances.begin(), advances.end(), 0.0);
    std::vector<QPointF> points;
    const bool isUsable = Private::isUsable(settings, width, height) &&
                          std::all_of(advances.begin(), advances.end(), [](double a) { return a >= 0.0; }) &&
                          d->append(line, points) && points.size() > 1;
    if (!isUsable) {
        d->openNothing();
        return d->labelCount++;
    }
    const LabelSettings sane = Private::sane(settings);
    d->candidates.margin = sane.margin;
    const Internal::Path path(points);
    const Internal::LabelledLine labelled(path, sane, width, d->frame);
    const std::vector<qint64> repeats = labelled.repeatsInView();
    for (const qint64 repeat : repeats) {
        d->candidates.watch();
        const std::size_t first = d->candidates.list.size();
        d->open(
            sane, static_cast<int>(repeat), first,
            addLineCandidates(d->candidates, sane, {advances, width, height}, labelled, repeat, d->frame));
    }
    if (repeats.empty()) {
        d->open(sane, 0, d->candidates.list.size(),
                labelled.repeats.count == 0 ? Found::DoesNotFit : Found::OutsideView);
    }
    return d->labelCount++;
}

qsizetype LabelPlacer::addArea(const LabelSettings& settings, double height, std::span<const double> advances,
                               std::span<const double> rings, std::span<const qsizetype> ringEnds) {
    const double width = std::accumulate(advances.begin(), advances.end(), 0.0);
    const bool isUsable = Private::isUsable(settings, width, height) &&
                          std::all_of(advances.begin(), advances.end(), [](double a) { return a >= 0.0; });
    const auto area = isUsable ? d->ringsOf(rings, ringEnds) : std::nullopt;
    if (!area || area->points.empty()) {
        d->openNothing();
        return d->labelCount++;
    }
    const LabelSettings sane = Private::sane(settings);
    d->candidates.margin = sane.margin;
    const std::size_t first = d->candidates.list.size();
    d->open(sane, 0, first,
            addAreaCandidates(d->candidates, sane, {advances, width, height}, *area, d->frame));
    return d->labelCount++;
}

void LabelPlacer::addObstacle(QPointF place, QSizeF size, double weight, qsizetype ownLabel) {
    const QPointF point = d->fromOrigin(place);
    if (Private::isFinite(point) && size.width() > 0.0 && size.height() > 0.0 && weight > 0.0) {
        d->obstacles.add(
            {point, point, size * 0.5, std::min(weight, Private::heaviest), ownLabel, d->obstacleCount++});
    }
}

void LabelPlacer::addLineObstacle(std::span<const double> line, double width, double weight,
                                  qsizetype ownLabel) {
    std::vector<QPointF> points;
    if (!(width >= 0.0) || !std::isfinite(width) || !(weight > 0.0) || !d->append(line, points)) {
        return;
    }
    for (std::size_t i = 0; i + 1 < points.size(); ++i) {
        if (points[i] != points[i + 1]) {
            d->obstacles.add({points[i],
                              points[i + 1],
                              {width * 0.5, width * 0.5},
                              std::min(weight, Private::heaviest),
                              ownLabel,
                              d->obstacleCount});
        }
    }
    ++d->obstacleCount;
}

void LabelPlacer::addAreaObstacle(std::span<const double> rings, std::span<const qsizetype> ringEnds,
                                  double width, double weight, qsizetype ownLabel) {
    const auto area = d->ringsOf(rings, ringEnds);
    if (area && !area->points.empty() && width >= 0.0 && std::isfinite(width) && weight > 0.0) {
        d->obstacles.addArea(*area, width, std::min(weight, Private::heaviest), ownLabel, d->obstacleCount++,
                             d->candidates.watch);
    }
}

void LabelPlacer::addClosedBox(const QRectF& pixels) {
    const QPointF middle = pixels.center() - d->origin;
    if (Private::isFinite(middle) && pixels.width() > 0.0 && pixels.height() > 0.0) {
        d->obstacles.add({middle, middle, pixels.size() * 0.5, std::numeric_limits<double>::infinity(), -1,
                          d->obstacleCount++});
    }
}

void LabelPlacer::setPrevious(const LabelPlaces& previous) {
    d->previous = previous;
}

void LabelPlacer::setWatch(std::function<void()> watch) {
    d->candidates.watch = Map::Internal::Watch(std::move(watch));
}

void LabelPlacer::setBudget(qint64 steps) {
    d->budget = steps;
}

LabelPlaces LabelPlacer::place() const {
    const Internal::Candidates& candidates = d->candidates;
    std::vector<Candidate> list = candidates.list;
    std::vector<Internal::Item> items = d->items;
    std::vector<Private::Entry> entries = d->entries;
    for (Candidate& candidate : list) {
        candidate.crossed = d->obstacles.isEmpty() ? 0.0 : std::numeric_limits<double>::quiet_NaN();
    }
    auto last = d->previous.places.cbegin();
    for (std::size_t i = 0; i < items.size(); ++i) {
        candidates.watch.every(std::size_t{4096}, i);
        auto& item = items[i];
        const auto from = list.begin() + item.firstCandidate;
        const auto to = from + item.candidateCount;
        // What it had comes first, where it still can be.
        while (last != d->previous.places.cend() &&
               std::pair(last->label, last->repeat) < std::pair(entries[i].label, entries[i].repeat)) {
            ++last;
        }
        if (last != d->previous.places.cend() && last->label == entries[i].label &&
            last->repeat == entries[i].repeat) {
            const auto same =
                std::find_if(from, to, [&](const Candidate& c) { return c.number == last->candidate; });
            if (same != to) {
                std::rotate(from, same, same + 1);
                item.keepsFirst = true;
            }
        }
    }

    Internal::LabelSearch search(items, candidates, list, d->obstacles, d->frame);
    search.placeGreedily();
    search.exchange(d->budget);
    search.placeOverlapping();

    LabelPlaces result;
    result.places.reserve(static_cast<qsizetype>(items.size()));
    for (std::size_t i = 0; i < items.size(); ++i) {
        candidates.watch.every(std::size_t{256}, i);
        LabelPlace place{entries[i].label, entries[i].repeat, entries[i].outcome};
        const int self = static_cast<int>(i);
        if (search.chosen(self) >= 0) {
            const Candidate& chosen = list[static_cast<std::size_t>(search.chosen(self))];
            place.outcome = LabelOutcome::Placed;
            place.candidate = chosen.number;
            place.firstBox = result.boxes.size();
            place.boxCount = chosen.boxCount;
            for (const Internal::Box& box : candidates.boxesOf(chosen)) {
                const double turned = box.sine == 0.0 && box.cosine > 0.0
                                          ? 0.0
                                          : std::atan2(box.sine, box.cosine) * 180.0 / std::numbers::pi;
                result.boxes.append({QPointF(box.x, box.y) + d->origin,
                                     (QSizeF(box.halfWidth, box.halfHeight) - d->margins[i]) * 2.0, turned});
            }
        } else if (place.outcome == LabelOutcome::NoRoom) {
            const int end = items[i].firstCandidate + items[i].candidateCount;
            int candidate = items[i].firstCandidate;
            while (candidate < end && !search.mayBeAt(self, candidate)) {
                ++candidate;
            }
            if (candidate == end) {
                place.outcome = LabelOutcome::Obstructed;
                result.places.append(place);
                continue;
            }
            const int blocker = search.firstBlocker(self, candidate);
            place.blockedBy = blocker < 0 ? -1 : entries[static_cast<std::size_t>(blocker)].label;
        }
        result.places.append(place);
    }
    return result;
}

} // namespace Cartolith::Map::Labels
