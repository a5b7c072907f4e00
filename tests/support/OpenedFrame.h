#pragma once

#include "CControl.h"
#include "CDIB.h"
#include "CGFrame.h"
#include "HeadlessWindow.h"

#include <atomic>
#include <chrono>
#include <mutex>
#include <string>
#include <thread>

namespace sorvane::test {

/// Notes what controls tell: b for a begin, v for a value, e for an end, with the tag.
class EditLog : public toolkit::CControlListener {
public:
    void valueChanged(toolkit::CControl& control) override { add("v", control); }
    void controlBeginEdit(toolkit::CControl& control) override { add("b", control); }
    void controlEndEdit(toolkit::CControl& control) override
    {
        add("e", control);
        ended = std::chrono::steady_clock::now();
        ++ends;
    }
    std::string take()
    {
        const std::lock_guard guard(lock);
        return std::exchange(text, {});
    }
    bool awaitEnds(int count)
    {
        for (int i = 0; i < 3000 && ends < count; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return ends == count;
    }

    std::chrono::steady_clock::time_point ended; ///< read after awaitEnds
    std::atomic<int> ends{0};

private:
    void add(const char* what, const toolkit::CControl& control)
    {
        const std::lock_guard guard(lock);
        text.append(what).append(std::to_string(control.getTag())).append(1, ' ');
    }
    std::mutex lock;
    std::string text;
};

/// A frame of 200 by 100 in a window in memory, closed in the end.
struct Opened {
    explicit Opened(float scale = 1.0F) : window(static_cast<int>(200 * scale), static_cast<int>(100 * scale))
    {
        frame = toolkit::Shared<toolkit::CGFrame>::adopt(new toolkit::CGFrame({0, 0, 200, 100}, nullptr, scale));
        frame->open(window);
    }
    ~Opened()
    {
        if (frame)
            frame->close();
    }
    Opened(const Opened&) = delete;
    Opened& operator=(const Opened&) = delete;

    platform::WindowListener& events() { return *window.getListener(); }
    void click(int x, int y, int buttons = platform::kLButton)
    {
        events().windowMouseDown(x, y, buttons);
        if (window.getListener() != nullptr)
            events().windowMouseUp(x, y, buttons);
    }
    bool key(platform::Key pressed, int modifiers = 0) { return events().windowKeyDown({pressed, 0, modifiers}); }
    void type(const char* text, int modifiers = 0)
    {
        for (; *text != 0; ++text)
            events().windowKeyDown({platform::Key::character, static_cast<char32_t>(*text), modifiers});
    }

    platform::HeadlessWindow window;
    toolkit::Shared<toolkit::CGFrame> frame;
};

/// Images one below the other, the blue of each its number and one.
inline toolkit::Shared<toolkit::CDIB> numberedImages(int width, int height, int count)
{
    auto images = toolkit::Shared<toolkit::CDIB>::adopt(new toolkit::CDIB(width, height * count, false));
    for (int y = 0; y < height * count; ++y)
        for (toolkit::Pixel& pixel : images->row(y))
            pixel = 0xFF000000U | static_cast<toolkit::Pixel>(y / height + 1);
    return images;
}

/// Paints, and reads which image shows at a place; -1 for none.
inline int shownAt(Opened& opened, int x, int y)
{
    opened.frame->idle();
    return static_cast<int>(opened.window.getPicture()[static_cast<std::size_t>(y * 200 + x)] & 0xFFU) - 1;
}

} // namespace sorvane::test
