#pragma once

#include "Geometry.h"

#include <cstdint>

namespace sorvane::toolkit {

/// A pixel of an image: blue, green, red, alpha in memory, 0xAARRGGBB as a number; the colours are multiplied by alpha.
using Pixel = std::uint32_t;

/// a * b / 255 to the nearest, for both from 0 to 255.
constexpr std::uint32_t multiplied(std::uint32_t a, std::uint32_t b)
{
    const std::uint32_t product = a * b + 128;
    return (product + (product >> 8)) >> 8;
}

/// Each of the four parts times \p by / 255.
constexpr Pixel multipliedPixel(Pixel pixel, std::uint32_t by)
{
    // Two parts at a time, 16 bits apart.
    std::uint32_t low = (pixel & 0x00FF00FFU) * by + 0x00800080U;
    std::uint32_t high = (pixel >> 8 & 0x00FF00FFU) * by + 0x00800080U;
    low = (low + (low >> 8 & 0x00FF00FFU)) >> 8 & 0x00FF00FFU;
    high = (high + (high >> 8 & 0x00FF00FFU)) & 0xFF00FF00U;
    return low | high;
}

/// Each part the sum, at most 255.
constexpr Pixel addedPixel(Pixel a, Pixel b)
{
    // Two parts at a time, 16 bits apart: a sum with a ninth bit becomes all ones.
    const auto halves = [](std::uint32_t x, std::uint32_t y) {
        const std::uint32_t sum = (x & 0x00FF00FFU) + (y & 0x00FF00FFU);
        const std::uint32_t over = sum & 0x01000100U;
        return (sum | (over - (over >> 8))) & 0x00FF00FFU;
    };
    return halves(a, b) | halves(a >> 8, b >> 8) << 8;
}

/// \p source laid over \p under: source + under * (1 - alpha of source).
constexpr Pixel laidOver(Pixel source, Pixel under)
{
    const std::uint32_t alpha = source >> 24;
    if (alpha == 255)
        return source;
    // No part can exceed 255, since none of source exceeds its alpha.
    return source + multipliedPixel(under, 255 - alpha);
}

/// As laidOver, for a source whose colours may exceed its alpha, as those of text with a transparent colour do.
constexpr Pixel addedOver(Pixel source, Pixel under)
{
    return addedPixel(source, multipliedPixel(under, 255 - (source >> 24)));
}

constexpr Pixel premultiplied(CColor colour)
{
    return Pixel{colour.alpha} << 24 | multiplied(colour.red, colour.alpha) << 16 |
           multiplied(colour.green, colour.alpha) << 8 | multiplied(colour.blue, colour.alpha);
}

} // namespace sorvane::toolkit
