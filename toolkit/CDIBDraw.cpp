#include "CDIBDraw.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace sorvane::toolkit {

namespace {

Pixel withOpacity(CColor colour, int opacity)
{
    colour.alpha = static_cast<std::uint8_t>(std::clamp(opacity, 0, 255));
    return premultiplied(colour);
}

void blendBox(CDIB& image, double left, double top, double right, double bottom, CColor colour, int opacity)
{
    Outline outline;
    outline.addPolygon(std::array{DevicePoint{left, top}, DevicePoint{right, top}, DevicePoint{right, bottom},
                                  DevicePoint{left, bottom}});
    fillOutline(image, outline, withOpacity(colour, opacity), image.bounds());
}

void blendRun(std::span<Pixel> pixels, Pixel colour)
{
    if (colour >> 24 == 255) {
        std::fill(pixels.begin(), pixels.end(), colour);
        return;
    }
    const std::uint32_t rest = 255 - (colour >> 24);
    for (Pixel& pixel : pixels)
        pixel = colour + multipliedPixel(pixel, rest);
}

/// Squared distances along a line of samples, from the squared distances across it, in place: the lower envelope of the
/// parabolas y = f[q] + (x - q)^2 (Felzenszwalb and Huttenlocher, Distance transforms of sampled functions, 2012).
class LineDistance {
public:
    explicit LineDistance(std::size_t longest) : roots(longest), bounds(longest + 1), result(longest) {}

    void transform(std::span<double> f)
    {
        std::size_t count = 0;
        for (std::size_t q = 0; q < f.size(); ++q) {
            if (f[q] == kNone)
                continue;
            double from = -kNone;
            while (count > 0) {
                from = crossing(f, roots[count - 1], q);
                if (from > bounds[count - 1])
                    break;
                --count;
            }
            roots[count] = q;
            bounds[count] = count == 0 ? -kNone : from;
            ++count;
        }
        if (count == 0)
            return;
        std::size_t i = 0;
        for (std::size_t x = 0; x < f.size(); ++x) {
            const auto at = static_cast<double>(x);
            while (i + 1 < count && bounds[i + 1] < at)
                ++i;
            const double away = at - static_cast<double>(roots[i]);
            result[x] = f[roots[i]] + away * away;
        }
        std::copy_n(result.begin(), f.size(), f.begin());
    }

    static constexpr double kNone = std::numeric_limits<double>::infinity();

private:
    static double crossing(std::span<const double> f, std::size_t p, std::size_t q)
    {
        const auto a = static_cast<double>(p);
        const auto b = static_cast<double>(q);
        return ((f[q] + b * b) - (f[p] + a * a)) / (2.0 * (b - a));
    }

    std::vector<std::size_t> roots;
    std::vector<double> bounds; ///< where each root's parabola begins to be the lowest
    std::vector<double> result;
};

} // namespace

void fill(CDIB& image, Pixel value)
{
    std::fill_n(image.getPixels(),
                static_cast<std::size_t>(image.getWidth()) * static_cast<std::size_t>(image.getHeight()), value);
    image.markDirty();
}

void fillRect(CDIB& image, const PixelRect& rect, Pixel colour)
{
    const PixelRect target = rect.intersectedWith(image.bounds());
    if (target.isEmpty())
        return;
    for (int y = target.top; y < target.bottom; ++y)
        blendRun(image.row(y).subspan(static_cast<std::size_t>(target.left), static_cast<std::size_t>(target.width())),
                 colour);
    image.markDirty();
}

void fillOutline(CDIB& image, const Outline& outline, Pixel colour, const PixelRect& clip)
{
    outline.rasterise(clip.intersectedWith(image.bounds()),
                      [&](int y, int left, std::span<const std::uint8_t> coverage) {
                          const auto pixels = image.row(y).subspan(static_cast<std::size_t>(left), coverage.size());
                          // Most of a row is covered alike.
                          for (std::size_t i = 0, end = 0; i < coverage.size(); i = end) {
                              const std::uint8_t covered = coverage[i];
                              for (end = i + 1; end < coverage.size() && coverage[end] == covered;)
                                  ++end;
                              if (covered != 0)
                                  blendRun(pixels.subspan(i, end - i), multipliedPixel(colour, covered));
                          }
                      });
    image.markDirty();
}

void darkenCorners(CDIB& image, int corners)
{
    // From the corner outwards; the same in both directions.
    struct Weight {
        int x, y;
        std::uint32_t part; ///< of 255
    };
    constexpr std::array<Weight, 5> weights{{{0, 0, 80}, {1, 0, 176}, {0, 1, 176}, {2, 0, 232}, {0, 2, 232}}};
    const int width = image.getWidth();
    const int height = image.getHeight();
    for (const Weight& w : weights) {
        if (w.x >= width || w.y >= height)
            continue;
        const auto darken = [&](int bit, int x, int y) {
            if ((corners & bit) == 0)
                return;
            Pixel& pixel = image.row(y)[static_cast<std::size_t>(x)];
            pixel = (multipliedPixel(pixel, w.part) & 0x00FFFFFFU) | (pixel & 0xFF000000U);
        };
        darken(kTopLeft, w.x, w.y);
        darken(kTopRight, width - 1 - w.x, w.y);
        darken(kBottomLeft, w.x, height - 1 - w.y);
        darken(kBottomRight, width - 1 - w.x, height - 1 - w.y);
    }
    image.markDirty();
}

void darkenCornerPixels(CDIB& image)
{
    const int width = image.getWidth();
    const int height = image.getHeight();
    if (width < 1 || height < 1)
        return;
    const auto darken = [&](int x, int y) {
        Pixel& pixel = image.row(y)[static_cast<std::size_t>(x)];
        Pixel darker = pixel & 0xFF000000U;
        for (int shift = 0; shift < 24; shift += 8)
            darker |= ((pixel >> shift & 0xFFU) * 189 / 256) << shift;
        pixel = darker;
    };
    darken(0, 0);
    if (width > 1)
        darken(width - 1, 0);
    if (height > 1)
        darken(0, height - 1);
    if (width > 1 && height > 1)
        darken(width - 1, height - 1);
    image.markDirty();
}

Coverage distanceHalo(const Coverage& shape, int radius)
{
    radius = std::clamp(radius, 0, kLargestHalo);
    Coverage halo{shape.width + 2 * radius, shape.height + 2 * radius, {}};
    const auto width = static_cast<std::size_t>(halo.width);
    const auto height = static_cast<std::size_t>(halo.height);
    std::vector<double> squares(width * height, LineDistance::kNone);
    for (int y = 0; y < shape.height; ++y)
        for (int x = 0; x < shape.width; ++x) {
            const std::uint8_t covered =
                shape.values[static_cast<std::size_t>(y) * static_cast<std::size_t>(shape.width) +
                             static_cast<std::size_t>(x)];
            // A pixel that is covered in part lies that much inside of the shape's edge.
            const double away = 1.0 - covered / 255.0;
            if (covered != 0)
                squares[static_cast<std::size_t>(y + radius) * width + static_cast<std::size_t>(x + radius)] =
                    away * away;
        }
    LineDistance line(std::max(width, height));
    std::vector<double> column(height);
    for (std::size_t x = 0; x < width; ++x) {
        for (std::size_t y = 0; y < height; ++y)
            column[y] = squares[y * width + x];
        line.transform(column);
        for (std::size_t y = 0; y < height; ++y)
            squares[y * width + x] = column[y];
    }
    for (std::size_t y = 0; y < height; ++y)
        line.transform(std::span(squares).subspan(y * width, width));
    halo.values.reserve(squares.size());
    for (const double square : squares) {
        const double beyond = std::round(std::sqrt(square) * 256.0) / 256.0 - radius;
        halo.values.push_back(static_cast<std::uint8_t>(std::clamp(1.0 - beyond, 0.0, 1.0) * 255.0));
    }
    return halo;
}

void tintCopy(CDIB& image, const CDIB& source, int left, int top, CColor tint)
{
    const PixelRect target =
        PixelRect{left, top, left + source.getWidth(), top + source.getHeight()}.intersectedWith(image.bounds());
    const Pixel colour = premultiplied(tint);
    for (int y = target.top; y < target.bottom; ++y)
        for (int x = target.left; x < target.right; ++x) {
            const Pixel from = source.row(y - top)[static_cast<std::size_t>(x - left)];
            Pixel tinted = 0;
            for (int shift = 0; shift < 32; shift += 8)
                tinted |= multiplied(from >> shift & 0xFFU, colour >> shift & 0xFFU) << shift;
            Pixel& pixel = image.row(y)[static_cast<std::size_t>(x)];
            pixel = laidOver(tinted, pixel);
        }
    image.markDirty();
}

void drawDot(CDIB& image, double x, double y, CColor colour, int opacity)
{
    blendBox(image, x - 0.5, y - 0.5, x + 0.5, y + 0.5, colour, opacity);
}

void drawVerticalLine(CDIB& image, double x, double y0, double y1, double width, CColor colour, int opacity)
{
    blendBox(image, x - 0.5 * width, std::min(y0, y1), x + 0.5 * width, std::max(y0, y1), colour, opacity);
}

void drawHorizontalLine(CDIB& image, double x0, double x1, double y, double width, CColor colour, int opacity)
{
    blendBox(image, std::min(x0, x1), y - 0.5 * width, std::max(x0, x1), y + 0.5 * width, colour, opacity);
}

void drawLine(CDIB& image, DevicePoint from, DevicePoint to, double width, CColor colour, int opacity)
{
    const double length = std::hypot(to.x - from.x, to.y - from.y);
    if (!(length > 0.0))
        return;
    const double acrossX = -(to.y - from.y) / length * 0.5 * width;
    const double acrossY = (to.x - from.x) / length * 0.5 * width;
    fillPolygon(image,
                std::array{DevicePoint{from.x + acrossX, from.y + acrossY}, DevicePoint{to.x + acrossX, to.y + acrossY},
                           DevicePoint{to.x - acrossX, to.y - acrossY},
                           DevicePoint{from.x - acrossX, from.y - acrossY}},
                colour, opacity);
}

void fillPolygon(CDIB& image, std::span<const DevicePoint> points, CColor colour, int opacity)
{
    Outline outline;
    outline.addPolygon(points);
    fillOutline(image, outline, withOpacity(colour, opacity), image.bounds());
}

void drawBresenhamLine(CDIB& image, int x0, int y0, int x1, int y1, std::uint32_t colour)
{
    constexpr int kFar = CDIB::kMaxSide; // as far out as a line may begin
    x0 = std::clamp(x0, -kFar, kFar);
    x1 = std::clamp(x1, -kFar, kFar);
    y0 = std::clamp(y0, -kFar, kFar);
    y1 = std::clamp(y1, -kFar, kFar);
    const Pixel value = 0xFF000000U | (colour & 0xFFU) << 16 | (colour & 0xFF00U) | (colour >> 16 & 0xFFU);
    const int width = std::abs(x1 - x0);
    const int height = -std::abs(y1 - y0);
    const int stepX = x0 < x1 ? 1 : -1;
    const int stepY = y0 < y1 ? 1 : -1;
    for (int error = width + height;;) {
        if (x0 >= 0 && x0 < image.getWidth() && y0 >= 0 && y0 < image.getHeight())
            image.row(y0)[static_cast<std::size_t>(x0)] = value;
        if (x0 == x1 && y0 == y1)
            break;
        const int twice = 2 * error;
        if (twice >= height) {
            error += height;
            x0 += stepX;
        }
        if (twice <= width) {
            error += width;
            y0 += stepY;
        }
    }
    image.markDirty();
}

} // namespace sorvane::toolkit
