#include <Cartolith/Core/Symbology/GisColorRampRegistry.h>
#include <Cartolith/Core/Symbology/GisRasterStyle.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace Cartolith::Core::Symbology {

namespace {

void require(bool condition, const char* otherwise) {
    if (!condition) {
        throw std::invalid_argument(otherwise);
    }
}

} // namespace

GisRasterStretch GisRasterStretch::minMax() {
    return {Mode::MinMax, 0.0, 0.0};
}

GisRasterStretch GisRasterStretch::percentiles(double lower, double upper) {
    require(lower >= 0.0 && lower < upper && upper <= 100.0, "Percentiles go up, from 0 to 100.");
    return {Mode::Percentiles, lower, upper};
}

GisRasterStretch GisRasterStretch::given(double lower, double upper) {
    require(std::isfinite(lower) && std::isfinite(upper) && lower < upper,
            "The bounds of a stretch are finite and go up.");
    return {Mode::Given, lower, upper};
}

GisColorRamp GisRasterStyle::defaultRamp() {
    return GisColorRampRegistry::defaultRamp();
}

void GisRasterStyle::setBand(int band) {
    require(band >= 1, "Bands are counted from 1.");
    m_band = band;
}

void GisRasterStyle::setRgbBands(int red, int green, int blue) {
    require(std::min({red, green, blue}) >= 1, "Bands are counted from 1.");
    m_rgbBands = {red, green, blue};
}

void GisRasterStyle::setRamp(const GisColorRamp& ramp) {
    require(!ramp.isEmpty(), "The colour ramp has no stops.");
    m_ramp = ramp;
}

QList<QString> GisRasterStyle::classColors() const {
    return m_ramp.colors(static_cast<int>(m_classes.size()), GisColorRampMode::Continuous, m_reversed);
}

void GisRasterStyle::setHillshade(const std::optional<GisHillshade>& hillshade) {
    require(!hillshade || (std::isfinite(hillshade->azimuth) && hillshade->altitude > 0.0 &&
                           hillshade->altitude <= 90.0 && hillshade->zFactor > 0.0 &&
                           std::isfinite(hillshade->zFactor)),
            "A light wants a finite azimuth, an altitude above 0 to 90 degrees and a z-factor above 0.");
    m_hillshade = hillshade;
}

} // namespace Cartolith::Core::Symbology
