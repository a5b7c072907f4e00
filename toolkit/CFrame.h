#pragma once

#include "CViewContainer.h"
#include "DragRoute.h"
#include "Window.h"

#include <memory>
#include <mutex>
#include <vector>

namespace sorvane::toolkit {

/// How a drag turns a knob. The numbers are agreed with hosts.
enum class KnobMode {
    circular = 0,         ///< goes to where the mouse is, as seen from the middle
    relativeCircular = 1, ///< turns as the mouse goes round
    linear = 2            ///< up and down
};

/// The root of the views of a window, which it draws into a picture of its own and shows from there.
///
/// One lock guards its whole tree: it is held while an event is handled and while it is drawn. Whoever else touches
/// views takes it first. An event may close the frame, or drop its last use, which then goes when the event is over.
///
/// What nothing is drawn on is black. While a button is held, presses of others count for nothing.
class CFrame : public CViewContainer, private platform::WindowListener {
public:
    static constexpr float kSmallestScale = 0.1F;
    static constexpr float kLargestScale = 16.0F;

    /// \param scale  pixels of the window per logical pixel; cut to its limits, 1 when it isn't above 0
    explicit CFrame(const CRect& frameRect, float scale = 1.0F);
    ~CFrame() override;

    /// The window must outlive the frame or closed() of it.
    virtual void open(platform::Window& newWindow);
    /// Removes all views and leaves the window. Twice is as good as once.
    virtual void close();

    /// Repaints what is dirty and shows it. As often as pictures are wanted.
    virtual void idle();

    [[nodiscard]] std::unique_lock<std::recursive_mutex> lock() { return std::unique_lock(mutex); }
    /// Holds the lock only if no other thread does.
    [[nodiscard]] std::unique_lock<std::recursive_mutex> tryLock() { return {mutex, std::try_to_lock}; }

    /// In coordinates of the frame.
    void invalidRect(const CRect& area);
    void setFocusView(CView* view);
    [[nodiscard]] CView* getFocusView() const { return focusView; }
    /// Takes over the caller's use of a view, to which all events go until endModal. Null is endModal.
    void setModalView(CView* view);
    void endModal();
    [[nodiscard]] CView* getModalView() const { return modalView; }

    /// Takes over the caller's use of what a view drags from a press. Until the button is let go, the mouse tells the
    /// views that it comes over, those in the modal view only if there is one. A view that waits for the release is
    /// told of one outside of it. Escape and a modal view that opens give the drag up.
    void startDrag(CDragContainer* dragged);
    [[nodiscard]] bool isDragging() const { return dragRoute.isActive(); }
    void setKnobMode(KnobMode mode) { knobMode = mode; }
    [[nodiscard]] KnobMode getKnobMode() const { return knobMode; }

    void setCursor(CursorShape shape);
    void showPointer(bool show);
    void setMousePosition(CPoint where);
    [[nodiscard]] CPoint getMousePosition() const { return mousePosition; }
    void setClipboard(const std::string& text);
    void requestClipboard();

    /// Size in logical pixels, of the window too: at least 1, at most what an image can have.
    virtual void setSize(float newWidth, float newHeight);
    /// Pixels of the window per logical pixel; the window grows or shrinks with it.
    void setScale(float newScale);
    [[nodiscard]] float getScale() const { return scale; }
    /// Whether the user closed the window.
    [[nodiscard]] bool isClosed() const { return windowGone; }
    /// What the window shows after the last idle.
    [[nodiscard]] const CDIB& getPicture() const { return *picture; }
    [[nodiscard]] platform::Window* getWindow() const { return window; }
    /// Whether any of the window is to be seen; nothing is drawn while none is.
    [[nodiscard]] bool isSeen() const { return uncovered; }

    MouseResult onMouseDown(CPoint where, int buttons) override;
    [[nodiscard]] bool isTypeOf(std::string_view name) const override
    {
        return name == "CFrame" || CViewContainer::isTypeOf(name);
    }

protected:
    /// The window came to be seen, or is covered or unmapped.
    virtual void seenChanged(bool /*seen*/) {}
    /// Whether the window shows the picture that the frame paints.
    [[nodiscard]] virtual bool showsPicture() const { return true; }
    /// Whether anything has to be painted, which from then on counts as painted.
    bool takeDirty();

private:
    friend class CView;

    /// While an event is handled: the lock, and a use of the frame.
    struct Event;

    void leaveWindow();
    void takeKeyboard();
    /// To the host, when no view wants it any more.
    void giveKeyboardBack();
    /// A view leaves the tree.
    void forgetView(const CView& view);
    /// The innermost view that could take what is dragged to where the mouse is, null outside of the frame.
    [[nodiscard]] CView* dragTarget();
    void cancelDrag();
    /// What is pressed won't be released any more.
    void endPress();
    void setSeen(bool on);
    void collectDirty(CViewContainer& container, CPoint origin);
    void repaint(const CRect& area);
    [[nodiscard]] CPoint toLogical(int x, int y) const;
    [[nodiscard]] platform::WindowArea toWindow(const CRect& area) const;
    void makePicture();
    void placeSize(float newWidth, float newHeight);

    void windowExposed(const platform::WindowArea& area) override;
    void windowResized(int width, int height) override;
    void windowMouseDown(int x, int y, int buttons) override;
    void windowMouseMoved(int x, int y, int buttons) override;
    void windowMouseUp(int x, int y, int buttons) override;
    void windowMouseLeft() override;
    void windowWheel(int x, int y, WheelAxis axis, float distance, int buttons) override;
    bool windowKeyDown(const KeyPress& key) override;
    bool windowKeyUp(const KeyPress& key) override;
    void windowSeen(bool on) override;
    void windowFocusChanged(bool hasFocus) override;
    void windowPasted(std::string_view text) override;
    void windowClosed() override;

    std::recursive_mutex mutex;
    platform::Window* window = nullptr;
    float scale;
    Shared<CDIB> picture;
    std::vector<CRect> invalid;
    CView* focusView = nullptr;
    CView* modalView = nullptr; ///< the foremost child
    DragRoute dragRoute;
    KnobMode knobMode = KnobMode::linear;
    CPoint mousePosition;
    bool windowGone = false;
    bool hasKeyboard = false;
    bool pointerShown = true;
    bool uncovered = false;
};

} // namespace sorvane::toolkit
