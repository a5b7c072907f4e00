// What controls tell of their edits, whatever happens meanwhile.

#include "CKickButton.h"
#include "CKnob.h"
#include "CMovieBitmap.h"
#include "CSlider.h"
#include "CSplashScreen.h"
#include "CSwitch.h"
#include "CVuMeter.h"
#include "OpenedFrame.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <limits>
#include <vector>

namespace {

using namespace sorvane;
using namespace sorvane::toolkit;
using namespace sorvane::test;

/// Does something at the call of that number, whichever it is.
class NthReaction final : public EditLog {
public:
    void valueChanged(CControl& control) override
    {
        EditLog::valueChanged(control);
        count();
    }
    void controlBeginEdit(CControl& control) override
    {
        EditLog::controlBeginEdit(control);
        count();
    }
    void controlEndEdit(CControl& control) override
    {
        EditLog::controlEndEdit(control);
        count();
    }
    std::function<void()> react;
    int callsLeft = 0;

private:
    void count()
    {
        if (--callsLeft == 0)
            react();
    }
};

/// Whether each begin has its end, and each value lies between them.
bool isWhole(const std::string& log)
{
    bool open = false;
    for (std::size_t i = 0; i < log.size(); i += 3) {
        if (open == (log[i] == 'b'))
            return false;
        open = log[i] != 'e';
    }
    return !open;
}

using MakeControl = CControl* (*)(CControlListener* listener, CBitmap* images);

/// One of each that takes the mouse, at {0, 0, 40, 40}.
constexpr CRect kPlace{0, 0, 40, 40};
const std::array<MakeControl, 10> kControls{
    [](CControlListener* listener, CBitmap*) -> CControl* { return new CKnob(kPlace, listener, 1); },
    [](CControlListener* listener, CBitmap* images) -> CControl* {
        return new CAnimKnob(kPlace, listener, 1, ImageStrip(), images);
    },
    [](CControlListener* listener, CBitmap*) -> CControl* { return new CVerticalSlider(kPlace, listener, 1); },
    [](CControlListener* listener, CBitmap* images) -> CControl* {
        return new CVerticalSwitch(kPlace, listener, 1, ImageStrip(), 0, images);
    },
    [](CControlListener* listener, CBitmap* images) -> CControl* {
        return new CRockerSwitch(kPlace, listener, 1, 0, images, CRockerSwitch::Direction::vertical);
    },
    [](CControlListener* listener, CBitmap* images) -> CControl* {
        return new CKickButton(kPlace, listener, 1, 0, images);
    },
    [](CControlListener* listener, CBitmap* images) -> CControl* {
        return new COnOffButton(kPlace, listener, 1, 0, images);
    },
    [](CControlListener* listener, CBitmap* images) -> CControl* {
        return new CMovieButton(kPlace, listener, 1, 0, images);
    },
    [](CControlListener* listener, CBitmap* images) -> CControl* {
        return new CAutoAnimation(kPlace, listener, 1, ImageStrip(), images);
    },
    [](CControlListener* listener, CBitmap* images) -> CControl* {
        return new CSplashScreen(kPlace, listener, 1, images, {100, 50, 140, 90});
    }};

/// A press with a drag, wheel steps, another button, a click for the default.
void useControl(Opened& opened)
{
    const auto event = [&](void (platform::WindowListener::*send)(int, int, int), int y, int buttons) {
        if (opened.window.getListener() != nullptr)
            (opened.events().*send)(20, y, buttons);
    };
    const auto wheel = [&](float distance) {
        if (opened.window.getListener() != nullptr)
            opened.events().windowWheel(20, 20, platform::WheelAxis::vertical, distance, 0);
    };
    using Events = platform::WindowListener;
    event(&Events::windowMouseDown, 2, kLButton);
    event(&Events::windowMouseMoved, 38, kLButton);
    wheel(-1.0F);
    event(&Events::windowMouseDown, 38, kLButton | kRButton);
    event(&Events::windowMouseUp, 38, kLButton | kRButton);
    event(&Events::windowMouseMoved, 10, kLButton);
    event(&Events::windowMouseUp, 10, kLButton);
    event(&Events::windowMouseMoved, 30, 0);
    wheel(1.0F);
    wheel(-1.0F);
    event(&Events::windowMouseDown, 20, kRButton);
    event(&Events::windowMouseUp, 20, kRButton);
    event(&Events::windowMouseDown, 20, kLButton | kControl);
    event(&Events::windowMouseUp, 20, kLButton | kControl);
}

TEST(CControl, EditsAreWholeWhateverTheListenerTakesAway)
{
    const auto images = numberedImages(40, 40, 3);
    for (std::size_t kind = 0; kind < kControls.size(); ++kind)
        for (const char act : {'n', 'r', 'p', 'c', 'd'}) // nothing, remove, put elsewhere, close, delete the frame
            for (int call = 1; call < (act == 'n' ? 2 : 12); ++call) {
                NthReaction log; // outlives the controls
                Opened opened;
                opened.frame->setKnobMode(KnobMode::circular);
                CControl* const control = kControls[kind](&log, images.get());
                control->setDefaultValue(0.25F);
                opened.frame->addView(control);
                log.callsLeft = call;
                log.react = [&] {
                    const Shared<CView> kept(control);
                    if (act == 'r' || act == 'p')
                        opened.frame->removeView(*control);
                    if (act == 'p') {
                        control->remember();
                        opened.frame->addView(control);
                    }
                    if (act == 'c')
                        opened.frame->close();
                    if (act == 'd')
                        opened.frame = {};
                };
                useControl(opened);
                if (opened.frame)
                    opened.frame->close();
                const std::string told = log.take();
                EXPECT_TRUE(isWhole(told)) << kind << act << call << ": " << told;
                EXPECT_FALSE(told.empty()) << kind;
            }
}

TEST(CControl, LeavesNoPressBehind)
{
    const auto images = numberedImages(40, 40, 3);
    for (std::size_t kind = 0; kind < kControls.size(); ++kind) {
        EditLog log; // outlives the controls
        Opened opened;
        const Shared<CControl> control(kControls[kind](&log, images.get()));
        opened.frame->addView(control.get());
        const float before = control->getValue();
        // A drag from elsewhere comes over it.
        opened.events().windowMouseDown(150, 20, kLButton);
        opened.events().windowMouseMoved(20, 20, kLButton);
        opened.events().windowMouseMoved(20, 30, kLButton);
        opened.events().windowMouseUp(20, 30, kLButton);
        EXPECT_EQ(control->getValue(), before) << kind;
        EXPECT_EQ(log.take(), "") << kind;
        // It leaves while pressed, and comes back.
        opened.events().windowMouseDown(20, 30, kLButton);
        opened.frame->removeView(*control);
        EXPECT_TRUE(isWhole(log.take())) << kind;
        const float left = control->getValue();
        control->remember();
        opened.frame->addView(control.get());
        opened.events().windowMouseMoved(20, 10, kLButton);
        opened.events().windowMouseUp(20, 10, kLButton);
        EXPECT_EQ(control->getValue(), left) << kind;
        EXPECT_EQ(log.take(), "") << kind;
    }
    // Buttons that are on only while pressed, or only when released on, don't stay so.
    for (const bool closes : {false, true}) {
        EditLog log;
        Opened opened;
        const Shared<CControl> kick(new CKickButton({0, 0, 20, 20}, &log, 1, 0, nullptr));
        const Shared<CControl> movie(new CMovieButton({20, 0, 40, 20}, &log, 2, 0, nullptr));
        for (const Shared<CControl>& button : {kick, movie}) {
            opened.frame->addView(button.get());
            opened.events().windowMouseDown(button->getTag() == 2 ? 30 : 10, 10, kLButton);
            if (closes)
                opened.events().windowClosed();
            else
                opened.frame->removeView(*button);
            EXPECT_EQ(button->getValue(), 0.0F) << button->getTag();
            EXPECT_EQ(log.take(), button->getTag() == 2 ? "b2 e2 " : "b1 v1 v1 e1 ");
            if (closes)
                opened.frame->open(opened.window);
        }
    }
}

TEST(CControl, ReachesTheEndsOfAnyRange)
{
    constexpr float kHuge = std::numeric_limits<float>::max();
    for (const auto& [low, high] :
         {std::pair{-0.1F, 0.7F}, {-7.3F, 0.1F}, {1.0e-3F, 3.3F}, {-kHuge, kHuge}, {5.0F, 5.0F}}) {
        Opened opened;
        const auto images = numberedImages(40, 40, 2);
        auto* const control = new CVerticalSwitch(kPlace, nullptr, 1, ImageStrip(), 2, images.get());
        control->setMin(low);
        control->setMax(high);
        control->setValue(low);
        opened.frame->addView(control);
        opened.click(20, 38);
        EXPECT_EQ(control->getValue(), high) << low;
        EXPECT_EQ(shownAt(opened, 20, 20), high > low ? 1 : 0) << low;
        opened.events().windowWheel(20, 20, platform::WheelAxis::vertical, -1.0F, 0);
        EXPECT_EQ(control->getValue(), low);
        opened.events().windowWheel(20, 20, platform::WheelAxis::vertical, 1.0F, 0);
        EXPECT_EQ(control->getValue(), high) << low;
    }
}

/// As when a resource can't be read.
TEST(CControl, WithoutAnImageShowsNothingAndGoesOn)
{
    std::vector<MakeControl> controls(kControls.begin(), kControls.end());
    controls.push_back([](CControlListener* listener, CBitmap* images) -> CControl* {
        return new CMovieBitmap(kPlace, listener, 1, ImageStrip(), images);
    });
    controls.push_back([](CControlListener* listener, CBitmap* images) -> CControl* {
        return new CSpecialDigit(kPlace, listener, 1, 3, 0, images);
    });
    controls.push_back([](CControlListener* listener, CBitmap* images) -> CControl* {
        return new CVuMeter(kPlace, listener, 1, images, images, 8, CVuMeter::Direction::vertical);
    });
    int drawnByThemselves = 0;
    for (const MakeControl make : controls) {
        EditLog log; // outlives the controls
        Opened opened;
        opened.frame->idle();
        const auto empty = opened.window.getPicture();
        CControl* const control = make(&log, nullptr);
        opened.frame->addView(control);
        opened.frame->idle();
        drawnByThemselves += opened.window.getPicture() == empty ? 0 : 1;
        control->setValue(0.75F);
        useControl(opened);
        opened.frame->idle();
        opened.frame->close();
        EXPECT_TRUE(isWhole(log.take()));
    }
    EXPECT_EQ(drawnByThemselves, 1) << "only a knob has a handle without an image";
}

} // namespace
