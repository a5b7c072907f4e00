#include "BakedFont.h"

#include "PixelFont.h"

#include <cmath>

namespace sorvane::toolkit {

namespace {

constexpr std::uint32_t kBullet = 0x2022;
constexpr std::uint32_t kLeftArrow = 0x2190;
constexpr std::uint32_t kRightArrow = 0x2192;
constexpr int kGap = 2; ///< pixels between glyphs in the atlas

std::uint32_t codePointOf(std::size_t byte)
{
    return byte == '$'   ? kBullet
           : byte == '~' ? kLeftArrow
           : byte == 127 ? kRightArrow
                         : static_cast<std::uint32_t>(byte);
}

/// White, premultiplied by a coverage.
Pixel whiteOf(std::uint32_t covered)
{
    return covered * 0x01010101U;
}

} // namespace

BakedFont::BakedFont(const Font& face, float pixels) : font(face), size(pixels), scale(face.scaleFor(pixels))
{
    // As drawn text stands: the baseline lies the ascent in whole pixels and one row below the top.
    const int baseline = static_cast<int>(static_cast<float>(font.getAscent()) * scale) + 1;
    const auto edge = [this](int units) { return static_cast<float>(units) * scale; };
    int width = 1;
    int height = 0;
    for (std::size_t i = 0; i < glyphs.size(); ++i) {
        BakedGlyph& baked = glyphs[i];
        baked.glyph = font.findGlyph(codePointOf(kFirst + i));
        baked.advance = edge(font.advanceOf(baked.glyph));
        const Font::Box box = font.boxOf(baked.glyph);
        baked.left = floorToPixel(edge(box.left));
        baked.top = baseline - ceilToPixel(edge(box.top));
        const int right = ceilToPixel(edge(box.right));
        const int bottom = baseline - floorToPixel(edge(box.bottom));
        if (right <= baked.left || bottom <= baked.top)
            continue;
        baked.area = {width, 1, width + right - baked.left, 1 + bottom - baked.top};
        width = baked.area.right + kGap;
        height = std::max(height, baked.area.height());
    }
    atlas = Shared<CDIB>::adopt(new CDIB(width, height + 2));
    for (const BakedGlyph& baked : glyphs) {
        Coverage image{baked.area.width(), baked.area.height(), {}};
        image.values.resize(static_cast<std::size_t>(image.width) * static_cast<std::size_t>(image.height));
        font.rasterise(baked.glyph, scale, static_cast<float>(-baked.left), static_cast<float>(baseline - baked.top),
                       image);
        const PixelRect seen = baked.area.intersectedWith(atlas->bounds());
        for (int y = seen.top; y < seen.bottom; ++y)
            for (int x = seen.left; x < seen.right; ++x)
                atlas->row(y)[static_cast<std::size_t>(x)] = whiteOf(
                    image.values[static_cast<std::size_t>(y - seen.top) * static_cast<std::size_t>(image.width) +
                                 static_cast<std::size_t>(x - seen.left)]);
    }
}

void BakedFont::layOut(std::string_view text, const GlyphFunction& draw) const
{
    float pen = 0.0F;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto glyphAt = [&](std::size_t at) -> const BakedGlyph* {
            const auto byte = static_cast<std::uint8_t>(text[at]);
            return byte >= kFirst && byte < kFirst + glyphs.size() ? &glyphs[byte - kFirst] : nullptr;
        };
        const BakedGlyph* const baked = glyphAt(i);
        if (baked == nullptr)
            continue;
        if (!baked->area.isEmpty())
            draw(*baked, roundToPixel(pen) + baked->left, baked->top);
        const BakedGlyph* const next = i + 1 < text.size() ? glyphAt(i + 1) : nullptr;
        pen += baked->advance;
        if (next != nullptr)
            pen += static_cast<float>(font.kerningOf(baked->glyph, next->glyph)) * scale;
    }
}

BakedPixelFont::BakedPixelFont(const CDIB* strip) : atlas(Shared<CDIB>::adopt(new CDIB(1, 1)))
{
    if (strip == nullptr)
        return;
    const PixelFont font(strip);
    atlas = strip->copy();
    for (int y = 0; y < atlas->getHeight(); ++y)
        for (Pixel& pixel : atlas->row(y))
            pixel = whiteOf(pixel >> 16 & 0xFFU);
    for (std::size_t byte = 0; byte < glyphs.size(); ++byte) {
        const auto character = static_cast<char>(static_cast<std::uint8_t>(byte));
        glyphs[byte].area = font.areaOf(character);
        glyphs[byte].advance = static_cast<float>(font.widthOf({&character, 1}));
    }
}

void BakedPixelFont::layOut(std::string_view text, const BakedFont::GlyphFunction& draw) const
{
    int pen = 0;
    for (const char character : text) {
        const BakedGlyph& baked = glyphs[static_cast<std::uint8_t>(character)];
        if (!baked.area.isEmpty())
            draw(baked, pen, 0);
        pen += static_cast<int>(baked.advance);
    }
}

} // namespace sorvane::toolkit
