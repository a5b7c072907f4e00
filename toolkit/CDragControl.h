#pragma once

#include "CPressControl.h"

namespace sorvane::toolkit {

/// A control whose value a drag moves along a way. With Shift the drag is ten times finer, and so is the wheel; a click
/// with Control goes back to the default.
class CDragControl : public CPressControl {
public:
    using CPressControl::CPressControl;

    MouseResult onMouseDown(CPoint where, int buttons) override;
    bool onWheel(CPoint where, float distance, int buttons) override;
    using CView::onWheel;

protected:
    /// Where the mouse is on the way, from wherever that is counted: 1 further for the highest value than for the
    /// lowest. It goes on beyond, so that a drag out and back ends where it began. Asked in the order of the mouse's
    /// places.
    [[nodiscard]] virtual float placeOf(CPoint where) = 0;
    /// In the drag's edit, before the first place is asked. \return the position that it goes on from, which may lie
    /// beyond the range
    virtual float dragBegins(CPoint /*where*/, int /*buttons*/) { return position(); }

private:
    void pressBegins(CPoint where, int buttons) override;
    void pressMoves(CPoint where, int buttons) override;
    void goOnFrom(float newPosition, float place, int buttons);

    bool fine = false;
    float startPlace = 0.0F;
    float startPosition = 0.0F;
};

} // namespace sorvane::toolkit
