#include <Cartolith/Core/Symbology/GisClassificationEngine.h>
#include <Cartolith/Core/Symbology/GisSymbolRendererFactory.h>

#include <algorithm>
#include <cmath>

namespace Cartolith::Core::Symbology {

namespace {

bool addsUpValues(GisClassificationMethod method) {
    return method == GisClassificationMethod::KMeans || method == GisClassificationMethod::KMeansSpatial ||
           method == GisClassificationMethod::StandardDeviation ||
           method == GisClassificationMethod::StandardDeviationWithCentral;
}

GisClassificationEngine::Ranges classify(const QList<double>& values,
                                         const GisClassificationSettings& settings) {
    return GisClassificationEngine::classify(values, settings.method, settings.classCount, settings.interval,
                                             settings.manualBreaks);
}

/// The classes of ascending values that lie nearer to each other than to 0, where differences are exact.
GisClassificationEngine::Ranges classifyFromLeast(const QList<double>& sorted,
                                                  const GisClassificationSettings& settings) {
    const double least = sorted.constFirst();
    QList<double> shifted;
    shifted.reserve(sorted.size());
    for (const double value : sorted) {
        shifted.append(value - least);
    }
    auto ranges = classify(shifted, settings);
    if (ranges.isEmpty()) {
        return ranges;
    }
    QList<double> breaks{least, sorted.constLast()}; // which a sum might miss
    for (qsizetype i = 1; i < ranges.size(); ++i) {
        breaks.append(ranges.at(i).lower + least);
    }
    return GisClassificationEngine::rangesFromBreaks(breaks);
}

} // namespace

QList<GisClassificationRange> GisSymbolRendererFactory::classes(const QList<double>& values,
                                                                const GisClassificationSettings& settings) {
    if (settings.method == GisClassificationMethod::NaturalBreaks) {
        return GisClassificationEngine::optimalClasses(values, settings.classCount);
    }
    if (!addsUpValues(settings.method)) {
        return classify(values, settings);
    }
    const QList<double> sorted = GisClassificationEngine::sortedFiniteValues(values);
    const bool isFar = !sorted.isEmpty() && sorted.constFirst() < sorted.constLast() &&
                       sorted.constLast() - sorted.constFirst() <=
                           std::min(std::abs(sorted.constFirst()), std::abs(sorted.constLast()));
    return isFar ? classifyFromLeast(sorted, settings) : classify(sorted, settings);
}

} // namespace Cartolith::Core::Symbology
