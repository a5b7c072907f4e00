#include "DragRoute.h"

#include "CViewContainer.h"

#include <utility>

namespace sorvane::toolkit {

void DragRoute::leave(CPoint where)
{
    const Shared<CView> left(std::exchange(over, nullptr));
    if (left && dragged)
        left->onDragLeave(*dragged, left->fromFrame(where));
}

void DragRoute::move(CView* target, CPoint where)
{
    // Each view that is told may end the drag, or take away another.
    const Shared<CDragContainer> items = dragged;
    const Shared<CView> under(target);
    if (over != target) {
        leave(where);
        if (!isActive() || !under || under->getFrame() == nullptr)
            return;
        over = target;
        under->onDragEnter(*items, under->fromFrame(where));
    }
    if (isActive() && under && over == under.get())
        under->onDragMove(*items, under->fromFrame(where));
}

void DragRoute::drop(CView* target, CPoint where)
{
    move(target, where);
    const Shared<CDragContainer> items = std::exchange(dragged, {});
    Shared<CView> under(std::exchange(over, nullptr));
    if (!items)
        return;
    while (under && !under->onDrop(*items, under->fromFrame(where)))
        under = Shared<CView>(under->getParent());
}

void DragRoute::cancel(CPoint where)
{
    leave(where);
    dragged = {};
}

} // namespace sorvane::toolkit
