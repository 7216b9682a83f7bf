#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Layers/GisLayerStyle.h>
#include <Cartolith/Core/Symbology/GisClassificationMethod.h>
#include <Cartolith/Core/Symbology/GisClassificationRange.h>
#include <Cartolith/Core/Symbology/GisColorRamp.h>
#include <Cartolith/Core/Symbology/GisGraduatedSymbolRange.h>

#include <QList>
#include <QString>
#include <QVariant>

namespace Cartolith::Core::Symbology {

/// How well classes fit the numbers they were made from.
struct GisClassificationFit {
    /// Goodness of variance fit: 1 minus the squared deviations from the class means over those from the
    /// overall mean; 1 is perfect, 0 no better than one class. Computed over the values that lie in a class;
    /// NaN when none does or the squares are beyond the range of a double, 1 when they are all equal, or so
    /// near that the squares are 0.
    double gvf = 0.0;
    /// How many values each class holds, in the order of the classes. A value in several counts in the first.
    QList<qsizetype> counts;
    /// Finite values that lie in no class.
    qsizetype outside = 0;
};

/// Turns a column of numbers into classes, by eleven methods.
///
/// Every method ignores NaN and infinities and the order of the values. Classes are half open, [lower,
/// upper), but for the last, which is closed; a column of equal values gives one class of that value. No
/// function throws: empty input, a class count below 1, an unusable interval or an unknown method give an
/// empty list, statistics of nothing are NaN. Of a column wider than the greatest double, some methods leave
/// values in no class; goodnessOfFit() counts these. Stateless; may be called from several threads.
class CARTOLITH_CORE_EXPORT GisClassificationEngine {
public:
    using Ranges = QList<GisClassificationRange>;

    GisClassificationEngine() = delete;

    /// The method's own function. `interval` is the class width of DefinedInterval and the multiple of the
    /// standard deviation of the two methods named after it, `manualBreaks` is read by Manual alone,
    /// `classCount` by the others.
    static Ranges classify(const QList<double>& values, GisClassificationMethod method, int classCount,
                           double interval = 1.0, const QList<double>& manualBreaks = {});

    /// Classes between the given breaks; no values are looked at.
    static Ranges manualBreaks(const QList<double>& breaks);
    /// Classes of one width, from the least value on; the last may be narrower. Their number is not bounded:
    /// a small width on a wide column gives that many classes.
    static Ranges definedInterval(const QList<double>& values, double interval);
    static Ranges equalInterval(const QList<double>& values, int classCount);
    /// Classes with about as many values each. Heavily repeated values give fewer classes.
    static Ranges quantile(const QList<double>& values, int classCount);
    static Ranges quartile(const QList<double>& values);
    /// Jenks' natural breaks: the least sum of squared deviations from the class means, by W. Fisher's
    /// recurrence (1958). Of classifications that are equally good to the recurrence's own arithmetic, the
    /// one it finds first. See docs/classification.md for the method and its cost.
    ///
    /// When the greatest value would be a class of its own, these are one class fewer: see optimalClasses().
    static Ranges naturalBreaks(const QList<double>& values, int classCount);
    /// The classes with the least sum of squared deviations from the class means, all of them: as many as
    /// are wanted, or as there are different values. Where the greatest value is a class of its own, the last
    /// class is [max, max]; naturalBreaks() gives that class to the one before it.
    ///
    /// Also elsewhere the better choice for new work: equal values are never torn apart, and the sum is the
    /// least one to about 12 digits also for values far from 0 or of very different magnitudes, where
    /// rounding decides in the arithmetic that naturalBreaks() has to keep to. O(k n log n) time for n
    /// different values and k classes, about 200 + 4 k bytes for each.
    static Ranges optimalClasses(const QList<double>& values, int classCount);
    /// Class bounds in geometric progression; values that are not above 0 are shifted for it.
    static Ranges geometricalInterval(const QList<double>& values, int classCount);
    /// Lloyd's iteration from quantiles, at most 64 rounds; a bound lies midway between neighbouring centres.
    static Ranges kMeans(const QList<double>& values, int classCount);
    /// The same as kMeans().
    static Ranges kMeansSpatial(const QList<double>& values, int classCount);
    /// Bounds at the mean and at multiples of the standard deviation from it; at most 10,000. A multiplier
    /// that is not finite or not above 0 counts as 1.
    static Ranges standardDeviation(const QList<double>& values, double multiplier);
    /// The same with one class centred on the mean.
    static Ranges standardDeviationWithCentral(const QList<double>& values, double multiplier);
    static Ranges standardDeviationRanges(const QList<double>& values, double multiplier, bool withCentral);

    /// The classes between neighbouring breaks. Before that the breaks are sorted, and those that repeat
    /// others or are not finite are dropped. Every method ends here.
    static Ranges rangesFromBreaks(const QList<double>& breaks);

    /// Gives the classes colours from the ramp, on top of the base style; of a ramp without stops the colours
    /// are empty texts.
    static QList<GisGraduatedSymbolRange> graduatedRanges(const Ranges& ranges, const GisColorRamp& ramp,
                                                          const Layers::GisLayerStyle& baseStyle,
                                                          GisColorRampMode mode, bool reversed);
    /// The style with this colour for areas, lines and points; where the fill is transparent below a
    /// pattern, also for that.
    static Layers::GisLayerStyle styleWithColor(const Layers::GisLayerStyle& base, const QString& color);

    /// Any order, values that are not finite are left out. O(n log k) for ascending classes.
    static GisClassificationFit goodnessOfFit(const QList<double>& values, const Ranges& ranges);

    static double mean(const QList<double>& values);
    /// Of the population: divides by n.
    static double standardDeviationValue(const QList<double>& values, double mean);
    /// Linear between neighbouring values; p from 0 to 1 is clamped.
    static double percentile(const QList<double>& sortedValues, double p);
    /// Twelve significant digits, C locale.
    static QString numberText(double value);
    /// "1 - 2.5", or one number when both are equal.
    static QString label(double lower, double upper);

    static QList<double> sortedFiniteValues(const QList<double>& values);
    static QList<double> sortedUniqueValues(const QList<double>& values);
    /// The values that QVariant converts to a finite number, in their order. A null value of a numeric type
    /// converts to 0.
    static QList<double> numericValues(const QList<QVariant>& values);
};

} // namespace Cartolith::Core::Symbology
