#include "PixelFont.h"

namespace sorvane::toolkit {

namespace {

constexpr std::string_view kGlyphs = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz.%-,+#:/";
constexpr int kBlankWidth = 3;

std::uint32_t redOf(Pixel pixel)
{
    return pixel >> 16 & 0xFFU;
}

} // namespace

PixelFont::PixelFont(const CDIB* glyphStrip) : strip(glyphStrip)
{
    glyphOf.fill(kNone);
    if (!strip || strip->getHeight() == 0)
        return;
    if (strip->getHeight() == 11) {
        cellWidth = 9;
        cellHeight = 11;
        spacing = 2;
    }
    cellHeight = std::min(cellHeight, strip->getHeight());
    const int count = std::min(strip->getWidth() / cellWidth, static_cast<int>(widths.size()));
    for (int glyph = 0; glyph < count; ++glyph) {
        int width = cellWidth;
        const auto isBlank = [&](int column) {
            const int x = glyph * cellWidth + column;
            for (int y = 0; y < cellHeight; ++y)
                if (redOf(strip->row(y)[static_cast<std::size_t>(x)]) != 0)
                    return false;
            return true;
        };
        while (width > 1 && isBlank(width - 1))
            --width;
        widths[static_cast<std::size_t>(glyph)] = static_cast<std::uint8_t>(width);
        if (static_cast<std::size_t>(glyph) < kGlyphs.size())
            glyphOf[static_cast<std::uint8_t>(kGlyphs[static_cast<std::size_t>(glyph)])] =
                static_cast<std::uint8_t>(glyph);
    }
}

void PixelFont::drawGlyph(CDIB& image, int left, int top, char character, std::uint32_t colour, int opacity) const
{
    const std::uint8_t glyph = glyphOf[static_cast<std::uint8_t>(character)];
    if (glyph == kNone)
        return;
    const int width = widths[glyph];
    if (fixedWidth)
        left += (cellWidth - width) / 2;
    const PixelRect target = PixelRect{left, top, left + width, top + cellHeight}.intersectedWith(image.bounds());
    const int strength = std::clamp(opacity, 0, 255);
    for (int y = target.top; y < target.bottom; ++y)
        for (int x = target.left; x < target.right; ++x) {
            const auto covered =
                static_cast<int>(redOf(strip->row(y - top)[static_cast<std::size_t>(glyph * cellWidth + x - left)])) *
                strength;
            Pixel& pixel = image.row(y)[static_cast<std::size_t>(x)];
            Pixel result = pixel & 0xFF000000U;
            for (int shift = 0; shift < 24; shift += 8) {
                const auto before = static_cast<int>(pixel >> shift & 0xFFU);
                const auto wanted = static_cast<int>(colour >> shift & 0xFFU);
                result |= static_cast<Pixel>(before + (wanted - before) * covered / (255 * 255)) << shift;
            }
            pixel = result;
        }
    image.markDirty();
}

void PixelFont::drawText(CDIB& image, int left, int top, std::string_view text, std::uint32_t colour, int opacity) const
{
    const std::uint32_t rgb = (colour & 0xFFU) << 16 | (colour & 0xFF00U) | (colour >> 16 & 0xFFU);
    for (const char character : text) {
        drawGlyph(image, left, top, character, rgb, opacity);
        left += advanceOf(character);
    }
}

int PixelFont::advanceOf(char character) const
{
    if (character == ' ')
        return kBlankWidth + spacing;
    const std::uint8_t glyph = glyphOf[static_cast<std::uint8_t>(character)];
    if (glyph == kNone)
        return 0;
    return fixedWidth ? cellWidth : widths[glyph] + spacing;
}

PixelRect PixelFont::areaOf(char character) const
{
    const std::uint8_t glyph = glyphOf[static_cast<std::uint8_t>(character)];
    if (glyph == kNone)
        return {};
    const int left = glyph * cellWidth;
    return {left, 0, left + widths[glyph], cellHeight};
}

int PixelFont::widthOf(std::string_view text) const
{
    int width = 0;
    for (const char character : text)
        width += advanceOf(character);
    return width;
}

} // namespace sorvane::toolkit
