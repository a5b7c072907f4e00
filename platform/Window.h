#pragma once

#include "WindowEvents.h"

#include <cstdint>
#include <string>

namespace sorvane::platform {

/// A window on whatever system stands below, or in memory. All calls and events are on one thread.
class Window {
public:
    Window() = default;
    virtual ~Window() = default;
    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;

    /// Whom to tell of events; null for nobody.
    virtual void setListener(WindowListener* listener) = 0;
    /// Whether any of it is to be seen, as far as its events tell so far.
    [[nodiscard]] virtual bool isSeen() const = 0;
    /// Shows pixels of a picture as large as the window, which needn't stay.
    /// \param pixels  0xRRGGBB each, of the picture's top left
    /// \param width   pixels from one row to the next
    virtual void present(const std::uint32_t* pixels, int width, const WindowArea& area) = 0;
    /// The system's number for it, 0 for none.
    [[nodiscard]] virtual std::uintptr_t getHandle() const { return 0; }
    virtual void resize(int width, int height) = 0;
    virtual void setCursor(CursorShape shape) = 0;
    virtual void showPointer(bool show) = 0;
    virtual void movePointer(int x, int y) = 0;
    virtual void takeKeyboard() = 0;
    /// Gives the keyboard to what the window lies in.
    virtual void giveKeyboardBack() = 0;
    virtual void setClipboard(const std::string& text) = 0;
    /// Answered by WindowListener::windowPasted, at once or later; not at all when there is no text.
    virtual void requestClipboard() = 0;
};

} // namespace sorvane::platform
