#include "CKickButton.h"

namespace sorvane::toolkit {

void CKickButton::press(bool on)
{
    setValue(on ? vmax : vmin);
    if (listener != nullptr) // also at the release of a press that was dragged away
        listener->valueChanged(*this);
}

MouseResult CKickButton::onMouseDown(CPoint /*where*/, int buttons)
{
    if ((buttons & kLButton) == 0)
        return MouseResult::notHandled;
    beginEdit();
    press(true);
    return MouseResult::handled;
}

MouseResult CKickButton::onMouseMoved(CPoint where, int buttons)
{
    if ((buttons & kLButton) == 0)
        return MouseResult::notHandled;
    setValue(rect.contains(where) ? vmax : vmin); // shown only
    return MouseResult::handled;
}

MouseResult CKickButton::onMouseUp(CPoint /*where*/, int /*buttons*/)
{
    press(false);
    endEdit();
    return MouseResult::handled;
}

MouseResult COnOffButton::onMouseDown(CPoint /*where*/, int buttons)
{
    if ((buttons & kLButton) == 0)
        return MouseResult::notHandled;
    const float before = value;
    beginEdit();
    setValue(value > vmin ? vmin : vmax);
    tellChange(before);
    endEdit();
    return MouseResult::handledNoMore;
}

MouseResult CMovieButton::onMouseDown(CPoint where, int buttons)
{
    if ((buttons & kLButton) == 0)
        return MouseResult::notHandled;
    valueBefore = value;
    beginEdit();
    return onMouseMoved(where, buttons);
}

MouseResult CMovieButton::onMouseMoved(CPoint where, int buttons)
{
    if ((buttons & kLButton) == 0)
        return MouseResult::notHandled;
    const bool wasOn = valueBefore > vmin;
    setValue(rect.contains(where) != wasOn ? vmax : vmin);
    return MouseResult::handled;
}

MouseResult CMovieButton::onMouseUp(CPoint /*where*/, int /*buttons*/)
{
    tellChange(valueBefore);
    endEdit();
    return MouseResult::handled;
}

} // namespace sorvane::toolkit
