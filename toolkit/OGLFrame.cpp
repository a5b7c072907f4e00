#include "OGLFrame.h"

#include <chrono>

namespace sorvane::toolkit {

OGLRender::OGLRender(OGLFrame& owner) : OpenGLView(owner.getViewSize()), frameToDraw(owner) {}

void OGLRender::tick()
{
    if (frameToDraw.onTick)
        frameToDraw.onTick();
}

bool OGLRender::takeStale()
{
    const bool changed = frameToDraw.takeDirty();
    const std::lock_guard guard(pictureLock);
    return changed || flush || pictureWanted;
}

void OGLRender::drawFrame(const platform::GLFunctions& gl)
{
    const float scale = frameToDraw.getScale();
    const CRect& size = frameToDraw.getViewSize();
    const int width = roundToPixel(size.width() * scale);
    const int height = roundToPixel(size.height() * scale);
    if (!context || flush) // of another size, too
        context = std::make_unique<CGLContext>(gl, width, height, scale);
    flush = false;
    context->beginFrame();
    frameToDraw.draw(*context);
    const std::lock_guard guard(pictureLock);
    if (pictureWanted) {
        picture = context->readPicture();
        pictureWanted = false;
        pictureTaken.notify_all();
    }
    context->endFrame();
}

Shared<CDIB> OGLRender::takePicture()
{
    constexpr std::chrono::seconds kLongestWait{5};
    std::unique_lock guard(pictureLock);
    pictureWanted = true;
    drawSoon();
    pictureTaken.wait_for(guard, kLongestWait, [this] { return !pictureWanted; });
    return std::exchange(picture, {});
}

void OGLFrame::open(platform::Window& newWindow)
{
    CGFrame::open(newWindow);
    auto* const view = new OGLRender(*this);
    const auto guard = lock();
    addView(view);
    if (view->isReady())
        render = Shared<OGLRender>(view);
    else
        removeView(*view);
}

void OGLFrame::close()
{
    const Shared<OGLFrame> kept(this); // as in any frame's
    if (render)
        render->stopThread(); // before any view goes
    CGFrame::close();
    render = {};
}

void OGLFrame::idle()
{
    if (!isOpenGL())
        CGFrame::idle();
}

void OGLFrame::setSize(float newWidth, float newHeight)
{
    const auto guard = lock();
    CGFrame::setSize(newWidth, newHeight);
    if (!isOpenGL())
        return;
    render->setViewSize(getViewSize(), false);
    render->resizeContext(roundToPixel(newWidth * getScale()), roundToPixel(newHeight * getScale()));
    render->flushTextures();
}

Shared<CDIB> OGLFrame::takePicture()
{
    return isOpenGL() ? render->takePicture() : Shared<CDIB>();
}

} // namespace sorvane::toolkit
