#pragma once

#include "CDragContainer.h"
#include "CView.h"

namespace sorvane::toolkit {

/// A drag under way over a frame: tells the views that it comes over, and gives what is dragged to the one where it is
/// let go or, if that doesn't take it, to one of those around it.
class DragRoute {
public:
    [[nodiscard]] bool isActive() const { return static_cast<bool>(dragged); }
    void begin(Shared<CDragContainer> items) { dragged = std::move(items); }
    /// \param target  the innermost view there, null for none
    /// \param where   in coordinates of the frame, as below
    void move(CView* target, CPoint where);
    void drop(CView* target, CPoint where);
    /// Ends without a drop.
    void cancel(CPoint where);
    /// A view leaves the frame.
    void forget(const CView& view)
    {
        if (over == &view)
            over = nullptr;
    }

private:
    void leave(CPoint where);

    Shared<CDragContainer> dragged;
    CView* over = nullptr;
};

} // namespace sorvane::toolkit
