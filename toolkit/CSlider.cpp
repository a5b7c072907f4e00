#include "CSlider.h"

namespace sorvane::toolkit {

namespace {

constexpr float kFine = 0.1F;

} // namespace

float CSlider::position() const
{
    return vmax > vmin && value > vmin ? std::min((value - vmin) / (vmax - vmin), 1.0F) : 0.0F;
}

float CSlider::range() const
{
    const bool horizontal = direction == Direction::horizontal;
    const float length = horizontal ? rect.width() : rect.height();
    const int taken = !handle ? 0 : horizontal ? handle->getWidth() : handle->getHeight();
    return std::max(1.0F, length - static_cast<float>(taken));
}

void CSlider::draw(CDrawContext& context)
{
    CControl::draw(context);
    const float along = position() * range();
    if (handle) {
        const auto width = static_cast<float>(handle->getWidth());
        const auto height = static_cast<float>(handle->getHeight());
        const CPoint at = direction == Direction::horizontal
                              ? CPoint{rect.left + along, rect.top + (rect.height() - height) / 2.0F}
                              : CPoint{rect.left + (rect.width() - width) / 2.0F, rect.bottom - height - along};
        handle->draw(context, {at.x, at.y, at.x + width, at.y + height});
        return;
    }
    CRect bar = rect;
    if (direction == Direction::horizontal)
        bar.right = rect.left + along;
    else
        bar.top = rect.bottom - along;
    context.setFillColor(barColour);
    context.drawRect(bar, DrawStyle::filled);
}

MouseResult CSlider::onMouseDown(CPoint where, int buttons)
{
    if ((buttons & kLButton) == 0)
        return MouseResult::notHandled;
    if ((buttons & kControl) != 0) {
        checkDefaultValue(buttons & (kLButton | kControl));
        return MouseResult::handledNoMore;
    }
    dragging = true;
    fine = (buttons & kShift) != 0;
    dragStart = where;
    startPosition = position();
    beginEdit();
    return MouseResult::handled;
}

MouseResult CSlider::onMouseMoved(CPoint where, int buttons)
{
    if (!dragging)
        return MouseResult::notHandled;
    if (((buttons & kShift) != 0) != fine) { // goes on from here at the other speed
        fine = !fine;
        dragStart = where;
        startPosition = position();
    }
    const float moved = direction == Direction::horizontal ? where.x - dragStart.x : dragStart.y - where.y;
    const float before = value;
    setValue(vmin + (startPosition + moved / range() * (fine ? kFine : 1.0F)) * (vmax - vmin));
    bounceValue();
    tellChange(before);
    return MouseResult::handled;
}

MouseResult CSlider::onMouseUp(CPoint /*where*/, int /*buttons*/)
{
    if (!std::exchange(dragging, false))
        return MouseResult::notHandled;
    endEdit();
    return MouseResult::handled;
}

bool CSlider::onWheel(CPoint /*where*/, float distance, int buttons)
{
    return wheelBy(distance * wheelInc * ((buttons & kShift) != 0 ? kFine : 1.0F) * (vmax - vmin));
}

} // namespace sorvane::toolkit
