#include "CFrame.h"

#include <bit>
#include <cmath>
#include <utility>

namespace sorvane::toolkit {

namespace {

constexpr std::size_t kMostAreas = 12; ///< that are painted apart; more become one

float usableScale(float scale)
{
    return scale > 0.0F ? std::clamp(scale, CFrame::kSmallestScale, CFrame::kLargestScale) : 1.0F;
}

bool isOneButton(int buttons)
{
    return std::popcount(static_cast<unsigned>(buttons & (kLButton | kMButton | kRButton))) <= 1;
}

} // namespace

struct CFrame::Event {
    explicit Event(CFrame& frame) : kept(&frame), guard(frame.lock()) {}

    Shared<CFrame> kept; ///< goes after the lock
    std::unique_lock<std::recursive_mutex> guard;
};

CFrame::CFrame(const CRect& frameRect, float drawScale) : CViewContainer(CRect{}), scale(usableScale(drawScale))
{
    placeSize(frameRect.width(), frameRect.height());
}

CFrame::~CFrame()
{
    const auto guard = lock();
    leaveWindow();
}

void CFrame::placeSize(float newWidth, float newHeight)
{
    const float largest = std::floor(static_cast<float>(CDIB::kMaxSide) / scale);
    const auto side = [largest](float length) { return length > 1.0F ? std::min(length, largest) : 1.0F; };
    rect = {0, 0, side(newWidth), side(newHeight)};
    setMouseableArea(rect);
    makePicture();
}

void CFrame::makePicture()
{
    picture =
        Shared<CDIB>::adopt(new CDIB(roundToPixel(rect.width() * scale), roundToPixel(rect.height() * scale), false));
    invalid.assign(1, rect);
}

void CFrame::open(platform::Window& newWindow)
{
    const auto guard = lock();
    if (window != nullptr && window != &newWindow)
        window->setListener(nullptr);
    window = &newWindow;
    windowGone = false;
    hasKeyboard = false;
    pointerShown = true;
    frame = this;
    window->setListener(this);
    uncovered = window->isSeen();
    for (const Shared<CView>& child : getViews())
        child->attached(*this);
    invalidRect(rect);
}

void CFrame::close()
{
    const Event event(*this); // as controls end their edits, a listener may drop the frame
    leaveWindow();
}

void CFrame::leaveWindow()
{
    cancelDrag();
    endModal();
    setFocusView(nullptr);
    removeAll();
    uncovered = false;
    frame = nullptr;
    if (platform::Window* const left = std::exchange(window, nullptr))
        left->setListener(nullptr);
}

void CFrame::invalidRect(const CRect& area)
{
    CRect seen = area.intersectedWith(rect);
    if (seen.isEmpty())
        return;
    // Areas that meet are painted as one.
    for (std::size_t i = 0; i < invalid.size();) {
        if (!invalid[i].intersectedWith(seen).isEmpty() || invalid.size() >= kMostAreas) {
            seen = seen.unitedWith(invalid[i]);
            invalid.erase(invalid.begin() + static_cast<std::ptrdiff_t>(i));
            i = 0;
        } else {
            ++i;
        }
    }
    invalid.push_back(seen);
}

void CFrame::collectDirty(CViewContainer& container, CPoint origin)
{
    if (std::exchange(container.dirty, false))
        invalidRect(container.rect.movedBy(origin));
    const CPoint inner = origin + container.rect.origin();
    for (const Shared<CView>& child : container.children) {
        if (!child->isVisible() || !child->isDirty())
            continue;
        if (child->notify(this, kMsgCheckIfViewContainer) == CMessageResult::notified) {
            collectDirty(static_cast<CViewContainer&>(*child), inner);
        } else {
            invalidRect(child->getViewSize().movedBy(inner));
            child->setDirty(false);
        }
    }
}

void CFrame::repaint(const CRect& area)
{
    COffscreenContext context(*picture, scale);
    // Whole logical pixels, so that at a fractional scale no half of one keeps what was there.
    context.setClipRect(
        {std::floor(area.left) - 1, std::floor(area.top) - 1, std::ceil(area.right) + 1, std::ceil(area.bottom) + 1});
    if (backgroundColour.alpha < 255) { // so that nothing is laid over what was there
        context.setFillColor({0, 0, 0, 255});
        context.drawRect(rect, DrawStyle::filled);
    }
    draw(context);
}

void CFrame::idle()
{
    const auto guard = lock();
    if (window == nullptr || !uncovered)
        return;
    collectDirty(*this, {});
    const std::vector<CRect> areas = std::exchange(invalid, {});
    for (const CRect& area : areas)
        repaint(area);
    for (const CRect& area : areas)
        window->present(picture->getPixels(), picture->getWidth(), toWindow(area));
}

bool CFrame::takeDirty()
{
    collectDirty(*this, {});
    return !std::exchange(invalid, {}).empty();
}

void CFrame::setFocusView(CView* view)
{
    if (view == focusView)
        return;
    const Shared<CView> taking(view);
    const Shared<CView> old(std::exchange(focusView, view));
    if (old) {
        old->looseFocus();
        old->notify(view, kMsgOldFocusView);
    }
    if (taking && focusView == taking.get()) { // unless the other, as it lost it, gave it away
        taking->takeFocus();
        taking->notify(old.get(), kMsgNewFocusView);
        takeKeyboard();
    }
    giveKeyboardBack();
    if (old && focusView == nullptr)
        notify(old.get(), kMsgLooseFocus);
}

void CFrame::takeKeyboard()
{
    if (window == nullptr)
        return;
    window->takeKeyboard();
    hasKeyboard = true;
}

void CFrame::giveKeyboardBack()
{
    if (window == nullptr || !hasKeyboard || focusView != nullptr || modalView != nullptr)
        return;
    window->giveKeyboardBack();
    hasKeyboard = false;
}

void CFrame::setModalView(CView* view)
{
    endModal();
    if (view == nullptr)
        return;
    cancelDrag();
    addView(view);
    modalView = view;
    takeKeyboard();
}

void CFrame::endModal()
{
    if (CView* const ended = std::exchange(modalView, nullptr))
        removeView(*ended);
    giveKeyboardBack();
}

void CFrame::forgetView(const CView& view)
{
    if (focusView == &view)
        focusView = nullptr;
    if (modalView == &view)
        modalView = nullptr;
    dragRoute.forget(view);
    giveKeyboardBack();
}

void CFrame::startDrag(CDragContainer* dragged)
{
    cancelDrag();
    if (dragged == nullptr)
        return;
    dragRoute.begin(Shared<CDragContainer>::adopt(dragged));
    setCursor(CursorShape::hand);
}

CView* CFrame::dragTarget()
{
    if (!rect.contains(mousePosition))
        return nullptr;
    CView* const target = getViewAt(mousePosition);
    for (const CView* around = target; modalView != nullptr && around != modalView; around = around->getParent())
        if (around == nullptr) // not in the modal view
            return nullptr;
    return target;
}

void CFrame::cancelDrag()
{
    if (!dragRoute.isActive())
        return;
    dragRoute.cancel(mousePosition);
    setCursor(CursorShape::arrow);
}

void CFrame::setCursor(CursorShape shape)
{
    if (window != nullptr)
        window->setCursor(shape);
}

void CFrame::showPointer(bool show)
{
    pointerShown = show;
    if (window != nullptr)
        window->showPointer(show);
}

void CFrame::setMousePosition(CPoint where)
{
    if (window != nullptr)
        window->movePointer(roundToPixel(where.x * scale), roundToPixel(where.y * scale));
}

void CFrame::setClipboard(const std::string& text)
{
    if (window != nullptr)
        window->setClipboard(text);
}

void CFrame::requestClipboard()
{
    if (window != nullptr)
        window->requestClipboard();
}

void CFrame::setSize(float newWidth, float newHeight)
{
    const auto guard = lock();
    placeSize(newWidth, newHeight);
    if (window != nullptr)
        window->resize(picture->getWidth(), picture->getHeight());
}

void CFrame::setScale(float newScale)
{
    const auto guard = lock();
    if (!(newScale > 0.0F) || usableScale(newScale) == scale)
        return;
    scale = usableScale(newScale);
    setSize(rect.width(), rect.height());
}

CPoint CFrame::toLogical(int x, int y) const
{
    return {static_cast<float>(x) / scale, static_cast<float>(y) / scale};
}

platform::WindowArea CFrame::toWindow(const CRect& area) const
{
    const PixelRect pixels = PixelRect{floorToPixel((area.left - 1) * scale), floorToPixel((area.top - 1) * scale),
                                       ceilToPixel((area.right + 1) * scale), ceilToPixel((area.bottom + 1) * scale)}
                                 .intersectedWith(picture->bounds());
    return {pixels.left, pixels.top, pixels.right, pixels.bottom};
}

MouseResult CFrame::onMouseDown(CPoint where, int buttons)
{
    const Shared<CView> focused(focusView);
    if (focused && !focused->getViewSize().movedBy(focused->toFrame({})).contains(where))
        setFocusView(nullptr);
    if (modalView != nullptr) {
        const Shared<CView> kept(modalView);
        const MouseResult result = kept->onMouseDown(where, buttons);
        if (result == MouseResult::handled && modalView == kept.get())
            pressed = kept.get();
        return result;
    }
    return CViewContainer::onMouseDown(where, buttons);
}

void CFrame::endPress()
{
    constexpr int kElsewhere = -1; // released outside of the control
    if (pressed != nullptr)
        onMouseUp(mousePosition, kElsewhere);
}

void CFrame::windowExposed(const platform::WindowArea& area)
{
    const Event event(*this);
    if (window == nullptr || !showsPicture())
        return;
    const PixelRect seen = PixelRect{area.left, area.top, area.right, area.bottom}.intersectedWith(picture->bounds());
    if (!seen.isEmpty())
        window->present(picture->getPixels(), picture->getWidth(), {seen.left, seen.top, seen.right, seen.bottom});
}

void CFrame::windowResized(int /*width*/, int /*height*/)
{
    const Event event(*this);
    invalidRect(rect); // the frame keeps its size: whoever owns it sets that
}

void CFrame::windowMouseDown(int x, int y, int buttons)
{
    const Event event(*this);
    mousePosition = toLogical(x, y);
    if ((pressed != nullptr || isDragging()) && !isOneButton(buttons))
        return;
    if (pressed != nullptr)
        onMouseUp(mousePosition, buttons); // whose release was lost
    cancelDrag();                          // likewise
    onMouseDown(mousePosition, buttons);
}

void CFrame::windowMouseMoved(int x, int y, int buttons)
{
    const Event event(*this);
    mousePosition = toLogical(x, y);
    if (dragRoute.isActive())
        dragRoute.move(dragTarget(), mousePosition);
    else if (modalView != nullptr && pressed == nullptr)
        Shared<CView>(modalView)->onMouseMoved(mousePosition, buttons);
    else
        onMouseMoved(mousePosition, buttons);
}

void CFrame::windowMouseUp(int x, int y, int buttons)
{
    const Event event(*this);
    mousePosition = toLogical(x, y);
    if (!isOneButton(buttons))
        return;
    if (dragRoute.isActive()) {
        setCursor(CursorShape::arrow);
        endPress(); // of the view that it began in, if that waits for it
        dragRoute.drop(dragTarget(), mousePosition);
    } else if (modalView != nullptr && pressed == nullptr) // of the press that opened it
        Shared<CView>(modalView)->onMouseUp(mousePosition, buttons);
    else
        onMouseUp(mousePosition, buttons);
    if (!pointerShown) // by a control that has gone meanwhile
        showPointer(true);
    if (!rect.contains(mousePosition)) // which it left while the button was held
        onMouseExited(mousePosition, 0);
}

void CFrame::windowMouseLeft()
{
    const Event event(*this);
    if (pressed == nullptr)
        onMouseExited(mousePosition, 0);
}

void CFrame::windowWheel(int x, int y, WheelAxis axis, float distance, int buttons)
{
    const Event event(*this);
    mousePosition = toLogical(x, y);
    if (!std::isfinite(distance) || distance == 0.0F)
        return;
    if (modalView != nullptr)
        Shared<CView>(modalView)->onWheel(mousePosition, axis, distance, buttons);
    else
        onWheel(mousePosition, axis, distance, buttons);
}

bool CFrame::windowKeyUp(const KeyPress& key)
{
    const Event event(*this);
    const Shared<CView> taker(modalView != nullptr ? modalView : focusView);
    return taker && taker->onKeyUp(key);
}

bool CFrame::windowKeyDown(const KeyPress& key)
{
    const Event event(*this);
    if (dragRoute.isActive() && key.key == Key::escape) {
        cancelDrag();
        return true;
    }
    const Shared<CView> taker(modalView != nullptr ? modalView : focusView);
    return taker && taker->onKeyDown(key);
}

void CFrame::windowSeen(bool on)
{
    const Event event(*this);
    setSeen(on);
}

void CFrame::setSeen(bool on)
{
    uncovered = on;
    seenChanged(on);
}

void CFrame::windowFocusChanged(bool hasFocus)
{
    const Event event(*this);
    if (hasFocus)
        return;
    hasKeyboard = false; // it has gone elsewhere, and stays there
    setFocusView(nullptr);
}

void CFrame::windowPasted(std::string_view text)
{
    const Event event(*this);
    if (const Shared<CView> taker(focusView); taker)
        taker->onPaste(text);
}

void CFrame::windowClosed()
{
    const Event event(*this);
    windowGone = true;
    if (platform::Window* const left = std::exchange(window, nullptr))
        left->setListener(nullptr);
    setSeen(false);
    cancelDrag();
    endPress();
}

} // namespace sorvane::toolkit
