#pragma once

#include "CDIB.h"
#include "Font.h"

#include <array>
#include <functional>
#include <string_view>

namespace sorvane::toolkit {

/// Where a glyph is in an atlas, and how it stands to the pen, in pixels.
struct BakedGlyph {
    PixelRect area; ///< empty for a blank
    int left = 0;   ///< of the area, from the pen
    int top = 0;    ///< of the area, from the line's top
    float advance = 0.0F;
    int glyph = 0; ///< in the font
};

/// The glyphs of the codes 32 to 127 of a font at one size, drawn into one image. Each code is its own character, but
/// that "$" gives a bullet, "~" an arrow to the left and 127 an arrow to the right.
class BakedFont {
public:
    /// \param pixels  size in pixels of the device
    BakedFont(const Font& face, float pixels);

    [[nodiscard]] const Font& getFont() const { return font; }
    [[nodiscard]] float getSize() const { return size; }
    [[nodiscard]] const CDIB& getAtlas() const { return *atlas; }

    /// Calls \p draw for each glyph of a text that shows, with its place in whole pixels from the text's top left.
    /// Bytes below 32 draw nothing, and so do those above 127.
    using GlyphFunction = std::function<void(const BakedGlyph& glyph, int left, int top)>;
    void layOut(std::string_view text, const GlyphFunction& draw) const;

private:
    static constexpr std::size_t kFirst = 32;

    const Font& font;
    float size;
    float scale;
    std::array<BakedGlyph, 96> glyphs{};
    Shared<CDIB> atlas;
};

/// The glyphs of a pixel font's strip, each channel of the atlas the strip's red one.
class BakedPixelFont {
public:
    /// Null gives a font without glyphs.
    explicit BakedPixelFont(const CDIB* strip);

    [[nodiscard]] const CDIB& getAtlas() const { return *atlas; }
    void layOut(std::string_view text, const BakedFont::GlyphFunction& draw) const;

private:
    std::array<BakedGlyph, 256> glyphs{};
    Shared<CDIB> atlas;
};

} // namespace sorvane::toolkit
