#pragma once

#include "CControl.h"

namespace sorvane::toolkit {

/// A control that is held with the left button, which is one edit from the press to its end. It is released, or given
/// up: by a release that the window never got, or as the control leaves its window.
class CPressControl : public CControl {
public:
    using CControl::CControl;

    MouseResult onMouseDown(CPoint where, int buttons) override;
    MouseResult onMouseMoved(CPoint where, int buttons) override;
    MouseResult onMouseUp(CPoint where, int buttons) override;
    void removed() override;

protected:
    [[nodiscard]] bool isPressed() const { return pressed; }

private:
    /// All three within the edit.
    virtual void pressBegins(CPoint /*where*/, int /*buttons*/) {}
    virtual void pressMoves(CPoint /*where*/, int /*buttons*/) {}
    virtual void pressEnds(bool /*givenUp*/) {}

    bool pressed = false;
};

} // namespace sorvane::toolkit
