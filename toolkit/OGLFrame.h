#pragma once

#include "CGFrame.h"
#include "CGLContext.h"
#include "OpenGLView.h"

#include <functional>
#include <memory>

namespace sorvane::toolkit {

class OGLFrame;

/// Draws the tree of its frame.
class OGLRender final : public OpenGLView {
public:
    explicit OGLRender(OGLFrame& owner);

    /// Drops all textures at the next frame. Under the frame's lock.
    void flushTextures() { flush = true; }
    /// The next frame that is drawn.
    [[nodiscard]] Shared<CDIB> takePicture();

private:
    void tick() override;
    bool takeStale() override;
    void drawFrame(const platform::GLFunctions& gl) override;
    void releaseContext() override { context.reset(); }

    OGLFrame& frameToDraw;
    std::unique_ptr<CGLContext> context;
    bool flush = false;
    std::mutex pictureLock;
    std::condition_variable pictureTaken;
    bool pictureWanted = false;
    Shared<CDIB> picture;
};

/// A frame that is drawn by OpenGL on a thread of its own, whole, up to 60 times a second: whenever a view is dirty or
/// an area was invalidated. Where there is no OpenGL it draws as every frame.
class OGLFrame final : public CGFrame {
public:
    using CGFrame::CGFrame;
    ~OGLFrame() override { OGLFrame::close(); }

    void open(platform::Window& newWindow) override;
    void close() override;
    /// Draws nothing while OpenGL does.
    void idle() override;
    void setSize(float newWidth, float newHeight) override;

    /// Whether OpenGL draws.
    [[nodiscard]] bool isOpenGL() const { return render && render->isReady(); }
    /// Null unless OpenGL draws.
    [[nodiscard]] Shared<CDIB> takePicture();
    /// What the thread that draws does before each picture, under the frame's lock. To be set before open.
    void setTick(std::function<void()> newTick) { onTick = std::move(newTick); }

protected:
    void seenChanged(bool seen) override
    {
        if (render)
            render->setSeen(seen);
    }

    [[nodiscard]] bool showsPicture() const override { return !isOpenGL(); }

private:
    friend class OGLRender;

    Shared<OGLRender> render; ///< a child, until whoever removes all children removes it too
    std::function<void()> onTick;
};

} // namespace sorvane::toolkit
