#pragma once

#include "CDIBDraw.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

struct stbtt_fontinfo;

namespace sorvane::toolkit {

/// A parsed TrueType font. It doesn't change: any thread may read it. Lengths are in font units unless they say.
class Font {
public:
    /// Null when the file isn't sound. \param file  must outlive the font
    static std::unique_ptr<const Font> parse(std::string_view file);
    ~Font();
    Font(const Font&) = delete;
    Font& operator=(const Font&) = delete;

    /// Pixels per font unit for a size in pixels: the size is what lies between the highest and the lowest of the face.
    [[nodiscard]] float scaleFor(float size) const;
    [[nodiscard]] int getAscent() const { return ascent; }
    [[nodiscard]] int getDescent() const { return descent; } ///< below 0

    /// 0, the sign for a missing one, where the font has none.
    [[nodiscard]] int findGlyph(std::uint32_t codePoint) const;
    [[nodiscard]] int advanceOf(int glyph) const;
    [[nodiscard]] int kerningOf(int glyph, int next) const;
    struct Box {
        int left = 0, bottom = 0, right = 0, top = 0;
    };
    /// All 0 for a glyph without an outline.
    [[nodiscard]] Box boxOf(int glyph) const;

    /// Adds the outline of a glyph to an image.
    /// \param scale  pixels per font unit
    /// \param x, baseline  where its origin is in the image, in pixels
    void rasterise(int glyph, float scale, float x, float baseline, Coverage& image) const;

private:
    Font() = default;

    std::unique_ptr<stbtt_fontinfo> info;
    int ascent = 0;
    int descent = 0;
};

/// The embedded font of a name, parsed at the first call and kept to the end of the process; null when there is none or
/// it isn't sound. Any thread.
[[nodiscard]] const Font* getFont(std::string_view name);

/// The code points of UTF-8; each byte that isn't part of a valid one gives U+FFFD.
[[nodiscard]] std::vector<std::uint32_t> decodeUtf8(std::string_view text);

/// UTF-8 of code points; one that is none gives U+FFFD.
[[nodiscard]] std::string encodeUtf8(std::span<const std::uint32_t> codes);

struct TextSize {
    float width = 0.0F; ///< of all advances with kerning
    int height = 0;
};
/// In pixels, for a text in UTF-8 and a size in pixels. An empty text gives 0 and 0.
[[nodiscard]] TextSize measureText(const Font& font, float size, std::string_view text);

/// The image of a text in UTF-8, whose baseline lies its ascent and one row below the top. Each glyph stands at the
/// fraction of a pixel that the pen is at.
/// \param size  in pixels, up to 512; the text is cut where the image would be wider than 16384
/// \param startX  where the pen begins
/// \param verticalShift  moves the outlines down
/// \param spacing  is added to each advance
[[nodiscard]] Coverage renderText(const Font& font, float size, std::string_view text, float startX = 0.0F,
                                  float verticalShift = 0.0F, float spacing = 0.0F);

} // namespace sorvane::toolkit
