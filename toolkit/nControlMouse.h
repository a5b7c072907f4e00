#pragma once

#include "CFrame.h"

namespace sorvane::toolkit {

/// Hides the pointer while a control is dragged, and puts it back to where the drag began.
class nControlMouse {
public:
    virtual ~nControlMouse() = default;
    /// Whether it does so, as the user prefers.
    virtual void setEnabled(bool on) { enabled = on; }
    /// \param restore  remember the place when hiding, go back there when showing
    virtual void showPointer(bool show, bool restore)
    {
        if (!enabled || show != hidden)
            return;
        if (restore && !show)
            savePointerPosition();
        if (restore && show)
            restorePointerPosition();
        setPointerVisible(show);
    }
    virtual void savePointerPosition()
    {
        if (const CFrame* const frame = pointerFrame())
            saved = frame->getMousePosition();
    }
    virtual void restorePointerPosition()
    {
        if (CFrame* const frame = pointerFrame())
            frame->setMousePosition(saved);
    }
    virtual void setPointerVisible(bool show)
    {
        hidden = !show;
        if (CFrame* const frame = pointerFrame())
            frame->showPointer(show);
    }

protected:
    /// Of the control; null while it has none.
    [[nodiscard]] virtual CFrame* pointerFrame() const = 0;

private:
    bool enabled = true;
    bool hidden = false;
    CPoint saved;
};

} // namespace sorvane::toolkit
