// The picture of a response: a grid over frequency and level, three curves, and the few words that it needs.

#include "Response.h"

#include "ParameterText.h"

#include <png.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <string_view>
#include <vector>

namespace sorvane::tools {

namespace {

struct Colour {
    float red, green, blue;
};

constexpr Colour kBackground{0.09F, 0.10F, 0.12F};
constexpr Colour kGrid{0.22F, 0.24F, 0.28F};
constexpr Colour kText{0.72F, 0.75F, 0.80F};
constexpr Colour kBandColour{1.00F, 0.62F, 0.20F};
constexpr Colour kRestColour{0.35F, 0.70F, 1.00F};
constexpr Colour kSideChainColour{0.55F, 0.85F, 0.45F};

constexpr int kWidth = 1000;
constexpr int kHeight = 560;
constexpr int kLeft = 56;
constexpr int kRight = 980;
constexpr int kTop = 40;
constexpr int kBottom = 520;
constexpr double kTopDb = 24.0;
constexpr double kBottomDb = -96.0;

struct Glyph {
    char character;
    std::array<std::uint8_t, 7> rows; ///< of five pixels, the leftmost in bit 4
};

constexpr Glyph kGlyphs[] = {
    {'0', {14, 17, 19, 21, 25, 17, 14}}, {'1', {4, 12, 4, 4, 4, 4, 14}},      {'2', {14, 17, 1, 2, 4, 8, 31}},
    {'3', {31, 2, 4, 2, 1, 17, 14}},     {'4', {2, 6, 10, 18, 31, 2, 2}},     {'5', {31, 16, 30, 1, 1, 17, 14}},
    {'6', {6, 8, 16, 30, 17, 17, 14}},   {'7', {31, 1, 2, 4, 8, 8, 8}},       {'8', {14, 17, 17, 14, 17, 17, 14}},
    {'9', {14, 17, 17, 15, 1, 2, 12}},   {'-', {0, 0, 0, 31, 0, 0, 0}},       {'B', {30, 17, 17, 30, 17, 17, 30}},
    {'H', {17, 17, 17, 31, 17, 17, 17}}, {'E', {31, 16, 16, 30, 16, 16, 31}}, {'Q', {14, 17, 17, 17, 21, 18, 13}},
    {'a', {0, 0, 14, 1, 15, 17, 15}},    {'b', {16, 16, 22, 25, 17, 17, 30}}, {'c', {0, 0, 14, 16, 16, 17, 14}},
    {'d', {1, 1, 13, 19, 17, 17, 15}},   {'e', {0, 0, 14, 17, 31, 16, 14}},   {'h', {16, 16, 22, 25, 17, 17, 17}},
    {'i', {4, 0, 12, 4, 4, 4, 14}},      {'k', {16, 16, 18, 20, 24, 20, 18}}, {'n', {0, 0, 22, 25, 17, 17, 17}},
    {'r', {0, 0, 22, 25, 16, 16, 16}},   {'s', {0, 0, 14, 16, 14, 1, 30}},    {'t', {8, 8, 28, 8, 8, 9, 6}},
    {'z', {0, 0, 31, 2, 4, 8, 31}},
};

class Canvas {
public:
    Canvas() : pixels(static_cast<std::size_t>(kWidth) * kHeight, kBackground) {}

    void blend(int x, int y, Colour colour, float weight)
    {
        if (x < 0 || x >= kWidth || y < 0 || y >= kHeight)
            return;
        Colour& pixel = pixels[static_cast<std::size_t>(y) * kWidth + static_cast<std::size_t>(x)];
        pixel = {std::lerp(pixel.red, colour.red, weight), std::lerp(pixel.green, colour.green, weight),
                 std::lerp(pixel.blue, colour.blue, weight)};
    }

    void text(int x, int y, std::string_view words, Colour colour)
    {
        for (const char character : words) {
            const auto* const glyph = std::find_if(std::begin(kGlyphs), std::end(kGlyphs),
                                                   [&](const Glyph& g) { return g.character == character; });
            for (int row = 0; glyph != std::end(kGlyphs) && row < 7; ++row)
                for (int column = 0; column < 5; ++column)
                    if ((glyph->rows[static_cast<std::size_t>(row)] >> (4 - column) & 1) != 0)
                        blend(x + column, y + row, colour, 1.0F);
            x += 6;
        }
    }

    /// A curve two pixels wide; \p ys holds its height in each column from kLeft on.
    void curve(const std::vector<double>& ys, Colour colour)
    {
        constexpr double kHalfWidth = 1.0;
        for (std::size_t i = 0; i < ys.size(); ++i) {
            // In this column it runs from half-way to the one before to half-way to the next.
            const double from = i > 0 ? (ys[i - 1] + ys[i]) * 0.5 : ys[i];
            const double to = i + 1 < ys.size() ? (ys[i] + ys[i + 1]) * 0.5 : ys[i];
            const double top = std::max(std::min({from, to, ys[i]}) - kHalfWidth, kTop - 0.0);
            const double bottom = std::min(std::max({from, to, ys[i]}) + kHalfWidth, kBottom + 0.0);
            for (int y = static_cast<int>(top); y <= static_cast<int>(bottom) && top < bottom; ++y) {
                const double covered = std::min(y + 1.0, bottom) - std::max(y + 0.0, top);
                blend(kLeft + static_cast<int>(i), y, colour, static_cast<float>(std::clamp(covered, 0.0, 1.0)));
            }
        }
    }

    [[nodiscard]] std::vector<std::uint8_t> bytes() const
    {
        std::vector<std::uint8_t> result;
        for (const Colour& pixel : pixels)
            for (const float part : {pixel.red, pixel.green, pixel.blue})
                result.push_back(static_cast<std::uint8_t>(std::lround(part * 255.0F)));
        return result;
    }

private:
    std::vector<Colour> pixels;
};

double yOf(double db)
{
    return kTop + (kTopDb - db) / (kTopDb - kBottomDb) * (kBottom - kTop);
}

double xOf(double hertz, const Response& response)
{
    const double low = response.hertz.front();
    return kLeft + std::log(hertz / low) / std::log(response.hertz.back() / low) * (kRight - kLeft);
}

void drawGrid(Canvas& canvas, const Response& response)
{
    for (int db = static_cast<int>(kBottomDb); db <= static_cast<int>(kTopDb); db += 12) {
        const auto y = static_cast<int>(yOf(db));
        for (int x = kLeft; x <= kRight; ++x)
            canvas.blend(x, y, kGrid, db == 0 ? 1.0F : 0.6F);
        const core::FixedText label = core::FixedText().add(db);
        canvas.text(kLeft - 8 - 6 * static_cast<int>(label.view().size()), y - 3, label.view(), kText);
    }
    canvas.text(kLeft - 20, kTop - 18, "dB", kText);
    for (const double decade : {10.0, 100.0, 1000.0, 10000.0, 100000.0}) {
        for (int digit = 1; digit < 10; ++digit) {
            const double hertz = decade * digit;
            if (hertz < response.hertz.front() || hertz > response.hertz.back())
                continue;
            const auto x = static_cast<int>(xOf(hertz, response));
            for (int y = kTop; y <= kBottom; ++y)
                canvas.blend(x, y, kGrid, digit == 1 ? 1.0F : 0.5F);
            if (digit != 1 && digit != 2 && digit != 5)
                continue;
            core::FixedText label;
            label.add(hertz >= 1000.0 ? hertz / 1000.0 : hertz, 0).add(hertz >= 1000.0 ? "k" : "");
            canvas.text(x - 3 * static_cast<int>(label.view().size()), kBottom + 10, label.view(), kText);
        }
    }
    canvas.text(kRight - 12, kBottom + 24, "Hz", kText);
}

/// Levels for each column of the picture, between the points where they are near and through them where they are dense.
std::vector<double> columns(const Response& response, const std::vector<double>& levels)
{
    std::vector<double> ys;
    std::size_t next = 0;
    for (int x = kLeft; x <= kRight; ++x) {
        while (next + 1 < levels.size() && xOf(response.hertz[next], response) < x)
            ++next;
        const std::size_t before = next > 0 ? next - 1 : 0;
        const double x0 = xOf(response.hertz[before], response);
        const double x1 = xOf(response.hertz[next], response);
        const double part = x1 > x0 ? std::clamp((x - x0) / (x1 - x0), 0.0, 1.0) : 0.0;
        ys.push_back(yOf(std::lerp(levels[before], levels[next], part)));
    }
    return ys;
}

} // namespace

std::string responsePng(const Response& response)
{
    Canvas canvas;
    drawGrid(canvas, response);
    int x = kLeft + 8;
    for (const auto& [levels, name, colour] : {std::tuple{&response.sideChain, "side-chain EQ", kSideChainColour},
                                               {&response.rest, "rest", kRestColour},
                                               {&response.band, "band", kBandColour}}) {
        canvas.curve(columns(response, *levels), colour);
        canvas.text(x, kTop - 18, name, colour);
        x += 6 * static_cast<int>(std::string_view(name).size()) + 24;
    }

    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = kWidth;
    image.height = kHeight;
    image.format = PNG_FORMAT_RGB;
    const std::vector<std::uint8_t> pixels = canvas.bytes();
    std::string png(PNG_IMAGE_PNG_SIZE_MAX(image), 0);
    png_alloc_size_t size = png.size();
    if (png_image_write_to_memory(&image, png.data(), &size, 0, pixels.data(), 0, nullptr) == 0)
        throw Failure(ExitCode::output, std::string("the picture can't be made: ") + image.message);
    png.resize(size);
    return png;
}

} // namespace sorvane::tools
