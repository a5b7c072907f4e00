// Text against the same font files read by FreeType.

#include "CDrawContext.h"
#include "LabelText.h"
#include "PixelFont.h"
#include "Resources.h"
#include "StaticTextLabelCache.h"

#include <ft2build.h>
#include FT_FREETYPE_H
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>

namespace {

using namespace sorvane;
using namespace sorvane::toolkit;

class ReferenceFont {
public:
    explicit ReferenceFont(std::string_view name)
    {
        const std::string_view file = platform::resource("TTF", name);
        EXPECT_EQ(FT_Init_FreeType(&library), 0);
        EXPECT_EQ(FT_New_Memory_Face(library, reinterpret_cast<const FT_Byte*>(file.data()),
                                     static_cast<FT_Long>(file.size()), 0, &face),
                  0);
    }
    ~ReferenceFont()
    {
        FT_Done_Face(face);
        FT_Done_FreeType(library);
    }
    ReferenceFont(const ReferenceFont&) = delete;
    ReferenceFont& operator=(const ReferenceFont&) = delete;

    [[nodiscard]] double width(const std::u32string& text, double size) const
    {
        double units = 0.0;
        for (std::size_t i = 0; i < text.size(); ++i) {
            const FT_UInt glyph = FT_Get_Char_Index(face, text[i]);
            FT_Load_Glyph(face, glyph, FT_LOAD_NO_SCALE);
            units += static_cast<double>(face->glyph->advance.x);
            FT_Vector kerning{};
            if (i + 1 < text.size())
                FT_Get_Kerning(face, glyph, FT_Get_Char_Index(face, text[i + 1]), FT_KERNING_UNSCALED, &kerning);
            units += static_cast<double>(kerning.x);
        }
        return units * size / (face->ascender - face->descender);
    }

    [[nodiscard]] int height(const std::u32string& text, double size) const
    {
        const double scale = size / (face->ascender - face->descender);
        double lowest = 0.0;
        for (const char32_t code : text) {
            FT_Load_Glyph(face, FT_Get_Char_Index(face, code), FT_LOAD_NO_SCALE);
            const FT_Glyph_Metrics& metrics = face->glyph->metrics;
            lowest = std::min(lowest, std::floor(static_cast<double>(metrics.horiBearingY - metrics.height) * scale));
        }
        return text.empty() ? 0 : static_cast<int>(face->ascender * scale) + 1 - static_cast<int>(lowest);
    }

    /// The coverage of one glyph, its origin at (0, baseline), summed over all pixels.
    [[nodiscard]] double ink(char32_t code, double size) const
    {
        const double scale = size / (face->ascender - face->descender);
        FT_Set_Char_Size(face, 0, std::lround(scale * face->units_per_EM * 64.0), 72, 72);
        FT_Load_Char(face, code, FT_LOAD_NO_HINTING | FT_LOAD_RENDER);
        const FT_Bitmap& bitmap = face->glyph->bitmap;
        double sum = 0.0;
        for (unsigned y = 0; y < bitmap.rows; ++y)
            for (unsigned x = 0; x < bitmap.width; ++x)
                sum += bitmap.buffer[static_cast<int>(y) * bitmap.pitch + static_cast<int>(x)] / 255.0;
        return sum;
    }

private:
    FT_Library library{};
    FT_Face face{};
};

std::string toUtf8(const std::u32string& text)
{
    std::string bytes;
    for (const char32_t code : text) {
        const auto add = [&](std::uint32_t byte) { bytes.push_back(static_cast<char>(byte)); };
        if (code < 0x80) {
            add(code);
        } else if (code < 0x800) {
            add(0xC0 | code >> 6);
            add(0x80 | (code & 0x3F));
        } else {
            add(0xE0 | code >> 12);
            add(0x80 | (code >> 6 & 0x3F));
            add(0x80 | (code & 0x3F));
        }
    }
    return bytes;
}

TEST(Text, MeasuresAsTheFontFileSays)
{
    std::mt19937 random(5);
    const std::u32string alphabet = U"AVAToLTyWa.,fi jgqy0123456789 dBkHz%-:/ÄñčŁΩπЖя…€←→";
    for (const char* name : {"OpenSans-Regular", "DSP-Bold"}) {
        const Font* const font = getFont(name);
        ASSERT_NE(font, nullptr);
        ASSERT_EQ(font, getFont(name));
        const ReferenceFont reference(name);
        for (int i = 0; i < 600; ++i) {
            std::u32string text;
            for (std::size_t length = random() % 24; length > 0; --length)
                text += alphabet[random() % alphabet.size()];
            const float size = 7.0F + 0.25F * static_cast<float>(random() % 120);
            const TextSize measured = measureText(*font, size, toUtf8(text));
            EXPECT_NEAR(measured.width, reference.width(text, size), 1e-3 + 1e-5 * measured.width) << toUtf8(text);
            EXPECT_EQ(measured.height, reference.height(text, size)) << toUtf8(text) << ' ' << size;
            const Coverage image = renderText(*font, size, toUtf8(text));
            EXPECT_EQ(image.width, std::ceil(measured.width)) << toUtf8(text);
            EXPECT_EQ(image.height, text.empty() ? 0 : measured.height + 2);
        }
        // Icons and arrows are there, and not the sign for a missing one.
        for (const std::uint32_t code : {0x2022U, 0x2190U, 0x2192U, 0x104U, 0x112U, 0x113U})
            EXPECT_NE(font->findGlyph(code), 0) << name << ' ' << code;
    }
    EXPECT_NE(getFont("DSP-Bold")->findGlyph(0xF129), 0);
    EXPECT_EQ(getFont("No such font"), nullptr);
    EXPECT_EQ(measureText(*getFont("DSP-Bold"), 12.0F, "").height, 0);
}

TEST(Text, RendersTheInkOfEachGlyphWhereItBelongs)
{
    const Font& font = *getFont("OpenSans-Regular");
    const ReferenceFont reference("OpenSans-Regular");
    for (const float size : {9.0F, 13.0F, 40.0F})
        for (const char32_t code : U"AOg8%ΩЖ…") {
            if (code == 0)
                continue;
            // Well inside of the image, and at a fraction of a pixel, which doesn't change the area.
            const Coverage image = renderText(font, size, toUtf8({code, U' '}), 4.3F);
            double ink = 0.0;
            for (const std::uint8_t covered : image.values)
                ink += covered / 255.0;
            // Curves are flattened to a third of a pixel, which takes or adds a part of a small glyph.
            EXPECT_NEAR(ink, reference.ink(code, size), 0.09 * ink + 0.3) << static_cast<unsigned>(code) << ' ' << size;
        }
    // A shift and a spacing move what is drawn by so much.
    const auto firstInk = [](const Coverage& image) {
        for (std::size_t i = 0; i < image.values.size(); ++i)
            if (image.values[i] > 127)
                return static_cast<int>(i) / image.width;
        return -1;
    };
    EXPECT_EQ(firstInk(renderText(font, 20, "H", 0, 2)), firstInk(renderText(font, 20, "H")) + 2);
    EXPECT_EQ(renderText(font, 20, "HH", 0, 0, 5).width, std::ceil(measureText(font, 20, "HH").width + 10));
}

TEST(Text, TakesWhatIsNoText)
{
    EXPECT_EQ(decodeUtf8("a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"),
              (std::vector<std::uint32_t>{'a', 0xE4, 0x20AC, 0x1F600}));
    // Alone, cut off, longer than need be, half a surrogate pair, beyond the last: one sign for each byte.
    for (const std::string_view broken : {"\xFF", "\x80", "\xC3", "\xC3(", "\xE2\x82", "\xC0\x80", "\xE0\x80\x80",
                                          "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xF8\x88\x80\x80\x80"}) {
        std::size_t signs = 0;
        for (const std::uint32_t code : decodeUtf8(broken))
            signs += code == 0xFFFD ? 1U : 0U;
        EXPECT_EQ(signs, broken == "\xC3(" ? 1 : broken.size()) << broken.size();
    }
    const Font& font = *getFont("DSP-Bold");
    for (const float size : {0.0F, -3.0F, NAN, INFINITY, 1.0e9F}) {
        const Coverage image = renderText(font, size, std::string(100000, 'W'), NAN, NAN, size);
        EXPECT_LE(image.width, CDIB::kMaxSide);
        EXPECT_GE(measureText(font, size, "W").width, 0.0F);
    }
    CDIB picture(40, 40, false);
    COffscreenContext context(picture, 2.0F);
    for (const int radius : {-1, 40, 1000, 1 << 30}) {
        const Shared<CDIB> image = makeTextImage(renderText(font, 12.0F, "W"), 0xFFFFFF, radius);
        EXPECT_LE(image->getWidth(), 20 + 2 * kLargestHalo);
        drawLabelText(context, {0, 0, 20, 20}, font, "W", 12.0F, TextAlignment::left, true, 0xFFFFFF, nullptr, radius);
        context.drawText("W", {0, 0}, font, 0xFFFFFFFF, 12.0F, radius);
    }
    for (const std::string_view file : {"", "\0\1\0\0", "not a font at all"})
        EXPECT_EQ(Font::parse(file), nullptr);
    const std::string_view sound = platform::resource("TTF", "DSP-Bold");
    for (std::size_t length = 0; length < sound.size(); length += 997)
        EXPECT_EQ(Font::parse(sound.substr(0, length)), nullptr) << length;
}

TEST(StaticTextLabelCache, SharesOneImageUntilTheLastUserGoes)
{
    CDIB picture(100, 40, false);
    COffscreenContext context(picture);
    const Font& font = *getFont("DSP-Bold");
    auto& cache = StaticTextLabelCache::shared();
    const std::size_t before = cache.imageCount();
    CDIB* first = nullptr;
    CDIB* second = nullptr;
    const auto draw = [&](CDIB*& slot, const char* text, std::uint32_t colour) {
        return drawLabelText(context, {0, 0, 100, 40}, font, text, 14, TextAlignment::centre, true, colour, &slot);
    };
    EXPECT_EQ(draw(first, "gain", 0xFF4E9ACC), draw(second, "gain", 0x004E9ACC));
    EXPECT_EQ(first, second); // alpha isn't part of the image
    EXPECT_EQ(cache.imageCount(), before + 1);
    draw(first, "gain", 0xFFFFFF);
    EXPECT_NE(first, second);
    releaseLabel(first);
    EXPECT_EQ(cache.imageCount(), before + 1);
    EXPECT_GT(second->getPixels()[second->getWidth() * 8 + 3] >> 24, 0U); // whole still: the stem of the g
    EXPECT_EQ(draw(second, "", 0xFFFFFF), 0.0F);
    releaseLabel(second);
    EXPECT_EQ(cache.imageCount(), before);
    releaseLabel(nullptr);
}

TEST(PixelFont, WritesTheGlyphsOfItsStripAndNothingElse)
{
    const PixelFont larger(getBitmap(PixelFont::kLargerStrip));
    const PixelFont smaller(getBitmap(PixelFont::kSmallerStrip));
    for (const auto& [font, blank] : {std::pair{&larger, 5}, {&smaller, 4}}) {
        EXPECT_EQ(font->widthOf(" "), blank);
        EXPECT_EQ(font->widthOf("\xC3\xA4!\x7F("), 0);
        CDIB image(120, 12, false);
        fill(image, 0xFF102030);
        font->drawText(image, 1, 0, "!\xFF", 0xFFFFFF);
        for (int i = 0; i < 120 * 12; ++i)
            ASSERT_EQ(image.getPixels()[i], 0xFF102030);
        font->drawText(image, -3, -2, "M8:/", 0x0000FF); // red, cut at the left and top
        bool red = false;
        for (int i = 0; i < 120 * 12; ++i) {
            ASSERT_EQ(image.getPixels()[i] >> 24, 0xFFU);
            red = red || image.getPixels()[i] == 0xFFFF0000;
        }
        EXPECT_TRUE(red);
    }
    EXPECT_EQ(larger.widthOf("Mi"), larger.widthOf("M") + larger.widthOf("i"));
    PixelFont even(getBitmap(PixelFont::kLargerStrip));
    even.setFixedWidth(true);
    EXPECT_EQ(even.widthOf("Mi1"), 3 * 9); // by the cell
    EXPECT_EQ(PixelFont(nullptr).widthOf("0"), 0);
}

} // namespace
