#include "CViewContainer.h"

#include "CControl.h"
#include "nCanDisable.h"

#include <algorithm>

namespace sorvane::toolkit {

CViewContainer::~CViewContainer()
{
    removeAll();
}

void CViewContainer::addView(CView* view)
{
    if (view == nullptr || view == this || holds(view))
        return;
    children.push_back(Shared<CView>::adopt(view));
    if (getFrame() != nullptr)
        view->attached(*this);
}

void CViewContainer::removeView(CView& view)
{
    const auto found =
        std::find_if(children.begin(), children.end(), [&](const auto& child) { return child.get() == &view; });
    if (found == children.end())
        return;
    const Shared<CView> kept = *found;
    children.erase(found);
    loose(view);
    if (view.getFrame() != nullptr) {
        view.invalidate(); // so that what is behind it is painted
        view.removed();
    }
}

void CViewContainer::removeAll()
{
    while (!children.empty())
        removeView(*children.back());
}

void CViewContainer::loose(const CView& child)
{
    if (pressed == &child)
        pressed = nullptr;
    if (hovered == &child)
        hovered = nullptr;
}

bool CViewContainer::holds(const CView* child) const
{
    return std::any_of(children.begin(), children.end(), [&](const auto& view) { return view.get() == child; });
}

void CViewContainer::setBackgroundColor(CColor colour)
{
    backgroundColour = colour;
    setDirty();
}

void CViewContainer::draw(CDrawContext& context)
{
    const CPoint outside = context.getOffset();
    if (backgroundColour.alpha > 0) {
        context.setFillColor(backgroundColour);
        context.drawRect(rect, DrawStyle::filled);
    }
    CView::draw(context);
    context.setOffset(outside + rect.origin());
    const CRect clip = context.getClipRect();
    for (const Shared<CView>& child : children) {
        if (!child->checkUpdate(clip))
            continue;
        const CRect seen = child->getViewSize().intersectedWith(clip);
        context.setClipRect(seen);
        child->drawRect(context, seen);
    }
    context.setOffset(outside);
    context.setClipRect(clip.movedBy(rect.origin()));
}

bool CViewContainer::isDirty() const
{
    return CView::isDirty() || std::any_of(children.begin(), children.end(),
                                           [](const auto& child) { return child->isVisible() && child->isDirty(); });
}

bool CViewContainer::meetsMouse(CView& view, CPoint local, int buttons)
{
    return view.isVisible() && view.isMouseEnabled() && view.hitTest(local, buttons);
}

CView* CViewContainer::childAt(CPoint local, int buttons) const
{
    for (auto child = children.rbegin(); child != children.rend(); ++child) {
        CView& view = **child;
        if (!meetsMouse(view, local, buttons))
            continue;
        // What is beneath a transparent container shows where it has nothing.
        if (const auto* const container = dynamic_cast<CViewContainer*>(&view);
            container != nullptr && view.isTransparent() &&
            container->childAt(container->inside(local), buttons) == nullptr)
            continue;
        return &view;
    }
    return nullptr;
}

bool CViewContainer::isOutOfUse(CView& view)
{
    const auto* const control = dynamic_cast<nCanDisable*>(&view);
    return control != nullptr && control->isDisabled();
}

bool CViewContainer::isLeftToListener(CView& view, int buttons)
{
    if ((buttons & (kRButton | kShift | kControl | kAlt | kApple)) == 0)
        return false;
    auto* const control = dynamic_cast<CControl*>(&view);
    return control != nullptr && control->getListener() != nullptr &&
           control->getListener()->controlModifierClicked(*control, buttons);
}

MouseResult CViewContainer::onMouseDown(CPoint where, int buttons)
{
    const CPoint local = inside(where);
    const std::vector<Shared<CView>> before = children; // a press may change them
    for (auto child = before.rbegin(); child != before.rend(); ++child) {
        CView& view = **child;
        if (!holds(&view))
            continue;
        if (isOutOfUse(view) && view.isVisible() && view.hitTest(local, buttons))
            return MouseResult::handledNoMore; // rather than meet what is behind it
        if (!meetsMouse(view, local, buttons))
            continue;
        if (isLeftToListener(view, buttons))
            return MouseResult::handledNoMore;
        const MouseResult result = view.onMouseDown(local, buttons);
        if (result == MouseResult::handled && holds(&view))
            pressed = &view;
        if (result == MouseResult::handled || result == MouseResult::handledNoMore)
            return result;
        if (!view.isTransparent())
            return MouseResult::notHandled;
    }
    return MouseResult::notHandled;
}

void CViewContainer::hover(CView* child, CPoint local, int buttons)
{
    if (child == hovered)
        return;
    // Each may remove itself or the other.
    const Shared<CView> left(std::exchange(hovered, child));
    const Shared<CView> entered(child);
    if (left && holds(left.get()))
        left->onMouseExited(local, buttons);
    if (entered && hovered == entered.get() && holds(entered.get()))
        entered->onMouseEntered(local, buttons);
}

MouseResult CViewContainer::onMouseMoved(CPoint where, int buttons)
{
    const CPoint local = inside(where);
    if (pressed != nullptr) {
        const Shared<CView> kept(pressed);
        const MouseResult result = kept->onMouseMoved(local, buttons);
        if (result == MouseResult::handledNoMore)
            pressed = nullptr;
        return result;
    }
    const Shared<CView> under(childAt(local, buttons));
    hover(under.get(), local, buttons);
    return under ? under->onMouseMoved(local, buttons) : MouseResult::notHandled;
}

MouseResult CViewContainer::onMouseUp(CPoint where, int buttons)
{
    if (pressed == nullptr)
        return MouseResult::notHandled;
    const Shared<CView> kept(std::exchange(pressed, nullptr));
    return kept->onMouseUp(inside(where), buttons);
}

MouseResult CViewContainer::onMouseExited(CPoint where, int buttons)
{
    hover(nullptr, inside(where), buttons);
    return MouseResult::handled;
}

bool CViewContainer::onWheel(CPoint where, WheelAxis axis, float distance, int buttons)
{
    const CPoint local = inside(where);
    const std::vector<Shared<CView>> before = children; // a step may change them
    for (auto child = before.rbegin(); child != before.rend(); ++child) {
        CView& view = **child;
        if (!holds(&view) || !meetsMouse(view, local, buttons))
            continue;
        if (view.onWheel(local, axis, distance, buttons))
            return true;
        if (!view.isTransparent())
            return false;
    }
    return false;
}

void CViewContainer::attached(CViewContainer& newParent)
{
    CView::attached(newParent);
    const std::vector<Shared<CView>> all = children; // which may change as they come
    for (const Shared<CView>& child : all)
        if (holds(child.get()))
            child->attached(*this);
}

void CViewContainer::removed()
{
    const std::vector<Shared<CView>> all = children; // which may change as they go
    for (const Shared<CView>& child : all)
        if (holds(child.get()))
            child->removed();
    pressed = nullptr;
    hovered = nullptr;
    CView::removed();
}

CMessageResult CViewContainer::notify(CBaseObject* sender, const char* message)
{
    return message == kMsgCheckIfViewContainer ? CMessageResult::notified : CView::notify(sender, message);
}

CView* CViewContainer::getViewAt(CPoint where)
{
    const CPoint local = inside(where);
    CView* const child = childAt(local, 0);
    if (child == nullptr)
        return this;
    if (child->notify(this, kMsgCheckIfViewContainer) == CMessageResult::notified)
        return static_cast<CViewContainer*>(child)->getViewAt(local);
    return child;
}

} // namespace sorvane::toolkit
