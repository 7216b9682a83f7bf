#pragma once

#include <Cartolith/Core/Export.h>

#include <QList>
#include <QString>

namespace Cartolith::Core::Symbology {

/// Whose eyes look at a colour.
enum class GisColorVision : int {
    Normal = 0,
    Deuteranopia = 1, ///< no cones for green, with about 1 % of men
    Protanopia = 2,   ///< no cones for red, with about 1 % of men
};

/// A colour in CIELAB, for the white of daylight (D65).
struct GisLabColor {
    double lightness = 0.0; ///< 0 to 100
    double a = 0.0;         ///< from green to red
    double b = 0.0;         ///< from blue to yellow
};

/// How well colours can be told from each other and from what they lie on.
///
/// Colours are texts as GisColorRamp::parseColor() reads them; of one that cannot be read the results are
/// NaN. Nothing here throws. Stateless; may be called from several threads.
class CARTOLITH_CORE_EXPORT GisColorPerception {
public:
    GisColorPerception() = delete;

    /// The contrast ratio of WCAG 2, 1 to 21. That standard wants 3 for lines and symbols (1.4.11) and 4.5
    /// for text (1.4.3).
    static double contrast(const QString& one, const QString& other);

    /// The colour difference CIEDE2000: about 1 can just be seen side by side, 5 to 10 are needed to find a
    /// colour of a map in its legend. Other eyes are simulated as by G. Machado, M. Oliveira and L. Fernandes
    /// (2009), for the whole of the lack.
    static double difference(const QString& one, const QString& other,
                             GisColorVision vision = GisColorVision::Normal);
    static double difference(const GisLabColor& one, const GisLabColor& other);

    /// As that eye sees it.
    static GisLabColor lab(const QString& color, GisColorVision vision = GisColorVision::Normal);

    /// The least difference between two of the colours; infinity for fewer than two, and NaN for two or more
    /// of which one cannot be read. O(n^2).
    static double leastDifference(const QList<QString>& colors,
                                  GisColorVision vision = GisColorVision::Normal);
};

} // namespace Cartolith::Core::Symbology
