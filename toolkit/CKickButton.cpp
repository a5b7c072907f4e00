#include "CKickButton.h"

namespace sorvane::toolkit {

void CKickButton::kick(float newValue)
{
    setValue(newValue);
    if (listener != nullptr) // also at the release of a press that was dragged away
        listener->valueChanged(*this);
}

void CKickButton::pressBegins(CPoint /*where*/, int /*buttons*/)
{
    kick(vmax);
}

void CKickButton::pressMoves(CPoint where, int /*buttons*/)
{
    setValue(rect.contains(where) ? vmax : vmin); // shown only
}

void CKickButton::pressEnds(bool /*givenUp*/)
{
    kick(vmin);
}

MouseResult COnOffButton::onMouseDown(CPoint /*where*/, int buttons)
{
    if ((buttons & kLButton) == 0)
        return MouseResult::notHandled;
    editTo(value > vmin ? 0.0F : 1.0F);
    return MouseResult::handledNoMore;
}

void CMovieButton::pressBegins(CPoint where, int buttons)
{
    valueBefore = value;
    pressMoves(where, buttons);
}

void CMovieButton::pressMoves(CPoint where, int /*buttons*/)
{
    const bool wasOn = valueBefore > vmin;
    setValue(rect.contains(where) != wasOn ? vmax : vmin);
}

void CMovieButton::pressEnds(bool givenUp)
{
    if (givenUp)
        setValue(valueBefore);
    tellChange(valueBefore);
}

} // namespace sorvane::toolkit
