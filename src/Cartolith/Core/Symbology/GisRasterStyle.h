#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Symbology/GisClassificationRange.h>
#include <Cartolith/Core/Symbology/GisColorRamp.h>

#include <QList>
#include <QString>

#include <array>
#include <optional>

namespace Cartolith::Core::Symbology {

/// Which values of a band get the ends of the scale: black and white, or the first and last colour of a ramp.
/// Values beyond them get the ends, too.
class CARTOLITH_CORE_EXPORT GisRasterStretch {
public:
    enum class Mode {
        Automatic,   ///< bytes in grey or RGB as they are, a ramp as MinMax, all else Percentiles 2 to 98
        MinMax,      ///< the least and the greatest value
        Percentiles, ///< lower() and upper() are shares of the values, in per cent
        Given,       ///< lower() and upper() are values
    };

    /// Automatic.
    GisRasterStretch() = default;
    static GisRasterStretch minMax();
    /// \throws std::invalid_argument unless 0 <= lower < upper <= 100
    static GisRasterStretch percentiles(double lower, double upper);
    /// \throws std::invalid_argument unless both are finite and lower < upper
    static GisRasterStretch given(double lower, double upper);

    bool operator==(const GisRasterStretch& other) const = default;
    Mode mode() const noexcept { return m_mode; }
    double lower() const noexcept { return m_lower; }
    double upper() const noexcept { return m_upper; }

private:
    GisRasterStretch(Mode mode, double lower, double upper) : m_mode(mode), m_lower(lower), m_upper(upper) {}

    Mode m_mode = Mode::Automatic;
    double m_lower = 0.0;
    double m_upper = 0.0;
};

/// The light on a relief, and the heights it falls on.
struct GisHillshade {
    double azimuth = 315.0; ///< where the light comes from: degrees from the raster's north, clockwise
    double altitude = 45.0; ///< of the light above the horizon, degrees above 0 to 90
    double zFactor = 1.0;   ///< metres in a unit of height, times the exaggeration wanted; above 0
    bool operator==(const GisHillshade& other) const = default;
};

/// How the numbers of a raster become colours. A value; setters check what they are given, the bands aside:
/// whether the raster has them is found out when it is drawn.
class CARTOLITH_CORE_EXPORT GisRasterStyle {
public:
    enum class Rendering {
        Automatic, ///< Palette with a colour table, Rgb with red, green and blue bands, Grey otherwise
        Grey,      ///< one band, from black to white
        Ramp,      ///< one band, through the ramp, or in classes() coloured by it
        Rgb,       ///< three bands
        Palette,   ///< one band, through its own colour table; what is not in the table is transparent
        Relief,    ///< one band as heights, shaded and without colours
    };
    /// How pixels come into a picture with fewer or more of them. A colour table is always read Nearest.
    enum class Resampling {
        /// Each pixel of the picture shows the raster's pixel at its middle: reads least, shows true values.
        Nearest,
        /// Where the picture has fewer pixels than the raster: as Average. Where it has more: each shows a
        /// value interpolated between the four raster pixels around it.
        Bilinear,
        /// Where the picture has fewer pixels than the raster: each shows the mean of the raster's pixels
        /// that it covers. Where it has more: as Nearest.
        Average,
    };

    bool operator==(const GisRasterStyle& other) const = default;

    Rendering rendering() const noexcept { return m_rendering; }
    void setRendering(Rendering rendering) noexcept { m_rendering = rendering; }

    /// Counted from 1. The one band of all renderings but Rgb.
    int band() const noexcept { return m_band; }
    /// \throws std::invalid_argument below 1
    void setBand(int band);
    /// Red, green, blue; 1, 2, 3 at first.
    const std::array<int, 3>& rgbBands() const noexcept { return m_rgbBands; }
    /// \throws std::invalid_argument when one is below 1
    void setRgbBands(int red, int green, int blue);

    /// Used by Grey, Rgb (each band by itself) and a Ramp without classes.
    const GisRasterStretch& stretch() const noexcept { return m_stretch; }
    void setStretch(const GisRasterStretch& stretch) noexcept { m_stretch = stretch; }

    /// Viridis at first.
    const GisColorRamp& ramp() const noexcept { return m_ramp; }
    /// \throws std::invalid_argument for a ramp without stops
    void setRamp(const GisColorRamp& ramp);
    bool isReversed() const noexcept { return m_reversed; }
    void setReversed(bool reversed) noexcept { m_reversed = reversed; }

    /// When there are none, the ramp is continuous. A value in no class is transparent, a value in several
    /// classes gets the colour of the first.
    const QList<GisClassificationRange>& classes() const noexcept { return m_classes; }
    void setClasses(const QList<GisClassificationRange>& classes) { m_classes = classes; }
    /// A colour for each class, from end to end of the ramp.
    QList<QString> classColors() const;

    /// Takes the band's values as heights and shades the colours by them, in every rendering but Rgb and
    /// Palette. Level ground keeps its colour. Relief is shaded by the default light when none is set.
    const std::optional<GisHillshade>& hillshade() const noexcept { return m_hillshade; }
    /// \throws std::invalid_argument for a number that is not finite or out of its range
    void setHillshade(const std::optional<GisHillshade>& hillshade);

    Resampling resampling() const noexcept { return m_resampling; }
    void setResampling(Resampling resampling) noexcept { m_resampling = resampling; }

private:
    Rendering m_rendering = Rendering::Automatic;
    int m_band = 1;
    std::array<int, 3> m_rgbBands{1, 2, 3};
    GisRasterStretch m_stretch;
    GisColorRamp m_ramp = defaultRamp();
    bool m_reversed = false;
    QList<GisClassificationRange> m_classes;
    std::optional<GisHillshade> m_hillshade;
    Resampling m_resampling = Resampling::Nearest;

    static GisColorRamp defaultRamp();
};

} // namespace Cartolith::Core::Symbology
