#include "CDragControl.h"

#include <utility>

namespace sorvane::toolkit {

namespace {

float speedWith(int buttons)
{
    return (buttons & kShift) != 0 ? 0.1F : 1.0F;
}

} // namespace

void CDragControl::goOnFrom(float place, int buttons)
{
    fine = (buttons & kShift) != 0;
    startPlace = place;
    startPosition = position();
}

MouseResult CDragControl::onMouseDown(CPoint where, int buttons)
{
    if ((buttons & kLButton) == 0)
        return MouseResult::notHandled;
    if ((buttons & kControl) != 0) {
        checkDefaultValue(buttons & (kLButton | kControl));
        return MouseResult::handledNoMore;
    }
    dragging = true;
    beginEdit();
    dragBegins(where, buttons);
    goOnFrom(placeOf(where), buttons);
    return MouseResult::handled;
}

MouseResult CDragControl::onMouseMoved(CPoint where, int buttons)
{
    if (!dragging || (buttons & kLButton) == 0)
        return MouseResult::notHandled;
    const float place = placeOf(where);
    if (((buttons & kShift) != 0) != fine) // goes on from here at the other speed
        goOnFrom(place, buttons);
    moveTo(startPosition + (place - startPlace) * speedWith(buttons));
    return MouseResult::handled;
}

MouseResult CDragControl::onMouseUp(CPoint /*where*/, int /*buttons*/)
{
    if (!std::exchange(dragging, false))
        return MouseResult::notHandled;
    endEdit();
    return MouseResult::handled;
}

bool CDragControl::onWheel(CPoint /*where*/, float distance, int buttons)
{
    return wheelBy(distance * wheelInc * speedWith(buttons) * (vmax - vmin));
}

} // namespace sorvane::toolkit
