#include "CView.h"

#include "CFrame.h"

namespace sorvane::toolkit {

void CView::draw(CDrawContext& context)
{
    if (background)
        background->draw(context, rect, backgroundOffset);
}

bool CView::onWheel(CPoint where, WheelAxis axis, float distance, int buttons)
{
    return axis == WheelAxis::vertical && onWheel(where, distance, buttons);
}

void CView::setViewSize(const CRect& newRect, bool repaint)
{
    if (repaint)
        invalidate();
    rect = newRect;
    if (repaint)
        invalidate();
}

void CView::attached(CViewContainer& newParent)
{
    parent = &newParent;
    frame = newParent.getFrame();
    setDirty();
}

void CView::removed()
{
    if (frame != nullptr)
        frame->forgetView(*this);
    frame = nullptr;
    parent = nullptr;
}

void CView::setBackground(CBitmap* bitmap)
{
    background = Shared<CBitmap>(bitmap);
    setDirty();
}

void CView::setBackgroundOffset(CPoint offset)
{
    backgroundOffset = offset;
    setDirty();
}

void CView::setVisible(bool on)
{
    if (on == visible)
        return;
    visible = on;
    invalidate();
}

CPoint CView::toFrame(CPoint point) const
{
    for (const CViewContainer* around = parent; around != nullptr; around = around->getParent())
        point = point + around->getViewSize().origin();
    return point;
}

void CView::invalidate()
{
    if (frame != nullptr)
        frame->invalidRect(rect.movedBy(toFrame({})));
}

} // namespace sorvane::toolkit
