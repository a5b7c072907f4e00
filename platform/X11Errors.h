#pragma once

#include <memory>

struct _XDisplay; // NOLINT(bugprone-reserved-identifier): the library's own name

namespace sorvane::platform {

/// Swallows the errors that the server answers on one connection. The library has one handler of errors for the whole
/// process, which in a host belongs to the host and by default ends the process; this one is asked before it, and only
/// for its own connection.
class X11Errors {
public:
    /// \param display  must outlive it
    explicit X11Errors(_XDisplay& display);
    ~X11Errors();
    X11Errors(const X11Errors&) = delete;
    X11Errors& operator=(const X11Errors&) = delete;

    /// Errors since the last call.
    int take();

private:
    struct Handler;
    std::unique_ptr<Handler> handler;
};

} // namespace sorvane::platform
