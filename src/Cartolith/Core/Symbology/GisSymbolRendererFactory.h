#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Symbology/GisCategorizedSymbolRenderer.h>
#include <Cartolith/Core/Symbology/GisClassificationMethod.h>
#include <Cartolith/Core/Symbology/GisClassificationRange.h>
#include <Cartolith/Core/Symbology/GisColorRamp.h>
#include <Cartolith/Core/Symbology/GisGraduatedSymbolRenderer.h>
#include <Cartolith/Core/Symbology/GisRuleBasedSymbolRenderer.h>
#include <Cartolith/Core/Symbology/GisSimpleSymbolRenderer.h>

#include <QList>
#include <QString>

#include <memory>

namespace Cartolith::Core::Layers {
class GisLayerVector;
}

namespace Cartolith::Core::Symbology {

/// How the classes of a field are found and coloured.
struct GisClassificationSettings {
    GisClassificationMethod method = GisClassificationMethod::NaturalBreaks;
    int classCount = 5;
    GisColorRamp ramp; ///< the registry's default ramp when it has no stops
    GisColorRampMode mode = GisColorRampMode::Continuous;
    bool reversed = false;
    double interval = 1.0;      ///< of DefinedInterval and the two standard-deviation methods
    QList<double> manualBreaks; ///< of Manual
    /// Of the symbols (points and lines) of the first and the last class, in pixels, in even steps between;
    /// both 0 leave them all the layer's.
    float firstSize = 0.0F;
    float lastSize = 0.0F;
};

/// Builds renderers from a layer's field. The layer is only read.
///
/// The colours of the classes go on top of the layer's style, which is also the default style. Null values
/// make no class, nor does NaN. Features without a value are drawn with the default style, with two
/// exceptions: a null QVariant of a numeric type converts to 0, so it is drawn in the class
/// that 0 falls into; a missing value counts as empty text, so a category for empty text draws it. O(n log n)
/// for n features, plus what the method costs; categories of a type that the categorized renderer compares
/// one by one take O(n c) for c of them.
///
/// Errors: std::invalid_argument
///   "The layer has no field 'x'.": neither its definitions nor any of its shapes name it;
///   "Field 'x' is not numeric: 'abc'.": with the first value that is no number, when numbers are needed;
///   "Field 'x' has no values to classify.": all values are null or NaN, or not finite when numbers are
///   needed;
///   "The method makes no classes of field 'x' with these settings.": say, a class count of 0.
class CARTOLITH_CORE_EXPORT GisSymbolRendererFactory {
public:
    GisSymbolRendererFactory() = delete;

    /// The classes that graduated() makes of these numbers: those of the method's own function in
    /// GisClassificationEngine, but natural breaks are optimalClasses(), and k-means and the methods after
    /// the standard deviation see values that lie far from 0 for their spread without that offset, which
    /// would cost their sums digits. Fewer than settings.classCount come out where values repeat; compare.
    /// Empty when the method makes none. Values that are not finite are ignored.
    static QList<GisClassificationRange> classes(const QList<double>& values,
                                                 const GisClassificationSettings& settings);

    static std::unique_ptr<GisSimpleSymbolRenderer> simple(const Layers::GisLayerVector& layer);
    /// One style, with sizes by the field: from `least` pixels at its least number to `greatest` at its
    /// greatest. The errors of graduated(). Where symbols are to be compared as areas, `least` should be to
    /// `greatest` as the roots of those numbers, best 0 for a least number of 0.
    static std::unique_ptr<GisSimpleSymbolRenderer>
    sized(const Layers::GisLayerVector& layer, const QString& fieldName, float least, float greatest,
          Layers::SizeScaling scaling = Layers::SizeScaling::Area);
    /// A class for each different value, ascending: numbers first, by size, then the rest by their text.
    /// Values that are equal by GisCategorizedSymbolRenderer::valuesEqual() share one, labelled with the
    /// first of them.
    static std::unique_ptr<GisCategorizedSymbolRenderer>
    categorized(const Layers::GisLayerVector& layer, const QString& fieldName, const GisColorRamp& ramp,
                GisColorRampMode mode = GisColorRampMode::Continuous, bool reversed = false);
    static std::unique_ptr<GisGraduatedSymbolRenderer> graduated(const Layers::GisLayerVector& layer,
                                                                 const QString& fieldName,
                                                                 const GisClassificationSettings& settings);
    /// The classes of graduated() as rules to go on from: "field >= lower" from the highest class down. A
    /// value above all classes, which manual breaks may leave, meets the first of them.
    static std::unique_ptr<GisRuleBasedSymbolRenderer> ruleBased(const Layers::GisLayerVector& layer,
                                                                 const QString& fieldName,
                                                                 const GisClassificationSettings& settings);

    /// The kind with that number; the simple kind reads neither field nor settings, the categorized one the
    /// ramp, mode and direction. \throws std::invalid_argument also "Unknown symbol renderer type."
    static std::unique_ptr<GisSymbolRenderer> create(GisSymbolRendererType type,
                                                     const Layers::GisLayerVector& layer,
                                                     const QString& fieldName,
                                                     const GisClassificationSettings& settings);
};

} // namespace Cartolith::Core::Symbology
