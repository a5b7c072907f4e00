#pragma once

#include "GLFunctions.h"

#include <cstdint>
#include <memory>

namespace sorvane::platform {

/// An OpenGL context with a double-buffered window of its own over the whole of another, through which mouse and keys
/// go to that other. Any thread, one at a time.
class GLContext {
public:
    GLContext() = default;
    virtual ~GLContext() = default;
    GLContext(const GLContext&) = delete;
    GLContext& operator=(const GLContext&) = delete;

    /// Null where there is no OpenGL, no format with 24 bits of colour, or no such parent.
    /// \param parent  a window's number
    /// \param vsync   whether swap should wait for the screen
    static std::unique_ptr<GLContext> open(std::uintptr_t parent, int width, int height, bool vsync);

    /// \return whether the functions may be called until release
    virtual bool makeCurrent() = 0;
    virtual void release() = 0;
    /// Shows what was drawn.
    virtual void swap() = 0;
    /// Whether any of the window has come to be seen since the last call, so that it has to be drawn anew.
    virtual bool takeExposed() = 0;
    virtual void resize(int width, int height) = 0;
    [[nodiscard]] virtual const GLFunctions& functions() const = 0;
};

} // namespace sorvane::platform
