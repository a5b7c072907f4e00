// What events find when the frame, its views or their sizes change under them.

#include "CKickButton.h"
#include "COptionMenu.h"
#include "CSlider.h"
#include "CTextEdit.h"
#include "OpenedFrame.h"
#include "iControl.h"
#include "iControlWrapper.h"
#include "nCanDisable.h"
#include "nControl.h"
#include "nControlMouse.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <string>

namespace {

using namespace sorvane;
using namespace sorvane::toolkit;
using namespace sorvane::test;

/// Does something as it is told of a value.
class Meddler final : public EditLog {
public:
    void valueChanged(CControl& control) override
    {
        EditLog::valueChanged(control);
        if (meddle)
            std::exchange(meddle, nullptr)();
    }
    std::function<void()> meddle;
};

/// What a user does to change a control, and the edit that comes of it.
struct Gesture {
    const char* name;
    CControl* (*make)(CControlListener& told);
    void (*change)(Opened& opened);
    const char* told = "b1 v1 e1 ";
};
constexpr CRect kPlace{0, 0, 100, 20};
const std::array kGestures{
    Gesture{"drag",
            [](CControlListener& told) -> CControl* {
                return new CSlider(kPlace, &told, 1, CSlider::Direction::horizontal);
            },
            [](Opened& opened) {
                opened.events().windowMouseDown(5, 5, kLButton);
                opened.events().windowMouseMoved(50, 5, kLButton);
            }},
    Gesture{"default",
            [](CControlListener& told) -> CControl* {
                return new CSlider(kPlace, &told, 1, CSlider::Direction::horizontal);
            },
            [](Opened& opened) { opened.events().windowMouseDown(5, 5, kLButton | kControl); }},
    Gesture{"wheel",
            [](CControlListener& told) -> CControl* {
                return new CSlider(kPlace, &told, 1, CSlider::Direction::horizontal);
            },
            [](Opened& opened) { opened.events().windowWheel(5, 5, WheelAxis::vertical, 1.0F, 0); }},
    Gesture{"kick", [](CControlListener& told) -> CControl* { return new CKickButton(kPlace, &told, 1, 20, nullptr); },
            [](Opened& opened) { opened.events().windowMouseDown(5, 5, kLButton); },
            "b1 v1 v1 e1 "}, // it doesn't stay on
    Gesture{"toggle",
            [](CControlListener& told) -> CControl* { return new COnOffButton(kPlace, &told, 1, 20, nullptr); },
            [](Opened& opened) { opened.events().windowMouseDown(5, 5, kLButton); }},
    Gesture{"movie",
            [](CControlListener& told) -> CControl* { return new CMovieButton(kPlace, &told, 1, 20, nullptr); },
            [](Opened& opened) { opened.click(5, 5); }},
    Gesture{"menu",
            [](CControlListener& told) -> CControl* {
                auto* const menu = new COptionMenu(kPlace, &told, 1);
                menu->addEntry("A");
                menu->addEntry("B");
                return menu;
            },
            [](Opened& opened) {
                opened.click(5, 5);
                opened.key(Key::down);
                opened.key(Key::enter);
            }},
    Gesture{"text", [](CControlListener& told) -> CControl* { return new CTextEdit(kPlace, &told, 1); },
            [](Opened& opened) {
                opened.click(5, 5);
                opened.type("7");
                opened.key(Key::enter);
            }}};

TEST(CFrame, LetsAListenerRemoveWhatCallsIt)
{
    for (const Gesture& gesture : kGestures) {
        // The control; the page that it is on; all, by closing; the frame itself.
        for (int what = 0; what < 4; ++what) {
            Meddler listener;
            Opened opened;
            auto* const page = new CViewContainer({0, 0, 200, 100});
            CControl* const control = gesture.make(listener);
            page->addView(control);
            opened.frame->addView(page);
            listener.meddle = [&] {
                switch (what) {
                case 0:
                    page->removeView(*control);
                    break;
                case 1:
                    opened.frame->removeView(*page);
                    break;
                case 2:
                    opened.frame->close();
                    break;
                default:
                    opened.frame = {};
                }
            };
            gesture.change(opened);
            EXPECT_FALSE(listener.meddle) << gesture.name;
            EXPECT_EQ(listener.take(), gesture.told) << gesture.name << ' ' << what;
            if (opened.window.getListener() == nullptr)
                continue;
            opened.frame->idle();
            opened.events().windowMouseMoved(7, 7, kLButton);
            opened.events().windowMouseUp(7, 7, kLButton);
            EXPECT_EQ(listener.take(), "") << gesture.name << ' ' << what;
            EXPECT_FALSE(opened.window.hasKeyboard()) << gesture.name << ' ' << what;
        }
    }
}

TEST(CFrame, EndsWhatARemovedViewBegan)
{
    // A drag, with the pointer hidden.
    class Dragged final : public CSlider, public nControlMouse {
    public:
        using CSlider::CSlider;
        MouseResult onMouseDown(CPoint where, int buttons) override
        {
            showPointer(false, true);
            return CSlider::onMouseDown(where, buttons);
        }

    private:
        [[nodiscard]] CFrame* pointerFrame() const override { return CSlider::getFrame(); }
    };
    EditLog log;
    Opened opened;
    auto* const slider = new Dragged({0, 0, 100, 20}, &log, 1, CSlider::Direction::horizontal);
    opened.frame->addView(slider);
    opened.events().windowMouseDown(5, 5, kLButton);
    EXPECT_FALSE(opened.window.isPointerShown());
    opened.frame->removeView(*slider);
    EXPECT_EQ(log.take(), "b1 e1 ");
    opened.events().windowMouseUp(5, 5, kLButton);
    EXPECT_TRUE(opened.window.isPointerShown());
    // A text in its edit holds the keyboard.
    auto* const edit = new CTextEdit({0, 0, 100, 20}, &log, 2);
    edit->remember();
    opened.frame->addView(edit);
    opened.click(5, 5);
    EXPECT_TRUE(opened.window.hasKeyboard());
    opened.frame->removeView(*edit);
    EXPECT_FALSE(opened.window.hasKeyboard());
    EXPECT_FALSE(edit->isEditing());
    edit->forget();
    // An open menu too.
    auto* const menu = new COptionMenu({0, 0, 100, 20}, &log, 3);
    menu->addEntry("A");
    opened.frame->addView(menu);
    opened.click(5, 5);
    opened.frame->removeView(*menu);
    opened.key(Key::down);
    opened.key(Key::enter);
    EXPECT_EQ(log.take(), "b3 v3 e3 ");
    opened.frame->setModalView(new CTextEdit({0, 0, 100, 20}, &log, 4));
    opened.frame->setModalView(nullptr);
    EXPECT_FALSE(opened.window.hasKeyboard());
    // A wheel edit of a control that no frame ever had.
    auto* const lonely = new CSlider({0, 0, 100, 20}, &log, 5, CSlider::Direction::horizontal);
    static_cast<CView*>(lonely)->onWheel({5, 5}, 1.0F, 0);
    lonely->forget();
    EXPECT_EQ(log.take(), "b5 v5 e5 ");
}

TEST(CFrame, LetsViewsRemoveThemselves)
{
    /// Goes at an event.
    class Leaving final : public CView {
    public:
        Leaving(const CRect& viewRect, char event) : CView(viewRect), last(event) {}
        MouseResult onMouseDown(CPoint, int) override { return leaveAt('d'); }
        MouseResult onMouseMoved(CPoint, int) override { return leaveAt('m'); }
        MouseResult onMouseUp(CPoint, int) override { return leaveAt('u'); }
        MouseResult onMouseEntered(CPoint, int) override { return leaveAt('+'); }
        MouseResult onMouseExited(CPoint, int) override { return leaveAt('-'); }
        bool onWheel(CPoint, float, int) override { return leaveAt('w') == MouseResult::handled; }
        using CView::onWheel;
        bool onKeyDown(const KeyPress&) override { return leaveAt('k') == MouseResult::handled; }
        void onPaste(std::string_view) override { leaveAt('p'); }
        void looseFocus() override { leaveAt('f'); }

    private:
        MouseResult leaveAt(char event)
        {
            if (event == last)
                getParent()->removeView(*this);
            return MouseResult::handled;
        }
        char last;
    };
    for (const char event : std::string("dmu+-wkpf")) {
        Opened opened;
        auto* const page = new CViewContainer({0, 0, 200, 100});
        opened.frame->addView(page);
        auto* const view = new Leaving({0, 0, 50, 50}, event);
        page->addView(view);
        opened.frame->setFocusView(view);
        opened.window.setClipboard("text");
        opened.key(Key::up);
        opened.window.requestClipboard();
        opened.events().windowWheel(5, 5, WheelAxis::vertical, 1.0F, 0);
        opened.events().windowMouseMoved(5, 5, 0);
        opened.events().windowMouseDown(5, 5, kLButton);
        opened.events().windowMouseUp(5, 5, kLButton);
        opened.events().windowMouseMoved(150, 50, 0);
        opened.frame->setFocusView(nullptr);
        EXPECT_TRUE(page->getViews().empty()) << event;
    }
    // What isn't to be added isn't.
    Opened opened;
    auto* const page = new CViewContainer({0, 0, 200, 100});
    opened.frame->addView(page);
    opened.frame->addView(page);
    page->addView(page);
    page->addView(nullptr);
    EXPECT_EQ(opened.frame->getViews().size(), 1U);
    EXPECT_TRUE(page->getViews().empty());
}

TEST(CFrame, KeepsADragWhileOtherButtonsAreUsed)
{
    EditLog log;
    Opened opened;
    auto* const slider = new CSlider({0, 0, 100, 20}, &log, 1, CSlider::Direction::horizontal);
    auto* const button = new CKickButton({0, 20, 100, 40}, &log, 2, 20, nullptr);
    opened.frame->addView(slider);
    opened.frame->addView(button);
    opened.events().windowMouseDown(5, 5, kLButton);
    opened.events().windowMouseMoved(5, 25, kLButton);
    opened.events().windowMouseDown(5, 25, kLButton | kRButton);
    opened.events().windowMouseUp(5, 25, kLButton | kRButton);
    opened.events().windowMouseMoved(55, 25, kLButton);
    EXPECT_FLOAT_EQ(slider->getValue(), 0.5F);
    opened.events().windowMouseUp(55, 25, kLButton);
    EXPECT_EQ(log.take(), "b1 v1 e1 ");
    opened.events().windowMouseDown(5, 5, kLButton); // whose release is lost
    opened.click(5, 25);
    EXPECT_EQ(log.take(), "b1 e1 b2 v2 v2 e2 ");
}

TEST(CViewContainer, OffersModifiedPressesToTheListenerFirst)
{
    struct Listener final : CControlListener {
        void valueChanged(CControl&) override {}
        bool controlModifierClicked(CControl& control, int buttons) override
        {
            text.append(std::to_string(control.getTag())).append(1, ':').append(std::to_string(buttons)).append(1, ' ');
            return taken;
        }
        std::string text;
        bool taken = true;
    } listener;
    Opened opened;
    auto* const slider = new CSlider({0, 0, 100, 20}, &listener, 1, CSlider::Direction::horizontal);
    slider->setDefaultValue(1.0F);
    opened.frame->addView(slider);
    opened.click(5, 5);
    opened.click(5, 5, kRButton);
    opened.click(5, 5, kLButton | kApple);
    opened.click(5, 5, kLButton | kControl);
    EXPECT_EQ(slider->getValue(), 0.0F);
    listener.taken = false;
    opened.click(5, 5, kLButton | kControl);
    EXPECT_EQ(slider->getValue(), 1.0F);
    EXPECT_EQ(listener.text, "1:8 1:130 1:34 1:34 ");
}

TEST(CViewContainer, ShowsWhatIsBeneathATransparentOneToTheMouse)
{
    EditLog log;
    Opened opened;
    auto* const slider = new CSlider({0, 0, 100, 20}, &log, 1, CSlider::Direction::horizontal);
    opened.frame->addView(slider);
    auto* const page = new CViewContainer({0, 0, 200, 100});
    page->setTransparency(true);
    opened.frame->addView(page);
    EXPECT_EQ(opened.frame->getViewAt({5, 5}), slider);
    opened.events().windowWheel(5, 5, WheelAxis::vertical, 1.0F, 0);
    EXPECT_GT(slider->getValue(), 0.0F);
    page->setTransparency(false);
    EXPECT_EQ(opened.frame->getViewAt({5, 5}), page);
    const float before = slider->getValue();
    opened.events().windowWheel(5, 5, WheelAxis::vertical, 1.0F, 0);
    EXPECT_EQ(slider->getValue(), before);
}

TEST(CViewContainer, LetsNoPressThroughADisabledControl)
{
    struct Fader final : CSlider, nCanDisable {
        using CSlider::CSlider;
        void setDisabled(bool on) override
        {
            disabled = on;
            setMouseEnabled(!on);
        }
    };
    EditLog log;
    Opened opened;
    opened.frame->addView(new COnOffButton({0, 0, 200, 100}, &log, 1, 100, nullptr));
    auto* const fader = new Fader({0, 0, 100, 20}, &log, 2, CSlider::Direction::horizontal);
    opened.frame->addView(fader);
    fader->setDisabled(true);
    opened.click(5, 5);
    opened.click(5, 5, kRButton);
    EXPECT_EQ(log.take(), "");
    fader->setDisabled(false);
    opened.click(5, 5);
    fader->setDisabled(true);
    fader->setVisible(false);
    opened.click(5, 5);
    EXPECT_EQ(log.take(), "b2 e2 b1 v1 e1 ");
}

TEST(CFrame, LaysNothingOverWhatItShowedBefore)
{
    Opened opened; // without a background
    class Veil final : public CView {
    public:
        using CView::CView;
        void draw(CDrawContext& context) override
        {
            context.setFillColor({255, 255, 255, 128});
            context.drawRect(rect, DrawStyle::filled);
        }
    };
    auto* const veil = new Veil({10, 10, 20, 20});
    opened.frame->addView(veil);
    for (int i = 0; i < 4; ++i) {
        veil->setDirty();
        opened.frame->idle();
        EXPECT_EQ(opened.frame->getPicture().row(15)[15] & 0xFFFFFFU, 0x808080U) << i;
    }
}

TEST(CFrame, TakesSizesThatAreNone)
{
    constexpr float kHuge = std::numeric_limits<float>::max();
    constexpr float kNone = std::numeric_limits<float>::quiet_NaN();
    constexpr float kFar = std::numeric_limits<float>::infinity();
    EditLog log;
    Opened opened;
    std::vector<CControl*> controls;
    for (const Gesture& gesture : kGestures) {
        controls.push_back(gesture.make(log));
        opened.frame->addView(controls.back());
    }
    for (const CRect& place : {CRect{}, CRect{5, 5, 1, 1}, CRect{kNone, kNone, kNone, kNone}, CRect{0, kNone, 50, 10},
                               CRect{-kHuge, -kHuge, kHuge, kHuge}, CRect{-kFar, 0, kFar, 10}, CRect{0, 0, 0, kHuge}})
        for (const float value : {0.5F, kNone, kFar, -kHuge}) {
            for (CControl* const control : controls) {
                control->setViewSize(place);
                control->setMouseableArea(kPlace);
                control->setValue(value);
            }
            for (std::size_t i = 0; i < controls.size(); ++i) {
                kGestures[i].change(opened);
                opened.frame->idle();
                opened.events().windowMouseUp(5, 5, kLButton);
                opened.key(Key::escape);
            }
            opened.frame->invalidRect(place);
            opened.frame->idle();
        }
    opened.frame->idle();
    const long presented = opened.window.getPresented();
    controls[0]->setValue(kNone);
    opened.frame->idle();
    opened.frame->idle();
    EXPECT_LE(opened.window.getPresented() - presented, 200 * 100); // once, though it equals nothing
    opened.frame->removeAll();
    for (const float size : {kNone, -5.0F, 0.0F, kFar})
        opened.frame->setSize(size, 10.0F);
    EXPECT_EQ(opened.window.getWidth(), CDIB::kMaxSide);
    opened.frame->setSize(kNone, 20.0F);
    for (const float scale : {kNone, -1.0F, 0.0F, kFar})
        opened.frame->setScale(scale);
    EXPECT_EQ(opened.frame->getScale(), CFrame::kLargestScale);
    EXPECT_EQ(opened.window.getHeight(), 320);
    opened.frame->idle();
}

TEST(nControl, HasImagesOfItsSize)
{
    struct Graph final : nControl {
        using nControl::nControl;
        bool isWhole()
        {
            return work->getWidth() == width && work->getHeight() == height && shown->bounds() == work->bounds();
        }
        const CDIB* image() { return work.get(); }
    };
    const auto graph = Shared<Graph>::adopt(new Graph({0, 0, 30, 20}, nullptr, 1));
    const CDIB* const before = graph->image();
    graph->setViewSize({100, 50, 130, 70});
    EXPECT_EQ(graph->image(), before); // moved, with what it has drawn
    for (const CRect& size : {CRect{0, 0, 40000, 10}, CRect{10, 10, 0, 0}, CRect{0, 0, NAN, 10}}) {
        graph->setViewSize(size);
        EXPECT_TRUE(graph->isWhole());
    }
}

TEST(iControlWrapper, IsWhereItsPageIs)
{
    struct Page final : CViewContainer, iControl {
        Page() : CViewContainer({0, 0, 50, 50}), iControl(9) {}
        void setDirty(bool on = true) override { CViewContainer::setDirty(on); }
        void setViewSize(const CRect& place, bool repaint = true) override
        {
            CViewContainer::setViewSize(place, repaint);
        }
        void setMouseableArea(const CRect& area) override { CViewContainer::setMouseableArea(area); }
        void setBackground(CBitmap* bitmap) override { CViewContainer::setBackground(bitmap); }
        [[nodiscard]] const CRect& getViewSize() const override { return CViewContainer::getViewSize(); }
    };
    const auto page = Shared<Page>::adopt(new Page);
    const auto wrapper = Shared<iControlWrapper>::adopt(new iControlWrapper(*page));
    CControl& control = *wrapper;
    control.setViewSize({10, 0, 60, 50});
    control.setValue(3.0F);
    EXPECT_EQ(page->CViewContainer::getViewSize(), (CRect{10, 0, 60, 50}));
    EXPECT_EQ(control.getViewSize(), (CRect{10, 0, 60, 50}));
    EXPECT_EQ(page->getValue(), 3.0F);
    EXPECT_EQ(control.getTag(), 9);
}

} // namespace
