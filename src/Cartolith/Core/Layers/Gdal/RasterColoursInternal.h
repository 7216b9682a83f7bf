#pragma once

#include <Cartolith/Core/Symbology/GisRasterStyle.h>
#include <Cartolith/Core/Symbology/RangeSearchInternal.h>

#include <QColor>
#include <QList>

#include <vector>

namespace Cartolith::Core::Layers::Internal {

/// A style that knows its raster: turns the values of a pixel into a colour, without searching for anything
/// again.
class RasterColours {
public:
    using Style = Symbology::GisRasterStyle;

    /// The values that get the ends of the scale; equal ones stand for a band of one value.
    struct Bounds {
        double lower = 0.0;
        double upper = 0.0;
    };

    /// Bounds for each band that is stretched; the rendering is not Automatic.
    RasterColours(const Style& style, Style::Rendering rendering, const QList<Bounds>& bounds,
                  const std::vector<QRgb>& palette);

    /// Of values that are finite, one for each band. Transparent when the style has no colour for them.
    QRgb colour(const double* values) const;

    /// As colour() of many pixels, the values of one band after those of the other; premultiplied, and
    /// transparent where a value is not finite.
    void colours(const double* values, std::size_t count, QRgb* pixels) const;

    /// The colour in a light of so much brightness, from 0 to 1, where level ground has that of `level`.
    static QRgb shaded(QRgb colour, double light, double level);

private:
    static double share(double value, const Bounds& bounds);

    Style::Rendering m_rendering;
    QList<Bounds> m_bounds;
    std::vector<QRgb> m_colours; ///< samples of the ramp, of classes, greys, or the colour table
    bool m_hasClasses = false;
    Symbology::Internal::RangeSearch m_classes;
};

} // namespace Cartolith::Core::Layers::Internal
