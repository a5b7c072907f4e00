// Windows on an X server: what a user does reaches the listener, what is presented is seen, and whatever the host or
// the server does to the window leaves the process as it was.

#include "CFileSelector.h"
#include "CFrame.h"
#include "CMessageBox.h"
#include "COptionMenu.h"
#include "CSlider.h"
#include "CTextEdit.h"
#include "NativeWindow.h"
#include "TestDisplay.h"
#include "TestFolder.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/keysym.h>
// Macros whose names are ours too.
#undef CursorShape
#undef KeyPress

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

/// Of shared memory, made by this process.
std::ptrdiff_t sharedSegments()
{
    std::ifstream list("/proc/sysvipc/shm");
    std::ptrdiff_t count = 0;
    for (std::string line; std::getline(list, line);)
        count += line.find(' ' + std::to_string(::getpid()) + ' ') != std::string::npos ? 1 : 0;
    return count;
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
    auto* const more = new COptionMenu({}, nullptr, 3);
    more->addEntry("C");
    more->addEntry("D");
    menu->addSubMenu("B", more);
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
    const auto isOpen = [&] { return embedded.frame->getModalView() != nullptr; };
    act("mousemove 50 50 click 1");
    ASSERT_TRUE(embedded.runUntil(isOpen));
    act("mousemove 150 5 click 1"); // beside it
    ASSERT_TRUE(embedded.runUntil([&] { return !isOpen(); }));
    act("mousemove 50 50 click 1");
    ASSERT_TRUE(embedded.runUntil(isOpen));
    act("key Up Right Down Return"); // round to the last item, into its menu
    EXPECT_TRUE(embedded.runUntil([&] { return notes.tag == 3; }));
    EXPECT_EQ(more->getCurrent(), 1);
    act("mousemove 50 50 mousedown 1");
    ASSERT_TRUE(embedded.runUntil(isOpen));
    notes.tag = 0;
    act("mousemove 30 90"); // dragged to the last item, whose menu opens beside it
    embedded.runUntil([&] { return embedded.frame->getMousePosition() == CPoint{30, 90}; });
    act("mousemove 80 70 mouseup 1");
    EXPECT_TRUE(embedded.runUntil([&] { return notes.tag == 3 && !isOpen(); }));
    EXPECT_EQ(more->getCurrent(), 0);
    embedded.frame->setCursor(CursorShape::horizontalResize);
    embedded.frame->showPointer(false);
    embedded.frame->setMousePosition({33, 22});
    EXPECT_TRUE(embedded.runUntil([&] { return embedded.frame->getMousePosition() == CPoint{33, 22}; }));
    EXPECT_EQ(embedded.window->getDpi(), 96.0);
    const std::string resources = "Xft.antialias:\t1\nXft.dpi:\t144\n";
    XChangeProperty(host.display, XDefaultRootWindow(host.display), XA_RESOURCE_MANAGER, XA_STRING, 8, PropModeReplace,
                    reinterpret_cast<const unsigned char*>(resources.data()), static_cast<int>(resources.size()));
    XSync(host.display, False);
    EXPECT_EQ(NativeWindow::open({host.parent, 10, 10, ""})->getDpi(), 144.0);
    EXPECT_EQ(hostErrors, 0);
}

/// Counts keys that go down and up.
class KeyPad final : public CView {
public:
    using CView::CView;
    bool onKeyDown(const KeyPress&) override { return ++downs > 0; }
    bool onKeyUp(const KeyPress& key) override
    {
        let.append(1, key.key == Key::character ? static_cast<char>(key.character) : '?');
        return true;
    }
    int downs = 0;
    std::string let;
};

TEST(NativeWindow, TellsOnceThatAHeldKeyIsLetGo)
{
    const test::TestDisplay server;
    ASSERT_TRUE(server.isRunning()) << "needs Xvfb";
    const Host host;
    Embedded embedded(host.parent);
    ASSERT_NE(embedded.window, nullptr);
    auto* const pad = new KeyPad({0, 0, 200, 100});
    embedded.frame->addView(pad);
    ASSERT_TRUE(embedded.runUntil([&] { return host.pixelAt(5, 95) == 0x0A141E; }));
    embedded.frame->setFocusView(pad);
    ASSERT_TRUE(test::TestDisplay::act("mousemove 10 10 keydown a sleep 1 keyup a key Left"));
    EXPECT_TRUE(embedded.runUntil([&] { return pad->let == "a?"; })) << pad->let;
    EXPECT_GT(pad->downs, 3); // it repeats
}

/// What a program prints, read without waiting for it.
class Output {
public:
    explicit Output(const std::string& command) : pipe(::popen(command.c_str(), "r"))
    {
        ::fcntl(::fileno(pipe), F_SETFL, O_NONBLOCK);
    }
    ~Output() { ::pclose(pipe); }
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    const std::string& read()
    {
        std::array<char, 256> part;
        for (ssize_t got = 0; (got = ::read(::fileno(pipe), part.data(), part.size())) > 0;)
            text.append(part.data(), static_cast<std::size_t>(got));
        return text;
    }

private:
    std::FILE* pipe;
    std::string text;
};

TEST(NativeWindow, SharesTheClipboardWithOtherPrograms)
{
    const test::TestDisplay server;
    ASSERT_TRUE(server.isRunning()) << "needs Xvfb";
    const Host host;
    Embedded embedded(host.parent);
    ASSERT_TRUE(embedded.window);
    auto* const edit = new CTextEdit({0, 0, 200, 20}, nullptr, 1);
    embedded.frame->addView(edit);
    const auto paste = [&](const std::string& expected) {
        edit->setText("");
        ASSERT_TRUE(test::TestDisplay::act("mousemove 50 10 click 1 sleep 0.05 key ctrl+v sleep 0.05 key End"));
        embedded.runUntil([&] { return edit->isEditing(); });
        embedded.runUntil([&] {
            if (edit->getText() != expected)
                test::TestDisplay::act("key Return mousemove 50 10 click 1 sleep 0.02 key ctrl+a ctrl+v sleep 0.02");
            return edit->getText() == expected;
        });
        EXPECT_EQ(edit->getText(), expected);
    };
    const auto runs = [](const std::string& command) { return std::system(command.c_str()) == 0; };
    ASSERT_TRUE(runs("printf 'gr\303\274n\342\202\254' | xclip -selection clipboard")) << "needs xclip";
    paste("gr\xC3\xBCn\xE2\x82\xAC");
    ASSERT_TRUE(runs("printf 'gr\374n' | xclip -selection clipboard -target STRING"));
    paste("gr\xC3\xBCn");
    embedded.window->setClipboard("n\xC3\xA4t \xE2\x82\xAC");
    for (const auto& form : {std::pair{"UTF8_STRING", "n\xC3\xA4t \xE2\x82\xAC"}, std::pair{"STRING", "n\xE4t ?"}}) {
        Output other(std::string("xclip -selection clipboard -out -target ").append(form.first));
        EXPECT_TRUE(embedded.runUntil([&] { return other.read() == form.second; })) << other.read();
    }
    EXPECT_EQ(hostErrors, 0);
}

TEST(NativeWindow, ComposesWhatIsTyped)
{
    const test::TestDisplay server;
    ASSERT_TRUE(server.isRunning()) << "needs Xvfb";
    const test::ScopedVariable locale("LC_ALL", "en_US.UTF-8");
    const Host host;
    Embedded embedded(host.parent);
    ASSERT_TRUE(embedded.window);
    auto* const edit = new CTextEdit({0, 0, 200, 20}, nullptr, 1);
    embedded.frame->addView(edit);
    embedded.runUntil([&] { return embedded.frame->isSeen(); });
    test::TestDisplay::act("mousemove 50 10 click 1");
    ASSERT_TRUE(embedded.runUntil([&] { return edit->isEditing(); }));
    // Symbols of old national sets, and a dead key, on a keyboard that has got them just now.
    std::array<KeySym, 3> symbols{XK_EuroSign, XK_Cyrillic_zhe, XK_dead_acute};
    XChangeKeyboardMapping(host.display, 200, 1, symbols.data(), static_cast<int>(symbols.size()));
    XSync(host.display, False);
    test::TestDisplay::act("key 200 201 202 e KP_5 Return");
    EXPECT_TRUE(embedded.runUntil([&] { return !edit->isEditing(); }));
    EXPECT_EQ(edit->getText(), "\xE2\x82\xAC\xD0\xB6\xC3\xA9"
                               "5");
}

TEST(NativeWindow, DoesNothingWhileItIsNotSeen)
{
    const test::TestDisplay server;
    ASSERT_TRUE(server.isRunning()) << "needs Xvfb";
    const Host host;
    Embedded embedded(host.parent);
    ASSERT_TRUE(embedded.window);
    struct Counted final : CView {
        Counted() : CView({0, 0, 200, 100}) {}
        void draw(CDrawContext&) override { ++drawn; }
        int drawn = 0;
    };
    auto* const view = new Counted;
    embedded.frame->addView(view);
    const auto isSeen = [&] { return embedded.frame->isSeen(); };
    const auto isHidden = [&] { return !embedded.frame->isSeen(); };
    const auto drawsIn = [&](int rounds) {
        const int before = view->drawn;
        for (int i = 0; i < rounds; ++i) {
            view->setDirty();
            embedded.frame->idle();
        }
        return view->drawn - before;
    };
    ASSERT_TRUE(embedded.runUntil(isSeen));
    EXPECT_EQ(drawsIn(5), 5);
    XUnmapWindow(host.display, host.parent); // of which the window itself is told nothing
    XSync(host.display, False);
    EXPECT_TRUE(embedded.runUntil(isHidden));
    EXPECT_EQ(drawsIn(5), 0);
    XMapWindow(host.display, host.parent);
    XSync(host.display, False);
    EXPECT_TRUE(embedded.runUntil(isSeen));
    const ::Window cover = XCreateSimpleWindow(host.display, XDefaultRootWindow(host.display), 0, 0, 400, 400, 0, 0, 0);
    XMapRaised(host.display, cover);
    XSync(host.display, False);
    EXPECT_TRUE(embedded.runUntil(isHidden));
    EXPECT_EQ(drawsIn(5), 0);
    XDestroyWindow(host.display, cover);
    XSync(host.display, False);
    EXPECT_TRUE(embedded.runUntil(isSeen));
    EXPECT_EQ(drawsIn(5), 5);
}

TEST(NativeWindow, LosesItsParentInAnyState)
{
    const test::TestDisplay server;
    ASSERT_TRUE(server.isRunning()) << "needs Xvfb";
    struct Edits final : CControlListener {
        void valueChanged(CControl&) override {}
        void controlBeginEdit(CControl&) override { ++begun; }
        void controlEndEdit(CControl&) override { ++ended; }
        int begun = 0;
        int ended = 0;
    };
    for (const char* const state : {"drag", "menu", "text", "box", "files"}) {
        Host host;
        Edits edits;
        Embedded embedded(host.parent);
        ASSERT_TRUE(embedded.window);
        embedded.frame->addView(new CSlider({0, 0, 200, 20}, &edits, 1, CSlider::Direction::horizontal));
        auto* const menu = new COptionMenu({0, 20, 200, 40}, nullptr, 2);
        menu->addEntry("A");
        embedded.frame->addView(menu);
        embedded.frame->addView(new CTextEdit({0, 40, 200, 60}, nullptr, 3));
        ASSERT_TRUE(embedded.runUntil([&] { return embedded.frame->isSeen(); }));
        const std::string which = state;
        const bool reached = [&] {
            if (which == "drag") {
                test::TestDisplay::act("mousemove 50 10 mousedown 1 mousemove 60 10");
                return embedded.runUntil([&] { return edits.begun == 1; });
            }
            if (which == "box")
                CMessageBox::show(*embedded.frame, "Title", "text");
            else if (which == "files")
                CFileSelector::show(*embedded.frame, {"Title", "/x.sor", "sor", true}, {});
            else
                test::TestDisplay::act(which == "menu" ? "mousemove 50 30 click 1" : "mousemove 50 50 click 1");
            return embedded.runUntil(
                [&] { return embedded.frame->getModalView() != nullptr || embedded.frame->getFocusView() != nullptr; });
        }();
        ASSERT_TRUE(reached) << which;
        host.destroyParent();
        embedded.frame->setScale(1.5F); // before the news of it is read
        embedded.window->setClipboard("text");
        embedded.window->requestClipboard();
        EXPECT_TRUE(embedded.runUntil([&] { return embedded.frame->isClosed(); })) << which;
        embedded.frame->setFocusView(nullptr);
        embedded.frame->close();
        embedded.window->processEvents();             // which tell nobody any more
        EXPECT_EQ(edits.begun, edits.ended) << which; // a host waits for the end
        EXPECT_EQ(hostErrors, 0) << which;
        test::TestDisplay::act("mouseup 1");
    }
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
    const std::ptrdiff_t segments = sharedSegments();
    for (int i = 0; i < 1000; ++i) {
        Embedded embedded(host.parent);
        ASSERT_TRUE(embedded.window);
        embedded.frame->addView(new COptionMenu({0, 0, 100, 20}, nullptr, 1));
        embedded.frame->showPointer(false);
        if (i % 50 == 0) {
            ASSERT_TRUE(embedded.runUntil([&] { return embedded.frame->isSeen(); }));
        }
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
    EXPECT_EQ(sharedSegments(), segments);
    EXPECT_EQ(hostErrors, 0);
}

} // namespace
