#pragma once

#include <QRgb>

#include <cstdint>

/// Arithmetic on premultiplied pixels, two channels at a time. Shares are 0 to 255.
namespace Cartolith::Map::Raster::Internal {

/// The share of a pixel, rounded.
inline std::uint32_t scaled(std::uint32_t pixel, std::uint32_t share) {
    constexpr std::uint32_t two = 0x00FF00FF;
    constexpr std::uint32_t half = 0x00800080;
    std::uint32_t even = (pixel & two) * share + half;
    even = ((even + ((even >> 8) & two)) >> 8) & two;
    std::uint32_t odd = ((pixel >> 8) & two) * share + half;
    odd = (odd + ((odd >> 8) & two)) & ~two;
    return even | odd;
}

/// a * b / 255, rounded.
inline std::uint32_t product(std::uint32_t a, std::uint32_t b) {
    const std::uint32_t t = a * b + 128;
    return (t + (t >> 8)) >> 8;
}

/// A pixel over what is there.
inline void blendOver(std::uint32_t& below, std::uint32_t pixel) {
    const std::uint32_t alpha = pixel >> 24;
    if (alpha == 255) {
        below = pixel;
    } else if (alpha != 0) {
        below = pixel + scaled(below, 255 - alpha);
    }
}

} // namespace Cartolith::Map::Raster::Internal
