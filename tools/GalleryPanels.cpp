// What the gallery's panels show: each drawing call, text in all its forms, images.

#include "Gallery.h"
#include "LabelText.h"
#include "PixelFont.h"

#include <array>
#include <cmath>
#include <numbers>
#include <vector>

namespace sorvane::tools {

namespace {

using namespace toolkit;

constexpr std::uint32_t kAccent = 0x4E9ACC;
constexpr std::uint32_t kPale = 0x87A7BF;
constexpr std::uint32_t kGrey = 0x848484;
constexpr std::uint32_t kAmber = 0xE0A040;

const Font* regular()
{
    return getFont("OpenSans-Regular");
}

const Font* bold()
{
    return getFont("DSP-Bold");
}

/// A text from (x, y) on.
void label(CDrawContext& context, float x, float y, std::string_view text, float size = 10.0F,
           std::uint32_t colour = kGrey, const Font* font = regular())
{
    if (font != nullptr)
        drawLabelText(context, {x, y, x, y}, *font, text, size, TextAlignment::left, false, colour);
}

void drawShapes(CDrawContext& context)
{
    const std::array styles{DrawStyle::stroked, DrawStyle::filled, DrawStyle::filledAndStroked};
    const std::array names{"stroked", "filled", "both"};
    float x = 16.0F;
    for (std::size_t i = 0; i < styles.size(); ++i) {
        context.setLineWidth(i == 2 ? 2.0F : 1.0F);
        context.setFrameColor(CColor::fromRgb(kPale));
        context.setFillColor(CColor::fromRgb(0x28506E));
        label(context, x, 28.0F, names[i]);
        context.drawRect({x, 48.0F, x + 70.0F, 88.0F}, styles[i]);
        context.drawEllipse({x, 100.0F, x + 70.0F, 140.0F}, styles[i]);
        std::array<CPoint, 5> star;
        for (std::size_t k = 0; k < star.size(); ++k) {
            const double angle = std::numbers::pi * (0.8 * static_cast<double>(k) - 0.5);
            star[k] = {x + 35.0F + 30.0F * static_cast<float>(std::cos(angle)),
                       182.0F + 30.0F * static_cast<float>(std::sin(angle))};
        }
        context.drawPolygon(star, styles[i]);
        x += 92.0F;
    }
    context.setLineWidth(1.0F);
    // Alpha, one over the other.
    const std::array alphas{CColor{224, 64, 64, 160}, CColor{64, 200, 96, 160}, CColor{80, 120, 255, 160}};
    label(context, 292.0F, 28.0F, "alpha");
    for (std::size_t i = 0; i < alphas.size(); ++i) {
        context.setFillColor(alphas[i]);
        const float shift = static_cast<float>(i) * 14.0F;
        fillWithAlpha(context, {292.0F + shift, 48.0F + shift, 326.0F + shift, 82.0F + shift});
        context.drawEllipse({292.0F + shift, 130.0F + shift, 326.0F + shift, 164.0F + shift}, DrawStyle::filled);
    }
}

void drawLineKinds(CDrawContext& context)
{
    context.setFrameColor(CColor::fromRgb(kPale));
    float x = 16.0F;
    for (const float width : {1.0F, 2.0F, 3.0F}) {
        context.setLineWidth(width);
        for (int i = 0; i <= 6; ++i) {
            const double angle = std::numbers::pi / 12.0 * i;
            context.moveTo({x, 34.0F});
            context.lineTo({x + std::round(74.0F * static_cast<float>(std::cos(angle))),
                            34.0F + std::round(74.0F * static_cast<float>(std::sin(angle)))});
        }
        x += 88.0F;
    }
    context.setLineWidth(1.5F);
    std::vector<CPoint> curve;
    for (int i = 0; i <= 244; ++i)
        curve.push_back({16.0F + static_cast<float>(i), 150.0F - 26.0F * std::sin(static_cast<float>(i) * 0.09F) *
                                                                     std::exp(-static_cast<float>(i) * 0.01F)});
    std::vector<CPoint> area = curve;
    area.push_back({260.0F, 184.0F});
    area.push_back({16.0F, 184.0F});
    context.setFillColor({78, 154, 204, 60});
    context.drawPolygon(area, DrawStyle::filled);
    context.setFrameColor(CColor::fromRgb(kAccent));
    context.drawLines(curve);
    context.setFrameColor(CColor::fromRgb(kAmber));
    const std::array<CPoint, 6> zigzag{{{16, 206}, {60, 190}, {70, 206}, {120, 190}, {124, 206}, {260, 196}}};
    context.setLineWidth(2.0F);
    context.drawLines(zigzag);
    context.setLineWidth(1.0F);
}

void drawClips(CDrawContext& context)
{
    context.setClipRect({16, 34, 96, 94});
    context.setFillColor(CColor::fromRgb(0x28506E));
    context.drawEllipse({-4, 24, 86, 114}, DrawStyle::filled);
    context.setFrameColor(CColor::fromRgb(kAmber));
    for (int i = 0; i < 23; ++i) {
        const float x = static_cast<float>(i) * 8.0F - 60.0F;
        context.moveTo({x, 110.0F});
        context.lineTo({x + 80.0F, 24.0F});
    }
    label(context, 60.0F, 58.0F, "cut off here", 16.0F, 0xFFFFFF, bold());
    context.resetClipRect();
    context.setFrameColor(CColor::fromRgb(0x404040));
    context.drawRect({15, 33, 96, 94});
}

void drawTextSizes(CDrawContext& context)
{
    float y = 26.0F;
    for (const float size : {9.0F, 10.0F, 11.0F, 12.0F, 14.0F, 16.0F, 20.0F, 28.0F}) {
        label(context, 16.0F, y, std::to_string(static_cast<int>(size)), 9.0F);
        label(context, 40.0F, y, "Threshold -12.5 dB", size, 0xD8D8D8);
        if (bold() != nullptr)
            label(context, 290.0F, y, "AVATo 8.0 kHz", size, kAccent, bold());
        y += size * 1.15F + 4.0F;
    }
    label(context, 16.0F, y,
          "\xC3\x84 \xC3\xB1 \xC3\xA7 \xC5\x99 \xCE\xA9 \xCF\x80 \xD0\x96 \xE2\x80\xA6 \xE2\x82\xAC "
          "\xE2\x86\x90 \xE2\x86\x92 \xE2\x89\xA4 and broken: \xC3( \xFF",
          14.0F, kPale);
}

void drawAlignments(CDrawContext& context)
{
    const std::array alignments{TextAlignment::left, TextAlignment::centre, TextAlignment::right};
    for (std::size_t row = 0; row < 2; ++row)
        for (std::size_t i = 0; i < alignments.size(); ++i) {
            const float x = 16.0F + static_cast<float>(i) * 112.0F;
            const float y = 30.0F + static_cast<float>(row) * 34.0F;
            context.setFrameColor(CColor::fromRgb(0x303840));
            context.drawRect({x, y, x + 100.0F, y + 26.0F});
            if (bold() != nullptr)
                drawLabelText(context, {x + 3.0F, y, x + 98.0F, y + 26.0F}, *bold(), row == 0 ? "top" : "centred",
                              12.0F, alignments[i], row == 1, kAccent);
        }
    if (bold() != nullptr)
        for (int halo = 0; halo < 4; ++halo) {
            const float x = 16.0F + static_cast<float>(halo) * 84.0F;
            context.setFillColor({static_cast<std::uint8_t>(60 + 50 * halo), 150, 170, 255});
            context.drawRect({x, 104.0F, x + 76.0F, 134.0F}, DrawStyle::filled);
            drawLabelText(context, {x, 104.0F, x + 76.0F, 134.0F}, *bold(), halo == 0 ? "no halo" : "halo", 14.0F,
                          TextAlignment::centre, true, 0xFFFFFF, nullptr, halo);
        }
    label(context, 16.0F, 142.0F, "spacing", 11.0F, kPale);
    if (regular() != nullptr)
        drawLabelText(context, {84, 142, 84, 142}, *regular(), "wide apart", 11.0F, TextAlignment::left, false, kPale,
                      nullptr, 0, 3.0F);
    for (int alpha = 51; alpha <= 255; alpha += 51)
        label(context, 200.0F + static_cast<float>(alpha) / 51.0F * 26.0F, 142.0F, "fade", 11.0F,
              static_cast<std::uint32_t>(alpha) << 24 | 0xFFFFFFU);
}

void drawIcons(CDrawContext& context)
{
    context.drawPixelText("by OpenGL: 0.5 dB", 16.0F, 92.0F, 0xCC9A4E); // on other ways to the screen it isn't there
    const std::array icons{"\xC4\x84", "\xC4\x92", "\xC4\x93", "\xEF\x84\xA9"};
    const std::array names{"bypass", "open", "closed", "information"};
    for (std::size_t i = 0; i < icons.size(); ++i) {
        const float x = 16.0F + static_cast<float>(i) * 60.0F;
        label(context, x, 30.0F, icons[i], 16.0F, kPale, bold());
        label(context, x + 20.0F, 22.0F, icons[i], 34.0F, kAccent, bold());
        label(context, x, 62.0F, names[i], 9.0F);
    }
}

/// What the drawing into memory gives, with the background that such views fill first.
Shared<CDIB> memoryPicture(float density)
{
    const double s = density;
    auto image = Shared<CDIB>::adopt(new CDIB(roundToPixel(150 * s), roundToPixel(70 * s), false));
    image->setDensity(density);
    fill(*image, 0xFF10161BU);
    for (int i = 0; i < 8; ++i) {
        const double x = 6.0 + 6.0 * i;
        drawVerticalLine(*image, (x + 0.125 * i) * s, 6.0 * s, 30.0 * s, (0.5 + 0.25 * i) * s, CColor::fromRgb(kAccent),
                         255);
        drawHorizontalLine(*image, 6.0 * s, 52.0 * s, (36.0 + 3.9 * i) * s, 1.0 * s, CColor::fromRgb(kPale),
                           40 + 30 * i);
        drawDot(*image, (60.0 + 4.25 * i) * s, (8.0 + 0.5 * i) * s, {255, 255, 255}, 255);
        drawLine(*image, {60.0 * s, 20.0 * s}, {(60.0 + 4.5 * i) * s, 60.0 * s}, s, CColor::fromRgb(kAmber), 255);
        drawBresenhamLine(*image, roundToPixel(104 * s), roundToPixel(64 * s), roundToPixel((104 + 5 * i) * s),
                          roundToPixel(44 * s), 0x60C060);
    }
    fillPolygon(*image,
                std::array{DevicePoint{104 * s, 8 * s}, DevicePoint{142 * s, 16 * s}, DevicePoint{118 * s, 38 * s}},
                CColor::fromRgb(0x858132), 200);
    darkenCorners(*image, kTopLeft | kTopRight | kBottomLeft | kBottomRight);
    return image;
}

void drawImages(CDrawContext& context)
{
    const Shared<CDIB> one = memoryPicture(1.0F);
    one->draw(context, {16, 30, 166, 100});
    label(context, 16.0F, 102.0F, "density 1", 9.0F);
    const Shared<CDIB> two = memoryPicture(2.0F);
    two->draw(context, {180, 30, 330, 100});
    label(context, 180.0F, 102.0F, "density 2", 9.0F);
    one->draw(context, {16, 118, 76, 146}, {54, 2}, 120);
    label(context, 16.0F, 148.0F, "part, faded", 9.0F);
    auto tinted = Shared<CDIB>::adopt(new CDIB(60, 28));
    tintCopy(*tinted, *one, -54, -2, CColor::fromRgb(0xFF8060));
    tinted->draw(context, {90, 118, 150, 146});
    label(context, 90.0F, 148.0F, "tinted", 9.0F);
}

void drawPixelFonts(CDrawContext& context)
{
    float y = 26.0F;
    for (const int strip : {PixelFont::kLargerStrip, PixelFont::kSmallerStrip}) {
        PixelFont font(getBitmap(strip));
        auto image = Shared<CDIB>::adopt(new CDIB(320, 32, false));
        font.drawText(*image, 2, 2, "0123456789 -12.5 dB 8.0 kHz 50% Freq: 1/2 #3", 0xCC9A4E);
        font.drawText(*image, 2, 17, "ABCDEFGHIJKLMNOPQRSTUVWXYZ abcdefgh", 0xFFFFFF, 140);
        image->draw(context, {16, y, 336, y + 32.0F});
        y += 36.0F;
    }
}

constexpr std::array kPanels{
    GalleryPanel{"Shapes", {12, 44, 376, 268}, drawShapes},
    GalleryPanel{"Lines", {388, 44, 668, 268}, drawLineKinds},
    GalleryPanel{"Clipping", {680, 44, 800, 154}, drawClips},
    GalleryPanel{"Icons", {812, 44, 1068, 154}, drawIcons},
    GalleryPanel{"Pixel fonts", {680, 166, 1068, 268}, drawPixelFonts},
    GalleryPanel{"Text sizes", {12, 280, 560, 508}, drawTextSizes},
    GalleryPanel{"Alignment, halo, spacing, alpha", {572, 280, 940, 446}, drawAlignments},
    GalleryPanel{"Images in memory", {572, 458, 940, 628}, drawImages},
};

} // namespace

std::span<const GalleryPanel> galleryPanels()
{
    return kPanels;
}

void drawPanel(CDrawContext& context, const GalleryPanel& panel)
{
    const CRect& rect = panel.rect;
    context.setFillColor(CColor::fromRgb(0x0B1015));
    context.drawRect({0, 0, rect.width(), rect.height()}, DrawStyle::filled);
    context.setFillColor(CColor::fromRgb(0x151C22));
    context.drawRect({0, 0, rect.width(), 20}, DrawStyle::filled);
    context.setLineWidth(1.0F);
    context.setFrameColor(CColor::fromRgb(0x253038));
    context.drawRect({0, 0, rect.width() - 1, rect.height() - 1});
    label(context, 8.0F, 3.0F, panel.title, 11.0F, kPale, bold());
    if (panel.draw != nullptr)
        panel.draw(context);
}

} // namespace sorvane::tools
