#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Symbology/GisColorRamp.h>

#include <QList>
#include <QString>

#include <optional>

namespace Cartolith::Core::Symbology {

/// The six built-in ramps: "GreenBlue", "YellowGreenBlue", "Viridis", "Plasma" (sequential), "BrownGreen"
/// (diverging) and "Unique" (ten distinct colours for categories).
///
/// Names match without regard to case and to white space (within a name, that of ASCII): "yellow green blue"
/// finds "YellowGreenBlue". May be called from several threads.
class CARTOLITH_CORE_EXPORT GisColorRampRegistry {
public:
    GisColorRampRegistry() = delete;

    static QList<GisColorRamp> ramps();
    static QList<QString> names();
    static std::optional<GisColorRamp> findByName(const QString& name);
    static bool contains(const QString& name);
    /// `out` is left alone when there is no such ramp.
    static bool tryGetRamp(const QString& name, GisColorRamp& out);
    /// \throws std::invalid_argument "Unknown Cartolith color ramp."
    static GisColorRamp ramp(const QString& name);
    /// "Viridis".
    static GisColorRamp defaultRamp();
    /// What names are compared by: without white space and case-folded.
    static QString normalizedName(const QString& name);
};

} // namespace Cartolith::Core::Symbology
