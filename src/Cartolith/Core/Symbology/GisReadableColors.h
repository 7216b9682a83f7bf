#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Symbology/GisColorRamp.h>

#include <QList>
#include <QString>

namespace Cartolith::Core::Symbology {

/// Colours that can be told from a background, for what is thin or small: lines, points, categories. Areas
/// get by with less, because an outline sets them off.
///
/// Contrast and difference are those of GisColorPerception. Nothing here throws. Stateless; may be called
/// from several threads.
class CARTOLITH_CORE_EXPORT GisReadableColors {
public:
    GisReadableColors() = delete;

    /// What WCAG 2 wants for lines and symbols (1.4.11).
    static constexpr double lineContrast = 3.0;

    /// The longest stretch of the ramp in which every colour has such a contrast to the background, spread
    /// over 0 to 1; no stops when no colour has, or the background cannot be read. Of a ramp with two ends
    /// and a pale middle that is one end.
    static GisColorRamp partOf(const GisColorRamp& ramp, const QString& background,
                               double leastContrast = lineContrast);

    /// So many colours for categories on the background, each as different as can be from those before it and
    /// from the background, for eyes with deuteranopia and protanopia as well. On white and on the
    /// backgrounds of the built-in themes the nearest two of 10 differ by at least 10, of 20 by 6.5, of 40
    /// by 4.5 (CIEDE2000, contrast 3). Beyond 256, or as many as there are with that contrast, they
    /// repeat in order. The first colours do not depend on the count.
    /// None when no colour has the contrast. A background that cannot be read counts as white. O(count).
    static QList<QString> categories(int count, const QString& background,
                                     double leastContrast = lineContrast);
};

} // namespace Cartolith::Core::Symbology
