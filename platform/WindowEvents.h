#pragma once

#include <cstdint>
#include <string_view>

namespace sorvane::platform {

/// State of the mouse buttons and the keys beside them, as bits.
inline constexpr int kLButton = 2;
inline constexpr int kMButton = 4;
inline constexpr int kRButton = 8;
inline constexpr int kShift = 16;
inline constexpr int kControl = 32;
inline constexpr int kAlt = 64;
inline constexpr int kApple = 128;
inline constexpr int kDoubleClick = 1024; ///< with the second press

enum class WheelAxis { vertical, horizontal };

enum class Key {
    character,
    backspace,
    remove,
    tab,
    enter,
    escape,
    left,
    right,
    up,
    down,
    home,
    end,
    pageUp,
    pageDown,
    other
};

struct KeyPress {
    Key key = Key::other;
    char32_t character = 0; ///< what was typed, for Key::character
    int modifiers = 0;      ///< kShift, kControl, kAlt, kApple
};

enum class CursorShape { arrow, hand, text, horizontalResize };

/// Pixels of a window; right and bottom don't belong to it.
struct WindowArea {
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;
};

/// What a window tells its owner, on the thread that handles its events. Places are in pixels of the window.
class WindowListener {
public:
    virtual void windowExposed(const WindowArea& area) = 0;
    virtual void windowResized(int width, int height) = 0;
    virtual void windowMouseDown(int x, int y, int buttons) = 0;
    /// While a button is held, from outside of the window too.
    virtual void windowMouseMoved(int x, int y, int buttons) = 0;
    virtual void windowMouseUp(int x, int y, int buttons) = 0;
    virtual void windowMouseLeft() = 0;
    /// \param distance  1 for a notch up or to the left, -1 for one down or to the right
    virtual void windowWheel(int x, int y, WheelAxis axis, float distance, int buttons) = 0;
    /// \return whether the key was used
    virtual bool windowKeyDown(const KeyPress& key) = 0;
    /// Once for each key that is let go, and none for those that repeat while held. \return whether it was used
    virtual bool windowKeyUp(const KeyPress& key) = 0;
    /// Whether any of the window is to be seen has changed.
    virtual void windowSeen(bool seen) = 0;
    virtual void windowFocusChanged(bool hasFocus) = 0;
    /// The answer to Window::requestClipboard, in UTF-8.
    virtual void windowPasted(std::string_view text) = 0;
    /// The user closed the window, or its parent took it away.
    virtual void windowClosed() = 0;

protected:
    ~WindowListener() = default;
};

} // namespace sorvane::platform
