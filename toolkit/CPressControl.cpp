#include "CPressControl.h"

#include <utility>

namespace sorvane::toolkit {

MouseResult CPressControl::onMouseDown(CPoint where, int buttons)
{
    if ((buttons & kLButton) == 0)
        return MouseResult::notHandled;
    pressed = true;
    beginEdit();
    if (pressed) // else its listener took it away
        pressBegins(where, buttons);
    return pressed ? MouseResult::handled : MouseResult::handledNoMore;
}

MouseResult CPressControl::onMouseMoved(CPoint where, int buttons)
{
    if (!pressed || (buttons & kLButton) == 0)
        return MouseResult::notHandled;
    pressMoves(where, buttons);
    return MouseResult::handled;
}

MouseResult CPressControl::onMouseUp(CPoint /*where*/, int buttons)
{
    if (!std::exchange(pressed, false))
        return MouseResult::notHandled;
    pressEnds(buttons < 0);
    endEdit();
    return MouseResult::handled;
}

void CPressControl::removed()
{
    if (std::exchange(pressed, false)) // whose release won't come
        pressEnds(true);
    CControl::removed();
}

} // namespace sorvane::toolkit
