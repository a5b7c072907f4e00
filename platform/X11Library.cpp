#include "X11Library.h"

#include <dlfcn.h>

namespace sorvane::platform {

namespace {

/// The library, which stays for the rest of the process: it keeps state that outlives its connections.
class Loader {
public:
    Loader() : handle(::dlopen("libX11.so.6", RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE)) {}

    template <typename Function>
    void find(const char* name, Function& function, bool required = true)
    {
        function = handle != nullptr ? reinterpret_cast<Function>(::dlsym(handle, name)) : nullptr;
        complete = complete && (function != nullptr || !required);
    }
    [[nodiscard]] bool isComplete() const { return complete; }

private:
    void* handle;
    bool complete = true;
};

bool load(X11Library& x)
{
    Loader loader;
    loader.find("XOpenDisplay", x.openDisplay);
    loader.find("XCloseDisplay", x.closeDisplay);
    loader.find("XConnectionNumber", x.connectionNumber);
    loader.find("XDefaultRootWindow", x.defaultRootWindow);
    loader.find("XDefaultScreen", x.defaultScreen);
    loader.find("XDefaultDepth", x.defaultDepth);
    loader.find("XDefaultVisual", x.defaultVisual);
    loader.find("XResourceManagerString", x.resourceManagerString);
    loader.find("XCreateWindow", x.createWindow);
    loader.find("XDestroyWindow", x.destroyWindow);
    loader.find("XCreateColormap", x.createColormap);
    loader.find("XFreeColormap", x.freeColormap);
    loader.find("XMapWindow", x.mapWindow);
    loader.find("XResizeWindow", x.resizeWindow);
    loader.find("XStoreName", x.storeName);
    loader.find("XSetWMProtocols", x.setWMProtocols);
    loader.find("XSetWMNormalHints", x.setWMNormalHints);
    loader.find("XGetWindowAttributes", x.getWindowAttributes);
    loader.find("XPending", x.pending);
    loader.find("XNextEvent", x.nextEvent);
    loader.find("XPeekEvent", x.peekEvent);
    loader.find("XSendEvent", x.sendEvent);
    loader.find("XFlush", x.flush);
    loader.find("XSync", x.sync);
    loader.find("XCreateGC", x.createGC);
    loader.find("XFreeGC", x.freeGC);
    loader.find("XInitImage", x.initImage);
    loader.find("XPutImage", x.putImage);
    loader.find("XCreateFontCursor", x.createFontCursor);
    loader.find("XCreateBitmapFromData", x.createBitmapFromData);
    loader.find("XCreatePixmapCursor", x.createPixmapCursor);
    loader.find("XFreePixmap", x.freePixmap);
    loader.find("XFreeCursor", x.freeCursor);
    loader.find("XDefineCursor", x.defineCursor);
    loader.find("XWarpPointer", x.warpPointer);
    loader.find("XSetInputFocus", x.setInputFocus);
    loader.find("XLookupString", x.lookupString);
    loader.find("XRefreshKeyboardMapping", x.refreshKeyboardMapping);
    loader.find("XkbSetDetectableAutoRepeat", x.setDetectableAutoRepeat);
    loader.find("XInternAtom", x.internAtom);
    loader.find("XChangeProperty", x.changeProperty);
    loader.find("XDeleteProperty", x.deleteProperty);
    loader.find("XGetWindowProperty", x.getWindowProperty);
    loader.find("XSetSelectionOwner", x.setSelectionOwner);
    loader.find("XConvertSelection", x.convertSelection);
    loader.find("XFree", x.free);
    loader.find("XUnlockDisplay", x.unlockDisplay);
    loader.find("XSetIOErrorExitHandler", x.setIOErrorExitHandler, false);
    return loader.isComplete();
}

} // namespace

const X11Library* X11Library::get()
{
    static X11Library library;
    static const bool loaded = load(library);
    return loaded ? &library : nullptr;
}

} // namespace sorvane::platform
