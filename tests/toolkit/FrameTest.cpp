// A frame with controls in a window in memory: what events do, and what is painted for them.

#include "CHighlightControl.h"
#include "CKickButton.h"
#include "COptionMenu.h"
#include "CSlider.h"
#include "CTextEdit.h"
#include "OpenedFrame.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace sorvane;
using namespace sorvane::toolkit;
using namespace sorvane::test;
using Steady = std::chrono::steady_clock;

/// Answers as it is told, and notes what came.
class Probe final : public CView {
public:
    Probe(const CRect& viewRect, MouseResult toAnswer, std::string& log, char viewName)
        : CView(viewRect), answer(toAnswer), text(log), name(viewName)
    {}
    MouseResult onMouseDown(CPoint where, int) override { return note('d', where); }
    MouseResult onMouseMoved(CPoint where, int) override { return note('m', where); }
    MouseResult onMouseUp(CPoint where, int) override { return note('u', where); }
    MouseResult onMouseEntered(CPoint where, int) override { return note('+', where); }
    MouseResult onMouseExited(CPoint where, int) override { return note('-', where); }

private:
    MouseResult note(char event, CPoint where)
    {
        text.append({name, event}).append(std::to_string(static_cast<int>(where.x))).append(1, ' ');
        return answer;
    }
    MouseResult answer;
    std::string& text;
    char name;
};

TEST(CFrame, RoutesTheMouseAsViewsAnswer)
{
    Opened opened(2.0F); // pixels of the window are halves
    std::string log;
    auto* const group = new CViewContainer({20, 10, 120, 90});
    opened.frame->addView(group);
    auto* const back = new Probe({0, 0, 80, 80}, MouseResult::handled, log, 'a');
    auto* const clear = new Probe({40, 0, 80, 80}, MouseResult::notHandled, log, 'b');
    clear->setTransparency(true);
    group->addView(back);
    group->addView(clear);
    auto* const once = new Probe({80, 0, 100, 80}, MouseResult::handledNoMore, log, 'c');
    group->addView(once);
    const auto logged = [&] { return std::exchange(log, {}); };

    opened.events().windowMouseDown(2 * 70, 2 * 20, kLButton);
    EXPECT_EQ(logged(), "bd50 ad50 "); // what the front one leaves goes on to the one behind
    opened.events().windowMouseMoved(2 * 199, 2 * 20, kLButton);
    opened.events().windowMouseUp(2 * 5, 2 * 5, kLButton);
    EXPECT_EQ(logged(), "am179 au-15 "); // held, from anywhere
    opened.click(2 * 110, 2 * 20);
    opened.events().windowMouseMoved(2 * 30, 2 * 20, 0);
    EXPECT_EQ(logged(), "cd90 a+10 am10 ");
    opened.events().windowMouseMoved(2 * 110, 2 * 20, 0);
    opened.events().windowMouseLeft();
    EXPECT_EQ(logged(), "a-90 c+90 cm90 c-90 ");
    EXPECT_EQ(opened.frame->getViewAt({30, 20}), back);
    EXPECT_EQ(opened.frame->getViewAt({5, 5}), opened.frame.get());

    // Neither hidden ones nor ones with the mouse off, nor ones that went while held.
    once->setVisible(false);
    back->setMouseEnabled(false);
    opened.click(2 * 110, 2 * 20);
    opened.click(2 * 30, 2 * 20);
    EXPECT_EQ(logged(), "");
    back->setMouseEnabled(true);
    opened.events().windowMouseDown(2 * 30, 2 * 20, kLButton);
    group->removeView(*back);
    opened.events().windowMouseMoved(2 * 30, 2 * 20, kLButton);
    opened.events().windowMouseUp(2 * 30, 2 * 20, kLButton);
    EXPECT_EQ(logged(), "ad10 ");
}

TEST(CFrame, PaintsWhatIsDirtyAndNothingElse)
{
    Opened opened;
    opened.frame->setBackgroundColor({10, 20, 30, 255});
    auto* const slider = new CSlider({20, 30, 60, 40}, nullptr, 1, CSlider::Direction::horizontal);
    slider->setBarColor({200, 0, 0, 255});
    opened.frame->addView(slider);
    opened.frame->idle();
    EXPECT_EQ(opened.window.getPresented(), 200 * 100);
    opened.frame->idle();
    EXPECT_EQ(opened.window.getPresented(), 200 * 100);
    slider->setValue(0.5F);
    opened.frame->idle();
    EXPECT_EQ(opened.window.getPresented(), 200 * 100 + 42 * 12); // with a pixel around it
    const auto at = [&](int x, int y) {
        return opened.window.getPicture()[static_cast<std::size_t>(y * 200 + x)] & 0xFFFFFFU;
    };
    EXPECT_EQ(at(39, 35), 0xC80000U);
    EXPECT_EQ(at(40, 35), 0x0A141EU);

    slider->setValue(-1.0F);
    slider->setDirty(false);
    EXPECT_FALSE(slider->isDirty());
    slider->setDirty(true);
    EXPECT_TRUE(slider->isDirty());
    slider->setViewSize({100, 30, 140, 40});
    slider->setValue(1.0F);
    opened.frame->idle();
    EXPECT_EQ(at(39, 35), 0x0A141EU);
    EXPECT_EQ(at(120, 35), 0xC80000U);
    opened.frame->removeView(*slider);
    opened.frame->idle();
    EXPECT_EQ(at(120, 35), 0x0A141EU);
    // From the picture at hand when the window was covered.
    const long before = opened.window.getPresented();
    opened.events().windowExposed({-5, 90, 500, 500});
    EXPECT_EQ(opened.window.getPresented(), before + 200 * 10);
    opened.frame->setSize(50, 40);
    opened.frame->idle();
    EXPECT_EQ(opened.window.getWidth(), 50);
    opened.frame->setScale(1.5F);
    opened.frame->setScale(NAN);
    opened.frame->idle();
    EXPECT_EQ(opened.window.getWidth(), 75);
    EXPECT_EQ(opened.frame->getPicture().getHeight(), 60);
    opened.frame->close();
    opened.frame->close();
    opened.frame->idle();
    EXPECT_EQ(opened.window.getListener(), nullptr);
}

TEST(CControl, EditsByMouseBeginAndEndOnce)
{
    Opened opened;
    EditLog log;
    auto* const slider = new CSlider({0, 0, 100, 10}, &log, 1, CSlider::Direction::horizontal);
    opened.frame->addView(slider);
    opened.events().windowMouseDown(10, 5, kLButton);
    opened.events().windowMouseMoved(60, 5, kLButton);
    EXPECT_FLOAT_EQ(slider->getValue(), 0.5F);
    opened.events().windowMouseMoved(60, 5, kLButton | kShift);
    opened.events().windowMouseMoved(80, 5, kLButton | kShift); // a tenth of 20
    EXPECT_FLOAT_EQ(slider->getValue(), 0.52F);
    opened.events().windowMouseMoved(-900, 5, kLButton);
    opened.events().windowMouseMoved(-950, 5, kLButton);
    opened.events().windowMouseUp(-900, 5, kLButton);
    EXPECT_EQ(log.take(), "b1 v1 v1 v1 e1 ");
    slider->setDefaultValue(0.25F);
    opened.click(10, 5, kLButton | kControl);
    EXPECT_FLOAT_EQ(slider->getValue(), 0.25F);
    slider->setValue(NAN);
    slider->bounceValue();
    EXPECT_FLOAT_EQ(slider->getValue(), 0.0F);
    log.take();

    auto* const kick = new CKickButton({0, 20, 50, 40}, &log, 2, 20, nullptr);
    auto* const movie = new CMovieButton({50, 20, 100, 40}, &log, 3, 20, nullptr);
    auto* const toggle = new COnOffButton({100, 20, 150, 40}, &log, 4, 20, nullptr);
    for (CView* const view : {static_cast<CView*>(kick), static_cast<CView*>(movie), static_cast<CView*>(toggle)})
        opened.frame->addView(view);
    opened.click(10, 30);
    EXPECT_EQ(log.take(), "b2 v2 v2 e2 ");
    opened.click(60, 30);
    EXPECT_EQ(movie->getValue(), 1.0F);
    opened.events().windowMouseDown(60, 30, kLButton);
    EXPECT_EQ(movie->getValue(), 0.0F);
    opened.events().windowMouseMoved(10, 90, kLButton);
    opened.events().windowMouseUp(10, 90, kLButton);
    EXPECT_EQ(movie->getValue(), 1.0F);
    EXPECT_EQ(log.take(), "b3 v3 e3 b3 e3 ");
    opened.click(110, 30);
    opened.click(110, 30, kRButton);
    EXPECT_EQ(toggle->getValue(), 1.0F);
    EXPECT_EQ(log.take(), "b4 v4 e4 ");
    EXPECT_TRUE(kick->isTypeOf("CKickButton") && kick->isTypeOf("CControl") && kick->isTypeOf("CView"));
    EXPECT_FALSE(kick->isTypeOf("CSlider"));
}

TEST(CControl, OneWheelGestureIsOneEdit)
{
    Opened opened;
    EditLog log;
    const auto addSlider = [&](float top, int tag) {
        auto* const slider = new CSlider({0, top, 100, top + 10}, &log, tag, CSlider::Direction::horizontal);
        opened.frame->addView(slider);
        return slider;
    };
    CSlider* const slider = addSlider(0, 1);
    addSlider(20, 2);
    const auto wheel = [&](int y) { opened.events().windowWheel(10, y, platform::WheelAxis::vertical, 1.0F, 0); };
    wheel(5);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    wheel(5);
    const auto last = Steady::now();
    EXPECT_FLOAT_EQ(slider->getValue(), 0.2F);
    ASSERT_TRUE(log.awaitEnds(1));
    EXPECT_GE(log.ended - last, std::chrono::milliseconds(248));
    EXPECT_LE(log.ended - last, std::chrono::milliseconds(600));
    EXPECT_EQ(log.take(), "b1 v1 v1 e1 ");
    opened.events().windowWheel(10, 5, platform::WheelAxis::horizontal, 1.0F, 0); // isn't theirs
    // A drag that begins meanwhile is of the same edit, and so is a step during a drag.
    wheel(5);
    opened.events().windowMouseDown(10, 5, kLButton);
    wheel(5);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    opened.events().windowMouseMoved(40, 5, kLButton);
    opened.events().windowMouseUp(40, 5, kLButton);
    EXPECT_EQ(log.take(), "b1 v1 v1 v1 e1 ");
    wheel(5);
    opened.click(10, 5);
    const int ends = log.ends;
    wheel(5);
    ASSERT_TRUE(log.awaitEnds(ends + 1));
    EXPECT_EQ(log.take(), "b1 v1 e1 b1 v1 e1 ");
    // A second gesture of the same control, then another's: the first ends before the other begins.
    wheel(5);
    wheel(25);
    EXPECT_EQ(log.take(), "b1 v1 e1 b2 v2 ");
    // A control that goes waits for its worker.
    opened.frame->removeAll();
    EXPECT_EQ(log.take(), "e2 ");
}

TEST(COptionMenu, ChoosesByClicksDragsKeysAndWheel)
{
    Opened opened;
    EditLog log;
    auto* const menu = new COptionMenu({0, 0, 60, 10}, &log, 1);
    menu->addEntry("A");
    menu->addEntry("B", false, false);
    menu->addSeparator();
    auto* const more = new COptionMenu({}, nullptr, 2);
    for (int i = 0; i < 50; ++i)
        more->addEntry(std::string("C").append(std::to_string(i)));
    menu->addSubMenu("More", more);
    menu->addEntry("D");
    opened.frame->addView(menu);
    const auto isOpen = [&] { return opened.frame->getModalView() != nullptr; };

    // It stands above where it would stick out: 95 high, from 5 on. A at 19, B at 39, D at 86.
    opened.click(5, 5);
    ASSERT_TRUE(isOpen());
    opened.frame->idle();
    opened.click(30, 39); // can't be chosen
    EXPECT_TRUE(isOpen());
    opened.click(30, 88);
    EXPECT_FALSE(isOpen());
    EXPECT_EQ(menu->getCurrent(), 4);
    EXPECT_EQ(log.take(), "b1 v1 e1 ");
    opened.events().windowMouseDown(5, 5, kLButton); // and by a drag from where it was opened
    opened.events().windowMouseMoved(30, 19, kLButton);
    opened.events().windowMouseUp(30, 19, kLButton);
    EXPECT_FALSE(isOpen());
    EXPECT_EQ(menu->getCurrent(), 0);
    EXPECT_EQ(log.take(), "b1 v1 e1 ");
    menu->setValue(4);
    opened.click(5, 5);
    opened.click(190, 50); // elsewhere
    EXPECT_FALSE(isOpen());
    opened.click(5, 5);
    opened.key(Key::up); // More
    opened.key(Key::right);
    for (int i = 0; i < 30; ++i)
        opened.key(Key::down);
    opened.frame->idle();
    opened.key(Key::enter);
    EXPECT_FALSE(isOpen());
    EXPECT_EQ(more->getCurrent(), 30);
    EXPECT_EQ(log.take(), "b2 v2 e2 ");
    // Longer than the frame: arrows at its ends scroll, and what was chosen is in sight.
    auto* const list = new COptionMenu({100, 0, 160, 10}, &log, 3);
    for (int i = 0; i < 50; ++i)
        list->addEntry("E");
    opened.frame->addView(list);
    opened.click(110, 5);
    opened.click(130, 95); // an arrow: by 100 less the arrows and an item, 52
    EXPECT_TRUE(isOpen());
    opened.frame->idle();
    opened.click(130, 50); // (50 + 52 - 4) / 20
    EXPECT_EQ(list->getCurrent(), 4);
    list->setValue(30.0F);
    opened.click(110, 5);
    opened.click(130, 80);
    EXPECT_EQ(list->getCurrent(), 30);
    opened.click(110, 5);
    for (int i = 0; i < 60; ++i)
        opened.events().windowWheel(130, 50, platform::WheelAxis::vertical, -1.0F, 0);
    opened.click(130, 90);
    EXPECT_EQ(list->getCurrent(), 49);
    opened.click(110, 5);
    list->removeAllEntries(); // while it is open
    opened.frame->idle();
    opened.events().windowWheel(130, 50, platform::WheelAxis::vertical, -1.0F, 0);
    opened.key(Key::down);
    opened.key(Key::enter);
    opened.key(Key::escape);
    EXPECT_FALSE(isOpen());
    EXPECT_EQ(log.take(), "b3 v3 e3 b3 v3 e3 b3 v3 e3 ");
    opened.click(5, 5);
    opened.key(Key::down);
    opened.key(Key::escape);
    EXPECT_FALSE(isOpen());
    EXPECT_EQ(log.take(), "");
    opened.events().windowWheel(5, 5, platform::WheelAxis::vertical, 1.0F, 0); // past what can't be chosen
    EXPECT_EQ(menu->getCurrent(), 0);
    opened.frame->removeAll();
}

TEST(CTextEdit, EditsByKeysMouseAndClipboard)
{
    Opened opened;
    EditLog log;
    auto* const edit = new CTextEdit({0, 0, 100, 20}, &log, 1);
    edit->setText("12\xC3\xA4");
    opened.frame->addView(edit);
    opened.click(50, 10);
    ASSERT_TRUE(edit->isEditing());
    EXPECT_TRUE(opened.window.hasKeyboard());
    opened.type("c", kControl);
    opened.key(Key::end);
    opened.key(Key::backspace);
    opened.key(Key::left, kShift);
    opened.type("3x");
    opened.type("v", kControl);
    opened.key(Key::home);
    opened.key(Key::remove);
    opened.frame->idle();
    opened.key(Key::enter);
    EXPECT_FALSE(edit->isEditing());
    EXPECT_EQ(edit->getText(), "3x12\xC3\xA4");
    EXPECT_EQ(log.take(), "b1 v1 e1 ");
    EXPECT_EQ(opened.frame->getFocusView(), nullptr);
    EXPECT_FALSE(opened.window.hasKeyboard()); // the host's keys work again
    EXPECT_FALSE(opened.key(Key::enter));

    opened.click(50, 10);
    opened.events().windowMouseDown(99, 10, kLButton); // select the last character with the mouse, from the right
    opened.events().windowMouseMoved(1, 10, kLButton);
    opened.events().windowMouseUp(1, 10, kLButton);
    opened.type("Z");
    opened.key(Key::escape);
    EXPECT_EQ(edit->getText(), "3x12\xC3\xA4");
    opened.click(50, 10);
    opened.type("a", kControl);
    opened.window.setClipboard(std::string(2000, 'w') + "\n");
    opened.type("v", kControl);
    opened.click(150, 50); // elsewhere: as it was
    EXPECT_EQ(edit->getText(), "3x12\xC3\xA4");
    opened.click(50, 10);
    opened.type("v", kControl);
    opened.key(Key::enter);
    EXPECT_EQ(edit->getText(), std::string(CTextEdit::kLongest, 'w'));
    // Wider than the control: what is typed and what a click finds is in sight.
    opened.click(50, 10);
    opened.key(Key::end);
    opened.key(Key::backspace);
    opened.key(Key::backspace);
    opened.click(97, 10);
    opened.type("N");
    opened.key(Key::home);
    opened.click(4, 10);
    opened.type("A");
    opened.frame->idle();
    opened.key(Key::enter);
    EXPECT_EQ(edit->getText(), "A" + std::string(CTextEdit::kLongest - 2, 'w') + "N");
    opened.click(50, 10);
    opened.frame->removeAll(); // with the edit open
}

TEST(CGFrame, OffersClicksToTheHostAndTellsOfLostFocus)
{
    struct Callback final : host::iVSTFrameCallbackInterface {
        bool getControlTagAt(float x, float /*y*/, std::int32_t& tag) override
        {
            tag = 7;
            return x < 50;
        }
        bool frameMessage(std::int32_t message, std::int32_t tag, bool isSecondaryButton) override
        {
            text.append(std::to_string(message)).append(1, ':').append(std::to_string(tag));
            text.append(isSecondaryButton ? "r " : " ");
            return taken;
        }
        std::string text;
        bool taken = true;
    } callback;
    std::string log;
    platform::HeadlessWindow window(100, 100);
    const auto frame = Shared<CGFrame>::adopt(new CGFrame({0, 0, 100, 100}, &callback));
    frame->addView(new Probe({0, 0, 100, 100}, MouseResult::handled, log, 'a'));
    frame->open(window);
    window.getListener()->windowMouseDown(10, 10, kLButton);
    EXPECT_EQ(log, "");
    window.getListener()->windowMouseDown(60, 10, kLButton);
    window.getListener()->windowMouseUp(60, 10, kLButton);
    callback.taken = false;
    window.getListener()->windowMouseDown(20, 10, kRButton);
    EXPECT_EQ(log, "ad60 au60 ad20 ");
    EXPECT_EQ(frame->notify(nullptr, kMsgCheckIfViewContainer), CMessageResult::notified);
    auto* const edit = new CTextEdit({0, 0, 50, 20}, nullptr, 8);
    frame->addView(edit);
    frame->setFocusView(edit);
    EXPECT_EQ(callback.text, "0:7 0:7r ");
    window.getListener()->windowFocusChanged(false);
    EXPECT_EQ(callback.text, "0:7 0:7r 3:-1 ");
    frame->close();
}

} // namespace
