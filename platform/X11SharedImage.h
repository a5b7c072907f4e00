#pragma once

#include "WindowEvents.h"
#include "X11Errors.h"
#include "X11Library.h"

#include <X11/extensions/XShm.h>

#include <cstdint>
#include <memory>
#include <vector>

namespace sorvane::platform {

/// Pixels in memory that the X server reads too, so that they don't go through the connection.
class X11SharedImage {
public:
    /// Whether the server shares memory with anybody. To be asked as a connection is opened: the library that this is
    /// the first question to doesn't bear that the connection is lost meanwhile.
    static bool isKnown(Display& display);
    /// Null where the server can't read this process's memory: it is on another machine, say.
    /// \param display  for which isKnown is true; must outlive it
    /// \param errors   of the display
    static std::unique_ptr<X11SharedImage> create(Display& display, X11Errors& errors, int width, int height);
    ~X11SharedImage();
    X11SharedImage(const X11SharedImage&) = delete;
    X11SharedImage& operator=(const X11SharedImage&) = delete;

    [[nodiscard]] bool holds(int width, int height) const { return width <= image.width && height <= image.height; }
    /// Shows an area of a picture at the same place of a window. Waits for the server when it hasn't yet read what was
    /// put there before.
    /// \param pixels    0xRRGGBB each, of the picture's top left
    /// \param rowWidth  pixels from one row to the next
    /// \param area      within the window, the picture and what the image holds
    void put(::Window window, GC context, const std::uint32_t* pixels, int rowWidth, const WindowArea& area);

private:
    /// The part of the client library that shares memory with the server.
    struct Library;

    X11SharedImage(const Library& library, Display& connection);
    bool attach(X11Errors& errors, int width, int height);

    const Library& x;
    Display& display;
    XShmSegmentInfo segment{};
    bool attached = false;
    XImage image{};
    std::vector<WindowArea> unread; ///< put, and perhaps not yet read by the server
};

} // namespace sorvane::platform
