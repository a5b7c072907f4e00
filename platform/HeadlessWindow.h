#pragma once

#include "Window.h"

#include <algorithm>
#include <vector>

namespace sorvane::platform {

/// A window in memory: whoever holds it gives its events to the listener and reads its picture.
class HeadlessWindow final : public Window {
public:
    HeadlessWindow(int windowWidth, int windowHeight) { setSize(windowWidth, windowHeight); }

    [[nodiscard]] WindowListener* getListener() const { return listener; }
    [[nodiscard]] int getWidth() const { return width; }
    [[nodiscard]] int getHeight() const { return height; }
    [[nodiscard]] const std::vector<std::uint32_t>& getPicture() const { return picture; }
    [[nodiscard]] CursorShape getCursor() const { return cursor; }
    [[nodiscard]] bool hasKeyboard() const { return keyboard; }
    [[nodiscard]] bool isPointerShown() const { return pointerShown; }
    /// Pixels presented so far.
    [[nodiscard]] long getPresented() const { return presented; }

    /// Covers or uncovers it. It begins uncovered.
    void setSeen(bool on)
    {
        seen = on;
        if (listener != nullptr)
            listener->windowSeen(on);
    }

    [[nodiscard]] bool isSeen() const override { return seen; }
    void setListener(WindowListener* newListener) override { listener = newListener; }
    void present(const std::uint32_t* pixels, int rowWidth, const WindowArea& area) override
    {
        for (int y = std::max(area.top, 0); y < std::min(area.bottom, height); ++y)
            for (int x = std::max(area.left, 0); x < std::min(area.right, width); ++x, ++presented)
                picture[at(x, y, width)] = pixels[at(x, y, rowWidth)];
    }
    void resize(int newWidth, int newHeight) override
    {
        setSize(newWidth, newHeight);
        if (listener != nullptr)
            listener->windowResized(width, height);
    }
    void setCursor(CursorShape shape) override { cursor = shape; }
    void showPointer(bool show) override { pointerShown = show; }
    void movePointer(int x, int y) override
    {
        if (listener != nullptr)
            listener->windowMouseMoved(x, y, 0);
    }
    void takeKeyboard() override { keyboard = true; }
    void giveKeyboardBack() override { keyboard = false; }
    void setClipboard(const std::string& text) override { clipboard = text; }
    void requestClipboard() override
    {
        if (listener != nullptr && !clipboard.empty())
            listener->windowPasted(clipboard);
    }

private:
    static std::size_t at(int x, int y, int rowWidth)
    {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(rowWidth) + static_cast<std::size_t>(x);
    }
    void setSize(int newWidth, int newHeight)
    {
        width = std::max(newWidth, 0);
        height = std::max(newHeight, 0);
        picture.assign(at(0, height, width), 0);
    }

    WindowListener* listener = nullptr;
    int width = 0;
    int height = 0;
    std::vector<std::uint32_t> picture;
    CursorShape cursor = CursorShape::arrow;
    bool pointerShown = true;
    bool keyboard = false;
    bool seen = true;
    std::string clipboard;
    long presented = 0;
};

} // namespace sorvane::platform
