#pragma once

#include "CControl.h"
#include "GLContext.h"

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

namespace sorvane::toolkit {

/// A view with an OpenGL context over the whole window and a thread that draws through it every 16 ms. Where none can be
/// made it isn't ready, and does nothing.
///
/// Locks are taken in the order frame, context.
class OpenGLView : public CControl {
public:
    explicit OpenGLView(const CRect& viewRect);

    /// Makes the context, and starts the thread.
    void attached(CViewContainer& newParent) override;
    /// Ends the thread and lets the context go.
    void removed() override;
    [[nodiscard]] bool isReady() const { return context != nullptr; }
    /// Ends the thread, when it has drawn what it draws.
    void stopThread();
    /// Whether the window is to be seen: the thread sleeps while it isn't.
    void setSeen(bool on);
    void resizeContext(int widthPixels, int heightPixels);

protected:
    ~OpenGLView() override;

    /// Before each picture, under the frame's lock, without a current context. On the thread that draws, as draw and release.
    virtual void tick() {}
    /// With the context current, under the locks of frame and context.
    virtual void drawFrame(const platform::GLFunctions& gl) = 0;
    /// Lets go of all that belongs to the context, which is current.
    virtual void releaseContext() = 0;

private:
    void run();
    void drawOnce();
    [[nodiscard]] bool isStopping();

    std::unique_ptr<platform::GLContext> context;
    std::mutex contextLock;
    std::thread thread;
    std::mutex pace; ///< guards what follows
    std::condition_variable change;
    bool stopping = false;
    bool seen = true;
};

} // namespace sorvane::toolkit
