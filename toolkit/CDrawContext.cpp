#include "CDrawContext.h"

#include "LabelText.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace sorvane::toolkit {

namespace {

bool isWhole(float value)
{
    return value == std::floor(value);
}

/// Keeps a pixel's middle from falling on the border of two texels, where rounding would choose between them.
constexpr double kTexelBias = 1.0 / 256.0;

} // namespace

DevicePoint CDrawContext::toDevice(CPoint point) const
{
    const double scale = drawScale;
    return {(static_cast<double>(point.x) + offset.x) * scale, (static_cast<double>(point.y) + offset.y) * scale};
}

PixelRect CDrawContext::toPixels(const CRect& rect) const
{
    const DevicePoint from = toDevice(rect.origin());
    const DevicePoint to = toDevice({rect.right, rect.bottom});
    return {roundToPixel(from.x), roundToPixel(from.y), roundToPixel(to.x), roundToPixel(to.y)};
}

void CDrawContext::setClipRect(const CRect& rect)
{
    clip = rect.isEmpty() ? PixelRect{} : toPixels(rect).intersectedWith(device);
}

CRect CDrawContext::getClipRect() const
{
    const auto logical = [this](int pixel, float by) { return static_cast<float>(pixel) / drawScale - by; };
    return {logical(clip.left, offset.x), logical(clip.top, offset.y), logical(clip.right, offset.x),
            logical(clip.bottom, offset.y)};
}

void CDrawContext::resetClipRect()
{
    clip = device;
}

void CDrawContext::setFont(const Font* newFont, float newSize)
{
    font = newFont;
    fontSize = newSize;
}

void CDrawContext::lineTo(CPoint point)
{
    if (!strokeStraight(position, point))
        strokePath(std::array{position, point}, false);
    position = point;
}

bool CDrawContext::strokeStraight(CPoint from, CPoint to)
{
    const bool whole = isWhole(from.x + offset.x) && isWhole(from.y + offset.y) && isWhole(to.x + offset.x) &&
                       isWhole(to.y + offset.y);
    if (!whole || (from.x != to.x && from.y != to.y))
        return false;
    const DevicePoint a = toDevice({std::min(from.x, to.x) + 0.5F, std::min(from.y, to.y) + 0.5F});
    const DevicePoint b = toDevice({std::max(from.x, to.x) + 0.5F, std::max(from.y, to.y) + 0.5F});
    const int width = strokePixels();
    const auto begin = [width](double middle) { return roundToPixel(middle - 0.5 * width); };
    fillPixels(PixelRect{begin(a.x), begin(a.y), begin(b.x) + width, begin(b.y) + width}.intersectedWith(clip),
               premultiplied(frameColour));
    return true;
}

void CDrawContext::strokePath(std::span<const CPoint> points, bool closed)
{
    std::vector<DevicePoint> path;
    path.reserve(points.size() + 2);
    for (const CPoint& p : points)
        path.push_back(toDevice({p.x + 0.5F, p.y + 0.5F}));
    if (closed && points.size() > 2)
        path.insert(path.end(), {path[0], path[1]}); // once more, so that the last corner is joined
    outline.clear();
    outline.addBand(path, std::max(1.0, static_cast<double>(lineWidth) * drawScale));
    fillOutline(outline, premultiplied(frameColour), clip);
}

void CDrawContext::drawLines(std::span<const CPoint> points)
{
    if (points.size() == 2 && strokeStraight(points[0], points[1]))
        return;
    if (points.size() >= 2)
        strokePath(points, false);
}

void CDrawContext::drawPolygon(std::span<const CPoint> points, DrawStyle style)
{
    if (points.size() < 3)
        return;
    if (style != DrawStyle::stroked) {
        std::vector<DevicePoint> polygon;
        polygon.reserve(points.size());
        for (const CPoint& p : points)
            polygon.push_back(toDevice(p));
        outline.clear();
        outline.addPolygon(polygon);
        fillOutline(outline, premultiplied(fillColour), clip);
    }
    if (style != DrawStyle::filled)
        strokePath(points, true);
}

void CDrawContext::strokeRect(const CRect& rect)
{
    const int width = strokePixels();
    const DevicePoint from = toDevice({rect.left + 0.5F, rect.top + 0.5F});
    const DevicePoint to = toDevice({rect.right + 0.5F, rect.bottom + 0.5F});
    const auto begin = [width](double middle) { return roundToPixel(middle - 0.5 * width); };
    const PixelRect outer{begin(from.x), begin(from.y), begin(to.x) + width, begin(to.y) + width};
    const PixelRect inner{outer.left + width, outer.top + width, outer.right - width, outer.bottom - width};
    const Pixel colour = premultiplied(frameColour);
    if (inner.isEmpty()) {
        fillPixels(outer.intersectedWith(clip), colour);
        return;
    }
    // Each pixel once, for colours with alpha.
    for (const PixelRect& side : {PixelRect{outer.left, outer.top, outer.right, inner.top},
                                  PixelRect{outer.left, inner.bottom, outer.right, outer.bottom},
                                  PixelRect{outer.left, inner.top, inner.left, inner.bottom},
                                  PixelRect{inner.right, inner.top, outer.right, inner.bottom}})
        fillPixels(side.intersectedWith(clip), colour);
}

void CDrawContext::drawRect(const CRect& rect, DrawStyle style)
{
    if (!(rect.right >= rect.left && rect.bottom >= rect.top))
        return;
    if (style != DrawStyle::stroked)
        fillPixels(toPixels(rect).intersectedWith(clip), premultiplied(fillColour));
    if (style != DrawStyle::filled)
        strokeRect(rect);
}

void CDrawContext::drawEllipse(const CRect& rect, DrawStyle style)
{
    if (rect.isEmpty())
        return;
    const auto ellipse = [this](const CRect& touched, double widerBy, bool inside) {
        const DevicePoint from = toDevice(touched.origin());
        const DevicePoint to = toDevice({touched.right, touched.bottom});
        outline.addEllipse({0.5 * (from.x + to.x), 0.5 * (from.y + to.y)}, 0.5 * (to.x - from.x) + widerBy,
                           0.5 * (to.y - from.y) + widerBy, inside);
    };
    if (style != DrawStyle::stroked) {
        outline.clear();
        ellipse(rect, 0.0, false);
        fillOutline(outline, premultiplied(fillColour), clip);
    }
    if (style != DrawStyle::filled) {
        const CRect middle = rect.movedBy({0.5F, 0.5F});
        const double half = 0.5 * std::max(1.0, static_cast<double>(lineWidth) * drawScale);
        outline.clear();
        ellipse(middle, half, false);
        ellipse(middle, -half, true);
        fillOutline(outline, premultiplied(frameColour), clip);
    }
}

float CDrawContext::getStringWidth(std::string_view text) const
{
    return font != nullptr ? measureText(*font, fontSize, text).width : 0.0F;
}

void CDrawContext::drawString(std::string_view text, const CRect& rect)
{
    if (font == nullptr || text.empty())
        return;
    const std::uint32_t colour = std::uint32_t{fontColour.alpha} << 24 | std::uint32_t{fontColour.red} << 16 |
                                 std::uint32_t{fontColour.green} << 8 | fontColour.blue;
    drawLabelText(*this, rect, *font, text, fontSize, TextAlignment::centre, true, colour);
}

void CDrawContext::drawText(std::string_view text, CPoint point, const Font& textFont, std::uint32_t colour, float size,
                            int haloRadius)
{
    const DevicePoint at = toDevice(point);
    const int left = roundToPixel(at.x);
    const int top = roundToPixel(at.y);
    const Coverage coverage = renderText(textFont, size * drawScale, text);
    if (haloRadius > 0) {
        const int radius = std::min(roundToPixel(static_cast<float>(haloRadius) * drawScale), kLargestHalo);
        drawCoverage(distanceHalo(coverage, radius), left - radius, top - radius, 0xFF000000U | kHaloColour);
    }
    drawCoverage(coverage, left, top, colour);
}

void CDrawContext::drawBitmap(const CDIB& bitmap, const CRect& destination, CPoint sourceOffset, float sourceScale,
                              float alpha)
{
    const DevicePoint from = toDevice(destination.origin());
    const DevicePoint to = toDevice({destination.right, destination.bottom});
    const double density = static_cast<double>(sourceScale > 0.0F ? sourceScale : 1.0F) * bitmap.getDensity();
    double sourceLeft = sourceOffset.x * density;
    double sourceTop = sourceOffset.y * density;
    double step = density / drawScale; // texels from pixel to pixel
    PixelRect pixels;
    if (bitmap.snaps()) {
        step = 1.0;
        sourceLeft = std::floor(sourceLeft);
        sourceTop = std::floor(sourceTop);
        pixels = {floorToPixel(from.x), floorToPixel(from.y), ceilToPixel(to.x), ceilToPixel(to.y)};
    } else {
        // Whole pixels, so that an image of the device's own density comes out as it is.
        pixels.left = roundToPixel(from.x);
        pixels.top = roundToPixel(from.y);
        pixels.right = roundToPixel(pixels.left + (to.x - from.x));
        pixels.bottom = roundToPixel(pixels.top + (to.y - from.y));
    }
    // Pixels whose middle lies in the image and in the clip rectangle.
    const auto inImage = [step](int first, double source, int size) {
        const double begin = first + (0.0 - source) / step - 0.5;
        const double end = first + (size - source) / step - 0.5;
        return std::pair{ceilToPixel(begin - 1.0e-6), ceilToPixel(end - 1.0e-6)};
    };
    const auto [left, right] = inImage(pixels.left, sourceLeft, bitmap.getWidth());
    const auto [top, bottom] = inImage(pixels.top, sourceTop, bitmap.getHeight());
    const PixelRect drawn = pixels.intersectedWith({left, top, right, bottom}).intersectedWith(clip);
    const int opacity = std::min(roundToPixel(alpha * 255.0F), 255);
    if (drawn.isEmpty() || opacity <= 0)
        return;
    drawTexels({bitmap, drawn, sourceLeft + (drawn.left - pixels.left + 0.5) * step + kTexelBias,
                sourceTop + (drawn.top - pixels.top + 0.5) * step + kTexelBias, step, step},
               static_cast<std::uint32_t>(opacity));
}

void COffscreenContext::fillPixels(const PixelRect& pixels, Pixel colour)
{
    fillRect(image, pixels, colour);
}

void COffscreenContext::fillOutline(const Outline& shape, Pixel colour, const PixelRect& within)
{
    toolkit::fillOutline(image, shape, colour, within);
}

void COffscreenContext::drawTexels(const TexelMap& map, std::uint32_t alpha)
{
    const auto texel = [](double place, int size) {
        return static_cast<std::size_t>(std::clamp(floorToPixel(place), 0, size - 1));
    };
    std::vector<std::size_t> columns(static_cast<std::size_t>(map.pixels.width()));
    for (std::size_t i = 0; i < columns.size(); ++i)
        columns[i] = texel(map.left + static_cast<double>(i) * map.stepX, map.bitmap.getWidth());
    // One texel a pixel.
    const bool inSteps = map.stepX == 1.0 && columns.back() - columns.front() + 1 == columns.size();
    const Pixel always = map.bitmap.isOpaque() ? 0xFF000000U : 0U;
    std::vector<Pixel> texels(columns.size());
    for (int y = map.pixels.top; y < map.pixels.bottom; ++y) {
        const auto source =
            map.bitmap.row(static_cast<int>(texel(map.top + (y - map.pixels.top) * map.stepY, map.bitmap.getHeight())));
        if (inSteps)
            std::copy_n(&source[columns.front()], texels.size(), texels.begin());
        else
            std::transform(columns.begin(), columns.end(), texels.begin(),
                           [source](std::size_t column) { return source[column]; });
        const auto pixels = image.row(y).subspan(static_cast<std::size_t>(map.pixels.left), texels.size());
        for (std::size_t i = 0; i < texels.size(); ++i)
            pixels[i] = addedOver(multipliedPixel(texels[i] | always, alpha), pixels[i]);
    }
    image.markDirty();
}

void COffscreenContext::drawCoverage(const Coverage& coverage, int left, int top, Pixel colour)
{
    const PixelRect target =
        PixelRect{left, top, left + coverage.width, top + coverage.height}.intersectedWith(clipPixels());
    for (int y = target.top; y < target.bottom; ++y) {
        const std::uint8_t* covered = coverage.values.data() +
                                      static_cast<std::size_t>(y - top) * static_cast<std::size_t>(coverage.width) +
                                      (target.left - left);
        for (Pixel& pixel : image.row(y).subspan(static_cast<std::size_t>(target.left),
                                                 static_cast<std::size_t>(std::max(0, target.width())))) {
            if (*covered != 0)
                pixel = addedOver(multipliedPixel(colour, *covered), pixel);
            ++covered;
        }
    }
    image.markDirty();
}

void fillWithAlpha(CDrawContext& context, const CRect& rect)
{
    if (rect.width() >= 1.0F && rect.height() >= 1.0F)
        context.drawRect(rect, DrawStyle::filled);
}

} // namespace sorvane::toolkit
