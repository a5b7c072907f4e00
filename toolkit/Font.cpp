#include "Font.h"

#include "FontCheck.h"
#include "NeverDestroyed.h"
#include "Resources.h"

#include <stb/stb_truetype.h>

#include <cmath>
#include <map>
#include <mutex>

namespace sorvane::toolkit {

namespace {

constexpr float kLargestSize = 512.0F;
constexpr float kWidestText = CDIB::kMaxSide;
constexpr int kLargestGlyph = 2048;        ///< pixels; larger ones aren't drawn
constexpr float kWidestGlyph = 8.0F;       ///< nor ones of more times the size than this, which takes long
constexpr std::size_t kLongestText = 4096; ///< bytes; what follows isn't drawn

struct VertexDeleter {
    const stbtt_fontinfo* info;
    void operator()(stbtt_vertex* vertices) const { stbtt_FreeShape(info, vertices); }
};

Font::Box boundsOf(std::span<const stbtt_vertex> outline)
{
    if (outline.empty())
        return {};
    Font::Box box{outline[0].x, outline[0].y, outline[0].x, outline[0].y};
    const auto add = [&box](int x, int y) {
        box = {std::min(box.left, x), std::min(box.bottom, y), std::max(box.right, x), std::max(box.top, y)};
    };
    for (const stbtt_vertex& vertex : outline) {
        add(vertex.x, vertex.y);
        if (vertex.type == STBTT_vcurve)
            add(vertex.cx, vertex.cy);
    }
    return box;
}

float cutSize(float size)
{
    return size > 0.0F ? std::min(size, kLargestSize) : 0.0F;
}

std::vector<int> glyphsOf(const Font& font, std::string_view text)
{
    std::vector<int> glyphs;
    for (const std::uint32_t code : decodeUtf8(text.substr(0, kLongestText)))
        glyphs.push_back(font.findGlyph(code));
    return glyphs;
}

/// The advance of a glyph with the kerning to the next.
int advanceIn(const Font& font, const std::vector<int>& glyphs, std::size_t i)
{
    return font.advanceOf(glyphs[i]) + (i + 1 < glyphs.size() ? font.kerningOf(glyphs[i], glyphs[i + 1]) : 0);
}

/// Rows that the text needs below its baseline.
int depthOf(const Font& font, const std::vector<int>& glyphs, float scale)
{
    int depth = 0;
    for (const int glyph : glyphs)
        depth = std::max(depth, -floorToPixel(static_cast<float>(font.boxOf(glyph).bottom) * scale));
    return std::min(depth, kLargestGlyph);
}

} // namespace

std::unique_ptr<const Font> Font::parse(std::string_view file)
{
    if (!isSoundFont(file))
        return nullptr;
    std::unique_ptr<Font> font(new Font);
    font->info = std::make_unique<stbtt_fontinfo>();
    if (stbtt_InitFont(font->info.get(), reinterpret_cast<const unsigned char*>(file.data()), 0) == 0)
        return nullptr;
    int lineGap = 0;
    stbtt_GetFontVMetrics(font->info.get(), &font->ascent, &font->descent, &lineGap);
    return font;
}

Font::~Font() = default;

float Font::scaleFor(float size) const
{
    return cutSize(size) / static_cast<float>(ascent - descent);
}

int Font::findGlyph(std::uint32_t codePoint) const
{
    const int glyph = stbtt_FindGlyphIndex(info.get(), static_cast<int>(codePoint));
    return glyph < info->numGlyphs ? glyph : 0;
}

int Font::advanceOf(int glyph) const
{
    int advance = 0;
    int bearing = 0;
    stbtt_GetGlyphHMetrics(info.get(), glyph, &advance, &bearing);
    return advance;
}

int Font::kerningOf(int glyph, int next) const
{
    return stbtt_GetGlyphKernAdvance(info.get(), glyph, next);
}

Font::Box Font::boxOf(int glyph) const
{
    Box box;
    if (stbtt_GetGlyphBox(info.get(), glyph, &box.left, &box.bottom, &box.right, &box.top) == 0)
        return {};
    return box;
}

void Font::rasterise(int glyph, float scale, float x, float baseline, Coverage& image) const
{
    stbtt_vertex* shape = nullptr;
    const int count = stbtt_GetGlyphShape(info.get(), glyph, &shape);
    const std::unique_ptr<stbtt_vertex, VertexDeleter> vertices(shape, {info.get()});
    // Of the outline itself, since what the file says of its box may be wrong. All of it is rasterised: the library
    // takes no part.
    const Box box = boundsOf({shape, static_cast<std::size_t>(std::max(count, 0))});
    const auto edge = [scale](int units) { return static_cast<float>(units) * scale; };
    const PixelRect bounds{floorToPixel(x + edge(box.left)), floorToPixel(baseline - edge(box.top)),
                           ceilToPixel(x + edge(box.right)) + 1, ceilToPixel(baseline - edge(box.bottom)) + 1};
    const PixelRect seen = bounds.intersectedWith({0, 0, image.width, image.height});
    const int largest =
        std::min(kLargestGlyph, ceilToPixel(kWidestGlyph * scale * static_cast<float>(ascent - descent)));
    if (count <= 0 || seen.isEmpty() || bounds.width() > largest || bounds.height() > largest)
        return;
    const auto width = static_cast<std::size_t>(bounds.width());
    std::vector<std::uint8_t> pixels(width * static_cast<std::size_t>(bounds.height()));
    stbtt__bitmap bitmap{bounds.width(), bounds.height(), bounds.width(), pixels.data()};
    constexpr float kFlatness = 0.35F; // pixels between a curve and its chords
    stbtt_Rasterize(&bitmap, kFlatness, shape, count, scale, scale, x - static_cast<float>(bounds.left),
                    baseline - static_cast<float>(bounds.top), 0, 0, 1, nullptr);
    for (int y = seen.top; y < seen.bottom; ++y) {
        const std::uint8_t* from = &pixels[static_cast<std::size_t>(y - bounds.top) * width];
        from += seen.left - bounds.left;
        std::uint8_t* to = &image.values[static_cast<std::size_t>(y) * static_cast<std::size_t>(image.width)];
        to += seen.left;
        for (int i = 0; i < seen.width(); ++i)
            to[i] = static_cast<std::uint8_t>(std::min(to[i] + from[i], 255)); // kerned glyphs may share a column
    }
}

const Font* getFont(std::string_view name)
{
    static platform::NeverDestroyed<std::mutex> lock;
    static platform::NeverDestroyed<std::map<std::string, std::unique_ptr<const Font>, std::less<>>> fonts;
    const std::lock_guard guard(lock.get());
    auto& known = fonts.get();
    auto found = known.find(name);
    if (found == known.end()) {
        const std::string_view file = platform::resource("TTF", name);
        if (file.empty())
            return nullptr; // whose name isn't worth remembering
        found = known.emplace(name, Font::parse(file)).first;
    }
    return found->second.get();
}

std::vector<std::uint32_t> decodeUtf8(std::string_view text)
{
    constexpr std::uint32_t kReplacement = 0xFFFD;
    std::vector<std::uint32_t> codes;
    for (std::size_t i = 0; i < text.size();) {
        const auto byteAt = [&](std::size_t at) -> std::uint32_t {
            return at < text.size() ? static_cast<std::uint8_t>(text[at]) : 0U;
        };
        const std::uint32_t lead = byteAt(i);
        std::size_t length = 1;
        std::uint32_t code = lead;
        std::uint32_t least = 0;
        if (lead >= 0xC0 && lead < 0xE0) {
            length = 2;
            code = lead & 0x1F;
            least = 0x80;
        } else if (lead >= 0xE0 && lead < 0xF0) {
            length = 3;
            code = lead & 0x0F;
            least = 0x800;
        } else if (lead >= 0xF0 && lead < 0xF8) {
            length = 4;
            code = lead & 0x07;
            least = 0x10000;
        } else if (lead >= 0x80) {
            code = kReplacement;
        }
        bool valid = true;
        for (std::size_t k = 1; k < length; ++k) {
            valid = valid && (byteAt(i + k) & 0xC0U) == 0x80;
            code = code << 6 | (byteAt(i + k) & 0x3FU);
        }
        // Longer than it need be, half of a surrogate pair, or beyond the last.
        valid = valid && code >= least && (code < 0xD800 || code > 0xDFFF) && code <= 0x10FFFF;
        codes.push_back(valid ? code : kReplacement);
        i += valid ? length : 1;
    }
    return codes;
}

std::string encodeUtf8(std::span<const std::uint32_t> codes)
{
    std::string text;
    const auto add = [&text](std::uint32_t byte) { text.push_back(static_cast<char>(byte)); };
    for (std::uint32_t code : codes) {
        if (code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF))
            code = 0xFFFD;
        if (code < 0x80) {
            add(code);
            continue;
        }
        const int following = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
        add((0xFF80U >> following & 0xFFU) | code >> (6 * following));
        for (int i = following - 1; i >= 0; --i)
            add(0x80U | (code >> (6 * i) & 0x3FU));
    }
    return text;
}

TextSize measureText(const Font& font, float size, std::string_view text)
{
    const std::vector<int> glyphs = glyphsOf(font, text);
    if (glyphs.empty())
        return {};
    const float scale = font.scaleFor(size);
    TextSize result;
    for (std::size_t i = 0; i < glyphs.size(); ++i)
        result.width += static_cast<float>(advanceIn(font, glyphs, i)) * scale;
    result.height = static_cast<int>(static_cast<float>(font.getAscent()) * scale) + 1 + depthOf(font, glyphs, scale);
    return result;
}

Coverage renderText(const Font& font, float size, std::string_view text, float startX, float verticalShift,
                    float spacing)
{
    std::vector<int> glyphs = glyphsOf(font, text);
    if (glyphs.empty())
        return {};
    const float scale = font.scaleFor(size);
    const int ascent = static_cast<int>(static_cast<float>(font.getAscent()) * scale);
    std::vector<float> places;
    float x = startX > 0.0F ? std::min(startX, kWidestText) : 0.0F;
    for (std::size_t i = 0; i < glyphs.size(); ++i) {
        const float next = x + static_cast<float>(advanceIn(font, glyphs, i)) * scale + spacing;
        if (!(next <= kWidestText)) {
            glyphs.resize(i);
            break;
        }
        places.push_back(x);
        x = std::max(next, 0.0F);
    }
    Coverage image{ceilToPixel(x), ascent + 3 + depthOf(font, glyphs, scale), {}};
    image.values.resize(static_cast<std::size_t>(image.width) * static_cast<std::size_t>(image.height));
    for (std::size_t i = 0; i < glyphs.size(); ++i)
        font.rasterise(glyphs[i], scale, places[i], static_cast<float>(ascent + 1) + verticalShift, image);
    return image;
}

} // namespace sorvane::toolkit
