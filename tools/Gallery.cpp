#include "Gallery.h"

#include "CFileSelector.h"
#include "CHighlightControl.h"
#include "CKickButton.h"
#include "CMessageBox.h"
#include "COptionMenu.h"
#include "CSlider.h"
#include "CTextEdit.h"
#include "iControl.h"
#include "nCanDisable.h"
#include "nControl.h"
#include "nControlMouse.h"

#include <array>
#include <cmath>
#include <string>

namespace sorvane::tools {

namespace {

using namespace toolkit;

constexpr CColor kAccent = CColor::fromRgb(0x4E9ACC);
constexpr CColor kPale = CColor::fromRgb(0x87A7BF);
constexpr CColor kDisabled = CColor::fromRgb(0x8B3A0F);
constexpr CColor kMapped = CColor::fromRgb(0x489660);
constexpr CColor kLinked = CColor::fromRgb(0x858132);

enum GalleryTag {
    kFader,
    kHandle,
    kVertical,
    kKick,
    kOnOff,
    kMovie,
    kMenu,
    kSubMenu,
    kEdit,
    kScope,
    kPageMenu,
    kPage,
    kState,
    kScale,
    kOpen,
    kSave,
    kMessage
};

constexpr std::array kScales{75, 100, 125, 150, 200}; ///< percent

/// A panel's frame and drawing, behind its controls.
class PanelContainer final : public CGViewContainer {
public:
    explicit PanelContainer(const GalleryPanel& shown) : CGViewContainer(shown.rect), panel(shown) {}

    void draw(CDrawContext& context) override
    {
        const CPoint outside = context.getOffset();
        context.setOffset(outside + rect.origin());
        drawPanel(context, panel);
        context.setOffset(outside);
        CGViewContainer::draw(context);
    }

private:
    GalleryPanel panel;
};

/// A fader that shows every state that a control can have.
class StateFader final : public CSlider,
                         public CHighlightControl,
                         public nControlMouse,
                         public nCanDisable,
                         public nCanLink,
                         public nCanMIDILearn {
public:
    StateFader(const CRect& viewRect, CControlListener* told) : CSlider(viewRect, told, kState, Direction::horizontal)
    {
        setValue(0.6F);
    }

    void setDisabled(bool on) override
    {
        disabled = on;
        setMouseEnabled(!on);
        setDirty();
    }
    void setLinked(bool on) override
    {
        linked = on;
        setDirty();
    }
    void setMapped(bool on) override
    {
        mapped = on;
        setDirty();
    }
    void draw(CDrawContext& context) override
    {
        context.setFillColor(CColor::fromRgb(0x1A2228));
        context.drawRect(rect, DrawStyle::filled);
        setBarColor(disabled ? kDisabled : mapped ? kMapped : linked ? kLinked : kAccent);
        CSlider::draw(context);
        drawHighlight(context, rect);
    }
    MouseResult onMouseDown(CPoint where, int buttons) override
    {
        const MouseResult result = CSlider::onMouseDown(where, buttons);
        if (result == MouseResult::handled)
            showPointer(false, true);
        return result;
    }
    MouseResult onMouseUp(CPoint where, int buttons) override
    {
        showPointer(true, true);
        return CSlider::onMouseUp(where, buttons);
    }

private:
    [[nodiscard]] CFrame* pointerFrame() const override { return CSlider::getFrame(); }
};

/// A wave that is drawn in memory, as many as its value says.
class Scope final : public cnControl {
public:
    Scope(const CRect& viewRect, CControlListener* told) : cnControl(viewRect, told, kScope) { setValue(0.5F); }

    void draw(CDrawContext& context) override
    {
        fill(*work, 0xFF10161BU);
        std::vector<DevicePoint> area{{0.0, height - 1.0}};
        for (int x = 0; x <= width; ++x)
            area.push_back({x + 0.0, height * (0.5 - 0.35 * std::sin((2.0 + 8.0 * static_cast<double>(value)) * x /
                                                                     width * 3.0))});
        area.push_back({width + 0.0, height - 1.0});
        fillPolygon(*work, area, kAccent, 90);
        for (std::size_t i = 1; i + 2 < area.size(); ++i)
            drawLine(*work, area[i], area[i + 1], 1.5, kPale, 255);
        darkenCornerPixels(*work);
        shown->copyFrom(*work, work->bounds(), 0, 0);
        shown->draw(context, rect);
    }
    bool onWheel(CPoint /*where*/, float distance, int /*buttons*/) override { return wheelBy(distance * wheelInc); }
    using CView::onWheel;
};

/// A page that shows while its value is its number.
class Page final : public CGViewContainer, public iControl {
public:
    Page(const CRect& viewRect, float pageNumber) : CGViewContainer(viewRect), iControl(kPage), number(pageNumber)
    {
        CViewContainer::setVisible(number == 0.0F);
    }

    void setValue(float value) override
    {
        iControl::setValue(value);
        CViewContainer::setVisible(value == number);
    }
    void setDirty(bool on = true) override { CGViewContainer::setDirty(on); }
    void setViewSize(const CRect& newRect, bool repaint = true) override
    {
        CGViewContainer::setViewSize(newRect, repaint);
    }
    void setMouseableArea(const CRect& area) override { CGViewContainer::setMouseableArea(area); }
    void setBackground(CBitmap* bitmap) override { CGViewContainer::setBackground(bitmap); }
    [[nodiscard]] const CRect& getViewSize() const override { return CGViewContainer::getViewSize(); }

private:
    float number;
};

/// The images of a button, off above on, with a text, as fine as the device.
Shared<CDIB> buttonImages(float scale, int width, int height, const char* text)
{
    const auto pixels = [scale](int logical) { return roundToPixel(static_cast<float>(logical) * scale); };
    auto images = Shared<CDIB>::adopt(new CDIB(pixels(width), pixels(2 * height)));
    images->setDensity(scale);
    COffscreenContext context(*images, scale);
    for (int state = 0; state < 2; ++state) {
        const CRect face{0, static_cast<float>(state * height), static_cast<float>(width),
                         static_cast<float>((state + 1) * height)};
        context.setFillColor(state == 0 ? CColor::fromRgb(0x222C34) : CColor::fromRgb(0x2C5878));
        context.setFrameColor(CColor::fromRgb(0x46545F));
        context.drawRect(face, DrawStyle::filled);
        context.drawRect({face.left, face.top, face.right - 1, face.bottom - 1});
        if (const Font* const bold = getFont("DSP-Bold"))
            drawLabelText(context, face, *bold, text, 10.0F, TextAlignment::centre, true,
                          state == 0 ? 0x87A7BF : 0xFFFFFF);
    }
    return images;
}

Shared<CDIB> handleImage()
{
    auto image = Shared<CDIB>::adopt(new CDIB(12, 18));
    COffscreenContext context(*image);
    context.setFillColor(kPale);
    context.drawRect({0, 0, 12, 18}, DrawStyle::filled);
    context.setFrameColor(CColor::fromRgb(0x10161B));
    context.moveTo({5, 2});
    context.lineTo({5, 15});
    return image;
}

} // namespace

void addGalleryLabel(CViewContainer& panel, float left, float top, const char* text, CColor colour)
{
    auto* const label = new CTextLabel({left, top, left + 130, top + 14}, text);
    label->setFont(nullptr, 10.0F);
    label->setFontColor(colour);
    label->setAlignment(TextAlignment::left);
    panel.addView(label);
}

Gallery::Gallery(float scale, bool openGl)
{
    constexpr CRect size{0, 0, kGalleryWidth, kGalleryHeight};
    if (openGl)
        openGlFrame = new OGLFrame(size, nullptr, scale);
    frame = Shared<CGFrame>::adopt(openGl ? openGlFrame : new CGFrame(size, nullptr, scale));
    frame->setBackgroundColor(CColor::fromRgb(0x06090C));
    auto* const name = new CTextLabel({14, 8, 100, 36}, "Sorvane");
    name->setFont(getFont("DSP-Bold"), 20.0F);
    name->setFontColor(kAccent);
    name->setAlignment(TextAlignment::left);
    frame->addView(name);
    addGalleryLabel(*frame, 104, 18, "view toolkit");
    addScales();
    addPanels();
    addControls();
    addStates();
    addPages();
    strips.addTo(*addPanel("Knobs, switches, displays", {12, 720, 1068, 848}), frame->getScale());
}

Gallery::~Gallery()
{
    frame->close();
}

CViewContainer* Gallery::addPanel(const char* title, const CRect& rect)
{
    auto* const panel = new PanelContainer({title, rect, nullptr});
    frame->addView(panel);
    return panel;
}

void Gallery::addScales()
{
    auto* const menu = new COptionMenu({998, 12, 1068, 34}, this, kScale);
    menu->setBackground(buttonImages(frame->getScale(), 70, 22, "").get());
    for (const int percent : kScales)
        menu->addEntry(std::string(std::to_string(percent)).append(" %"));
    menu->setValue(-1.0F);
    for (std::size_t i = 0; i < kScales.size(); ++i)
        if (kScales[i] == roundToPixel(frame->getScale() * 100.0F))
            menu->setValue(static_cast<float>(i));
    frame->addView(menu);
}

void Gallery::addPanels()
{
    for (const GalleryPanel& panel : galleryPanels())
        frame->addView(new PanelContainer(panel));
}

void Gallery::addControls()
{
    CViewContainer& panel = *addPanel("Controls", {12, 520, 560, 708});
    auto* const fader = new CSlider({16, 46, 166, 62}, this, kFader, CSlider::Direction::horizontal);
    fader->setBackground(Shared<CDIB>::adopt(new CDIB(150, 16, false)).get());
    fader->setValue(0.4F);
    addGalleryLabel(panel, 16, 28, "fader");
    panel.addView(fader);
    auto* const handled =
        new CSlider({16, 90, 166, 108}, this, kHandle, CSlider::Direction::horizontal, handleImage().get());
    handled->setBackground(Shared<CDIB>::adopt(new CDIB(150, 18, false)).get());
    handled->setValue(0.7F);
    addGalleryLabel(panel, 16, 72, "with a handle");
    panel.addView(handled);
    auto* const vertical = new CSlider({184, 46, 200, 166}, this, kVertical, CSlider::Direction::vertical);
    vertical->setBackground(Shared<CDIB>::adopt(new CDIB(16, 120, false)).get());
    vertical->setValue(0.6F);
    panel.addView(vertical);
    addGalleryLabel(panel, 16, 116, "drawn in memory; wheel");
    panel.addView(new Scope({16, 132, 166, 172}, this));
    addButtons(panel);
    addMenus(panel);
    addDialogs(panel);
}

void Gallery::addButtons(CViewContainer& panel)
{
    addGalleryLabel(panel, 222, 28, "buttons");
    panel.addView(
        new CKickButton({222, 46, 292, 66}, this, kKick, 20, buttonImages(frame->getScale(), 70, 20, "KICK").get()));
    panel.addView(new COnOffButton({302, 46, 372, 66}, this, kOnOff, 20,
                                   buttonImages(frame->getScale(), 70, 20, "ON / OFF").get()));
    auto* const movie = new CMovieButton({382, 46, 452, 66}, this, kMovie, 20,
                                         buttonImages(frame->getScale(), 70, 20, "\xC4\x84 BYPASS").get());
    movie->setValue(1.0F);
    panel.addView(movie);
}

void Gallery::addMenus(CViewContainer& panel)
{
    addGalleryLabel(panel, 222, 72, "menu");
    auto* const menu = new COptionMenu({222, 88, 372, 110}, this, kMenu);
    menu->setBackground(buttonImages(frame->getScale(), 150, 22, "").get());
    for (const char* const title : {"High-pass", "Low shelf", "Peak"})
        menu->addEntry(title, std::string_view(title) == "Peak");
    menu->addEntry("Not now", false, false);
    menu->addSeparator();
    auto* const more = new COptionMenu({}, nullptr, kSubMenu);
    for (int order = 1; order <= 40; ++order)
        more->addEntry("Order " + std::to_string(order));
    menu->addSubMenu("Order", more);
    menu->setValue(2.0F);
    panel.addView(menu);

    addGalleryLabel(panel, 222, 116, "text edit");
    auto* const edit = new CTextEdit({222, 132, 452, 156}, this, kEdit);
    edit->setText("click to edit \xC3\xA4\xE2\x82\xAC");
    edit->setBackground(buttonImages(frame->getScale(), 230, 24, "").get());
    panel.addView(edit);
}

void Gallery::addDialogs(CViewContainer& panel)
{
    float left = 222.0F;
    for (const auto& [tag, text] : {std::pair{kOpen, "OPEN"}, {kSave, "SAVE"}, {kMessage, "MESSAGE"}}) {
        panel.addView(new CKickButton({left, 164, left + 70, 184}, this, tag, 20,
                                      buttonImages(frame->getScale(), 70, 20, text).get()));
        left += 80.0F;
    }
}

void Gallery::openDialog(int tag)
{
    const auto sayPath = [this](const std::optional<std::string>& path) { say(path ? *path : "cancelled"); };
    if (tag == kMessage)
        CMessageBox::show(*frame, "File Access Error",
                          "Failed to read from file /home/me/Voice of a very long name.sor\n"
                          "This is often due to permissions settings",
                          {"Try again", "OK"}, [this](std::size_t button) { say(button == 0 ? "again" : "OK"); });
    else if (tag == kOpen)
        CFileSelector::show(*frame, {"Select preset file", "~", "sor", false}, sayPath);
    else
        CFileSelector::show(*frame, {"Choose destination filename", "~/Voice.sor", "sor", true}, sayPath);
}

void Gallery::say(const std::string& text)
{
    said->setText(text);
}

void Gallery::addStates()
{
    CViewContainer& panel = *addPanel("States", {952, 280, 1068, 628});
    float top = 28.0F;
    const auto add = [&](const char* name) {
        addGalleryLabel(panel, 10, top, name);
        auto* const fader = new StateFader({10, top + 16, 106, top + 32}, this);
        panel.addView(fader);
        top += 44.0F;
        return fader;
    };
    add("plain");
    add("disabled")->setDisabled(true);
    add("linked")->setLinked(true);
    add("mapped")->setMapped(true);
    add("highlight")->setHighlight(true, {255, 255, 0, 255});
    add("mark")->setMark(true, {0, 255, 255, 255});
}

void Gallery::addPages()
{
    CViewContainer& panel = *addPanel("Pages and events", {572, 640, 1068, 708});
    auto* const menu = new COptionMenu({10, 30, 100, 52}, this, kPageMenu);
    menu->setBackground(buttonImages(frame->getScale(), 90, 22, "").get());
    panel.addView(menu);
    for (int number = 0; number < 2; ++number) {
        auto* const page = new Page({110, 26, 290, 60}, static_cast<float>(number));
        addGalleryLabel(*page, 6, 10, number == 0 ? "this is the first page" : "and this the second",
                        number == 0 ? kPale : kLinked);
        panel.addView(page);
        pages.push_back(Shared<iControlWrapper>::adopt(new iControlWrapper(*page)));
        menu->addEntry(number == 0 ? "First" : "Second");
    }
    said = new CTextLabel({300, 30, 486, 52}, "nothing said yet");
    said->setFont(nullptr, 11.0F);
    said->setAlignment(TextAlignment::right);
    panel.addView(said);
}

void Gallery::valueChanged(CControl& control)
{
    if (control.getTag() >= kOpen) {
        if (control.getValue() == 0.0F) // at the release
            openDialog(control.getTag());
        return;
    }
    constexpr std::array<const char*, kScale + 1> names{"fader", "handle", "vertical", "kick", "on/off",
                                                        "movie", "menu",   "order",    "edit", "scope",
                                                        "page",  "page",   "state",    "scale"};
    if (control.getTag() == kPageMenu)
        for (const auto& page : pages)
            page->setValue(control.getValue());
    if (control.getTag() == kScale)
        frame->setScale(static_cast<float>(kScales[static_cast<std::size_t>(control.getValue())]) / 100.0F);
    std::array<char, 64> text;
    std::snprintf(text.data(), text.size(), "%s: %.3f", names[static_cast<std::size_t>(control.getTag())],
                  static_cast<double>(control.getValue()));
    say(text.data());
}

} // namespace sorvane::tools
