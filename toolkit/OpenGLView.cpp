#include "OpenGLView.h"

#include "CFrame.h"

#include <chrono>
#include <utility>

namespace sorvane::toolkit {

namespace {

using Steady = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kFrameTime{16};
constexpr std::chrono::milliseconds kShortestPause{1}; ///< so that other threads get a turn

} // namespace

OpenGLView::OpenGLView(const CRect& viewRect) : CControl(viewRect, nullptr, -1)
{
    setMouseEnabled(false);
}

OpenGLView::~OpenGLView()
{
    stopThread();
}

void OpenGLView::attached(CViewContainer& newParent)
{
    CControl::attached(newParent);
    const CFrame* const owner = getFrame();
    if (owner == nullptr || owner->getWindow() == nullptr || context)
        return;
    const float pixels = owner->getScale();
    context = platform::GLContext::open(owner->getWindow()->getHandle(), roundToPixel(rect.width() * pixels),
                                        roundToPixel(rect.height() * pixels), true);
    if (!context)
        return;
    stopping = false;
    stale = true;
    seen = owner->isSeen();
    thread = std::thread([this] { run(); });
}

void OpenGLView::removed()
{
    stopThread();
    if (context) {
        const std::lock_guard guard(contextLock);
        if (context->makeCurrent()) {
            releaseContext();
            context->release();
        }
        context.reset();
    }
    CControl::removed();
}

void OpenGLView::stopThread()
{
    {
        const std::lock_guard guard(pace);
        stopping = true;
    }
    change.notify_all();
    if (thread.joinable())
        thread.join();
}

bool OpenGLView::isStopping()
{
    const std::lock_guard guard(pace);
    return stopping;
}

void OpenGLView::setSeen(bool on)
{
    {
        const std::lock_guard guard(pace);
        seen = on;
    }
    change.notify_all();
}

void OpenGLView::drawSoon()
{
    {
        const std::lock_guard guard(pace);
        asked = true;
    }
    change.notify_all();
}

void OpenGLView::resizeContext(int widthPixels, int heightPixels)
{
    const std::lock_guard guard(contextLock);
    if (context)
        context->resize(widthPixels, heightPixels);
}

void OpenGLView::drawOnce()
{
    CFrame* const owner = getFrame();
    if (owner == nullptr)
        return;
    // Whoever removes the view waits for this thread and may hold the lock.
    auto frameGuard = owner->tryLock();
    for (; !frameGuard; frameGuard = owner->tryLock()) {
        if (isStopping())
            return;
        std::this_thread::sleep_for(kShortestPause);
    }
    tick();
    const std::lock_guard guard(contextLock);
    const bool exposed = context->takeExposed();
    stale = takeStale() || exposed || stale;
    if (!stale || !context->makeCurrent())
        return;
    drawFrame(context->functions());
    stale = false;
    frameGuard.unlock(); // which nobody has to wait for while the picture waits for the screen
    context->swap();
    context->release();
}

void OpenGLView::run()
{
    std::unique_lock waiting(pace);
    while (!stopping) {
        const Steady::time_point begin = Steady::now();
        if (std::exchange(asked, false) || seen) {
            waiting.unlock();
            drawOnce();
            waiting.lock();
        }
        const auto untilNext = std::max<Steady::duration>(kFrameTime - (Steady::now() - begin), kShortestPause);
        if (seen)
            change.wait_for(waiting, untilNext, [this] { return stopping; });
        else
            change.wait(waiting, [this] { return stopping || seen || asked; });
    }
}

} // namespace sorvane::toolkit
