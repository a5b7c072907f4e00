#include "CSwitch.h"

#include <cmath>

namespace sorvane::toolkit {

namespace {

constexpr float kRest = 0.5F; ///< of a rocker, in its range

} // namespace

void CSwitch::pressMoves(CPoint where, int /*buttons*/)
{
    const int count = positionCount();
    if (count < 2)
        return;
    const int index = std::clamp(floorToPixel(along(where) * static_cast<float>(count)), 0, count - 1);
    moveTo(static_cast<float>(index) / static_cast<float>(count - 1));
}

bool CSwitch::onWheel(CPoint /*where*/, float distance, int /*buttons*/)
{
    const int count = positionCount();
    if (count < 2)
        return false;
    // From the position that shows, so that values between two don't stay so.
    const int next = std::clamp(imageAt(position(), count) + (distance > 0.0F ? 1 : -1), 0, count - 1);
    return wheelTo(std::lerp(vmin, vmax, static_cast<float>(next) / static_cast<float>(count - 1)));
}

CRockerSwitch::CRockerSwitch(const CRect& viewRect, CControlListener* controlListener, int controlTag, int imageHeight,
                             CBitmap* images, Direction rockerDirection)
    : CPressControl(viewRect, controlListener, controlTag), imageStrip(imageHeight, 3), direction(rockerDirection)
{
    rest();
    setBackground(images);
}

void CRockerSwitch::rest()
{
    value = std::lerp(vmin, vmax, kRest);
}

void CRockerSwitch::setMin(float newMin)
{
    CPressControl::setMin(newMin);
    rest();
}

void CRockerSwitch::setMax(float newMax)
{
    CPressControl::setMax(newMax);
    rest();
}

float CRockerSwitch::halfAt(CPoint where) const
{
    const CPoint from = where - rect.origin();
    const bool second = direction == Direction::horizontal ? from.x >= rect.width() / 2 : from.y >= rect.height() / 2;
    return second ? 1.0F : 0.0F;
}

void CRockerSwitch::pressBegins(CPoint where, int buttons)
{
    held = halfAt(where);
    pressMoves(where, buttons);
}

void CRockerSwitch::pressMoves(CPoint where, int /*buttons*/)
{
    moveTo(rect.contains(where) && halfAt(where) == held ? held : kRest);
}

void CRockerSwitch::pressEnds(bool /*givenUp*/)
{
    moveTo(kRest);
}

bool CRockerSwitch::onWheel(CPoint /*where*/, float distance, int /*buttons*/)
{
    if (isPressed())
        return true;
    const float part = distance > 0.0F ? 0.75F : 0.25F;
    onMouseDown(rect.origin() + CPoint{rect.width() * part, rect.height() * part}, kLButton);
    onMouseUp({}, 0);
    return true;
}

} // namespace sorvane::toolkit
