#include <Cartolith/Map/LegendBounds.h>
#include <Cartolith/Map/NumberText.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

using Cartolith::Core::Symbology::GisClassificationMethod;
using Cartolith::Core::Symbology::GisClassificationRange;

namespace Cartolith::Map {

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double mostMoved = 1.0 / 50.0;        // of a class, that a bound may move by
constexpr double mostMovedUnseen = 1.0 / 500.0; // where the values are not known

/// Where a bound may lie, ends included.
struct Room {
    double least;
    double greatest;
    double wanted; ///< of equally short numbers the nearest to this
};

/// The number in the room that is a multiple of the greatest power of ten; the wanted one when there is none
/// with fewer digits.
double shortest(const Room& room) {
    if (room.least <= 0.0 && room.greatest >= 0.0) {
        return 0.0;
    }
    constexpr int mostDigits = 16;
    const int first =
        static_cast<int>(std::floor(std::log10(std::max(std::abs(room.least), std::abs(room.greatest)))));
    for (int power = first; power > first - mostDigits; --power) {
        const double unit = std::pow(10.0, power);
        double best = infinity;
        for (const double anchor : {room.wanted, room.least, room.greatest}) {
            for (const double steps : {std::floor(anchor / unit), std::ceil(anchor / unit)}) {
                // By way of the text, which has to read as a number in the room.
                const double candidate =
                    QStringLiteral("%1e%2").arg(QString::number(steps, 'f', 0)).arg(power).toDouble();
                if (candidate >= room.least && candidate <= room.greatest &&
                    std::abs(candidate - room.wanted) < std::abs(best - room.wanted)) {
                    best = candidate;
                }
            }
        }
        if (std::isfinite(best)) {
            return best;
        }
    }
    return room.wanted;
}

double after(double value) {
    return std::nextafter(value, infinity);
}

double before(double value) {
    return std::nextafter(value, -infinity);
}

double middle(double a, double b) {
    return a * 0.5 + b * 0.5;
}

/// Bounds of classes that follow on each other, each rounded between its neighbours among the values.
class Rounding {
public:
    /// The classes begin with `lowers`; the last one ends with `end`, or is that value alone.
    Rounding(const QList<double>& lowers, double end, bool areOfData, QList<double> values)
        : m_lowers(lowers), m_end(end), m_areOfData(areOfData), m_values(std::move(values)) {
        std::sort(m_values.begin(), m_values.end());
    }

    double first() const {
        const double bound = m_lowers.constFirst();
        if (NumberText::digits(bound) == 1) {
            return bound; // 0 would not be shorter
        }
        const double moved = movable((m_lowers.size() > 1 ? m_lowers.at(1) : m_end) - bound);
        return shortest({std::max(after(below(bound)), bound - moved), bound, bound});
    }

    /// Between the classes i - 1 and i.
    double inner(qsizetype i) const {
        const double bound = m_lowers.at(i);
        const Room room = roomOf(i);
        if (bound < m_end) {
            return shortest(room);
        }
        // Before a class of one value better a number that is not that value, unless it takes more digits.
        const double apart = shortest({room.least, std::max(room.least, before(bound)), room.wanted});
        return NumberText::decimals(apart) <= NumberText::decimals(bound) ? apart : shortest(room);
    }

    /// Of the last class, which is shown to begin there.
    double last(double begin) const {
        return shortest({m_end, std::min(before(above(m_end)), m_end + movable(m_end - begin)), m_end});
    }

private:
    Room roomOf(qsizetype i) const {
        const double bound = m_lowers.at(i);
        const double previous = m_lowers.at(i - 1);
        const double next = i + 1 < m_lowers.size() ? m_lowers.at(i + 1) : m_end;
        const double least = after(below(bound));
        const double greatest = std::max(bound, notBelow(bound));
        if (m_areOfData && !m_values.isEmpty()) { // beside a class without values not beyond its middle
            const double low = below(bound) < previous ? after(middle(previous, bound)) : least;
            const double high = bound < next && !(greatest < next) ? middle(bound, next) : greatest;
            return {std::min(low, bound), high, middle(low, high)};
        }
        const double moved =
            movable(bound < next ? std::min(bound - previous, next - bound) : bound - previous);
        return {std::max(least, bound - moved), std::min(greatest, bound + moved), bound};
    }

    double movable(double width) const {
        return std::isfinite(width) ? width * (m_values.isEmpty() ? mostMovedUnseen : mostMoved) : 0.0;
    }

    double below(double bound) const {
        const auto found = std::lower_bound(m_values.cbegin(), m_values.cend(), bound);
        return found == m_values.cbegin() ? -infinity : *(found - 1);
    }
    double notBelow(double bound) const {
        const auto found = std::lower_bound(m_values.cbegin(), m_values.cend(), bound);
        return found == m_values.cend() ? infinity : *found;
    }
    double above(double bound) const {
        const auto found = std::upper_bound(m_values.cbegin(), m_values.cend(), bound);
        return found == m_values.cend() ? infinity : *found;
    }

    QList<double> m_lowers;
    double m_end;
    bool m_areOfData;
    QList<double> m_values;
};

/// As the classification engine makes them; only the last one may be a single value.
bool followOnEachOther(const QList<GisClassificationRange>& classes) {
    for (qsizetype i = 0; i < classes.size(); ++i) {
        const GisClassificationRange& range = classes.at(i);
        const bool isLast = i + 1 == classes.size();
        if (!std::isfinite(range.lower) || !std::isfinite(range.upper) || !range.includeLower ||
            !(range.lower < range.upper || (isLast && i > 0 && range.lower == range.upper)) ||
            (!isLast && (range.includeUpper || range.upper != classes.at(i + 1).lower))) {
            return false;
        }
    }
    return !classes.isEmpty();
}

bool liesWhereDataSay(GisClassificationMethod method) {
    return method == GisClassificationMethod::Quantile || method == GisClassificationMethod::Quartile ||
           method == GisClassificationMethod::NaturalBreaks || method == GisClassificationMethod::KMeans ||
           method == GisClassificationMethod::KMeansSpatial;
}

} // namespace

LegendBounds::LegendBounds(const QList<GisClassificationRange>& classes, GisClassificationMethod method,
                           QList<double> values) {
    QList<double> from;
    QList<double> to;
    for (const GisClassificationRange& range : classes) {
        from.append(range.lower);
        to.append(range.upper);
    }
    if (method != GisClassificationMethod::Manual && followOnEachOther(classes)) {
        const Rounding rounding(from, to.constLast(), liesWhereDataSay(method), std::move(values));
        const bool endsInOne = from.constLast() == to.constLast();
        for (qsizetype i = 0; i < from.size(); ++i) {
            from[i] = i == 0 ? rounding.first() : rounding.inner(i);
            if (i > 0) {
                to[i - 1] = from.at(i);
            }
        }
        const int most =
            NumberText::decimals(*std::max_element(from.cbegin(), from.cend(), [](double a, double b) {
                return NumberText::decimals(a) < NumberText::decimals(b);
            }));
        if (endsInOne && NumberText::decimals(to.constLast()) <= most) {
            from.last() = to.constLast();
        } else {
            to.last() = rounding.last(from.constLast());
        }
    }
    const QStringList texts = NumberText::alike(from + to);
    const bool anyNegative =
        std::any_of(from.cbegin(), from.cend(), [](double value) { return value < 0.0; });
    for (qsizetype i = 0; i < from.size(); ++i) {
        const QString& low = texts.at(i);
        const QString& high = texts.at(from.size() + i);
        m_labels.append(
            from.at(i) == to.at(i)
                ? low
                : (anyNegative ? QStringLiteral("%1 to %2") : QStringLiteral("%1 \u2013 %2")).arg(low, high));
    }
}

} // namespace Cartolith::Map
