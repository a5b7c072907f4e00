// Windows on an X server: what a user does reaches the listener, what is presented is seen, and whatever the host or the
// server does to the window leaves the process as it was.

#include "CFrame.h"
#include "COptionMenu.h"
#include "CTextEdit.h"
#include "NativeWindow.h"
#include "TestDisplay.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <iterator>
#include <string>
#include <thread>

#include <X11/Xlib.h>
#include <X11/Xutil.h>
// A macro whose name is ours too.
#undef CursorShape

namespace {

using namespace sorvane;
using namespace sorvane::toolkit;
using platform::NativeWindow;

int hostErrors = 0;

/// The host: a connection and a window of its own, and handlers that nothing else may reach.
class Host {
public:
    Host() : display(XOpenDisplay(nullptr))
    {
        hostErrors = 0;
        before = XSetErrorHandler([](Display*, XErrorEvent*) { return ++hostErrors; });
        parent = XCreateSimpleWindow(display, XDefaultRootWindow(display), 0, 0, 300, 200, 0, 0, 0);
        XMapWindow(display, parent);
        XSync(display, False);
    }
    ~Host()
    {
        XSetErrorHandler(before);
        if (display != nullptr)
            XCloseDisplay(display);
    }
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    void destroyParent()
    {
        XDestroyWindow(display, parent);
        XSync(display, False);
    }
    [[nodiscard]] unsigned long pixelAt(int x, int y) const
    {
        XImage* const image = XGetImage(display, parent, x, y, 1, 1, AllPlanes, ZPixmap);
        if (image == nullptr)
            return ~0UL;
        const unsigned long pixel = XGetPixel(image, 0, 0) & 0xFFFFFF;
        XDestroyImage(image);
        return pixel;
    }

    Display* display;
    ::Window parent = 0;

private:
    XErrorHandler before = nullptr;
};

/// A frame in a host's window, run by hand.
struct Embedded {
    explicit Embedded(std::uintptr_t parent)
    {
        NativeWindow::Request request;
        request.parent = parent;
        request.width = 200;
        request.height = 100;
        window = NativeWindow::open(request);
        constexpr CRect size{0, 0, 200, 100};
        frame = Shared<CFrame>::adopt(new CFrame(size));
        frame->setBackgroundColor({10, 20, 30, 255});
        if (window)
            frame->open(*window);
    }
    ~Embedded() { frame->close(); }
    Embedded(const Embedded&) = delete;
    Embedded& operator=(const Embedded&) = delete;

    /// Runs until \p done, or three seconds.
    template <typename Done>
    bool runUntil(Done done)
    {
        for (int i = 0; i < 600; ++i) {
            window->awaitEvents(5);
            window->processEvents();
            frame->idle();
            if (done())
                return true;
        }
        return false;
    }

    std::unique_ptr<NativeWindow> window;
    Shared<CFrame> frame;
};

std::ptrdiff_t entriesOf(const char* folder)
{
    return std::distance(std::filesystem::directory_iterator(folder), {});
}

TEST(NativeWindow, TellsOfWhatTheUserDoesAndShowsIt)
{
    const test::TestDisplay server;
    ASSERT_TRUE(server.isRunning()) << "needs Xvfb";
    const Host host;
    struct Notes final : CControlListener {
        void valueChanged(CControl& control) override { tag = control.getTag(); }
        int tag = 0;
    } notes;
    struct Pad final : CView {
        explicit Pad() : CView({0, 0, 200, 40}) {}
        MouseResult onMouseDown(CPoint, int buttons) override
        {
            text.append(1, 'd').append(std::to_string(buttons)).append(1, ' ');
            return MouseResult::handled;
        }
        MouseResult onMouseMoved(CPoint where, int buttons) override
        {
            if (buttons != 0 && where.x > 200)
                outside = true;
            return MouseResult::handled;
        }
        MouseResult onMouseUp(CPoint, int buttons) override
        {
            text.append(1, 'u').append(std::to_string(buttons)).append(1, ' ');
            return MouseResult::handled;
        }
        bool onWheel(CPoint, WheelAxis axis, float distance, int) override
        {
            text.append(1, axis == WheelAxis::vertical ? 'v' : 'h').append(distance > 0 ? "+ " : "- ");
            return true;
        }
        std::string text;
        bool outside = false;
    };
    Embedded embedded(host.parent);
    ASSERT_TRUE(embedded.window);
    auto* const pad = new Pad;
    auto* const menu = new COptionMenu({0, 40, 100, 60}, &notes, 1);
    menu->addEntry("A");
    menu->addEntry("B");
    auto* const edit = new CTextEdit({100, 40, 200, 60}, &notes, 2);
    for (CView* const view : {static_cast<CView*>(pad), static_cast<CView*>(menu), static_cast<CView*>(edit)})
        embedded.frame->addView(view);
    const auto act = [](const std::string& words) { ASSERT_TRUE(test::TestDisplay::act(words)) << words; };

    ASSERT_TRUE(embedded.runUntil([&] { return host.pixelAt(5, 95) == 0x0A141E; }));
    act("mousemove 10 10 click --repeat 2 --delay 50 1 click 3");
    EXPECT_TRUE(embedded.runUntil([&] { return pad->text == "d2 u2 d1026 u2 d8 u8 "; })) << pad->text;
    pad->text.clear();
    act("mousemove 10 10 click 4 click 5 click 6 click 7 keydown shift click 2 keyup shift");
    EXPECT_TRUE(embedded.runUntil([&] { return pad->text == "v+ v- h+ h- d20 u20 "; })) << pad->text;
    pad->text.clear();
    act("mousedown 1 mousemove 250 150");
    EXPECT_TRUE(embedded.runUntil([&] { return pad->outside; }));
    act("mouseup 1");
    EXPECT_TRUE(embedded.runUntil([&] { return pad->text == "d2 u2 "; })) << pad->text;

    act("mousemove 150 50 click 1");
    ASSERT_TRUE(embedded.runUntil([&] { return edit->isEditing(); }));
    act("type 'ab1'");
    act("key shift+Left ctrl+x End ctrl+v ctrl+v Return");
    EXPECT_TRUE(embedded.runUntil([&] { return edit->getText() == "ab11"; })) << edit->getText();
    act("mousemove 50 50 click 1");
    ASSERT_TRUE(embedded.runUntil([&] { return embedded.frame->getModalView() != nullptr; }));
    act("mousemove 150 50 click 1"); // lets the keyboard go to the menu when none was focused
    embedded.runUntil([&] { return embedded.frame->getModalView() == nullptr; });
    embedded.frame->setCursor(CursorShape::horizontalResize);
    embedded.frame->showPointer(false);
    embedded.frame->setMousePosition({33, 22});
    EXPECT_TRUE(embedded.runUntil([&] { return embedded.frame->getMousePosition() == CPoint{33, 22}; }));
    EXPECT_EQ(embedded.window->getDpi(), 96.0);
    EXPECT_EQ(hostErrors, 0);
}

TEST(NativeWindow, OutlivesItsParentAndItsServer)
{
    auto server = std::make_unique<test::TestDisplay>();
    ASSERT_TRUE(server->isRunning()) << "needs Xvfb";
    {
        Host host;
        Embedded embedded(host.parent);
        ASSERT_TRUE(embedded.window);
        host.destroyParent();
        // Before the news of it is read.
        embedded.frame->setSize(150, 80);
        embedded.frame->setCursor(CursorShape::hand);
        embedded.frame->idle();
        EXPECT_TRUE(embedded.runUntil([&] { return embedded.frame->isClosed(); }));
        embedded.frame->idle();
        EXPECT_EQ(NativeWindow::open({host.parent, 10, 10, ""}), nullptr); // of a parent that has gone
        EXPECT_EQ(hostErrors, 0);
    }
    // A lost connection ends the process unless its handler for that, which is the host's, returns.
    const XIOErrorHandler before = XSetIOErrorHandler([](Display*) { return 0; });
    Embedded embedded(0);
    ASSERT_TRUE(embedded.window);
    server->stop();
    EXPECT_TRUE(embedded.runUntil([&] { return embedded.frame->isClosed(); }));
    embedded.window->resize(20, 20);
    EXPECT_EQ(NativeWindow::open({0, 10, 10, ""}), nullptr);
    XSetIOErrorHandler(before);
}

TEST(NativeWindow, LeavesNothingBehind)
{
    const test::TestDisplay server;
    ASSERT_TRUE(server.isRunning()) << "needs Xvfb";
    const Host host;
    std::ptrdiff_t files = 0;
    std::ptrdiff_t threads = 0;
    for (int i = 0; i < 1000; ++i) {
        Embedded embedded(host.parent);
        ASSERT_TRUE(embedded.window);
        embedded.frame->addView(new COptionMenu({0, 0, 100, 20}, nullptr, 1));
        embedded.frame->showPointer(false);
        embedded.window->processEvents();
        embedded.frame->idle();
        if (i == 3) {
            files = entriesOf("/proc/self/fd");
            threads = entriesOf("/proc/self/task");
        }
        if (i == 999) {
            EXPECT_EQ(entriesOf("/proc/self/fd"), files);
            EXPECT_EQ(entriesOf("/proc/self/task"), threads);
        }
    }
    EXPECT_EQ(hostErrors, 0);
}

} // namespace
