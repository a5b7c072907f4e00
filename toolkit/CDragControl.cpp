#include "CDragControl.h"

namespace sorvane::toolkit {

namespace {

float speedWith(int buttons)
{
    return (buttons & kShift) != 0 ? 0.1F : 1.0F;
}

} // namespace

MouseResult CDragControl::onMouseDown(CPoint where, int buttons)
{
    if ((buttons & kLButton) == 0 || (buttons & kControl) == 0)
        return CPressControl::onMouseDown(where, buttons);
    checkDefaultValue(buttons & (kLButton | kControl));
    return MouseResult::handledNoMore;
}

void CDragControl::goOnFrom(float newPosition, float place, int buttons)
{
    fine = (buttons & kShift) != 0;
    startPlace = place;
    startPosition = newPosition;
}

void CDragControl::pressBegins(CPoint where, int buttons)
{
    const float from = dragBegins(where, buttons);
    goOnFrom(from, placeOf(where), buttons);
}

void CDragControl::pressMoves(CPoint where, int buttons)
{
    const float place = placeOf(where);
    if (((buttons & kShift) != 0) != fine) // goes on from here at the other speed
        goOnFrom(position(), place, buttons);
    moveTo(startPosition + (place - startPlace) * speedWith(buttons));
}

bool CDragControl::onWheel(CPoint where, float distance, int buttons)
{
    const bool taken = wheelBy(distance * wheelInc * speedWith(buttons) * (vmax - vmin));
    if (isPressed()) // the drag goes on from there
        goOnFrom(position(), placeOf(where), buttons);
    return taken;
}

} // namespace sorvane::toolkit
