#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Layers/GisLayerStyle.h>
#include <Cartolith/Core/Symbology/GisColorRamp.h>

#include <QList>
#include <QString>

namespace Cartolith::Core::Symbology {

/// A look for a whole map: a background, and a style for each kind of geometry that reads well on it.
struct GisSymbolTheme {
    QString name;
    QString backgroundColor; ///< what the styles are made to lie on, #RRGGBB
    QString textColor;       ///< titles and legends on the background
    Layers::GisLayerStyle pointStyle;
    Layers::GisLayerStyle lineStyle;
    Layers::GisLayerStyle areaStyle;
    /// For classes of areas, whose outlines set them off: its first colours are near the background's.
    GisColorRamp ramp;
    /// For classes of lines and points: every colour has a contrast of at least 3 to 1 to the background.
    GisColorRamp lineRamp;
};

/// The built-in themes: "SoftProfessional", "ClassicGIS", "Dark", "Blueprint", "MidnightBlue", "Monochrome".
///
/// Text has a contrast of at least 4.5 to 1, and lines, outlines of areas and points of at least 3 to 1, to
/// the background by WCAG 2's formula; labels also to their own halo. The outline of points sets them off
/// what they lie on and may be of the background's colour. Categories have no ramp here:
/// GisReadableColors::categories() has colours for any background. Names match as those of ramps do, without
/// regard to case and white space. May be called from several threads.
class CARTOLITH_CORE_EXPORT GisDefaultSymbolStyles {
public:
    GisDefaultSymbolStyles() = delete;

    static QList<GisSymbolTheme> themes();
    static QList<QString> names();
    static bool contains(const QString& name);
    /// `out` is left alone when there is no such theme.
    static bool tryGetTheme(const QString& name, GisSymbolTheme& out);
    /// \throws std::invalid_argument "Unknown Cartolith style theme."
    static GisSymbolTheme theme(const QString& name);
};

} // namespace Cartolith::Core::Symbology
