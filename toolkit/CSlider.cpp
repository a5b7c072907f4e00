#include "CSlider.h"

namespace sorvane::toolkit {

CSlider::Way CSlider::way() const
{
    if (handleWay)
        return *handleWay;
    const bool horizontal = direction == Direction::horizontal;
    const float length = horizontal ? rect.width() : rect.height();
    const float taken = !handle ? 0.0F : horizontal ? handle->logicalWidth() : handle->logicalHeight();
    return {0.0F, length - taken};
}

float CSlider::range() const
{
    return std::max(1.0F, way().to - way().from);
}

float CSlider::placeOf(CPoint where)
{
    const float along = direction == Direction::horizontal ? where.x : where.y;
    return (growsOnward() ? along : -along) / range();
}

void CSlider::setInverted(bool on)
{
    inverted = on;
    setDirty();
}

void CSlider::setHandlePositions(float lowest, float highest)
{
    handleWay = Way{lowest, highest};
    setDirty();
}

void CSlider::setHandleOffset(CPoint offset)
{
    handleOffset = offset;
    setDirty();
}

void CSlider::draw(CDrawContext& context)
{
    CControl::draw(context);
    const bool horizontal = direction == Direction::horizontal;
    const float along = position() * range();
    const float place = growsOnward() ? way().from + along : way().to - along;
    if (handle) {
        const float width = handle->logicalWidth();
        const float height = handle->logicalHeight();
        const CPoint at =
            handleOffset + (horizontal ? CPoint{rect.left + place, rect.top + (rect.height() - height) / 2.0F}
                                       : CPoint{rect.left + (rect.width() - width) / 2.0F, rect.top + place});
        handle->draw(context, {at.x, at.y, at.x + width, at.y + height});
        return;
    }
    CRect bar = rect;
    float& start = horizontal ? bar.left : bar.top;
    float& end = horizontal ? bar.right : bar.bottom;
    (growsOnward() ? end : start) = start + place;
    context.setFillColor(barColour);
    context.drawRect(bar, DrawStyle::filled);
}

} // namespace sorvane::toolkit
