#include "LabelText.h"

#include "CDrawContext.h"
#include "StaticTextLabelCache.h"

#include <cmath>

namespace sorvane::toolkit {

Shared<CDIB> makeTextImage(const Coverage& coverage, std::uint32_t colour, int haloRadius)
{
    const auto pixelOf = [](std::uint32_t rgb, std::uint32_t covered) {
        const auto part = [&](int shift) { return ((rgb >> shift & 0xFFU) * covered >> 8) << shift; };
        return covered << 24 | part(16) | part(8) | part(0);
    };
    const int radius = std::clamp(haloRadius, 0, kLargestHalo);
    Coverage halo;
    if (radius > 0)
        halo = distanceHalo(coverage, radius);
    auto image =
        Shared<CDIB>::adopt(new CDIB(std::max(halo.width, coverage.width), std::max(halo.height, coverage.height)));
    std::size_t at = 0;
    for (const std::uint8_t covered : halo.values)
        image->getPixels()[at++] = pixelOf(kHaloColour, covered);
    at = 0;
    for (int y = 0; y < coverage.height; ++y)
        for (int x = 0; x < coverage.width; ++x) {
            const int column = x + radius;
            Pixel& pixel = image->row(y + radius)[static_cast<std::size_t>(column)];
            pixel = laidOver(pixelOf(colour, coverage.values[at++]), pixel);
        }
    return image;
}

float drawLabelText(CDrawContext& context, const CRect& rect, const Font& font, std::string_view text, float size,
                    TextAlignment alignment, bool centreVertically, std::uint32_t colour, CDIB** cacheSlot,
                    int haloRadius, float spacing)
{
    if (text.empty() || !(size > 0.0F))
        return 0.0F;
    const float scale = context.getDrawScale();
    const auto placed = [&](float width) {
        if (alignment == TextAlignment::left)
            return rect.left;
        const float room = rect.width() - width;
        return rect.left + (alignment == TextAlignment::centre ? room / 2.0F : room);
    };
    const float shown =
        size * static_cast<float>(font.getAscent()) / static_cast<float>(font.getAscent() - font.getDescent());
    if (cacheSlot == nullptr && context.hasBakedText() && haloRadius == 0 && spacing == 0.0F) {
        const float width = measureText(font, size, text).width;
        const float top = rect.top + (centreVertically ? (rect.height() - shown) / 2.0F : 0.0F);
        const std::uint32_t alpha = colour >> 24 == 0 ? 255U : colour >> 24;
        // Faded as an image is, whose colours are multiplied by alpha.
        context.drawText(text, {placed(width), std::floor(top)}, font, multipliedPixel(colour | 0xFF000000U, alpha),
                         size);
        return width;
    }
    StaticTextLabelCache::Key key{&font,
                                  std::string(text),
                                  size * scale,
                                  colour & 0xFFFFFFU,
                                  std::max(0, roundToPixel(static_cast<float>(haloRadius) * scale)),
                                  spacing * scale};
    Shared<CDIB> image;
    if (cacheSlot != nullptr)
        image = StaticTextLabelCache::shared().update(*cacheSlot, key);
    else
        image = makeTextImage(renderText(font, key.size, text, 0.0F, 0.0F, key.spacing), key.colour, key.haloRadius);

    const float width = static_cast<float>(image->getWidth()) / scale;
    const float height = static_cast<float>(image->getHeight()) / scale;
    const float left = placed(width);
    const float top =
        rect.top +
        (centreVertically ? (rect.height() - (shown + 2.0F * static_cast<float>(haloRadius) + 1.0F)) / 2.0F : 0.0F);
    const auto alpha = static_cast<float>(colour >> 24 == 0 ? 255U : colour >> 24) / 255.0F;
    // The image has the device's pixels.
    context.drawBitmap(*image, {left, top, left + width, top + height}, {}, scale, alpha);
    return width;
}

void releaseLabel(const CDIB* image)
{
    if (image != nullptr)
        StaticTextLabelCache::shared().release(image);
}

} // namespace sorvane::toolkit
