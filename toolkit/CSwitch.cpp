#include "CSwitch.h"

namespace sorvane::toolkit {

namespace {

constexpr float kRest = 0.5F; ///< of a rocker, in its range

} // namespace

MouseResult CSwitch::onMouseDown(CPoint where, int buttons)
{
    if ((buttons & kLButton) == 0)
        return MouseResult::notHandled;
    dragging = true;
    beginEdit();
    return onMouseMoved(where, buttons);
}

MouseResult CSwitch::onMouseMoved(CPoint where, int buttons)
{
    if (!dragging || (buttons & kLButton) == 0)
        return MouseResult::notHandled;
    const int count = positionCount();
    if (count > 1) {
        const int index = std::clamp(floorToPixel(along(where) * static_cast<float>(count)), 0, count - 1);
        moveTo(static_cast<float>(index) / static_cast<float>(count - 1));
    }
    return MouseResult::handled;
}

MouseResult CSwitch::onMouseUp(CPoint /*where*/, int /*buttons*/)
{
    if (!std::exchange(dragging, false))
        return MouseResult::notHandled;
    endEdit();
    return MouseResult::handled;
}

bool CSwitch::onWheel(CPoint /*where*/, float distance, int /*buttons*/)
{
    const int count = positionCount();
    if (count < 2)
        return false;
    // From the position that shows, so that values between two don't stay so.
    const int next = std::clamp(imageAt(position(), count) + (distance > 0.0F ? 1 : -1), 0, count - 1);
    return wheelBy((static_cast<float>(next) / static_cast<float>(count - 1) - position()) * (vmax - vmin));
}

CRockerSwitch::CRockerSwitch(const CRect& viewRect, CControlListener* controlListener, int controlTag, int imageHeight,
                             CBitmap* images, Direction rockerDirection)
    : CControl(viewRect, controlListener, controlTag), imageStrip(imageHeight, 3), direction(rockerDirection)
{
    value = kRest;
    setBackground(images);
}

float CRockerSwitch::halfAt(CPoint where) const
{
    const CPoint from = where - rect.origin();
    const bool second = direction == Direction::horizontal ? from.x >= rect.width() / 2 : from.y >= rect.height() / 2;
    return second ? 1.0F : 0.0F;
}

MouseResult CRockerSwitch::onMouseDown(CPoint where, int buttons)
{
    if ((buttons & kLButton) == 0)
        return MouseResult::notHandled;
    held = halfAt(where);
    pressed = true;
    beginEdit();
    return onMouseMoved(where, buttons);
}

MouseResult CRockerSwitch::onMouseMoved(CPoint where, int /*buttons*/)
{
    if (!pressed)
        return MouseResult::notHandled;
    moveTo(rect.contains(where) && halfAt(where) == held ? held : kRest);
    return MouseResult::handled;
}

MouseResult CRockerSwitch::onMouseUp(CPoint /*where*/, int /*buttons*/)
{
    if (!std::exchange(pressed, false))
        return MouseResult::notHandled;
    moveTo(kRest);
    endEdit();
    return MouseResult::handled;
}

void CRockerSwitch::removed()
{
    if (std::exchange(pressed, false)) // whose release won't come
        moveTo(kRest);
    CControl::removed();
}

bool CRockerSwitch::onWheel(CPoint /*where*/, float distance, int /*buttons*/)
{
    if (pressed)
        return true;
    beginEdit();
    moveTo(distance > 0.0F ? 1.0F : 0.0F);
    moveTo(kRest);
    endEdit();
    return true;
}

} // namespace sorvane::toolkit
