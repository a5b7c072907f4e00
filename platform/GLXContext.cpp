// OpenGL contexts of the X Window System.

#include "GLContext.h"
#include "X11Errors.h"
#include "X11Library.h"

#include <GL/glx.h>

#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace sorvane::platform {

namespace {

struct GLXLibrary {
    decltype(&::glXQueryExtension) queryExtension;
    decltype(&::glXQueryExtensionsString) queryExtensionsString;
    decltype(&::glXChooseVisual) chooseVisual;
    decltype(&::glXCreateContext) createContext;
    decltype(&::glXDestroyContext) destroyContext;
    decltype(&::glXMakeCurrent) makeCurrent;
    decltype(&::glXSwapBuffers) swapBuffers;
    decltype(&::glXGetProcAddressARB) getProcAddress;
    GLFunctions gl;

    /// Null when there is none. Any thread.
    static const GLXLibrary* get();
};

bool load(GLXLibrary& library)
{
    void* const handle = ::dlopen("libGL.so.1", RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    bool complete = handle != nullptr;
    const auto find = [&](const char* name, auto& function) {
        void* const found = handle != nullptr ? ::dlsym(handle, name) : nullptr;
        function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(found);
        complete = complete && found != nullptr;
    };
    find("glXQueryExtension", library.queryExtension);
    find("glXQueryExtensionsString", library.queryExtensionsString);
    find("glXChooseVisual", library.chooseVisual);
    find("glXCreateContext", library.createContext);
    find("glXDestroyContext", library.destroyContext);
    find("glXMakeCurrent", library.makeCurrent);
    find("glXSwapBuffers", library.swapBuffers);
    find("glXGetProcAddressARB", library.getProcAddress);
    GLFunctions& gl = library.gl;
    find("glBindTexture", gl.bindTexture);
    find("glBlendFunc", gl.blendFunc);
    find("glClear", gl.clear);
    find("glClearColor", gl.clearColor);
    find("glColor4ub", gl.color4ub);
    find("glDeleteTextures", gl.deleteTextures);
    find("glDisable", gl.disable);
    find("glDrawArrays", gl.drawArrays);
    find("glEnable", gl.enable);
    find("glEnableClientState", gl.enableClientState);
    find("glGenTextures", gl.genTextures);
    find("glGetIntegerv", gl.getIntegerv);
    find("glLoadIdentity", gl.loadIdentity);
    find("glMatrixMode", gl.matrixMode);
    find("glOrtho", gl.ortho);
    find("glPixelStorei", gl.pixelStorei);
    find("glReadPixels", gl.readPixels);
    find("glShadeModel", gl.shadeModel);
    find("glTexCoordPointer", gl.texCoordPointer);
    find("glTexEnvi", gl.texEnvi);
    find("glTexImage2D", gl.texImage2D);
    find("glTexParameteri", gl.texParameteri);
    find("glVertexPointer", gl.vertexPointer);
    find("glViewport", gl.viewport);
    return complete;
}

const GLXLibrary* GLXLibrary::get()
{
    static GLXLibrary library;
    static const bool loaded = load(library);
    return loaded ? &library : nullptr;
}

class GLXContextOfWindow final : public GLContext {
public:
    GLXContextOfWindow(const X11Library& xLibrary, const GLXLibrary& glxLibrary, Display& connection)
        : x(xLibrary), glx(glxLibrary), display(connection), errors(std::make_unique<X11Errors>(connection))
    {
        if (x.setIOErrorExitHandler != nullptr)
            x.setIOErrorExitHandler(
                &display, [](Display*, void* self) { static_cast<GLXContextOfWindow*>(self)->loseConnection(); }, this);
    }

    ~GLXContextOfWindow() override
    {
        if (isLost()) { // OpenGL's calls would wait for ever for locks that it held as it was lost: all of it stays
            if (x.setIOErrorExitHandler != nullptr)
                x.setIOErrorExitHandler(
                    &display, [](Display*, void*) {}, nullptr);
            return;
        }
        if (context != nullptr)
            glx.destroyContext(&display, context);
        if (window != 0)
            x.destroyWindow(&display, window);
        if (colours != 0)
            x.freeColormap(&display, colours);
        x.sync(&display, True);
        errors.reset();
        x.closeDisplay(&display);
    }

    bool create(std::uintptr_t parent, int width, int height, bool vsync)
    {
        if (glx.queryExtension(&display, nullptr, nullptr) == 0)
            return false;
        std::array<int, 14> wanted{GLX_RGBA, GLX_DOUBLEBUFFER, GLX_RED_SIZE, 8,   GLX_GREEN_SIZE, 8, GLX_BLUE_SIZE,
                                   8,        GLX_DEPTH_SIZE,   16,           None};
        XVisualInfo* const visual = glx.chooseVisual(&display, x.defaultScreen(&display), wanted.data());
        if (visual == nullptr)
            return false;
        errors->take();
        XSetWindowAttributes attributes{};
        attributes.event_mask = ExposureMask; // and none of mouse and keys, so that the parent gets them
        colours = x.createColormap(&display, parent, visual->visual, AllocNone);
        attributes.colormap = colours;
        window = x.createWindow(&display, parent, 0, 0, static_cast<unsigned>(std::max(width, 1)),
                                static_cast<unsigned>(std::max(height, 1)), 0, visual->depth, InputOutput,
                                visual->visual, CWColormap | CWBorderPixel | CWEventMask, &attributes);
        context = glx.createContext(&display, visual, nullptr, True);
        x.free(visual);
        x.sync(&display, False);
        if (errors->take() != 0 || context == nullptr) {
            window = 0; // that it was made isn't known
            return false;
        }
        x.mapWindow(&display, window);
        if (!makeCurrent())
            return false;
        setSwapInterval(vsync ? 1 : 0);
        release();
        return true;
    }

    bool makeCurrent() override { return !isLost() && glx.makeCurrent(&display, window, context) != 0; }
    void release() override
    {
        if (!connectionLost)
            glx.makeCurrent(&display, None, nullptr);
    }
    void swap() override
    {
        if (!connectionLost)
            glx.swapBuffers(&display, window);
    }
    bool takeExposed() override
    {
        bool exposed = false;
        while (!connectionLost && x.pending(&display) > 0) {
            XEvent event;
            x.nextEvent(&display, &event);
            exposed = exposed || event.type == Expose;
        }
        return exposed;
    }
    void resize(int width, int height) override
    {
        if (connectionLost)
            return;
        x.resizeWindow(&display, window, static_cast<unsigned>(std::max(width, 1)),
                       static_cast<unsigned>(std::max(height, 1)));
        x.sync(&display, False);
    }
    [[nodiscard]] const GLFunctions& functions() const override { return glx.gl; }

private:
    void loseConnection()
    {
        connectionLost = true;
        x.unlockDisplay(&display); // left locked for the thread that met the loss; others have to do with it at exit
    }

    /// Looks whether the server is still there.
    bool isLost()
    {
        if (!connectionLost)
            x.pending(&display);
        return connectionLost;
    }

    void setSwapInterval(int interval)
    {
        const char* const extensions = glx.queryExtensionsString(&display, x.defaultScreen(&display));
        if (extensions == nullptr ||
            std::string_view(extensions).find("GLX_EXT_swap_control") == std::string_view::npos)
            return; // the name would be found all the same
        const auto* const name = reinterpret_cast<const GLubyte*>("glXSwapIntervalEXT");
        using SetInterval = void (*)(Display*, GLXDrawable, int);
        if (const auto set = reinterpret_cast<SetInterval>(glx.getProcAddress(name)))
            set(&display, window, interval);
    }

    const X11Library& x;
    const GLXLibrary& glx;
    Display& display;
    std::unique_ptr<X11Errors> errors;
    bool connectionLost = false;
    Colormap colours = 0;
    ::Window window = 0;
    ::GLXContext context = nullptr;
};

} // namespace

std::unique_ptr<GLContext> GLContext::open(std::uintptr_t parent, int width, int height, bool vsync)
{
    const X11Library* const x = X11Library::get();
    const GLXLibrary* const glx = GLXLibrary::get();
    if (x == nullptr || glx == nullptr || parent == 0)
        return nullptr;
    Display* const connection = x->openDisplay(nullptr);
    if (connection == nullptr)
        return nullptr;
    auto context = std::make_unique<GLXContextOfWindow>(*x, *glx, *connection);
    return context->create(parent, width, height, vsync) ? std::move(context) : nullptr;
}

} // namespace sorvane::platform
