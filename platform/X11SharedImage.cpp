#include "X11SharedImage.h"

#include <dlfcn.h>
#include <sys/ipc.h>
#include <sys/shm.h>

#include <algorithm>

namespace sorvane::platform {

struct X11SharedImage::Library {
    decltype(&::XShmQueryExtension) queryExtension;
    decltype(&::XShmAttach) attach;
    decltype(&::XShmDetach) detach;
    decltype(&::XShmPutImage) putImage;
    const X11Library* base;

    /// Null when there is none. Any thread.
    static const Library* get()
    {
        static Library library;
        static const bool loaded = library.load();
        return loaded ? &library : nullptr;
    }

private:
    bool load()
    {
        void* const handle = ::dlopen("libXext.so.6", RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
        const auto find = [handle](const char* name, auto& function) {
            function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(
                handle != nullptr ? ::dlsym(handle, name) : nullptr);
            return function != nullptr;
        };
        base = X11Library::get();
        return base != nullptr && find("XShmQueryExtension", queryExtension) && find("XShmAttach", attach) &&
               find("XShmDetach", detach) && find("XShmPutImage", putImage);
    }
};

X11SharedImage::X11SharedImage(const Library& library, Display& connection) : x(library), display(connection) {}

bool X11SharedImage::isKnown(Display& display)
{
    const Library* const library = Library::get();
    return library != nullptr && library->queryExtension(&display) != 0;
}

std::unique_ptr<X11SharedImage> X11SharedImage::create(Display& display, X11Errors& errors, int width, int height)
{
    const Library* const library = Library::get();
    if (library == nullptr)
        return nullptr;
    std::unique_ptr<X11SharedImage> made(new X11SharedImage(*library, display));
    return made->attach(errors, width, height) ? std::move(made) : nullptr;
}

bool X11SharedImage::attach(X11Errors& errors, int width, int height)
{
    const std::size_t bytes = static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4;
    segment.shmid = ::shmget(IPC_PRIVATE, bytes, IPC_CREAT | 0600);
    if (segment.shmid < 0)
        return false;
    void* const memory = ::shmat(segment.shmid, nullptr, 0);
    if (memory != reinterpret_cast<void*>(-1)) { // NOLINT(performance-no-int-to-ptr): as the system answers
        segment.shmaddr = static_cast<char*>(memory);
        segment.readOnly = True;
        errors.take();
        attached = x.attach(&display, &segment) != 0;
        x.base->sync(&display, False);
        attached = attached && errors.take() == 0;
    }
    ::shmctl(segment.shmid, IPC_RMID, nullptr); // it goes with the last who has it, however that ends
    image.width = width;
    image.height = height;
    image.format = ZPixmap;
    image.data = segment.shmaddr;
    image.byte_order = LSBFirst;
    image.bitmap_unit = 32;
    image.bitmap_bit_order = LSBFirst;
    image.bitmap_pad = 32;
    image.depth = x.base->defaultDepth(&display, x.base->defaultScreen(&display));
    image.bytes_per_line = width * 4;
    image.bits_per_pixel = 32;
    image.obdata = reinterpret_cast<XPointer>(&segment);
    return attached && x.base->initImage(&image) != 0;
}

X11SharedImage::~X11SharedImage()
{
    if (attached)
        x.detach(&display, &segment);
    if (segment.shmaddr != nullptr)
        ::shmdt(segment.shmaddr);
}

void X11SharedImage::put(::Window window, GC context, const std::uint32_t* pixels, int rowWidth, const WindowArea& area)
{
    const auto meets = [&area](const WindowArea& other) {
        return area.left < other.right && other.left < area.right && area.top < other.bottom && other.top < area.bottom;
    };
    if (std::any_of(unread.begin(), unread.end(), meets)) {
        x.base->sync(&display, False);
        unread.clear();
    }
    auto* const memory = reinterpret_cast<std::uint32_t*>(segment.shmaddr);
    for (int y = area.top; y < area.bottom; ++y) {
        const auto row = static_cast<std::ptrdiff_t>(y);
        std::copy_n(pixels + row * rowWidth + area.left, area.right - area.left,
                    memory + row * image.width + area.left);
    }
    x.putImage(&display, window, context, &image, area.left, area.top, area.left, area.top,
               static_cast<unsigned>(area.right - area.left), static_cast<unsigned>(area.bottom - area.top), False);
    x.base->flush(&display);
    unread.push_back(area);
}

} // namespace sorvane::platform
