// Controls made of images, the splash screen, and drags from view to view, in a window in memory.

#include "CDragContainer.h"
#include "CKnob.h"
#include "CMenuView.h"
#include "CMovieBitmap.h"
#include "CSlider.h"
#include "CSplashScreen.h"
#include "CSwitch.h"
#include "CTextEdit.h"
#include "CVuMeter.h"
#include "OpenedFrame.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <set>

namespace {

using namespace sorvane;
using namespace sorvane::toolkit;
using namespace sorvane::test;

/// Does something when a value changes.
class Reaction final : public EditLog {
public:
    void valueChanged(CControl& control) override
    {
        EditLog::valueChanged(control);
        if (react)
            std::exchange(react, {})();
    }
    std::function<void()> react;
};

TEST(ImageStrip, FirstForTheLowestLastForTheHighest)
{
    for (const int count : {2, 3, 31, 128}) {
        EXPECT_EQ(imageAt(0.0F, count), 0);
        EXPECT_EQ(imageAt(1.0F, count), count - 1);
        for (int i = 0; i < count; ++i) // whatever rounding a position went through
            for (const float off : {-0.01F, 0.0F, 0.01F})
                EXPECT_EQ(imageAt((static_cast<float>(i) + off) / static_cast<float>(count - 1), count), i);
        for (const float low : {NAN, -1.0F, -std::numeric_limits<float>::infinity()})
            EXPECT_EQ(imageAt(low, count), 0);
        for (const float high : {1.5F, std::numeric_limits<float>::infinity()})
            EXPECT_EQ(imageAt(high, count), count - 1);
    }
    EXPECT_EQ(imageAt(1.0F, 0), 0);
    EXPECT_EQ(imageAt(1.0F, -4), 0);

    Opened opened;
    const auto images = numberedImages(20, 20, 5);
    // All of the bitmap, some of it, and more than it has; the height of the view, and one of its own.
    auto* const all = new CMovieBitmap({0, 0, 20, 20}, nullptr, 1, ImageStrip(), images.get());
    auto* const some = new CMovieBitmap({20, 0, 40, 40}, nullptr, 1, ImageStrip(20, 3), images.get());
    auto* const more = new CAnimKnob({40, 0, 60, 20}, nullptr, 1, ImageStrip(20, 90), images.get());
    auto* const none = new CMovieBitmap({60, 0, 80, 20}, nullptr, 1, ImageStrip(), nullptr);
    for (CControl* const control : {static_cast<CControl*>(all), static_cast<CControl*>(some),
                                    static_cast<CControl*>(more), static_cast<CControl*>(none)}) {
        control->setMin(-2.0F);
        control->setMax(2.0F);
        opened.frame->addView(control);
    }
    const auto expectShown = [&](float value, int ofAll, int ofSome, int ofMore) {
        for (CControl* const control :
             {static_cast<CControl*>(all), static_cast<CControl*>(some), static_cast<CControl*>(more)})
            control->setValue(value);
        EXPECT_EQ(shownAt(opened, 10, 19), ofAll) << value;
        EXPECT_EQ(shownAt(opened, 30, 19), ofSome) << value;
        EXPECT_EQ(shownAt(opened, 30, 21), -1); // not the image below
        EXPECT_EQ(shownAt(opened, 50, 10), ofMore) << value;
    };
    expectShown(-2.0F, 0, 0, 0);
    expectShown(2.0F, 4, 2, 4);
    expectShown(0.1F, 2, 1, 2);
    expectShown(NAN, 0, 0, 0);
    expectShown(900.0F, 4, 2, 4);
    all->setMax(-2.0F); // an empty range
    all->setValue(-2.0F);
    EXPECT_EQ(shownAt(opened, 10, 10), 0);
}

TEST(CKnob, TurnsAsTheFrameSays)
{
    EditLog log; // outlives the controls
    Opened opened;
    auto* const knob = new CKnob({50, 0, 150, 100}, &log, 1);
    opened.frame->addView(knob);
    const auto move = [&](int x, int y, int keys = 0) { opened.events().windowMouseMoved(x, y, kLButton | keys); };
    opened.events().windowMouseDown(100, 50, kLButton);
    move(100, -50); // 100 of 200
    EXPECT_FLOAT_EQ(knob->getValue(), 0.5F);
    move(100, -60, kShift);
    move(100, -80, kShift); // a tenth of 20, from where Shift came
    EXPECT_NEAR(knob->getValue(), 0.51F, 0.006F);
    move(100, -900, kShift);
    move(100, -60, kShift);
    EXPECT_NEAR(knob->getValue(), 0.5F, 0.001F); // out and back
    opened.events().windowMouseUp(100, -60, kLButton);
    EXPECT_EQ(log.take(), "b1 v1 v1 v1 v1 e1 ");

    opened.frame->setKnobMode(KnobMode::circular);
    opened.click(100, 5); // twelve o'clock
    EXPECT_FLOAT_EQ(knob->getValue(), 0.5F);
    opened.events().windowMouseDown(145, 50, kLButton); // three
    EXPECT_NEAR(knob->getValue(), 0.5F + 1.0F / 3.0F, 1e-5F);
    move(100, 95); // six, past the end
    EXPECT_EQ(knob->getValue(), 1.0F);
    move(55, 50); // nine: on over the end doesn't come out at the start
    EXPECT_EQ(knob->getValue(), 1.0F);
    move(100, 95);
    move(145, 50);
    EXPECT_NEAR(knob->getValue(), 0.5F + 1.0F / 3.0F, 1e-5F);
    opened.events().windowMouseUp(145, 50, kLButton);

    opened.events().windowMouseDown(100, 95, kLButton); // six: the end, though beyond it
    EXPECT_EQ(knob->getValue(), 1.0F);
    move(145, 50); // goes to where the mouse is
    EXPECT_NEAR(knob->getValue(), 0.5F + 1.0F / 3.0F, 1e-5F);
    opened.events().windowMouseUp(145, 50, kLButton);
    opened.events().windowMouseDown(100, 50, kLButton); // the middle is nowhere
    EXPECT_NEAR(knob->getValue(), 0.5F + 1.0F / 3.0F, 1e-5F);
    move(100, 5);
    EXPECT_NEAR(knob->getValue(), 0.5F, 1e-5F);
    move(100, 50);
    EXPECT_NEAR(knob->getValue(), 0.5F, 1e-5F);
    opened.events().windowMouseUp(100, 50, kLButton);

    opened.frame->setKnobMode(KnobMode::relativeCircular);
    knob->setValue(0.0F);
    opened.events().windowMouseDown(100, 5, kLButton);
    EXPECT_EQ(knob->getValue(), 0.0F);
    move(145, 50);
    EXPECT_NEAR(knob->getValue(), 1.0F / 3.0F, 1e-5F);
    opened.events().windowMouseUp(145, 50, kLButton);
    opened.click(100, 50, kLButton | kControl);
    EXPECT_FLOAT_EQ(knob->getValue(), 0.5F);
    opened.click(100, 50, kRButton);
    EXPECT_FALSE(knob->isTypeOf("CAnimKnob"));
    // The wheel while it is dragged: the drag goes on from there.
    opened.frame->setKnobMode(KnobMode::linear);
    opened.events().windowMouseDown(100, 50, kLButton);
    opened.events().windowWheel(100, 50, platform::WheelAxis::vertical, 1.0F, 0);
    move(100, 30);
    EXPECT_NEAR(knob->getValue(), 0.5F + 0.1F + 0.1F, 1e-5F);
    opened.events().windowMouseUp(100, 30, kLButton);
}

TEST(CSlider, TakesHandlePositionsAndEitherWay)
{
    Opened opened;
    const auto handle = numberedImages(10, 10, 1);
    auto* const slider = new CHorizontalSlider({0, 0, 100, 10}, nullptr, 1, handle.get());
    auto* const down = new CVerticalSlider({150, 0, 160, 90}, nullptr, 2, handle.get());
    opened.frame->addView(slider);
    opened.frame->addView(down);
    slider->setHandlePositions(20, 60);
    slider->setValue(1.0F);
    down->setInverted(true);
    EXPECT_EQ(shownAt(opened, 59, 5), -1);
    EXPECT_EQ(shownAt(opened, 60, 5), 0);
    EXPECT_EQ(shownAt(opened, 155, 5), 0); // the lowest at the top
    opened.events().windowMouseDown(65, 5, kLButton);
    opened.events().windowMouseMoved(45, 5, kLButton);
    EXPECT_FLOAT_EQ(slider->getValue(), 0.5F); // 20 of 40
    slider->setInverted(true);
    slider->setValue(1.0F);
    EXPECT_EQ(shownAt(opened, 20, 5), 0);
    opened.events().windowMouseUp(45, 5, kLButton);
    opened.events().windowMouseDown(155, 5, kLButton);
    opened.events().windowMouseMoved(155, 45, kLButton);
    EXPECT_FLOAT_EQ(down->getValue(), 0.5F);
    opened.events().windowMouseUp(155, 45, kLButton);
}

TEST(CSwitch, SetsThePositionUnderTheMouse)
{
    EditLog log; // outlives the controls
    Opened opened;
    const auto images = numberedImages(30, 30, 3);
    auto* const column = new CVerticalSwitch({0, 0, 30, 90}, &log, 1, ImageStrip(30), 3, images.get());
    auto* const row = new CHorizontalSwitch({40, 0, 140, 30}, &log, 2, ImageStrip(30), 5, images.get());
    auto* const bare = new CHorizontalSwitch({40, 40, 140, 70}, &log, 3, ImageStrip(), 0, nullptr);
    for (CView* const view : {static_cast<CView*>(column), static_cast<CView*>(row), static_cast<CView*>(bare)})
        opened.frame->addView(view);
    opened.events().windowMouseDown(5, 40, kLButton);
    EXPECT_EQ(column->getValue(), 0.5F);
    opened.events().windowMouseMoved(5, 400, kLButton);
    EXPECT_EQ(column->getValue(), 1.0F);
    EXPECT_EQ(shownAt(opened, 5, 10), 2);
    opened.events().windowMouseMoved(500, -400, kLButton);
    EXPECT_EQ(column->getValue(), 0.0F);
    opened.events().windowMouseMoved(5, 45, kLButton);
    opened.events().windowMouseUp(5, 45, kLButton);
    EXPECT_EQ(column->getValue(), 0.5F);
    EXPECT_EQ(log.take(), "b1 v1 v1 v1 v1 e1 ");
    opened.click(5, 45);
    EXPECT_EQ(log.take(), "b1 e1 ");
    opened.click(119, 5);
    EXPECT_EQ(row->getValue(), 0.75F);
    EXPECT_EQ(shownAt(opened, 50, 10), 2); // the nearest of three images
    row->setValue(0.6F);
    opened.events().windowWheel(50, 10, platform::WheelAxis::vertical, 1.0F, 0);
    EXPECT_FLOAT_EQ(row->getValue(), 0.75F);
    opened.events().windowWheel(50, 10, platform::WheelAxis::vertical, -1.0F, 0);
    EXPECT_FLOAT_EQ(row->getValue(), 0.5F);
    opened.click(60, 50); // without positions
    EXPECT_EQ(bare->getValue(), 0.0F);
}

TEST(CRockerSwitch, SpringsBack)
{
    Reaction log;
    Opened opened;
    const auto images = numberedImages(40, 20, 3);
    auto* const rocker =
        new CRockerSwitch({0, 0, 40, 20}, &log, 1, 0, images.get(), CRockerSwitch::Direction::horizontal);
    opened.frame->addView(rocker);
    EXPECT_EQ(shownAt(opened, 5, 5), 1);
    opened.events().windowMouseDown(30, 5, kLButton);
    EXPECT_EQ(shownAt(opened, 5, 5), 2);
    opened.events().windowMouseMoved(10, 5, kLButton); // the other half is another button
    EXPECT_EQ(shownAt(opened, 5, 5), 1);
    opened.events().windowMouseMoved(30, 5, kLButton);
    opened.events().windowMouseUp(30, 5, kLButton);
    EXPECT_EQ(rocker->getValue(), 0.5F);
    EXPECT_EQ(log.take(), "b1 v1 v1 v1 v1 e1 ");
    opened.events().windowWheel(5, 5, platform::WheelAxis::vertical, -1.0F, 0);
    EXPECT_EQ(rocker->getValue(), 0.5F);
    EXPECT_EQ(log.take(), "b1 v1 v1 e1 ");
    auto* const bipolar =
        new CRockerSwitch({50, 0, 90, 20}, nullptr, 2, 0, images.get(), CRockerSwitch::Direction::horizontal);
    bipolar->setMin(-1.0F);
    bipolar->setMax(1.0F);
    opened.frame->addView(bipolar);
    EXPECT_EQ(bipolar->getValue(), 0.0F);
    EXPECT_EQ(shownAt(opened, 55, 5), 1);
    log.react = [&] { opened.frame->removeView(*rocker); }; // which drops its last use
    opened.click(30, 5);
    EXPECT_EQ(log.take(), "b1 v1 v1 e1 ");
}

TEST(CMovieBitmap, AnimationPlaysUntilClicked)
{
    EditLog log; // outlives the controls
    Opened opened;
    const auto images = numberedImages(20, 20, 4);
    auto* const animation = new CAutoAnimation({0, 0, 20, 20}, &log, 1, ImageStrip(), images.get());
    opened.frame->addView(animation);
    EXPECT_EQ(shownAt(opened, 5, 5), -1);
    opened.click(5, 5);
    std::set<int> seen;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (seen.size() < 4 && std::chrono::steady_clock::now() < end) {
        seen.insert(shownAt(opened, 5, 5));
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    EXPECT_EQ(seen, (std::set{0, 1, 2, 3}));
    opened.click(5, 5);
    EXPECT_EQ(shownAt(opened, 5, 5), -1);
    EXPECT_FALSE(animation->isDirty());
    EXPECT_EQ(log.take(), "b1 v1 e1 b1 v1 e1 ");
}

TEST(CVuMeter, LightsLedsAndDigits)
{
    Opened opened;
    const auto on = Shared<CDIB>::adopt(new CDIB(100, 100, false));
    fill(*on, 0xFF000001U);
    auto* const meter =
        new CVuMeter({0, 0, 100, 10}, nullptr, 1, on.get(), nullptr, 10, CVuMeter::Direction::horizontal);
    auto* const column =
        new CVuMeter({110, 0, 120, 100}, nullptr, 1, on.get(), nullptr, 4, CVuMeter::Direction::vertical);
    auto* const digits = new CSpecialDigit({0, 20, 60, 40}, nullptr, 1, 3, 0, numberedImages(20, 20, 10).get());
    auto* const most = new CSpecialDigit({60, 50, 200, 70}, nullptr, 1, CSpecialDigit::kMostDigits, 0,
                                         numberedImages(20, 20, 10).get());
    auto* const endless = new CVuMeter({0, 90, 100, 100}, nullptr, 1, on.get(), nullptr,
                                       std::numeric_limits<int>::max(), CVuMeter::Direction::horizontal);
    for (CView* const view : {static_cast<CView*>(meter), static_cast<CView*>(column), static_cast<CView*>(digits),
                              static_cast<CView*>(most), static_cast<CView*>(endless)})
        opened.frame->addView(view);
    endless->setValue(0.5F);
    EXPECT_EQ(shownAt(opened, 48, 95), 0);
    EXPECT_EQ(shownAt(opened, 51, 95), -1);
    most->setMax(std::numeric_limits<float>::infinity());
    for (const auto& [value, shown] : {std::pair{7654321.0F, 7654321}, {3.0e38F, 9999999}, {6.0F, 6}}) {
        most->setValue(value);
        int number = 0;
        for (int x = 70; x < 200; x += 20)
            number = 10 * number + shownAt(opened, x, 55);
        EXPECT_EQ(number, shown);
    }
    for (const auto& [value, lit] : {std::pair{0.0F, 0}, {0.34F, 3}, {0.36F, 4}, {1.0F, 10}, {7.0F, 10}, {NAN, 0}}) {
        meter->setValue(value);
        EXPECT_EQ(meter->litLeds(), lit) << value;
        EXPECT_EQ(shownAt(opened, 10 * lit, 5), -1) << value;
        EXPECT_EQ(shownAt(opened, std::max(0, 10 * lit - 1), 5), lit > 0 ? 0 : -1) << value;
    }
    column->setValue(0.5F);
    EXPECT_EQ(shownAt(opened, 115, 49), -1);
    EXPECT_EQ(shownAt(opened, 115, 55), 0);
    for (const auto& [value, shown] : {std::pair{42.0F, 42}, {998.6F, 999}, {1.0e9F, 999}, {-5.0F, 0}, {NAN, 0}}) {
        digits->setValue(value);
        EXPECT_EQ(100 * shownAt(opened, 5, 25) + 10 * shownAt(opened, 25, 25) + shownAt(opened, 45, 25), shown);
    }
}

TEST(CSplashScreen, TakesAllUntilClicked)
{
    Reaction log;
    Opened opened;
    const auto image = numberedImages(40, 40, 1);
    const auto addSplash = [&](int tag, float left) {
        auto* const splash = new CSplashScreen({left, 0, left + 20, 20}, &log, tag, image.get(), {100, 50, 140, 90});
        opened.frame->addView(splash);
        return splash;
    };
    auto* const splash = addSplash(1, 0);
    auto* const other = addSplash(2, 30);
    EXPECT_EQ(shownAt(opened, 5, 5), -1);
    opened.click(5, 5);
    EXPECT_EQ(log.take(), "b1 v1 e1 ");
    EXPECT_EQ(splash->getValue(), 1.0F);
    EXPECT_EQ(shownAt(opened, 120, 70), 0);
    opened.click(35, 5); // on the other, which it keeps away
    EXPECT_EQ(log.take(), "b1 v1 e1 ");
    EXPECT_FALSE(splash->isOpen() || other->isOpen());
    EXPECT_EQ(shownAt(opened, 120, 70), -1);

    splash->splash();
    splash->splash();
    EXPECT_TRUE(opened.key(Key::left));
    EXPECT_TRUE(splash->isOpen());
    opened.key(Key::escape);
    EXPECT_FALSE(splash->isOpen());
    EXPECT_EQ(log.take(), "b1 v1 e1 b1 v1 e1 ");
    // Another modal view in its place.
    splash->splash();
    other->splash();
    EXPECT_FALSE(splash->isOpen());
    EXPECT_EQ(splash->getValue(), 0.0F);
    EXPECT_EQ(log.take(), "b1 v1 e1 b1 v1 e1 b2 v2 e2 ");
    // Without an image nothing would tell that it takes all events.
    auto* const bare = new CSplashScreen({150, 0, 170, 20}, &log, 5, nullptr, {100, 50, 140, 90});
    opened.frame->addView(bare);
    bare->splash();
    EXPECT_FALSE(bare->isOpen());
    // The control goes while it is open, and as it opens.
    opened.frame->removeView(*other);
    EXPECT_EQ(opened.frame->getModalView(), nullptr);
    EXPECT_EQ(log.take(), "b2 v2 e2 ");
    log.react = [&] { opened.frame->removeView(*splash); };
    opened.click(5, 5);
    EXPECT_EQ(opened.frame->getModalView(), nullptr);
    EXPECT_EQ(log.take(), "b1 v1 v1 e1 ");
    // Its opening takes away the one that opens.
    auto* const first = addSplash(3, 60);
    auto* const second = addSplash(4, 90);
    first->splash();
    log.react = [&] { opened.frame->removeView(*second); };
    second->splash();
    if (opened.frame->getModalView() != nullptr)
        opened.click(5, 5);
    EXPECT_EQ(opened.frame->getModalView(), nullptr);
}

/// Drags its name from a press, and notes what is dragged over it.
class DragView final : public CViewContainer {
public:
    DragView(const CRect& viewRect, char viewName, bool takesDrops, std::string& log)
        : CViewContainer(viewRect), name(viewName), takes(takesDrops), text(log)
    {}
    MouseResult onMouseDown(CPoint, int) override
    {
        auto* const source = new CDropSource;
        source->add(DragItem::Kind::text, std::string("from ") + name);
        getFrame()->startDrag(source);
        return MouseResult::handled; // and waits for the release
    }
    MouseResult onMouseUp(CPoint, int) override
    {
        note('u', {});
        return MouseResult::handled;
    }
    void onDragEnter(const CDragContainer&, CPoint where) override
    {
        note('+', where);
        if (entered)
            std::exchange(entered, {})();
    }
    void onDragMove(const CDragContainer&, CPoint where) override { note('m', where); }
    void onDragLeave(const CDragContainer&, CPoint where) override { note('-', where); }
    bool onDrop(const CDragContainer& dragged, CPoint where) override
    {
        note('d', where);
        EXPECT_NE(dragged.first(DragItem::Kind::text), nullptr);
        EXPECT_EQ(dragged.first(DragItem::Kind::file), nullptr);
        return takes;
    }
    bool onKeyUp(const KeyPress&) override
    {
        note('k', {});
        return true;
    }

    std::function<void()> entered;

private:
    void note(char event, CPoint where)
    {
        text.append({name, event}).append(std::to_string(static_cast<int>(where.x))).append(1, ' ');
    }
    char name;
    bool takes;
    std::string& text;
};

TEST(CFrame, DragsFromViewToView)
{
    std::string log;
    Opened opened;
    const auto logged = [&] { return std::exchange(log, {}); };
    const auto move = [&](int x) { opened.events().windowMouseMoved(x, 10, kLButton); };
    const auto release = [&](int x) { opened.events().windowMouseUp(x, 10, kLButton); };
    auto* const source = new DragView({0, 0, 20, 100}, 's', false, log);
    auto* const around = new DragView({40, 0, 100, 100}, 'a', true, log);
    auto* const within = new DragView({20, 0, 40, 100}, 'w', false, log);
    around->addView(within);
    auto* const edit = new CTextEdit({120, 0, 200, 100}, nullptr, 1);
    for (CView* const view : {static_cast<CView*>(source), static_cast<CView*>(around), static_cast<CView*>(edit)})
        opened.frame->addView(view);

    opened.events().windowMouseDown(10, 10, kLButton);
    EXPECT_TRUE(opened.frame->isDragging());
    EXPECT_EQ(opened.window.getCursor(), CursorShape::hand);
    move(45);
    move(65);
    move(70);
    EXPECT_EQ(logged(), "a+45 am45 a-65 w+25 wm25 wm30 ");
    release(70); // refused within, taken around
    EXPECT_EQ(logged(), "su0 wm30 wd30 ad70 ");
    EXPECT_EQ(opened.window.getCursor(), CursorShape::arrow);
    release(70);
    move(45);
    EXPECT_EQ(logged(), "");
    // Given up, and let go outside.
    opened.events().windowMouseDown(10, 10, kLButton);
    move(45);
    EXPECT_TRUE(opened.key(Key::escape));
    release(45);
    EXPECT_EQ(logged(), "a+45 am45 a-45 su0 ");
    opened.events().windowMouseDown(10, 10, kLButton);
    move(45);
    release(900);
    EXPECT_EQ(logged(), "a+45 am45 su0 a-900 ");
    // Presses of other buttons count for nothing, also when the view doesn't wait for the release.
    auto* const fromKey = new CDropSource;
    fromKey->add(DragItem::Kind::text, "x");
    opened.frame->startDrag(fromKey);
    opened.events().windowMouseDown(45, 10, kLButton | kRButton);
    opened.events().windowMouseUp(45, 10, kLButton | kRButton);
    EXPECT_TRUE(opened.frame->isDragging());
    release(45);
    EXPECT_EQ(logged(), "a+45 am45 ad45 ");
    // Nothing behind a modal view is told.
    opened.frame->setModalView(new DragView({60, 0, 80, 20}, 'm', true, log));
    opened.events().windowMouseDown(65, 10, kLButton);
    move(45);
    move(65);
    release(65);
    EXPECT_EQ(logged(), "m+65 mm65 mu0 mm65 md65 ");
    opened.frame->endModal();
    // A text edit takes it for the user to confirm.
    opened.events().windowMouseDown(10, 10, kLButton);
    release(150);
    EXPECT_TRUE(edit->isEditing());
    EXPECT_EQ(edit->getText(), "");
    opened.key(Key::enter);
    EXPECT_EQ(edit->getText(), "from s");
    logged();
    opened.frame->setFocusView(around);
    EXPECT_TRUE(opened.events().windowKeyUp({Key::left, 0, 0}));
    EXPECT_EQ(logged(), "ak0 ");
    // Views that go when something comes over them, and while it is over them.
    opened.events().windowMouseDown(10, 10, kLButton);
    within->entered = [&] { around->removeView(*within); };
    move(65);
    move(66);
    around->entered = [&] { opened.frame->close(); };
    opened.frame->removeView(*source);
    opened.frame->startDrag(nullptr);
    EXPECT_FALSE(opened.frame->isDragging());
    auto* const last = new CDropSource;
    opened.frame->startDrag(last);
    opened.events().windowMouseMoved(10, 10, kLButton);
    move(65);
    EXPECT_FALSE(opened.frame->isDragging());
}

TEST(COptionMenu, ShowsWhetherItIsOpen)
{
    Opened opened;
    const auto closed = numberedImages(20, 10, 1);
    const auto open = numberedImages(20, 5, 2);
    auto* const menu = new COptionMenu({0, 0, 20, 10}, nullptr, 1);
    menu->setBackground(closed.get());
    menu->setOpenBackground(open.get());
    menu->addEntry("");
    opened.frame->addView(menu);
    EXPECT_EQ(shownAt(opened, 5, 7), 0);
    menu->popup({0, 60, 20, 70});
    EXPECT_EQ(shownAt(opened, 5, 7), 1);
    opened.key(Key::escape);
    EXPECT_EQ(shownAt(opened, 5, 7), 0);
}

} // namespace
