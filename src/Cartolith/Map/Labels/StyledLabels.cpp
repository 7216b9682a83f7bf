#include <Cartolith/Core/Layers/GisLayerStyle.h>
#include <Cartolith/Map/Drawing/WatchInternal.h>
#include <Cartolith/Map/Labels/AreaScanInternal.h>
#include <Cartolith/Map/Labels/LabelPlacer.h>
#include <Cartolith/Map/Labels/LabelStyle.h>
#include <Cartolith/Map/Labels/LabelTexts.h>
#include <Cartolith/Map/Labels/LineBoxesInternal.h>
#include <Cartolith/Map/Labels/LineMerge.h>
#include <Cartolith/Map/Labels/StyledLabels.h>

#include <QHash>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <optional>

namespace Cartolith::Map::Labels {

using Core::Layers::LabelPlacementMode;

namespace {

/// The part with the most vertices' length, and the middle of its way.
std::optional<QPointF> middleOfLine(std::span<const double> coordinates, std::span<const qsizetype> ends) {
    std::optional<QPointF> middle;
    double longest = -1.0;
    std::size_t from = 0;
    for (const qsizetype partEnd : ends) {
        const std::size_t to = std::clamp(static_cast<std::size_t>(std::max<qsizetype>(partEnd, 0)), from,
                                          coordinates.size() / 2);
        const auto at = [&](std::size_t i) { return QPointF(coordinates[2 * i], coordinates[2 * i + 1]); };
        const auto step = [&](std::size_t i) {
            const QPointF way = at(i + 1) - at(i);
            return std::hypot(way.x(), way.y());
        };
        double length = 0.0;
        for (std::size_t i = from; i + 1 < to; ++i) {
            length += step(i);
        }
        if (to > from && length > longest) {
            longest = length;
            double left = length * 0.5;
            std::size_t i = from;
            while (i + 2 < to && left > step(i)) {
                left -= step(i++);
            }
            middle = i + 1 < to && step(i) > 0.0 ? at(i) + (at(i + 1) - at(i)) * (left / step(i)) : at(i);
        }
        from = to;
    }
    return middle;
}

/// The middle of the widest place inside, near the middle of the height.
std::optional<QPointF> insideOf(std::span<const double> coordinates, std::span<const qsizetype> ends) {
    std::vector<QPointF> points;
    std::vector<std::size_t> starts{0};
    double top = INFINITY;
    double bottom = -INFINITY;
    for (const qsizetype ringEnd : ends) {
        const std::size_t to = std::clamp(static_cast<std::size_t>(std::max<qsizetype>(ringEnd, 0)),
                                          starts.back(), coordinates.size() / 2);
        for (std::size_t i = starts.back(); i < to; ++i) {
            points.emplace_back(coordinates[2 * i], coordinates[2 * i + 1]);
            if (!std::isfinite(points.back().x()) || !std::isfinite(points.back().y())) {
                return std::nullopt;
            }
            top = std::min(top, points.back().y());
            bottom = std::max(bottom, points.back().y());
        }
        if (to > starts.back()) {
            starts.push_back(to);
        }
    }
    if (!(bottom > top)) {
        return points.empty() ? std::nullopt : std::optional(points.front());
    }
    constexpr int lines = 9;
    const double step = (bottom - top) / (lines + 1);
    const Internal::Scan scan(points, starts, (top + bottom) * 0.5, step, top + step * 0.5,
                              bottom - step * 0.5);
    std::optional<QPointF> best;
    double bestRank = 0.0;
    for (qint64 k = scan.first(); k < scan.first() + scan.count(); ++k) {
        const auto crossings = scan.crossings(k);
        for (std::size_t i = 0; i + 1 < crossings.size(); i += 2) {
            const double rank =
                (crossings[i + 1] - crossings[i]) * (1.0 - std::abs(static_cast<double>(k)) / lines);
            if (rank > bestRank) {
                bestRank = rank;
                best = QPointF((crossings[i] + crossings[i + 1]) * 0.5,
                               (top + bottom) * 0.5 + static_cast<double>(k) * step);
            }
        }
    }
    return best ? best : std::optional(points.front());
}

constexpr double heightsBeside = 3.0; // ems between lines that have their name once

/// A line after merging.
struct NamedLine {
    std::span<const double> coordinates;
    double length = 0.0;
    QPointF middle = {};
    bool isBeside = false;                         ///< a longer one of the same name comes past its middle
    std::optional<Internal::LineBoxes> boxes = {}; ///< when somebody asked

    void measure() {
        const auto end = static_cast<qsizetype>(coordinates.size() / 2);
        middle = middleOfLine(coordinates, {&end, 1}).value_or(QPointF(NAN, NAN));
        for (std::size_t i = 0; i + 3 < coordinates.size(); i += 2) {
            length +=
                std::hypot(coordinates[i + 2] - coordinates[i], coordinates[i + 3] - coordinates[i + 1]);
        }
        length = std::isfinite(length) ? length : 0.0; // sorting needs an order
    }
    bool comesWithin(double distance, QPointF place) {
        if (!boxes) {
            boxes.emplace(coordinates);
        }
        return boxes->comesWithin(distance, place);
    }
};

} // namespace

class StyledLabels::Private {
public:
    Private(const MapView& usedView, double usedScale, LabelTexts& usedTexts)
        : view(usedView), scale(usedScale), texts(usedTexts), placer(usedView) {}

    struct Look {
        LabelFont font;
        LabelLook look;
        LabelSettings settings;
        LabelPlacementMode mode;
        double pointSize;
        double lineWidth;
        bool isFilled;
    };
    struct Label {
        qsizetype feature;
        int look;
        std::shared_ptr<const LabelText> text;
    };
    /// A line that is not placed before all are known.
    struct PendingLine {
        qsizetype feature;
        int look;
        double priority;
        QString text;
    };

    const Look& lookOf(int number) const { return looks[static_cast<std::size_t>(number)]; }

    static LabelSettings settingsOf(const Look& look, double priority) {
        LabelSettings settings = look.settings;
        settings.priorityValue = priority;
        return settings;
    }

    /// Whether there can be a label: also not in letters that nobody could read, of which there would be
    /// places without end, nor as far away as no number says.
    static bool hasText(const QString& text, const Look& look) {
        constexpr double lowest = 1.0; // pixel
        const QPointF offset = look.settings.offset;
        return !text.isEmpty() && look.font.size >= lowest && std::isfinite(look.font.size) &&
               std::isfinite(offset.x()) && std::isfinite(offset.y());
    }

    /// Whether a text of that length could be seen, were it beside one of these places: most features of a
    /// large layer are far away, and their texts are not worth shaping.
    bool isNear(std::span<const double> coordinates, const Look& look, const QString& text) const {
        if (!view.isUsable()) {
            return false;
        }
        constexpr double widestLetter = 1.5; // ems
        const double reach = (static_cast<double>(text.size()) * widestLetter + 2.0) * look.font.size +
                             std::abs(look.settings.offset.x()) + std::abs(look.settings.offset.y()) +
                             look.pointSize;
        const QRectF frame = view.frame().adjusted(-reach, -reach, reach, reach);
        double left = INFINITY;
        double right = -INFINITY;
        double top = INFINITY;
        double bottom = -INFINITY;
        for (std::size_t i = 0; i + 1 < coordinates.size(); i += 2) {
            const QPointF p = view.toPixel(coordinates[i], coordinates[i + 1]);
            left = std::min(left, p.x());
            right = std::max(right, p.x());
            top = std::min(top, p.y());
            bottom = std::max(bottom, p.y());
        }
        return left <= frame.right() && right >= frame.left() && top <= frame.bottom() &&
               bottom >= frame.top();
    }

    void placePoint(qsizetype feature, int number, const QString& text, double priority, QPointF place,
                    bool hasSymbol) {
        const Look& look = lookOf(number);
        const double coordinates[] = {place.x(), place.y()};
        if (!hasText(text, look)) {
            if (hasSymbol && isNear(coordinates, look, text)) {
                addSymbol(look, place, -1);
            }
            placeNowhere(feature, number, {});
            return;
        }
        if (!isNear(coordinates, look, text)) {
            placeNowhere(feature, number, coordinates);
            return;
        }
        auto shapedText = texts.shaped(text, look.font);
        const double radius = hasSymbol ? look.pointSize * 0.5 : 0.0;
        // The halo stays off the symbol.
        const double clearance = radius + std::max(look.look.haloWidth, 1.0);
        const qsizetype own =
            placer.addPoint(settingsOf(look, priority), shapedText->size(), place, clearance);
        if (hasSymbol) {
            addSymbol(look, place, own);
        }
        labels.push_back({feature, number, std::move(shapedText)});
    }

    void addSymbol(const Look& look, QPointF place, qsizetype own) {
        placer.addObstacle(place, {look.pointSize, look.pointSize}, look.settings.weight, own);
    }

    void placeLine(qsizetype feature, int number, const QString& text, double priority,
                   std::span<const double> line, bool isLabelled) {
        const Look& look = lookOf(number);
        const bool canBeLabelled = hasText(text, look);
        const bool isSeen = isNear(line, look, text);
        if (isSeen && (!isLabelled || !canBeLabelled)) {
            placer.addLineObstacle(line, look.lineWidth, look.settings.weight);
        }
        if (!isLabelled) {
            return;
        }
        if (!isSeen || !canBeLabelled) {
            placeNowhere(feature, number, canBeLabelled ? line : std::span<const double>());
            return;
        }
        auto shapedText = texts.shaped(text, look.font);
        const qsizetype own = placer.addLine(settingsOf(look, priority), shapedText->size().height(),
                                             shapedText->advances(), line);
        placer.addLineObstacle(line, look.lineWidth, look.settings.weight, own);
        labels.push_back({feature, number, std::move(shapedText)});
    }

    void placeArea(qsizetype feature, int number, const QString& text, double priority,
                   std::span<const double> rings, std::span<const qsizetype> ends) {
        const Look& look = lookOf(number);
        if (!hasText(text, look) || !isNear(rings, look, text)) {
            placeNowhere(feature, number, hasText(text, look) ? rings : std::span<const double>());
            return;
        }
        auto shapedText = texts.shaped(text, look.font);
        placer.addArea(settingsOf(look, priority), shapedText->size().height(), shapedText->advances(), rings,
                       ends);
        labels.push_back({feature, number, std::move(shapedText)});
    }

    /// The area of the label that was added last.
    void addAreaObstacle(int number, const QString& text, std::span<const double> rings,
                         std::span<const qsizetype> ends) {
        const Look& look = lookOf(number);
        const auto own = static_cast<qsizetype>(labels.size()) - 1;
        if (!isNear(rings, look, text)) {
            return;
        }
        if (look.isFilled) {
            placer.addAreaObstacle(rings, ends, look.lineWidth, look.settings.weight, own);
            return;
        }
        std::size_t from = 0;
        for (const qsizetype end : ends) {
            const std::size_t to =
                std::clamp(static_cast<std::size_t>(std::max<qsizetype>(end, 0)) * 2, from, rings.size());
            if (look.lineWidth > 0.0 && to > from + 1) {
                std::vector<double> outline(rings.begin() + static_cast<std::ptrdiff_t>(from),
                                            rings.begin() + static_cast<std::ptrdiff_t>(to));
                outline.insert(outline.end(), {rings[from], rings[from + 1]});
                placer.addLineObstacle(outline, look.lineWidth, look.settings.weight, own);
            }
            from = to;
        }
    }

    /// So that its number counts; it is out of view wherever it has its vertices, or has nothing to place.
    void placeNowhere(qsizetype feature, int number, std::span<const double> coordinates) {
        const QPointF place =
            coordinates.size() < 2 ? QPointF(NAN, NAN) : QPointF(coordinates[0], coordinates[1]);
        placer.addPoint({}, {1.0, 1.0}, place, 0.0);
        labels.push_back({feature, number, nullptr});
    }

    void wait(qsizetype feature, int number, const QString& text, double priority,
              std::span<const double> coordinates, std::span<const qsizetype> ends) {
        const std::size_t before = pendingCoordinates.size() / 2;
        pendingCoordinates.insert(pendingCoordinates.end(), coordinates.begin(), coordinates.end());
        for (const qsizetype end : ends) {
            const auto last = std::clamp<qsizetype>(end, 0, static_cast<qsizetype>(coordinates.size() / 2));
            pendingEnds.push_back(static_cast<qsizetype>(before) + last);
            pending.push_back({feature, number, priority, text});
        }
    }

    void placePending() {
        // What one name is: the same text in the same style.
        QHash<std::pair<int, QString>, int> numbers;
        std::vector<int> names;
        for (const PendingLine& line : pending) {
            if (line.text.isEmpty()) {
                names.push_back(-1);
                continue;
            }
            const auto known = numbers.constFind({line.look, line.text});
            names.push_back(known != numbers.cend() ? *known : static_cast<int>(numbers.size()));
            if (known == numbers.cend()) {
                numbers.insert({line.look, line.text}, names.back());
            }
        }
        const MergedLines merged = mergeLines(pendingCoordinates, pendingEnds, names, watch.function());
        std::vector<const PendingLine*> first(merged.lineEnds.size(), nullptr);
        std::vector<double> greatest(merged.lineEnds.size(), std::numeric_limits<double>::quiet_NaN());
        for (std::size_t part = 0; part < pending.size(); ++part) {
            const auto line = static_cast<std::size_t>(merged.lineOf[part]);
            first[line] = first[line] == nullptr ? &pending[part] : first[line];
            greatest[line] = std::fmax(greatest[line], pending[part].priority);
        }
        const std::span all(merged.coordinates);
        std::vector<NamedLine> lines;
        for (std::size_t i = 0, from = 0; i < first.size(); ++i) {
            const auto to = static_cast<std::size_t>(merged.lineEnds[i]);
            watch.every(std::size_t{256}, i);
            lines.push_back({all.subspan(2 * from, 2 * (to - from))});
            lines.back().measure();
            from = to;
        }
        // The second carriageway of a street has its name already.
        std::vector<std::size_t> longestFirst(lines.size());
        std::iota(longestFirst.begin(), longestFirst.end(), std::size_t{0});
        std::stable_sort(longestFirst.begin(), longestFirst.end(),
                         [&](std::size_t a, std::size_t b) { return lines[a].length > lines[b].length; });
        std::vector<std::vector<NamedLine*>> kept(static_cast<std::size_t>(numbers.size()));
        std::vector<int> nameOf(lines.size(), -1);
        for (std::size_t part = 0; part < pending.size(); ++part) {
            nameOf[static_cast<std::size_t>(merged.lineOf[part])] = names[part];
        }
        constexpr std::size_t mostCompared = 16;
        std::size_t compared = 0;
        for (const std::size_t i : longestFirst) {
            watch.every(std::size_t{256}, compared++);
            if (nameOf[i] < 0) {
                continue;
            }
            NamedLine& line = lines[i];
            auto& longer = kept[static_cast<std::size_t>(nameOf[i])];
            const double beside = heightsBeside * lookOf(first[i]->look).font.size * view.unitsPerPixel();
            line.isBeside = std::any_of(longer.cbegin(), longer.cend(), [&](NamedLine* known) {
                return known->comesWithin(beside, line.middle);
            });
            if (!line.isBeside && longer.size() < mostCompared) {
                longer.push_back(&line);
            }
        }
        for (std::size_t i = 0; i < lines.size(); ++i) {
            watch.every(std::size_t{16}, i);
            placeLine(first[i]->feature, first[i]->look, first[i]->text, greatest[i], lines[i].coordinates,
                      !lines[i].isBeside);
        }
    }

    MapView view;
    double scale;
    LabelTexts& texts;
    LabelPlacer placer;
    Map::Internal::Watch watch;
    std::vector<Look> looks;
    std::vector<Label> labels;
    qsizetype features = 0;
    std::vector<PendingLine> pending; // one for each part
    std::vector<double> pendingCoordinates;
    std::vector<qsizetype> pendingEnds;
    LabelPlaces places;
};

StyledLabels::StyledLabels(const MapView& view, double scaleDenominator, LabelTexts& texts)
    : d(std::make_unique<Private>(view, scaleDenominator, texts)) {}
StyledLabels::~StyledLabels() = default;

int StyledLabels::addStyle(const Core::Layers::GisLayerStyle& style) {
    if (!areLabelsVisible(style, d->scale)) {
        return -1;
    }
    const double ratio = d->view.devicePixelRatio();
    const auto pixels = [&](float size) {
        return size > 0.0F && std::isfinite(size) ? static_cast<double>(size) * ratio : 0.0;
    };
    const bool isFilled = style.fillOpacity() > 0 || style.fillPattern() != Core::Layers::FillPattern::None;
    d->looks.push_back({labelFont(style, ratio), labelLook(style, ratio), labelSettings(style, ratio),
                        style.labelPlacementMode(), pixels(style.pointSize()), pixels(style.lineWidth()),
                        isFilled});
    return static_cast<int>(d->looks.size()) - 1;
}

void StyledLabels::addPoint(int style, const QString& text, double priority, QPointF place) {
    const qsizetype feature = d->features++;
    if (style >= 0) {
        d->placePoint(feature, style, text, priority, place, true);
    }
}

void StyledLabels::addLine(int style, const QString& text, double priority,
                           std::span<const double> coordinates, std::span<const qsizetype> partEnds) {
    const qsizetype feature = d->features++;
    if (style < 0) {
        return;
    }
    const std::size_t count = coordinates.size() / 2;
    const LabelPlacementMode mode = d->lookOf(style).mode;
    const bool isClosed = partEnds.size() == 1 && count > 3 && coordinates[0] == coordinates[2 * count - 2] &&
                          coordinates[1] == coordinates[2 * count - 1];
    if (mode == LabelPlacementMode::Area && isClosed) {
        d->placeArea(feature, style, text, priority, coordinates, partEnds);
    } else if (mode == LabelPlacementMode::Point) {
        const auto middle = middleOfLine(coordinates, partEnds);
        d->placePoint(feature, style, text, priority, middle.value_or(QPointF(NAN, NAN)), false);
    } else {
        d->wait(feature, style, text, priority, coordinates, partEnds);
    }
}

void StyledLabels::addArea(int style, const QString& text, double priority,
                           std::span<const double> coordinates, std::span<const qsizetype> ringEnds) {
    const qsizetype feature = d->features++;
    if (style < 0) {
        return;
    }
    const LabelPlacementMode mode = d->lookOf(style).mode;
    if (mode == LabelPlacementMode::Line) {
        d->wait(feature, style, text, priority, coordinates, ringEnds);
    } else if (mode == LabelPlacementMode::Point) {
        const auto inside = insideOf(coordinates, ringEnds);
        d->placePoint(feature, style, text, priority, inside.value_or(QPointF(NAN, NAN)), false);
        d->addAreaObstacle(style, text, coordinates, ringEnds);
    } else {
        d->placeArea(feature, style, text, priority, coordinates, ringEnds);
        d->addAreaObstacle(style, text, coordinates, ringEnds);
    }
}

void StyledLabels::addClosedBox(const QRectF& pixels) {
    d->placer.addClosedBox(pixels);
}

void StyledLabels::setPrevious(const LabelPlaces& previous) {
    d->placer.setPrevious(previous);
}

void StyledLabels::setBudget(qint64 steps) {
    d->placer.setBudget(steps);
}

void StyledLabels::setWatch(std::function<void()> watch) {
    d->placer.setWatch(watch);
    d->watch = Map::Internal::Watch(std::move(watch));
}

void StyledLabels::place() {
    d->placePending();
    d->places = d->placer.place();
}

const LabelPlaces& StyledLabels::places() const {
    return d->places;
}

qsizetype StyledLabels::featureOf(qsizetype label) const {
    return d->labels.at(static_cast<std::size_t>(label)).feature;
}

std::vector<PlacedLabel> StyledLabels::placedLabels() const {
    std::vector<PlacedLabel> placed;
    for (const LabelPlace& place : d->places.places) {
        if (place.outcome == LabelOutcome::Placed) {
            const Private::Label& label = d->labels[static_cast<std::size_t>(place.label)];
            placed.push_back({label.text.get(), d->lookOf(label.look).look,
                              std::span(d->places.boxes.constData() + place.firstBox,
                                        static_cast<std::size_t>(place.boxCount))});
        }
    }
    return placed;
}

} // namespace Cartolith::Map::Labels
