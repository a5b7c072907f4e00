#pragma once

#include "NativeWindow.h"
#include "X11Errors.h"
#include "X11Keys.h"
#include "X11Library.h"
#include "X11SharedImage.h"

#include <array>
#include <chrono>
#include <memory>
#include <string>

namespace sorvane::platform {

/// A window over a connection of its own to the X server.
class X11Window final : public NativeWindow {
public:
    /// Null without a display, or when the parent is gone already.
    static std::unique_ptr<X11Window> open(const Request& request);
    ~X11Window() override;

    void setListener(WindowListener* newListener) override { listener = newListener; }
    void present(const std::uint32_t* pixels, int rowWidth, const WindowArea& area) override;
    [[nodiscard]] bool isSeen() const override { return seen; }
    void resize(int newWidth, int newHeight) override;
    void setCursor(CursorShape newShape) override;
    void showPointer(bool show) override;
    void movePointer(int x, int y) override;
    void takeKeyboard() override;
    void giveKeyboardBack() override;
    void setClipboard(const std::string& text) override;
    void requestClipboard() override;

    void processEvents() override;
    bool awaitEvents(int milliseconds) override;
    [[nodiscard]] std::uintptr_t getHandle() const override { return window; }
    [[nodiscard]] double getDpi() const override;

private:
    X11Window(const X11Library& library, Display& connection);

    bool create(const Request& request);
    void makeTopLevel(const Request& request);
    void handle(XEvent& event);
    void handlePress(const XButtonEvent& event);
    void handleRelease(const XButtonEvent& event);
    void handleMotion(XMotionEvent event);
    void handleKey(XKeyEvent& event);
    void handleKeyRelease(XKeyEvent& event);
    void handleMessage(const XClientMessageEvent& event);
    void answerSelection(const XSelectionRequestEvent& request);
    void convertClipboard(Atom target);
    void receiveSelection(const XSelectionEvent& event);
    [[nodiscard]] Atom atom(const char* name) const { return x.internAtom(&display, name, False); }
    void applyCursor();
    void windowIsGone();
    void setSeen(bool now);
    void lookWhetherSeen();
    void fixSize();

    const X11Library& x;
    Display& display;
    std::unique_ptr<X11Errors> errors;
    ::Window window = 0; ///< 0 when it is gone
    ::Window parent = 0; ///< the host's; 0 for a window of its own
    bool connectionLost = false;
    GC context = nullptr;
    std::unique_ptr<X11SharedImage> shared; ///< null until something is presented, and where there is none
    bool sharesMemory = false;
    int width = 0;
    int height = 0;
    WindowListener* listener = nullptr;
    bool seen = false;
    std::chrono::steady_clock::time_point nextLook; ///< whether it still is

    CursorShape shape = CursorShape::arrow;
    bool pointerShown = true;
    std::array<Cursor, 4> cursors{}; ///< by CursorShape, made when first used
    Cursor hidden = 0;

    X11Compose compose;
    std::string clipboard;
    bool ownsClipboard = false;
    Time lastEvent = CurrentTime; ///< of the user's last action, which requests have to give
    unsigned lastButton = 0;      ///< of the last press, for double clicks
    Time lastPress = 0;
    int lastX = 0;
    int lastY = 0;
};

} // namespace sorvane::platform
