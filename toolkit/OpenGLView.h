#pragma once

#include "CControl.h"
#include "GLContext.h"

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

namespace sorvane::toolkit {

/// A view with an OpenGL context over the whole window and a thread that every 16 ms ticks and, when anything has to be
/// drawn anew, draws all of it. Where no context can be made it isn't ready, and does nothing.
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

    /// Before each picture, under the frame's lock, without a current context. On the thread that draws, as what
    /// follows.
    virtual void tick() {}
    /// Whether what is shown isn't what there is to draw; asked after tick, once for each answer of true. Under the
    /// frame's lock.
    virtual bool takeStale() = 0;
    /// With the context current, under the locks of frame and context.
    virtual void drawFrame(const platform::GLFunctions& gl) = 0;
    /// Lets go of all that belongs to the context, which is current.
    virtual void releaseContext() = 0;

    /// Draws a frame soon, even if the window isn't to be seen.
    void drawSoon();

private:
    void run();
    void drawOnce();
    [[nodiscard]] bool isStopping();

    std::unique_ptr<platform::GLContext> context;
    std::mutex contextLock;
    bool stale = true; ///< something has to be drawn; of the thread
    std::thread thread;
    std::mutex pace; ///< guards what follows
    std::condition_variable change;
    bool stopping = false;
    bool seen = false;
    bool asked = false; ///< for a frame, seen or not
};

} // namespace sorvane::toolkit
