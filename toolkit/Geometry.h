#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace sorvane::toolkit {

/// A place in logical pixels, y growing down.
struct CPoint {
    float x = 0.0F;
    float y = 0.0F;

    CPoint operator+(CPoint other) const { return {x + other.x, y + other.y}; }
    CPoint operator-(CPoint other) const { return {x - other.x, y - other.y}; }
    bool operator==(const CPoint&) const = default;
};

/// A rectangle in logical pixels: its left and top belong to it, its right and bottom don't.
struct CRect {
    float left = 0.0F;
    float top = 0.0F;
    float right = 0.0F;
    float bottom = 0.0F;

    [[nodiscard]] float width() const { return right - left; }
    [[nodiscard]] float height() const { return bottom - top; }
    [[nodiscard]] CPoint origin() const { return {left, top}; }
    /// Also when a side isn't a number.
    [[nodiscard]] bool isEmpty() const { return !(right > left && bottom > top); }
    [[nodiscard]] bool contains(CPoint p) const { return p.x >= left && p.x < right && p.y >= top && p.y < bottom; }
    [[nodiscard]] CRect movedBy(CPoint by) const { return {left + by.x, top + by.y, right + by.x, bottom + by.y}; }
    [[nodiscard]] CRect insetBy(float by) const { return {left + by, top + by, right - by, bottom - by}; }
    /// Empty when they don't meet.
    [[nodiscard]] CRect intersectedWith(const CRect& other) const
    {
        return {std::max(left, other.left), std::max(top, other.top), std::min(right, other.right),
                std::min(bottom, other.bottom)};
    }
    /// The smallest that holds both; an empty one adds nothing.
    [[nodiscard]] CRect unitedWith(const CRect& other) const
    {
        if (isEmpty())
            return other;
        if (other.isEmpty())
            return *this;
        return {std::min(left, other.left), std::min(top, other.top), std::max(right, other.right),
                std::max(bottom, other.bottom)};
    }
    bool operator==(const CRect&) const = default;
};

/// A rectangle of whole pixels of a device; right and bottom don't belong to it.
struct PixelRect {
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;

    [[nodiscard]] int width() const { return right - left; }
    [[nodiscard]] int height() const { return bottom - top; }
    [[nodiscard]] bool isEmpty() const { return right <= left || bottom <= top; }
    [[nodiscard]] PixelRect intersectedWith(const PixelRect& other) const
    {
        return {std::max(left, other.left), std::max(top, other.top), std::min(right, other.right),
                std::min(bottom, other.bottom)};
    }
    bool operator==(const PixelRect&) const = default;
};

/// The whole number below or at a coordinate, for any float: far and absent ones end at a million pixels.
inline int floorToPixel(double coordinate)
{
    constexpr double kFar = 1.0e6;
    return coordinate >= -kFar ? static_cast<int>(std::floor(std::min(coordinate, kFar))) : static_cast<int>(-kFar);
}
inline int roundToPixel(double coordinate)
{
    return floorToPixel(coordinate + 0.5);
}
inline int ceilToPixel(double coordinate)
{
    return -floorToPixel(-coordinate);
}

/// Red, green, blue and alpha from 0 to 255; the colour isn't multiplied by its alpha.
struct CColor {
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;
    std::uint8_t alpha = 255;

    bool operator==(const CColor&) const = default;

    /// Of 0xRRGGBB, opaque.
    static constexpr CColor fromRgb(std::uint32_t rgb) { return fromArgb(rgb | 0xFF000000U); }
    /// Of 0xAARRGGBB.
    static constexpr CColor fromArgb(std::uint32_t argb)
    {
        return {static_cast<std::uint8_t>(argb >> 16), static_cast<std::uint8_t>(argb >> 8),
                static_cast<std::uint8_t>(argb), static_cast<std::uint8_t>(argb >> 24)};
    }
};

} // namespace sorvane::toolkit
