#pragma once

#include <Cartolith/Core/Export.h>

#include <QList>
#include <QString>
#include <QTypeInfo>

#include <initializer_list>

namespace Cartolith::Core::Symbology {

/// A colour at a place of a ramp.
struct GisColorRampStop {
    double position = 0.0; ///< 0 to 1
    QString color;         ///< #RRGGBB
    bool operator==(const GisColorRampStop& other) const = default;
};

/// Where GisColorRamp::colors() takes its samples. Any other number behaves as Continuous.
enum class GisColorRampMode : int {
    Continuous = 0, ///< at i / (n - 1): the first and the last colour are the ends of the ramp
    Discrete = 1,   ///< at the centres of n equal classes, (i + 0.5) / n
};

/// A named, ordered list of colour stops on 0 to 1, from which classes and categories get their colours.
///
/// The stops are always normalised: colours are valid #RRGGBB in upper case, positions finite and within 0 to
/// 1, ascending, and no two within the machine epsilon of each other. No stop is added at 0 or 1. Nothing
/// here throws but for want of memory, which leaves the ramp as it was: a colour that cannot be read is an
/// empty string. A value; const operations may run side by side.
class CARTOLITH_CORE_EXPORT GisColorRamp {
public:
    GisColorRamp() = default;
    explicit GisColorRamp(const QString& name) : m_name(name) {}
    GisColorRamp(const QString& name, const QList<GisColorRampStop>& stops);
    /// Same name and same stops.
    bool operator==(const GisColorRamp& other) const = default;

    const QString& name() const noexcept { return m_name; }
    void setName(const QString& name) { m_name = name; }

    const QList<GisColorRampStop>& stops() const noexcept { return m_stops; }
    void setStops(const QList<GisColorRampStop>& stops);
    /// A stop at the place of another one takes its place over.
    void addStop(const GisColorRampStop& stop);
    void clearStops() { m_stops.clear(); }
    bool isEmpty() const noexcept { return m_stops.isEmpty(); }

    /// The colour at t, clamped to 0..1 (NaN is 0); empty when there are no stops. Linear in the stops.
    QString colorAt(double t, bool reversed = false) const;
    /// So many samples; none when the count is below 1 or there are no stops. One sample is the colour at
    /// 0.5.
    QList<QString> colors(int count, GisColorRampMode mode = GisColorRampMode::Continuous,
                          bool reversed = false) const;

    /// Reads #RGB and #RRGGBB, with or without the "#", in any case, blanks around it allowed. False for
    /// anything else, alpha included; the channels are then left alone.
    static bool parseColor(const QString& text, int& r, int& g, int& b);
    /// #RRGGBB in upper case; channels are clamped to 0..255.
    static QString colorText(int r, int g, int b);
    /// The colour as #RRGGBB in upper case; empty when it cannot be read.
    static QString normalizedColor(const QString& text);
    /// Between two colours, channel by channel in sRGB; t is clamped to 0..1. Empty when either cannot be
    /// read.
    static QString interpolateColor(const QString& from, const QString& to, double t);

    /// Drops stops with a bad colour or position, clamps, sorts, and lets the last of several stops at one
    /// place win. Every mutator calls it.
    void normalizeStops();

private:
    QString m_name;
    QList<GisColorRampStop> m_stops;
};

/// A ramp with evenly spaced stops.
CARTOLITH_CORE_EXPORT GisColorRamp makeRamp(const QString& name, std::initializer_list<QString> colors);

} // namespace Cartolith::Core::Symbology

Q_DECLARE_TYPEINFO(Cartolith::Core::Symbology::GisColorRampStop, Q_RELOCATABLE_TYPE);
Q_DECLARE_TYPEINFO(Cartolith::Core::Symbology::GisColorRamp, Q_RELOCATABLE_TYPE);
