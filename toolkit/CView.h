#pragma once

#include "CBitmap.h"
#include "CDrawContext.h"
#include "WindowEvents.h"

#include <string_view>

namespace sorvane::toolkit {

using platform::CursorShape;
using platform::kAlt;
using platform::kApple;
using platform::kControl;
using platform::kDoubleClick;
using platform::Key;
using platform::KeyPress;
using platform::kLButton;
using platform::kMButton;
using platform::kRButton;
using platform::kShift;
using platform::WheelAxis;

class CDragContainer;
class CFrame;
class CViewContainer;

/// What a view made of a mouse event. The numbers are agreed.
enum class MouseResult {
    notImplemented = 0,
    handled = 1,
    notHandled = 2,
    handledNoMore = 3, ///< handled, and the view wants no moves and no release of this press
};

/// A rectangle of a window that draws itself and takes events. Its rectangle, and the points that it is given, are in
/// the coordinates of its parent's inside.
///
/// All calls are made under the lock of its frame.
class CView : public CBaseObject {
public:
    explicit CView(const CRect& viewRect) : rect(viewRect), mouseableArea(viewRect) {}

    /// Draws the view, clipped to its rectangle. The base draws the background.
    virtual void draw(CDrawContext& context);
    /// Draws what of it lies in an area, to which the context is clipped. The base draws all.
    virtual void drawRect(CDrawContext& context, const CRect& /*area*/) { draw(context); }
    /// Whether a repaint of an area of its parent's inside has to draw it.
    [[nodiscard]] virtual bool checkUpdate(const CRect& area) const
    {
        return visible && !rect.intersectedWith(area).isEmpty();
    }

    [[nodiscard]] virtual bool isDirty() const { return dirty; }
    /// Asks for a repaint at the frame's next idle.
    virtual void setDirty(bool on = true) { dirty = on; }

    /// \param buttons  state of buttons and modifier keys, with the button that is pressed
    virtual MouseResult onMouseDown(CPoint /*where*/, int /*buttons*/) { return MouseResult::notImplemented; }
    virtual MouseResult onMouseMoved(CPoint /*where*/, int /*buttons*/) { return MouseResult::notImplemented; }
    /// \param buttons  with the button that is released
    virtual MouseResult onMouseUp(CPoint /*where*/, int /*buttons*/) { return MouseResult::notImplemented; }
    virtual MouseResult onMouseEntered(CPoint /*where*/, int /*buttons*/) { return MouseResult::notImplemented; }
    virtual MouseResult onMouseExited(CPoint /*where*/, int /*buttons*/) { return MouseResult::notImplemented; }
    /// Whether the mouse meets the view there; asked where its mouseable area is.
    [[nodiscard]] virtual bool hitTest(CPoint where, int /*buttons*/) { return mouseableArea.contains(where); }
    /// \return whether the view used it
    virtual bool onWheel(CPoint where, WheelAxis axis, float distance, int buttons);
    virtual bool onWheel(CPoint /*where*/, float /*distance*/, int /*buttons*/) { return false; }
    /// What is dragged comes over the view, moves there, and leaves or is given up.
    virtual void onDragEnter(const CDragContainer& /*dragged*/, CPoint /*where*/) {}
    virtual void onDragMove(const CDragContainer& /*dragged*/, CPoint /*where*/) {}
    virtual void onDragLeave(const CDragContainer& /*dragged*/, CPoint /*where*/) {}
    /// It is let go over the view, or over one within that doesn't take it. \return whether the view took it
    virtual bool onDrop(const CDragContainer& /*dragged*/, CPoint /*where*/) { return false; }
    /// To the view with the focus. \return whether the view used it
    virtual bool onKeyDown(const KeyPress& /*key*/) { return false; }
    virtual bool onKeyUp(const KeyPress& /*key*/) { return false; }
    virtual void onPaste(std::string_view /*text*/) {}

    virtual void setViewSize(const CRect& newRect, bool repaint = true);
    [[nodiscard]] virtual const CRect& getViewSize() const { return rect; }
    /// Where the mouse meets it, which setViewSize leaves alone.
    virtual void setMouseableArea(const CRect& area) { mouseableArea = area; }
    [[nodiscard]] const CRect& getMouseableArea() const { return mouseableArea; }

    virtual void takeFocus() {}
    virtual void looseFocus() {}

    /// The view is in a window from here on.
    virtual void attached(CViewContainer& newParent);
    virtual void removed();

    virtual void setBackground(CBitmap* bitmap);
    [[nodiscard]] CBitmap* getBackground() const { return background.get(); }
    /// Where in the bitmap the background begins.
    void setBackgroundOffset(CPoint offset);
    [[nodiscard]] CPoint getBackgroundOffset() const { return backgroundOffset; }

    /// Whether the class, or one that it comes from, has this name.
    [[nodiscard]] virtual bool isTypeOf(std::string_view name) const { return name == "CView"; }

    void setMouseEnabled(bool on) { mouseEnabled = on; }
    [[nodiscard]] bool isMouseEnabled() const { return mouseEnabled; }
    /// Whether events that it doesn't use go on to views beneath it.
    void setTransparency(bool on) { transparent = on; }
    [[nodiscard]] bool isTransparent() const { return transparent; }
    void setVisible(bool on);
    [[nodiscard]] bool isVisible() const { return visible; }

    /// Null while it is in no window.
    [[nodiscard]] CFrame* getFrame() const { return frame; }
    [[nodiscard]] CViewContainer* getParent() const { return parent; }
    /// A point of the coordinates of its rectangle, in those of the frame.
    [[nodiscard]] CPoint toFrame(CPoint point) const;
    /// And back.
    [[nodiscard]] CPoint fromFrame(CPoint point) const { return point - toFrame({}); }

protected:
    /// Asks for a repaint of where it is now.
    void invalidate();

    CRect rect;

private:
    friend class CFrame;
    friend class CViewContainer;

    CRect mouseableArea;
    CFrame* frame = nullptr;
    CViewContainer* parent = nullptr;
    Shared<CBitmap> background;
    CPoint backgroundOffset;
    bool dirty = true;
    bool mouseEnabled = true;
    bool transparent = false;
    bool visible = true;
};

} // namespace sorvane::toolkit
