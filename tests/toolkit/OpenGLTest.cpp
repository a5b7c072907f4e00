// Drawing by OpenGL on an X server, against the same views drawn in memory.

#include "CFileSelector.h"
#include "COptionMenu.h"
#include "CSlider.h"
#include "CTextLabel.h"
#include "HeadlessWindow.h"
#include "LabelText.h"
#include "NativeWindow.h"
#include "OGLFrame.h"
#include "TestDisplay.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include <X11/Xlib.h>
// Macros whose names are ours too.
#undef CursorShape
#undef KeyPress

namespace {

using namespace sorvane;
using namespace sorvane::toolkit;
using platform::NativeWindow;

constexpr CRect kSize{0, 0, 200, 120};

/// Stays loaded, so that the leak checker can tell what is the driver's.
[[maybe_unused]] void* const driver = ::dlopen(SORVANE_GL_DRIVER, RTLD_LAZY | RTLD_NODELETE);

/// Each kind of drawing, with a label from the cache and text by the way.
class Sheet final : public CView {
public:
    explicit Sheet(std::string shown)
        : CView(kSize), text(std::move(shown)), image(Shared<CDIB>::adopt(new CDIB(16, 16)))
    {
        for (int i = 0; i < 256; ++i)
            image->getPixels()[i] =
                premultiplied({static_cast<std::uint8_t>(i), 200, 90, static_cast<std::uint8_t>(255 - i / 2)});
    }
    ~Sheet() override { releaseLabel(label); }

    void draw(CDrawContext& context) override
    {
        context.setFillColor({20, 40, 60, 255});
        context.drawRect(rect, DrawStyle::filled);
        context.setFillColor({200, 60, 60, 120});
        context.setFrameColor({240, 240, 80, 200});
        context.setLineWidth(1.5F);
        context.drawRect({4, 4, 40, 30}, DrawStyle::filledAndStroked);
        context.drawEllipse({44.3F, 4, 90, 30.7F}, DrawStyle::filledAndStroked);
        std::vector<CPoint> wave;
        for (int i = 0; i < 100; ++i)
            wave.push_back({static_cast<float>(i), 60 + 20 * std::sin(static_cast<float>(i) * 0.2F)});
        context.drawLines(wave);
        context.drawPolygon(wave, DrawStyle::filled);
        image->draw(context, {100, 10, 116, 26});
        image->setDensity(2);
        image->draw(context, {120.5F, 10, 128.5F, 18}, {}, 130);
        image->setDensity(1);
        context.setClipRect({100, 40, 150, 70});
        image->draw(context, {95, 35, 111, 51});
        context.drawEllipse({110, 30, 180, 90}, DrawStyle::stroked);
        context.resetClipRect();
        drawLabelText(context, {100, 70, 200, 95}, *getFont("DSP-Bold"), "cached \xC4\x84", 14, TextAlignment::centre,
                      true, 0x80FFFFFF, &label, 1);
        drawLabelText(context, {4, 95, 200, 120}, *getFont("OpenSans-Regular"), text, 13, TextAlignment::left, true,
                      0xFFFFFF);
    }

private:
    std::string text;
    Shared<CDIB> image;
    CDIB* label = nullptr;
};

NativeWindow::Request request(float scale = 1.0F)
{
    NativeWindow::Request wanted;
    wanted.width = static_cast<int>(200 * scale);
    wanted.height = static_cast<int>(120 * scale);
    return wanted;
}

Shared<CDIB> drawnByOpenGL(const std::string& text, float scale)
{
    const auto window = NativeWindow::open(request(scale));
    const auto frame = Shared<OGLFrame>::adopt(new OGLFrame(kSize, nullptr, scale));
    frame->addView(new Sheet(text));
    frame->open(*window);
    EXPECT_TRUE(frame->isOpenGL()) << "needs Mesa's software renderer";
    Shared<CDIB> picture = frame->takePicture();
    frame->close();
    return picture;
}

Shared<CDIB> drawnInMemory(const std::string& text, float scale)
{
    platform::HeadlessWindow window(static_cast<int>(200 * scale), static_cast<int>(120 * scale));
    const auto frame = Shared<CFrame>::adopt(new CFrame(kSize, scale));
    frame->addView(new Sheet(text));
    frame->open(window);
    frame->idle();
    Shared<CDIB> picture = frame->getPicture().copy();
    frame->close();
    return picture;
}

/// Pixels that differ by more than \p bound in any channel, above row \p end.
int differing(const CDIB& a, const CDIB& b, int end, int bound)
{
    int count = 0;
    for (int y = 0; y < end; ++y)
        for (std::size_t x = 0; x < static_cast<std::size_t>(a.getWidth()); ++x)
            for (int shift = 0; shift < 24; shift += 8)
                if (std::abs(static_cast<int>(a.row(y)[x] >> shift & 0xFFU) -
                             static_cast<int>(b.row(y)[x] >> shift & 0xFFU)) > bound) {
                    ++count;
                    break;
                }
    return count;
}

TEST(OGLFrame, DrawsWhatIsDrawnInMemory)
{
    const test::TestDisplay server;
    ASSERT_TRUE(server.isRunning()) << "needs Xvfb";
    for (const float scale : {1.0F, 1.5F, 2.0F}) {
        // Text that isn't ASCII is drawn from an image of its own on both ways.
        for (const std::string& text : {std::string("\xC3\xA4\xE2\x82\xAC 12.5"), std::string()}) {
            const Shared<CDIB> gl = drawnByOpenGL(text, scale);
            const Shared<CDIB> memory = drawnInMemory(text, scale);
            ASSERT_TRUE(gl);
            ASSERT_EQ(gl->getWidth(), memory->getWidth());
            EXPECT_EQ(differing(*gl, *memory, gl->getHeight(), 2), 0) << scale;
        }
        // Baked glyphs stand on whole pixels: they are elsewhere by half of one at most.
        const Shared<CDIB> gl = drawnByOpenGL("Baked AVA", scale);
        const Shared<CDIB> memory = drawnInMemory("Baked AVA", scale);
        const int line = static_cast<int>(95 * scale);
        EXPECT_EQ(differing(*gl, *memory, line, 2), 0);
        EXPECT_LT(differing(*gl, *memory, gl->getHeight(), 2), 70 * scale * 16 * scale);
        const Shared<CDIB> empty = drawnInMemory("", scale);
        EXPECT_GT(differing(*gl, *empty, gl->getHeight(), 100), 40);
    }
    // Bytes below 32 draw nothing; "~" and 127 are arrows to either side.
    EXPECT_EQ(differing(*drawnByOpenGL("$", 1), *drawnByOpenGL("\x01$\x02", 1), 120, 0), 0);
    EXPECT_GT(differing(*drawnByOpenGL("~", 1), *drawnByOpenGL("\x7F", 1), 120, 60), 4);
}

TEST(OGLFrame, IsSafeBesideEventsResizesAndClosing)
{
    const test::TestDisplay server;
    ASSERT_TRUE(server.isRunning()) << "needs Xvfb";
    const auto entriesOf = [](const char* folder) {
        return std::distance(std::filesystem::directory_iterator(folder), {});
    };
    std::ptrdiff_t files = 0;
    std::ptrdiff_t threads = 0;
    for (int round = 0; round < 20; ++round) {
        const auto window = NativeWindow::open(request());
        ASSERT_TRUE(window);
        const auto frame = Shared<OGLFrame>::adopt(new OGLFrame(kSize, nullptr));
        auto* const slider = new CSlider({0, 0, 200, 20}, nullptr, 1, CSlider::Direction::horizontal);
        auto* const label = new CTextLabel({0, 20, 200, 40}, "none yet");
        frame->addView(new Sheet(std::string("by the way")));
        frame->addView(slider);
        frame->addView(label);
        std::atomic<int> ticks{0};
        frame->setTick([&] {
            slider->setValue(static_cast<float>(ticks % 10) / 10.0F);
            label->setText(std::to_string(ticks++));
        });
        frame->open(*window);
        ASSERT_TRUE(frame->isOpenGL());
        test::TestDisplay::act("mousemove 50 10 click 1 mousemove 150 12 click 4");
        for (int i = 0; i < 10; ++i) {
            window->awaitEvents(3);
            window->processEvents();
            frame->idle();
            if (i % 4 == 3)
                frame->setScale(0.75F + 0.05F * static_cast<float>(i));
            if (i % 4 == 1)
                frame->setSize(200.0F + static_cast<float>(i), 120.0F);
        }
        if (round % 2 != 0) { // with the views going first
            const auto guard = frame->lock();
            frame->removeAll();
        } else {
            ASSERT_TRUE(frame->takePicture());
            EXPECT_GT(ticks, 0);
        }
        frame->close();
        if (round == 3) {
            files = entriesOf("/proc/self/fd");
            threads = entriesOf("/proc/self/task");
        }
    }
    EXPECT_LE(entriesOf("/proc/self/fd"), files + 1); // the last window is closed already when they are counted
    EXPECT_LE(entriesOf("/proc/self/task"), threads);
}

/// A frame in a host's window with a view that counts how often it is drawn.
struct Hosted {
    Hosted() : host(NativeWindow::open(request()))
    {
        NativeWindow::Request inside = request();
        inside.parent = host->getHandle();
        window = NativeWindow::open(inside);
        frame->setTick([this] { ++ticks; });
        frame->addView(view);
        frame->open(*window);
    }
    ~Hosted() { frame->close(); }
    Hosted(const Hosted&) = delete;
    Hosted& operator=(const Hosted&) = delete;

    template <typename Done>
    bool runUntil(Done done)
    {
        for (int i = 0; i < 300; ++i) {
            if (host)
                host->processEvents();
            window->awaitEvents(10);
            window->processEvents();
            frame->idle();
            if (done())
                return true;
        }
        return false;
    }
    void runFor(int milliseconds)
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
        runUntil([end] { return std::chrono::steady_clock::now() >= end; });
    }

    struct Counted final : CView {
        Counted() : CView(kSize) {}
        void draw(CDrawContext&) override { ++drawn; }
        std::atomic<int> drawn{0};
    };

    std::unique_ptr<NativeWindow> host;
    std::unique_ptr<NativeWindow> window;
    std::atomic<int> ticks{0};
    Counted* view = new Counted; ///< of the frame
    Shared<OGLFrame> frame = Shared<OGLFrame>::adopt(new OGLFrame(kSize, nullptr));
};

TEST(OGLFrame, SleepsWhileItIsNotSeenAndDrawsWhatChanges)
{
    const test::TestDisplay server;
    ASSERT_TRUE(server.isRunning()) << "needs Xvfb";
    Display* const display = XOpenDisplay(nullptr);
    Hosted hosted;
    ASSERT_TRUE(hosted.runUntil([&] { return hosted.view->drawn > 0 && hosted.ticks > 20; }));
    const int before = hosted.view->drawn;
    const int ticks = hosted.ticks;
    hosted.runFor(200);
    EXPECT_GT(hosted.ticks, ticks + 3); // goes on
    EXPECT_LE(hosted.view->drawn, before + 1);
    {
        const auto guard = hosted.frame->lock();
        hosted.view->setDirty();
    }
    EXPECT_TRUE(hosted.runUntil([&] { return hosted.view->drawn > before; }));

    XUnmapWindow(display, hosted.host->getHandle());
    XSync(display, False);
    EXPECT_TRUE(hosted.runUntil([&] { return !hosted.frame->isSeen(); }));
    hosted.runFor(50); // until the frame that it is at is done
    const int slept = hosted.ticks;
    hosted.runFor(200);
    EXPECT_EQ(hosted.ticks, slept);
    const int unseen = hosted.view->drawn;
    XMapWindow(display, hosted.host->getHandle());
    XSync(display, False);
    EXPECT_TRUE(hosted.runUntil([&] { return hosted.ticks > slept && hosted.view->drawn > unseen; }));
    // Uncovered, it is drawn anew.
    const ::Window cover = XCreateSimpleWindow(display, XDefaultRootWindow(display), 0, 0, 100, 400, 0, 0, 0);
    XMapRaised(display, cover);
    XSync(display, False);
    hosted.runFor(50);
    const int covered = hosted.view->drawn;
    XDestroyWindow(display, cover);
    XSync(display, False);
    EXPECT_TRUE(hosted.runUntil([&] { return hosted.view->drawn > covered; }));
    XCloseDisplay(display);
}

TEST(OGLFrame, OutlivesItsParentAndItsServerInAnyState)
{
    for (const char* const state : {"menu", "drag", "files"}) {
        const test::TestDisplay server;
        ASSERT_TRUE(server.isRunning()) << "needs Xvfb";
        Hosted hosted;
        auto* const menu = new COptionMenu({0, 20, 200, 40}, nullptr, 2);
        menu->addEntry("A");
        {
            const auto guard = hosted.frame->lock();
            hosted.frame->addView(new CSlider({0, 0, 200, 20}, nullptr, 1, CSlider::Direction::horizontal));
            hosted.frame->addView(menu);
        }
        ASSERT_TRUE(hosted.runUntil([&] { return hosted.view->drawn > 0; }));
        if (std::string(state) == "files") {
            const auto guard = hosted.frame->lock();
            CFileSelector::show(*hosted.frame, {"Title", "/x.sor", "sor", true}, {});
        } else {
            const char* const words = state[0] == 'm' ? "mousemove 50 30 click 1" : "mousemove 50 10 mousedown 1";
            ASSERT_TRUE(test::TestDisplay::act(words));
        }
        hosted.runFor(60);
        EXPECT_EQ(hosted.frame->getModalView() != nullptr, state[0] != 'd');
        hosted.host.reset();
        EXPECT_TRUE(hosted.runUntil([&] { return hosted.frame->isClosed(); })) << state;
        hosted.runFor(50);
        const int slept = hosted.ticks; // with nothing to draw on
        hosted.runFor(100);
        EXPECT_EQ(hosted.ticks, slept);
    }
    const XIOErrorHandler before = XSetIOErrorHandler([](Display*) { return 0; });
    {
        test::TestDisplay server;
        Hosted hosted;
        ASSERT_TRUE(hosted.runUntil([&] { return hosted.view->drawn > 0; }));
        server.stop();
        EXPECT_TRUE(hosted.runUntil([&] { return hosted.frame->isClosed(); }));
        hosted.runFor(50);
    }
    XSetIOErrorHandler(before);
}

TEST(OGLFrame, FallsBackToDrawingInMemory)
{
    platform::HeadlessWindow window(200, 120); // which has no number to open a context in
    const auto frame = Shared<OGLFrame>::adopt(new OGLFrame(kSize, nullptr));
    frame->addView(new Sheet("plain"));
    frame->open(window);
    EXPECT_FALSE(frame->isOpenGL());
    EXPECT_EQ(frame->getViews().size(), 1U);
    EXPECT_FALSE(frame->takePicture());
    frame->idle();
    EXPECT_EQ(window.getPresented(), 200 * 120);
    frame->close();
}

} // namespace
