#pragma once

#include "CDIB.h"
#include "Outline.h"

#include <span>

/// Drawing into images in memory, for views that build their picture there. Coordinates are pixels of the image, whose
/// centres lie at halves; what lies outside is left out. Colours are opaque and laid on by an opacity from 0 to 255.
/// Each marks the image dirty.
namespace sorvane::toolkit {

/// Writes one value to every pixel.
void fill(CDIB& image, Pixel value);

/// Lays a colour over whole pixels.
void fillRect(CDIB& image, const PixelRect& rect, Pixel colour);

/// Lays a colour over what an outline covers.
void fillOutline(CDIB& image, const Outline& outline, Pixel colour, const PixelRect& clip);

/// Corners to darken, as bits.
enum Corner { kTopLeft = 1, kTopRight = 2, kBottomLeft = 4, kBottomRight = 8 };
/// Darkens pixels at corners, so that they look rounded.
void darkenCorners(CDIB& image, int corners);
/// Darkens the four corner pixels alone, to 189 / 256.
void darkenCornerPixels(CDIB& image);

/// A coverage image: one byte a pixel.
struct Coverage {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> values;
};
inline constexpr int kLargestHalo = 64; ///< radius in pixels; larger ones are cut to it
/// The shape with a halo around it: larger by the radius on each side, 255 up to the radius from the shape, falling to
/// 0 over one more pixel. Distances are Euclidean.
[[nodiscard]] Coverage distanceHalo(const Coverage& shape, int radius);

/// Copies an image with its alpha to (left, top), each channel multiplied by a colour.
void tintCopy(CDIB& image, const CDIB& source, int left, int top, CColor tint);

/// A pixel's area of colour at a fractional place, shared out over four pixels.
void drawDot(CDIB& image, double x, double y, CColor colour, int opacity);
/// A band from y0 to y1, its middle at x.
void drawVerticalLine(CDIB& image, double x, double y0, double y1, double width, CColor colour, int opacity);
/// A band from x0 to x1, its middle at y.
void drawHorizontalLine(CDIB& image, double x0, double x1, double y, double width, CColor colour, int opacity);
/// A band of a width between two points.
void drawLine(CDIB& image, DevicePoint from, DevicePoint to, double width, CColor colour, int opacity);
/// The inside of a polygon of at least three points.
void fillPolygon(CDIB& image, std::span<const DevicePoint> points, CColor colour, int opacity);
/// One pixel wide, not smoothed, both ends included. \param colour  0xBBGGRR
void drawBresenhamLine(CDIB& image, int x0, int y0, int x1, int y1, std::uint32_t colour);

} // namespace sorvane::toolkit
