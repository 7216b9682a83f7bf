#include <Cartolith/Map/Labels/LabelCandidatesInternal.h>

#include <algorithm>
#include <cmath>
#include <iterator>

namespace Cartolith::Map::Labels::Internal {

namespace {

double distance(QPointF a, QPointF b) {
    return std::hypot(b.x() - a.x(), b.y() - a.y());
}

/// The numbers 0, 1, -1, 2, -2, ...: from the middle outwards.
qint64 outward(qint64 i) {
    return (i % 2 == 1) ? (i + 1) / 2 : -i / 2;
}

constexpr double sharpestTurn = 0.8660; // the cosine between two clusters: 30 degrees
constexpr double mostTurned = 0.3420;   // between one and the whole text: 70 degrees
constexpr double leastOfAdvance = 0.8;  // what is left of a cluster's width where the line bends under it
constexpr double straightEnough = 0.15; // of the height, to either side: nobody sees the difference
constexpr double straightAtAll = 0.6;   // the same for a text that has to be straight

} // namespace

Path::Path(const std::vector<QPointF>& points) {
    m_points.reserve(points.size());
    for (const QPointF& point : points) {
        const double step = m_points.empty() ? 1.0 : distance(m_points.back(), point);
        if (step > 0.0) {
            m_lengths.push_back(m_points.empty() ? 0.0 : m_lengths.back() + step);
            m_points.push_back(point);
        }
    }
}

QPointF Path::at(double along) const {
    const auto next = std::upper_bound(m_lengths.cbegin(), m_lengths.cend(), along);
    if (next == m_lengths.cend()) {
        return m_points.back();
    }
    if (next == m_lengths.cbegin()) {
        return m_points.front();
    }
    const auto i = static_cast<std::size_t>(next - m_lengths.cbegin());
    return m_points[i - 1] +
           (m_points[i] - m_points[i - 1]) * ((along - m_lengths[i - 1]) / (m_lengths[i] - m_lengths[i - 1]));
}

std::vector<std::pair<double, double>> Path::inside(const QRectF& frame) const {
    std::vector<std::pair<double, double>> stretches;
    for (std::size_t i = 0; i + 1 < m_points.size(); ++i) {
        const QPointF a = m_points[i];
        const QPointF way = m_points[i + 1] - a;
        double first = 0.0;
        double last = 1.0;
        const auto cut = [&](double from, double step, double low, double high) {
            if (step == 0.0) {
                last = from >= low && from <= high ? last : -1.0;
                return;
            }
            first = std::max(first, std::min((low - from) / step, (high - from) / step));
            last = std::min(last, std::max((low - from) / step, (high - from) / step));
        };
        cut(a.x(), way.x(), frame.left(), frame.right());
        cut(a.y(), way.y(), frame.top(), frame.bottom());
        if (first <= last) {
            const double length = m_lengths[i + 1] - m_lengths[i];
            const double from = m_lengths[i] + first * length;
            const double to = m_lengths[i] + last * length;
            if (!stretches.empty() && stretches.back().second >= from) {
                stretches.back().second = to;
            } else {
                stretches.emplace_back(from, to);
            }
        }
    }
    return stretches;
}

LabelledLine::LabelledLine(const Path& linePath, const LabelSettings& settings, double textWidth,
                           const QRectF& frame)
    : path(linePath), repeats(linePath.length(), textWidth, settings.repeatDistance) {
    if (repeats.count > 0) {
        const double aside = std::abs(settings.offset.y());
        inView = path.inside(frame.adjusted(-aside, -aside, aside, aside));
    }
}

std::vector<qint64> LabelledLine::repeatsInView() const {
    std::vector<qint64> numbers;
    const auto most = static_cast<double>(repeats.count - 1);
    for (const auto& [from, to] : inView) {
        const auto first = static_cast<qint64>(std::clamp(std::floor(from / repeats.slot), 0.0, most));
        const auto last = static_cast<qint64>(std::clamp(std::floor(to / repeats.slot), 0.0, most));
        for (qint64 i = numbers.empty() ? first : std::max(first, numbers.back() + 1); i <= last; ++i) {
            numbers.push_back(i);
        }
    }
    return numbers;
}

Repeats::Repeats(double length, double textWidth, double repeatDistance) {
    if (!(length >= textWidth)) {
        return;
    }
    constexpr double most = 1e9; // numbers
    // A third of each slot stays free for shifts, so that neighbours are never nearer than the distance.
    const double wanted = std::max(repeatDistance, textWidth) * 1.5;
    count =
        repeatDistance > 0.0 ? static_cast<qint64>(std::clamp(std::floor(length / wanted), 1.0, most)) : 1;
    slot = length / static_cast<double>(count);
    freedom = std::max(0.0, count == 1 ? (length - textWidth) * 0.5
                                       : (slot - std::max(repeatDistance, textWidth)) * 0.5);
}

bool addBoxesAlong(Candidates& candidates, const LabelSettings& settings, const Text& text, const Path& path,
                   double middle) {
    const double half = text.width * 0.5;
    const QPointF begin = path.at(middle - half);
    const QPointF end = path.at(middle + half);
    const double chord = distance(begin, end);
    if (!(chord > text.width * 0.5)) {
        return false;
    }
    // Never upside down. What goes straight down or up reads from below.
    const QPointF along = (end - begin) / chord;
    constexpr double level = 1e-9;
    const bool isReversed = along.x() < -level || (std::abs(along.x()) <= level && along.y() > 0.0);
    const double sign = isReversed ? -1.0 : 1.0;
    const auto shifted = [&](QPointF center, QPointF axis, double width) {
        // The offset goes along and across the text.
        const double across = settings.offset.y();
        return Box{center.x() - axis.y() * across,
                   center.y() + axis.x() * across,
                   width * 0.5,
                   text.height * 0.5,
                   axis.x(),
                   axis.y()};
    };

    const std::size_t first = candidates.boxes.size();
    double reached = middle - sign * half;
    QPointF last = sign * along;
    for (const double advance : text.advances) {
        const QPointF from = path.at(reached);
        reached += sign * advance;
        const QPointF to = path.at(reached);
        const double width = distance(from, to);
        if (width < advance * leastOfAdvance) {
            candidates.boxes.resize(first);
            return false;
        }
        const QPointF axis = width > 0.0 ? (to - from) / width : last;
        if ((candidates.boxes.size() > first && QPointF::dotProduct(axis, last) < sharpestTurn) ||
            sign * QPointF::dotProduct(axis, along) < mostTurned) {
            candidates.boxes.resize(first);
            return false;
        }
        last = axis;
        const QPointF center = (from + to) * 0.5;
        candidates.boxes.push_back(shifted(center, axis, advance));
    }
    constexpr int looks = 16;
    double furthest = 0.0; // from the chord
    for (int i = 1; i < looks; ++i) {
        const QPointF fromBegin = path.at(middle - half + text.width * i / looks) - begin;
        furthest = std::max(furthest, std::abs(fromBegin.x() * along.y() - fromBegin.y() * along.x()));
    }
    const bool isStraight = text.advances.size() < 2 || !settings.isCurved;
    if (furthest <= text.height * (isStraight ? straightAtAll : straightEnough)) {
        candidates.boxes.resize(first);
        candidates.boxes.push_back(shifted((begin + end) * 0.5, sign * along, text.width));
    } else if (isStraight) {
        candidates.boxes.resize(first);
        return false;
    }
    return true;
}

Found addLineCandidates(Candidates& candidates, const LabelSettings& settings, const Text& text,
                        const LabelledLine& line, qint64 repeat, const QRectF& frame) {
    // A line may be far longer than the picture: places on all of it, of which the first ones in view are
    // taken.
    constexpr double morePlaces = 2000.0;
    const Repeats& repeats = line.repeats;
    const double middle = (static_cast<double>(repeat) + 0.5) * repeats.slot + settings.offset.x();
    const double lowest = text.width * 0.5;
    const double highest = line.path.length() - lowest;
    const double step = std::max({text.width * 0.25, text.height, repeats.freedom * 2.0 / morePlaces});
    const auto count = static_cast<qint64>(repeats.freedom / step) * 2 + 1;
    int added = 0;
    bool isInView = false;
    bool fits = false;
    for (qint64 i = 0; i < count && added < settings.maxCandidates; ++i) {
        candidates.watch.every(qint64{64}, i);
        const double center = std::clamp(middle + static_cast<double>(outward(i)) * step, lowest, highest);
        const auto stretch = std::upper_bound(line.inView.cbegin(), line.inView.cend(), center,
                                              [](double c, const auto& s) { return c < s.first; });
        if (stretch == line.inView.cbegin() || std::prev(stretch)->second < center) {
            continue;
        }
        isInView = true;
        const std::size_t first = candidates.boxes.size();
        if (addBoxesAlong(candidates, settings, text, line.path, center)) {
            fits = true;
            added += candidates.close(i, first, frame) ? 1 : 0;
        }
    }
    return added > 0 ? Found::Some : fits || !isInView ? Found::OutsideView : Found::DoesNotFit;
}

} // namespace Cartolith::Map::Labels::Internal
