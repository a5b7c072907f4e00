#pragma once

#include "CDIB.h"

#include <array>
#include <cstdint>
#include <string_view>

namespace sorvane::toolkit {

/// A small font cut from an image of glyphs side by side, written into images in memory.
///
/// The strip holds "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz.%-,+#:/" in this order; their red
/// channel is the coverage. Strips 11 high have cells 9 wide, any other has cells 7 wide and 9 high. Bytes without a
/// glyph draw nothing and advance nothing; a blank advances.
class PixelFont {
public:
    static constexpr int kLargerStrip = 101;  ///< the embedded image of cells 9 by 11
    static constexpr int kSmallerStrip = 102; ///< of cells 7 by 9

    /// Null gives a font without glyphs. \param glyphStrip  is used for as long as the font is
    explicit PixelFont(const CDIB* glyphStrip);

    /// Lays one glyph over an image, its cell's top left at (left, top): each of the three colours moves towards the
    /// glyph's by coverage * opacity / 255, alpha stays.
    /// \param colour  0xRRGGBB
    void drawGlyph(CDIB& image, int left, int top, char character, std::uint32_t colour, int opacity = 255) const;
    /// A text from (left, top) on. \param colour  0xBBGGRR
    void drawText(CDIB& image, int left, int top, std::string_view text, std::uint32_t colour, int opacity = 255) const;
    /// In pixels, with the space behind the last glyph.
    [[nodiscard]] int widthOf(std::string_view text) const;

    /// Where a glyph is in the strip; empty for a byte without one.
    [[nodiscard]] PixelRect areaOf(char character) const;
    [[nodiscard]] int getCellHeight() const { return cellHeight; }
    /// Whether each glyph stands in the middle of its cell and takes as much room as it, as digits that change should.
    void setFixedWidth(bool on) { fixedWidth = on; }

private:
    static constexpr std::uint8_t kNone = 255;

    [[nodiscard]] int advanceOf(char character) const;

    Shared<const CDIB> strip;
    std::array<std::uint8_t, 256> glyphOf{};
    std::array<std::uint8_t, 71> widths{};
    int cellWidth = 7;
    int cellHeight = 9;
    int spacing = 1;
    bool fixedWidth = false;
};

} // namespace sorvane::toolkit
