#include <Cartolith/Core/Common/FloatsInternal.h>
#include <Cartolith/Core/Symbology/GisColorPerception.h>
#include <Cartolith/Core/Symbology/GisColorRamp.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace Cartolith::Core::Symbology {

namespace {

using Common::Internal::infinity;
using Common::Internal::nan;

using Triple = std::array<double, 3>;
using Matrix = std::array<Triple, 3>;

// Machado et al., severity 1, on linear RGB.
constexpr Matrix deuteranopia{
    {{0.367322, 0.860646, -0.227968}, {0.280085, 0.672501, 0.047413}, {-0.011820, 0.042940, 0.968881}}};
constexpr Matrix protanopia{
    {{0.152286, 1.052583, -0.204868}, {0.114503, 0.786281, 0.099216}, {-0.003882, -0.048116, 1.051998}}};
// IEC 61966-2-1, divided by the white of D65.
constexpr Matrix rgbToXyz{{{0.4124564 / 0.95047, 0.3575761 / 0.95047, 0.1804375 / 0.95047},
                           {0.2126729, 0.7151522, 0.0721750},
                           {0.0193339 / 1.08883, 0.1191920 / 1.08883, 0.9503041 / 1.08883}}};

Triple product(const Matrix& matrix, const Triple& vector) {
    Triple result{};
    for (std::size_t i = 0; i < 3; ++i) {
        result[i] = matrix[i][0] * vector[0] + matrix[i][1] * vector[1] + matrix[i][2] * vector[2];
    }
    return result;
}

/// Light, 0 to 1 for each channel; NaN when the colour cannot be read.
Triple linearRgb(const QString& color) {
    int channels[3] = {};
    if (!GisColorRamp::parseColor(color, channels[0], channels[1], channels[2])) {
        return {nan, nan, nan};
    }
    Triple light{};
    for (std::size_t i = 0; i < 3; ++i) {
        const double value = channels[i] / 255.0;
        light[i] = value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
    }
    return light;
}

double luminance(const QString& color) {
    const Triple light = linearRgb(color);
    return 0.2126 * light[0] + 0.7152 * light[1] + 0.0722 * light[2];
}

double radians(double degrees) {
    return degrees * std::numbers::pi / 180.0;
}

double hue(double a, double b) {
    const double degrees = a == 0.0 && b == 0.0 ? 0.0 : std::atan2(b, a) * 180.0 / std::numbers::pi;
    return degrees < 0.0 ? degrees + 360.0 : degrees;
}

/// sqrt(c^7 / (c^7 + 25^7))
double saturation(double chroma) {
    const double power = std::pow(chroma / 25.0, 7.0);
    return std::sqrt(power / (power + 1.0));
}

} // namespace

double GisColorPerception::contrast(const QString& one, const QString& other) {
    const double a = luminance(one) + 0.05;
    const double b = luminance(other) + 0.05;
    return a > b ? a / b : b / a;
}

GisLabColor GisColorPerception::lab(const QString& color, GisColorVision vision) {
    Triple light = linearRgb(color);
    if (vision != GisColorVision::Normal) {
        light = product(vision == GisColorVision::Protanopia ? protanopia : deuteranopia, light);
        for (double& channel : light) {
            channel = std::clamp(channel, 0.0, 1.0);
        }
    }
    Triple f = product(rgbToXyz, light);
    for (double& value : f) {
        constexpr double linearPart = 216.0 / 24389.0;
        value = value > linearPart ? std::cbrt(value) : (24389.0 / 27.0 * value + 16.0) / 116.0;
    }
    return {116.0 * f[1] - 16.0, 500.0 * (f[0] - f[1]), 200.0 * (f[1] - f[2])};
}

// G. Sharma, W. Wu, E. Dalal, "The CIEDE2000 color-difference formula" (2005), whose names these are.
double GisColorPerception::difference(const GisLabColor& one, const GisLabColor& other) {
    const double meanChroma = (std::hypot(one.a, one.b) + std::hypot(other.a, other.b)) / 2.0;
    const double g = 0.5 * (1.0 - saturation(meanChroma));
    const double a1 = one.a * (1.0 + g);
    const double a2 = other.a * (1.0 + g);
    const double c1 = std::hypot(a1, one.b);
    const double c2 = std::hypot(a2, other.b);
    const double h1 = hue(a1, one.b);
    const double h2 = hue(a2, other.b);

    const bool isGrey = c1 * c2 == 0.0;
    double turn = isGrey ? 0.0 : h2 - h1;
    turn += turn > 180.0 ? -360.0 : turn < -180.0 ? 360.0 : 0.0;
    const double sum = h1 + h2;
    const double meanHue = isGrey                     ? sum
                           : std::abs(h1 - h2) <= 180 ? sum / 2.0
                                                      : (sum < 360.0 ? sum + 360.0 : sum - 360.0) / 2.0;
    const double deltaL = other.lightness - one.lightness;
    const double deltaC = c2 - c1;
    const double deltaH = 2.0 * std::sqrt(c1 * c2) * std::sin(radians(turn / 2.0));

    const double meanC = (c1 + c2) / 2.0;
    const double fromMiddle = std::pow((one.lightness + other.lightness) / 2.0 - 50.0, 2.0);
    const double t = 1.0 - 0.17 * std::cos(radians(meanHue - 30.0)) +
                     0.24 * std::cos(radians(2.0 * meanHue)) + 0.32 * std::cos(radians(3.0 * meanHue + 6.0)) -
                     0.20 * std::cos(radians(4.0 * meanHue - 63.0));
    const double rotation = 30.0 * std::exp(-std::pow((meanHue - 275.0) / 25.0, 2.0));
    const double l = deltaL / (1.0 + 0.015 * fromMiddle / std::sqrt(20.0 + fromMiddle));
    const double c = deltaC / (1.0 + 0.045 * meanC);
    const double h = deltaH / (1.0 + 0.015 * meanC * t);
    const double rt = -std::sin(radians(2.0 * rotation)) * 2.0 * saturation(meanC);
    return std::sqrt(l * l + c * c + h * h + rt * c * h);
}

double GisColorPerception::difference(const QString& one, const QString& other, GisColorVision vision) {
    return difference(lab(one, vision), lab(other, vision));
}

double GisColorPerception::leastDifference(const QList<QString>& colors, GisColorVision vision) {
    QList<GisLabColor> seen;
    double least = infinity;
    for (const QString& color : colors) {
        const GisLabColor here = lab(color, vision);
        for (const GisLabColor& other : std::as_const(seen)) {
            const double apart = difference(here, other);
            if (std::isnan(apart)) {
                return nan;
            }
            least = std::min(least, apart);
        }
        seen.append(here);
    }
    return least;
}

} // namespace Cartolith::Core::Symbology
