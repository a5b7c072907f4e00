#include "GalleryStrips.h"

#include "CDragContainer.h"
#include "CFrame.h"
#include "CKnob.h"
#include "COptionMenu.h"
#include "CSlider.h"
#include "CSplashScreen.h"
#include "CSwitch.h"
#include "Gallery.h"

#include <array>
#include <cmath>
#include <numbers>

namespace sorvane::tools {

namespace {

using namespace toolkit;

constexpr CColor kAccent = CColor::fromRgb(0x4E9ACC);
constexpr CColor kPale = CColor::fromRgb(0x87A7BF);
constexpr CColor kFace = CColor::fromRgb(0x222C34);
constexpr CColor kBorder = CColor::fromRgb(0x46545F);
constexpr CColor kDark = CColor::fromRgb(0x10161B);

enum StripTag { kKnob, kDot, kAnim, kMode, kDown, kBack, kColumn, kRow, kRocker, kPlay, kSplash };
constexpr std::array<const char*, kSplash + 1> kNames{"knob", "dot",    "film",   "drag",      "inverted", "bounded",
                                                      "up",   "across", "rocker", "animation", "splash"};

constexpr float kKnobSide = 44.0F; ///< logical pixels

/// As fine as the device, of \p count images one below the other, each drawn at the origin.
template <typename Draw>
Shared<CDIB> strip(float density, float width, float height, int count, Draw drawImage)
{
    auto images = Shared<CDIB>::adopt(
        new CDIB(roundToPixel(width * density), roundToPixel(height * static_cast<float>(count) * density)));
    images->setDensity(density);
    COffscreenContext context(*images, density);
    for (int i = 0; i < count; ++i) {
        context.setOffset({0.0F, static_cast<float>(i) * height});
        drawImage(context, i);
    }
    return images;
}

void drawBox(CDrawContext& context, const CRect& box, CColor face)
{
    context.setFillColor(face);
    context.setFrameColor(kBorder);
    context.drawRect(box, DrawStyle::filled);
    context.drawRect({box.left, box.top, box.right - 1, box.bottom - 1});
}

void drawDisc(CDrawContext& context, const CRect& around, CColor colour)
{
    context.setFillColor(colour);
    context.drawEllipse(around, DrawStyle::filled);
}

Shared<CDIB> knobFace(float density)
{
    return strip(density, kKnobSide, kKnobSide, 1, [](CDrawContext& context, int) {
        drawDisc(context, {0, 0, kKnobSide, kKnobSide}, kBorder);
        drawDisc(context, {1, 1, kKnobSide - 1, kKnobSide - 1}, kFace);
    });
}

/// A knob with an arc of dots, lit up to its place.
Shared<CDIB> knobFilm(float density, int count)
{
    return strip(density, kKnobSide, kKnobSide, count, [count](CDrawContext& context, int image) {
        constexpr int kDots = 15;
        drawDisc(context, {9, 9, kKnobSide - 9, kKnobSide - 9}, kFace);
        for (int dot = 0; dot < kDots; ++dot) {
            const float angle = (static_cast<float>(dot) / (kDots - 1) - 0.5F) * 1.5F * std::numbers::pi_v<float>;
            const CPoint at{kKnobSide / 2 + 19.0F * std::sin(angle), kKnobSide / 2 - 19.0F * std::cos(angle)};
            const bool lit = image > 0 && dot * (count - 1) <= image * (kDots - 1);
            drawDisc(context, {at.x - 2, at.y - 2, at.x + 2, at.y + 2}, lit ? kAccent : kBorder);
        }
    });
}

/// A frame with one of its parts marked, for a switch.
Shared<CDIB> switchImages(float density, float width, float height, int count, bool inRow)
{
    return strip(density, width, height, count, [=](CDrawContext& context, int image) {
        drawBox(context, {0, 0, width, height}, kDark);
        const float length = (inRow ? width : height) / static_cast<float>(count);
        const float from = static_cast<float>(image) * length;
        drawBox(context, inRow ? CRect{from, 0, from + length, height} : CRect{0, from, width, from + length}, kAccent);
    });
}

/// A row of LEDs, or a column whose upper ones are hotter.
Shared<CDIB> leds(float density, float width, float height, int count, bool lit)
{
    return strip(density, width, height, 1, [=](CDrawContext& context, int) {
        const bool inRow = width > height;
        const float length = (inRow ? width : height) / static_cast<float>(count);
        for (int i = 0; i < count; ++i) {
            const float from = static_cast<float>(inRow ? i : count - 1 - i) * length;
            const std::uint32_t hot = i * 10 >= count * 9 ? 0xE04040 : i * 10 >= count * 7 ? 0xD8B040 : 0x48B068;
            context.setFillColor(lit ? CColor::fromRgb(hot) : CColor::fromRgb(0x1A2228));
            context.drawRect(inRow ? CRect{from, 0, from + length - 1, height}
                                   : CRect{0, from, width, from + length - 1},
                             DrawStyle::filled);
        }
    });
}

/// A text that can be dragged.
class DragLabel final : public CTextLabel {
public:
    DragLabel(const CRect& viewRect, std::string_view shownText) : CTextLabel(viewRect, shownText)
    {
        setMouseEnabled(true);
    }
    MouseResult onMouseDown(CPoint /*where*/, int buttons) override
    {
        if ((buttons & kLButton) == 0 || getFrame() == nullptr)
            return MouseResult::notHandled;
        auto* const source = new CDropSource;
        source->add(DragItem::Kind::text, getText());
        getFrame()->startDrag(source);
        return MouseResult::handledNoMore;
    }
};

} // namespace

void GalleryStrips::addTo(CViewContainer& panel, float scale)
{
    density = scale;
    addKnobs(panel);
    addSliders(panel);
    addSwitches(panel);
    addDisplays(panel);
    addOverlays(panel);
    showLevel(0.7F);
}

void GalleryStrips::addKnobs(CViewContainer& panel)
{
    addGalleryLabel(panel, 12, 26, "knobs");
    const auto dot = strip(density, 8, 8, 1, [](CDrawContext& context, int) {
        drawDisc(context, {0, 0, 8, 8}, kPale);
    });
    float left = 12.0F;
    for (const int tag : {kKnob, kDot}) {
        auto* const knob =
            new CKnob({left, 44, left + kKnobSide, 44 + kKnobSide}, this, tag, tag == kDot ? dot.get() : nullptr);
        knob->setBackground(knobFace(density).get());
        knob->setValue(tag == kDot ? 0.25F : 0.7F);
        panel.addView(knob);
        left += 56.0F;
    }
    constexpr int kImages = 31;
    auto* const film =
        new CAnimKnob({left, 44, left + kKnobSide, 44 + kKnobSide}, this, kAnim,
                      ImageStrip(static_cast<int>(kKnobSide), kImages), knobFilm(density, kImages).get());
    film->setValue(0.7F);
    panel.addView(film);
    auto* const mode = new COptionMenu({12, 98, 168, 118}, this, kMode);
    const auto face = [this](CColor colour) {
        return strip(density, 156, 20, 1, [colour](CDrawContext& context, int) {
            drawBox(context, {0, 0, 156, 20}, colour);
        });
    };
    mode->setBackground(face(kFace).get());
    mode->setOpenBackground(face(CColor::fromRgb(0x2C5878)).get());
    for (const char* const title : {"circular", "relative circular", "linear"})
        mode->addEntry(title);
    mode->setValue(static_cast<float>(KnobMode::linear));
    panel.addView(mode);
}

void GalleryStrips::addSliders(CViewContainer& panel)
{
    addGalleryLabel(panel, 190, 26, "inverted, bounded");
    const auto handle = strip(density, 14, 10, 1, [](CDrawContext& context, int) {
        drawBox(context, {0, 0, 14, 10}, kPale);
    });
    const auto well = [this](float width, float height) {
        return strip(density, width, height, 1, [=](CDrawContext& context, int) {
            drawBox(context, {0, 0, width, height}, kDark);
        });
    };
    auto* const down = new CVerticalSlider({190, 44, 208, 118}, this, kDown, handle.get());
    down->setInverted(true);
    down->setBackground(well(18, 74).get());
    down->setValue(0.25F);
    panel.addView(down);
    auto* const bounded = new CHorizontalSlider({220, 60, 320, 78}, this, kBack, handle.get());
    bounded->setHandlePositions(20, 66);
    bounded->setBackground(well(100, 18).get());
    bounded->setValue(1.0F);
    panel.addView(bounded);
}

void GalleryStrips::addSwitches(CViewContainer& panel)
{
    addGalleryLabel(panel, 342, 26, "switches, rocker");
    panel.addView(new CVerticalSwitch({342, 44, 364, 116}, this, kColumn, ImageStrip(72), 3,
                                      switchImages(density, 22, 72, 3, false).get()));
    auto* const row = new CHorizontalSwitch({380, 44, 460, 64}, this, kRow, ImageStrip(20), 4,
                                            switchImages(density, 80, 20, 4, true).get());
    row->setValue(1.0F);
    panel.addView(row);
    const auto rocker = strip(density, 60, 26, 3, [](CDrawContext& context, int image) {
        drawBox(context, {0, 0, 30, 26}, image == 0 ? kAccent : kFace);
        drawBox(context, {30, 0, 60, 26}, image == 2 ? kAccent : kFace);
    });
    panel.addView(
        new CRockerSwitch({380, 84, 440, 110}, this, kRocker, 26, rocker.get(), CRockerSwitch::Direction::horizontal));
}

void GalleryStrips::addDisplays(CViewContainer& panel)
{
    addGalleryLabel(panel, 484, 26, "displays of the knobs");
    constexpr int kImages = 21;
    movie = new CMovieBitmap({484, 44, 484 + kKnobSide, 44 + kKnobSide}, nullptr, -1, ImageStrip(),
                             knobFilm(density, kImages).get());
    panel.addView(movie);
    const auto figures = strip(density, 18, 24, 10, [](CDrawContext& context, int digit) {
        drawBox(context, {0, 0, 18, 24}, kDark);
        context.setFont(getFont("DSP-Bold"), 16.0F);
        context.setFontColor(kAccent);
        context.drawString(std::to_string(digit), {0, 0, 18, 24});
    });
    digits = new CSpecialDigit({540, 52, 594, 76}, nullptr, -1, 3, 24, figures.get());
    panel.addView(digits);
    constexpr int kRowLeds = 20;
    constexpr int kColumnLeds = 12;
    rowMeter = new CVuMeter({484, 100, 604, 110}, nullptr, -1, leds(density, 120, 10, kRowLeds, true).get(),
                            leds(density, 120, 10, kRowLeds, false).get(), kRowLeds, CVuMeter::Direction::horizontal);
    panel.addView(rowMeter);
    columnMeter =
        new CVuMeter({620, 44, 632, 116}, nullptr, -1, leds(density, 12, 72, kColumnLeds, true).get(),
                     leds(density, 12, 72, kColumnLeds, false).get(), kColumnLeds, CVuMeter::Direction::vertical);
    panel.addView(columnMeter);
}

void GalleryStrips::addOverlays(CViewContainer& panel)
{
    addGalleryLabel(panel, 660, 26, "animation: click");
    constexpr int kImages = 24;
    auto* const animation = new CAutoAnimation({660, 44, 660 + kKnobSide, 44 + kKnobSide}, this, kPlay, ImageStrip(),
                                               knobFilm(density, kImages).get());
    animation->setValue(1.0F);
    panel.addView(animation);

    addGalleryLabel(panel, 780, 26, "splash: click here");
    const auto image = strip(density, 320, 120, 1, [](CDrawContext& context, int) {
        drawBox(context, {0, 0, 320, 120}, kFace);
        context.setFont(getFont("DSP-Bold"), 24.0F);
        context.setFontColor(kAccent);
        context.drawString("Sorvane", {0, 0, 320, 120});
    });
    panel.addView(new CSplashScreen({780, 20, 900, 120}, this, kSplash, image.get(), {380, 300, 700, 420}));

    addGalleryLabel(panel, 920, 26, "drag to the text edit");
    const Shared<CFontDesc> bold = Shared<CFontDesc>::adopt(new CFontDesc("DSP-Bold", 11.0F));
    float top = 44.0F;
    for (const char* const text : {"-12.5 dB", "6.3 kHz"}) {
        auto* const label = new DragLabel({920, top, 1000, top + 20}, text);
        label->setFont(*bold);
        label->setBackground(strip(density, 80, 20, 1, [](CDrawContext& context, int) {
                                 drawBox(context, {0, 0, 80, 20}, kFace);
                             }).get());
        panel.addView(label);
        top += 28.0F;
    }
}

void GalleryStrips::showLevel(float level)
{
    movie->setValue(level);
    digits->setValue(level * 999.0F);
    rowMeter->setValue(level);
    columnMeter->setValue(level);
}

void GalleryStrips::valueChanged(CControl& control)
{
    const int tag = control.getTag();
    if (tag <= kAnim)
        showLevel(control.getValue());
    if (tag == kMode && control.getFrame() != nullptr)
        control.getFrame()->setKnobMode(static_cast<KnobMode>(roundToPixel(control.getValue())));
    std::array<char, 64> text;
    std::snprintf(text.data(), text.size(), "%s: %.3f", kNames[static_cast<std::size_t>(tag)],
                  static_cast<double>(control.getValue()));
    say(text.data());
}

} // namespace sorvane::tools
