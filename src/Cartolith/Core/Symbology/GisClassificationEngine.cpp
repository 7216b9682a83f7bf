#include <Cartolith/Core/Common/FloatsInternal.h>
#include <Cartolith/Core/Common/LogChannels.h>
#include <Cartolith/Core/Common/LogStepInternal.h>
#include <Cartolith/Core/Symbology/GisClassificationEngine.h>
#include <Cartolith/Core/Symbology/KMeansInternal.h>
#include <Cartolith/Core/Symbology/NaturalBreaksInternal.h>
#include <Cartolith/Core/Symbology/OptimalClassesInternal.h>
#include <Cartolith/Core/Symbology/RangeSearchInternal.h>

#include <QLocale>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <numeric>
#include <utility>
#include <vector>

namespace Cartolith::Core::Symbology {

namespace {

using Ranges = GisClassificationEngine::Ranges;

using Common::Internal::nan;

/// The least and the greatest finite value. Methods that need no more do not sort.
struct Span {
    explicit Span(const QList<double>& values) {
        for (const double value : values) {
            if (std::isfinite(value)) {
                min = std::min(min, value);
                max = std::max(max, value);
            }
        }
    }

    bool isEmpty() const { return min > max; }

    double min = std::numeric_limits<double>::infinity();
    double max = -std::numeric_limits<double>::infinity();
};

/// What the other methods start from.
struct Column {
    Column(const QList<double>& values, int wanted)
        : data(GisClassificationEngine::sortedFiniteValues(values)) {
        int distinct = 0;
        for (qsizetype i = 0; i < data.size() && distinct < wanted; ++i) {
            distinct += i == 0 || data[i] != data[i - 1] ? 1 : 0;
        }
        classes = distinct;
    }

    double min() const { return data.constFirst(); }
    double max() const { return data.constLast(); }
    bool isConstant() const { return min() == max(); }

    QList<double> data; ///< ascending, finite
    int classes;        ///< as many as are wanted, at most one for each distinct value
};

/// Sums of squares without the mean would cancel when the values lie far from 0.
double squaredDeviations(const QList<double>& values, double mean) {
    return std::accumulate(values.cbegin(), values.cend(), 0.0, [mean](double sum, double value) {
        return sum + (value - mean) * (value - mean);
    });
}

/// The same from the values' own mean. Counted from one of them, because a sum of values far from 0 has no
/// digits left for where between them the mean lies.
double squaredDeviations(const QList<double>& values) {
    QList<double> shifted;
    shifted.reserve(values.size());
    for (const double value : values) {
        shifted.append(value - values.constFirst());
    }
    return squaredDeviations(shifted, GisClassificationEngine::mean(shifted));
}

bool inside(double value, const Column& column) {
    return std::isfinite(value) && value > column.min() && value < column.max();
}

} // namespace

Ranges GisClassificationEngine::classify(const QList<double>& values, GisClassificationMethod method,
                                         int classCount, double interval, const QList<double>& breaks) {
    Common::Internal::LogStep step(Common::LogChannels::classify, "classify");
    step.set("method", static_cast<int>(method));
    step.set("values", values.size());
    switch (method) {
    case GisClassificationMethod::Manual:
        return manualBreaks(breaks);
    case GisClassificationMethod::DefinedInterval:
        return definedInterval(values, interval);
    case GisClassificationMethod::EqualInterval:
        return equalInterval(values, classCount);
    case GisClassificationMethod::Quantile:
        return quantile(values, classCount);
    case GisClassificationMethod::NaturalBreaks:
        return naturalBreaks(values, classCount);
    case GisClassificationMethod::Quartile:
        return quartile(values);
    case GisClassificationMethod::StandardDeviation:
        return standardDeviation(values, interval);
    case GisClassificationMethod::StandardDeviationWithCentral:
        return standardDeviationWithCentral(values, interval);
    case GisClassificationMethod::GeometricalInterval:
        return geometricalInterval(values, classCount);
    case GisClassificationMethod::KMeans:
        return kMeans(values, classCount);
    case GisClassificationMethod::KMeansSpatial:
        return kMeansSpatial(values, classCount);
    }
    return {};
}

Ranges GisClassificationEngine::manualBreaks(const QList<double>& breaks) {
    return rangesFromBreaks(breaks);
}

Ranges GisClassificationEngine::definedInterval(const QList<double>& values, double interval) {
    const Span span(values);
    if (span.isEmpty() || !std::isfinite(interval) || interval <= 0.0) {
        return {};
    }
    QList<double> breaks;
    double next = span.min;
    while (next < span.max) {
        breaks.append(next);
        const double following = next + interval;
        if (following == next) {
            break; // the interval is lost in rounding; what follows would be the same break for ever
        }
        next = following;
    }
    breaks.append(span.max);
    return rangesFromBreaks(breaks);
}

Ranges GisClassificationEngine::equalInterval(const QList<double>& values, int classCount) {
    const Span span(values);
    if (span.isEmpty() || classCount < 1) {
        return {};
    }
    QList<double> breaks;
    if (span.min < span.max) {
        const double width = (span.max - span.min) / classCount;
        for (int i = 0; i < classCount; ++i) {
            breaks.append(span.min + i * width);
        }
    }
    breaks.append(span.max);
    return rangesFromBreaks(breaks);
}

Ranges GisClassificationEngine::quantile(const QList<double>& values, int classCount) {
    const Column column(values, classCount);
    if (column.data.isEmpty() || classCount < 1) {
        return {};
    }
    QList<double> breaks;
    for (int i = 0; i <= column.classes; ++i) {
        breaks.append(percentile(column.data, static_cast<double>(i) / column.classes));
    }
    return rangesFromBreaks(breaks);
}

Ranges GisClassificationEngine::quartile(const QList<double>& values) {
    return quantile(values, 4);
}

Ranges GisClassificationEngine::naturalBreaks(const QList<double>& values, int classCount) {
    const Column column(values, classCount);
    if (column.data.isEmpty() || classCount < 1) {
        return {};
    }
    return rangesFromBreaks(column.classes < 2 ? QList<double>{column.min(), column.max()}
                                               : Internal::naturalBreaks(column.data, column.classes));
}

Ranges GisClassificationEngine::optimalClasses(const QList<double>& values, int classCount) {
    Common::Internal::LogStep step(Common::LogChannels::classify, "classify");
    step.set("method", static_cast<int>(GisClassificationMethod::NaturalBreaks));
    step.set("values", values.size());
    const QList<double> sorted = sortedFiniteValues(values);
    if (sorted.isEmpty() || classCount < 1) {
        return {};
    }
    std::vector<double> different;
    std::vector<double> counts;
    for (const double value : sorted) {
        if (different.empty() || different.back() != value) {
            different.push_back(value);
            counts.push_back(0.0);
        }
        counts.back() += 1.0;
    }
    const std::size_t classes = std::min(static_cast<std::size_t>(classCount), different.size());
    Ranges ranges;
    for (const std::size_t begin : Internal::optimalClasses(different, counts, classes)) {
        if (!ranges.isEmpty()) {
            GisClassificationRange& before = ranges.last();
            before.upper = different[begin];
            before.label = label(before.lower, before.upper);
        }
        ranges.append({different[begin], different.back(), true, false, {}});
    }
    ranges.last().includeUpper = true;
    ranges.last().label = label(ranges.constLast().lower, ranges.constLast().upper);
    return ranges;
}

Ranges GisClassificationEngine::geometricalInterval(const QList<double>& values, int classCount) {
    const Column column(values, classCount);
    if (column.data.isEmpty() || classCount < 1) {
        return {};
    }
    if (column.classes < 2) {
        return rangesFromBreaks({column.min(), column.max()});
    }
    const double shift = column.min() <= 0.0 ? 1.0 - column.min() : 0.0;
    const double a = column.min() + shift;
    const double b = column.max() + shift;
    const double ratio = std::pow(b / a, 1.0 / column.classes);
    if (a <= 0.0 || b <= a || !std::isfinite(ratio) || ratio <= 0.0 || ratio == 1.0) {
        return equalInterval(values, column.classes);
    }
    QList<double> breaks{column.min()};
    for (int i = 1; i < column.classes; ++i) {
        const double next = a * std::pow(ratio, i) - shift;
        if (inside(next, column)) {
            breaks.append(next);
        }
    }
    breaks.append(column.max());
    return rangesFromBreaks(breaks);
}

Ranges GisClassificationEngine::kMeans(const QList<double>& values, int classCount) {
    const Column column(values, classCount);
    if (column.data.isEmpty() || classCount < 1) {
        return {};
    }
    QList<double> breaks{column.min()};
    if (column.classes > 1) {
        const QList<double> centres = Internal::kMeansCentres(column.data, column.classes);
        for (qsizetype i = 1; i < centres.size(); ++i) {
            const double middle = (centres[i - 1] + centres[i]) * 0.5;
            if (inside(middle, column)) {
                breaks.append(middle);
            }
        }
    }
    breaks.append(column.max());
    return rangesFromBreaks(breaks);
}

Ranges GisClassificationEngine::kMeansSpatial(const QList<double>& values, int classCount) {
    return kMeans(values, classCount);
}

Ranges GisClassificationEngine::standardDeviation(const QList<double>& values, double multiplier) {
    return standardDeviationRanges(values, multiplier, false);
}

Ranges GisClassificationEngine::standardDeviationWithCentral(const QList<double>& values, double multiplier) {
    return standardDeviationRanges(values, multiplier, true);
}

Ranges GisClassificationEngine::standardDeviationRanges(const QList<double>& values, double multiplier,
                                                        bool withCentral) {
    constexpr qsizetype most = 10'000;
    const Column column(values, 2);
    if (column.data.isEmpty()) {
        return {};
    }
    if (!std::isfinite(multiplier) || multiplier <= 0.0) {
        multiplier = 1.0;
    }
    const double centre = mean(column.data);
    const double step = standardDeviationValue(column.data, centre) * multiplier;
    QList<double> breaks{column.min()};
    if (!column.isConstant() && std::isfinite(step) && step > 0.0) {
        const double below = withCentral ? centre - step / 2.0 : centre;
        const double above = withCentral ? centre + step / 2.0 : centre + step;
        for (double at = below; at > column.min() && breaks.size() < most; at -= step) {
            breaks.append(at);
        }
        for (double at = above; at < column.max() && breaks.size() < most; at += step) {
            breaks.append(at);
        }
    }
    breaks.append(column.max());
    return rangesFromBreaks(breaks);
}

Ranges GisClassificationEngine::rangesFromBreaks(const QList<double>& breaks) {
    const QList<double> unique = sortedUniqueValues(breaks);
    if (unique.size() == 1) {
        return {{unique.constFirst(), unique.constFirst(), true, true, numberText(unique.constFirst())}};
    }
    Ranges ranges;
    ranges.reserve(std::max<qsizetype>(unique.size() - 1, 0));
    for (qsizetype i = 1; i < unique.size(); ++i) {
        ranges.append(
            {unique[i - 1], unique[i], true, i + 1 == unique.size(), label(unique[i - 1], unique[i])});
    }
    return ranges;
}

QList<GisGraduatedSymbolRange>
GisClassificationEngine::graduatedRanges(const Ranges& ranges, const GisColorRamp& ramp,
                                         const Layers::GisLayerStyle& baseStyle, GisColorRampMode mode,
                                         bool reversed) {
    const QList<QString> colors = ramp.colors(static_cast<int>(ranges.size()), mode, reversed);
    QList<GisGraduatedSymbolRange> result;
    result.reserve(ranges.size());
    for (qsizetype i = 0; i < ranges.size(); ++i) {
        const GisClassificationRange& range = ranges[i];
        result.append({range.lower, range.upper, range.includeLower, range.includeUpper, range.label,
                       styleWithColor(baseStyle, colors.value(i))});
    }
    return result;
}

Layers::GisLayerStyle GisClassificationEngine::styleWithColor(const Layers::GisLayerStyle& base,
                                                              const QString& color) {
    Layers::GisLayerStyle style = base;
    style.setFillColor(color);
    style.setLineColor(color);
    style.setPointColor(color);
    if (base.fillPattern() != Layers::FillPattern::None && base.fillOpacity() <= 0) {
        style.setPatternColor(color); // the fill would not show it
    }
    return style;
}

GisClassificationFit GisClassificationEngine::goodnessOfFit(const QList<double>& values,
                                                            const Ranges& ranges) {
    Internal::RangeSearch search;
    for (qsizetype i = 0; i < ranges.size(); ++i) {
        search.append(ranges[i], i);
    }
    GisClassificationFit fit;
    fit.counts.fill(0, ranges.size());
    QList<QList<double>> classes(ranges.size());
    QList<double> all;
    for (const double value : values) {
        if (!std::isfinite(value)) {
            continue;
        }
        const qsizetype at = search.find(value);
        if (at < 0) {
            ++fit.outside;
            continue;
        }
        ++fit.counts[at];
        classes[at].append(value);
        all.append(value);
    }
    double within = 0.0;
    for (const QList<double>& members : std::as_const(classes)) {
        within += squaredDeviations(members);
    }
    const double overall = squaredDeviations(all);
    fit.gvf = all.isEmpty() ? nan : overall == 0.0 ? 1.0 : 1.0 - within / overall;
    return fit;
}

double GisClassificationEngine::mean(const QList<double>& values) {
    return values.isEmpty()
               ? nan
               : std::accumulate(values.cbegin(), values.cend(), 0.0) / static_cast<double>(values.size());
}

double GisClassificationEngine::standardDeviationValue(const QList<double>& values, double mean) {
    if (values.isEmpty() || !std::isfinite(mean)) {
        return nan;
    }
    return std::sqrt(squaredDeviations(values, mean) / static_cast<double>(values.size()));
}

double GisClassificationEngine::percentile(const QList<double>& sortedValues, double p) {
    if (sortedValues.isEmpty()) {
        return nan;
    }
    const double position = (p > 0.0 ? std::min(p, 1.0) : 0.0) * static_cast<double>(sortedValues.size() - 1);
    const auto low = static_cast<qsizetype>(std::floor(position));
    const auto high = static_cast<qsizetype>(std::ceil(position));
    return low == high ? sortedValues[low]
                       : sortedValues[low] +
                             (position - static_cast<double>(low)) * (sortedValues[high] - sortedValues[low]);
}

QString GisClassificationEngine::numberText(double value) {
    return QLocale::c().toString(value, 'g', 12);
}

QString GisClassificationEngine::label(double lower, double upper) {
    return lower == upper ? numberText(lower)
                          : QStringLiteral("%1 - %2").arg(numberText(lower), numberText(upper));
}

QList<double> GisClassificationEngine::sortedFiniteValues(const QList<double>& values) {
    QList<double> result;
    result.reserve(values.size());
    std::copy_if(values.cbegin(), values.cend(), std::back_inserter(result),
                 [](double value) { return std::isfinite(value); });
    std::sort(result.begin(), result.end());
    return result;
}

QList<double> GisClassificationEngine::sortedUniqueValues(const QList<double>& values) {
    QList<double> result = sortedFiniteValues(values);
    result.erase(std::unique(result.begin(), result.end()), result.end());
    return result;
}

QList<double> GisClassificationEngine::numericValues(const QList<QVariant>& values) {
    QList<double> result;
    result.reserve(values.size());
    for (const QVariant& value : values) {
        bool ok = false;
        const double number = value.toDouble(&ok);
        if (ok && std::isfinite(number)) {
            result.append(number);
        }
    }
    return result;
}

} // namespace Cartolith::Core::Symbology
