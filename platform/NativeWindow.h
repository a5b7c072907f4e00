#pragma once

#include "Window.h"

#include <cstdint>
#include <memory>
#include <string>

namespace sorvane::platform {

/// A window of the system. Made, used and destroyed by one thread, which also handles its events.
class NativeWindow : public Window {
public:
    struct Request {
        std::uintptr_t parent = 0; ///< the host's window that it shall lie in; 0 for one of its own
        int width = 1;
        int height = 1;
        std::string title; ///< of a window of its own
    };

    /// Null when there is no window system to reach, or it refuses.
    static std::unique_ptr<NativeWindow> open(const Request& request);

    /// Tells the listener of all events that have come.
    virtual void processEvents() = 0;
    /// Waits for events.
    /// \return whether there are any
    virtual bool awaitEvents(int milliseconds) = 0;
    /// Dots per inch of the user's screen, as they set it; 96 when they didn't.
    [[nodiscard]] virtual double getDpi() const = 0;
};

} // namespace sorvane::platform
