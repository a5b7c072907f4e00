#pragma once

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

// Macros whose names are ours too.
namespace sorvane::platform {
inline constexpr int kXKeyPress = KeyPress;
} // namespace sorvane::platform
#undef KeyPress
#undef CursorShape

namespace sorvane::platform {

/// The client library of the X Window System, loaded when it is first asked for, so that nothing else depends on it.
struct X11Library {
    decltype(&::XOpenDisplay) openDisplay;
    decltype(&::XCloseDisplay) closeDisplay;
    decltype(&::XConnectionNumber) connectionNumber;
    decltype(&::XDefaultRootWindow) defaultRootWindow;
    decltype(&::XDefaultScreen) defaultScreen;
    decltype(&::XDefaultDepth) defaultDepth;
    decltype(&::XDefaultVisual) defaultVisual;
    decltype(&::XResourceManagerString) resourceManagerString;
    decltype(&::XCreateWindow) createWindow;
    decltype(&::XDestroyWindow) destroyWindow;
    decltype(&::XCreateColormap) createColormap;
    decltype(&::XFreeColormap) freeColormap;
    decltype(&::XMapWindow) mapWindow;
    decltype(&::XResizeWindow) resizeWindow;
    decltype(&::XStoreName) storeName;
    decltype(&::XSetWMProtocols) setWMProtocols;
    decltype(&::XSetWMNormalHints) setWMNormalHints;
    decltype(&::XGetWindowAttributes) getWindowAttributes;
    decltype(&::XPending) pending;
    decltype(&::XNextEvent) nextEvent;
    decltype(&::XPeekEvent) peekEvent;
    decltype(&::XSendEvent) sendEvent;
    decltype(&::XFlush) flush;
    decltype(&::XSync) sync;
    decltype(&::XCreateGC) createGC;
    decltype(&::XFreeGC) freeGC;
    decltype(&::XInitImage) initImage;
    decltype(&::XPutImage) putImage;
    decltype(&::XCreateFontCursor) createFontCursor;
    decltype(&::XCreateBitmapFromData) createBitmapFromData;
    decltype(&::XCreatePixmapCursor) createPixmapCursor;
    decltype(&::XFreePixmap) freePixmap;
    decltype(&::XFreeCursor) freeCursor;
    decltype(&::XDefineCursor) defineCursor;
    decltype(&::XWarpPointer) warpPointer;
    decltype(&::XSetInputFocus) setInputFocus;
    decltype(&::XLookupString) lookupString;
    decltype(&::XRefreshKeyboardMapping) refreshKeyboardMapping;
    decltype(&::XkbSetDetectableAutoRepeat) setDetectableAutoRepeat;
    decltype(&::XInternAtom) internAtom;
    decltype(&::XChangeProperty) changeProperty;
    decltype(&::XDeleteProperty) deleteProperty;
    decltype(&::XGetWindowProperty) getWindowProperty;
    decltype(&::XSetSelectionOwner) setSelectionOwner;
    decltype(&::XConvertSelection) convertSelection;
    decltype(&::XFree) free;
    decltype(&::XUnlockDisplay) unlockDisplay;
    decltype(&::XSetIOErrorExitHandler) setIOErrorExitHandler; ///< null where the library is older

    /// Null when there is none. Any thread.
    static const X11Library* get();
};

} // namespace sorvane::platform
