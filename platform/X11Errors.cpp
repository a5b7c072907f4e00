#include "X11Errors.h"

#include <X11/Xlib.h>
#include <X11/Xlibint.h>
// Names of macros that the standard library's headers use.
#undef min
#undef max

#include <utility>

namespace sorvane::platform {

struct X11Errors::Handler {
    Display* display = nullptr;
    _XAsyncHandler link{};
    int errors = 0;
};

X11Errors::X11Errors(_XDisplay& display) : handler(std::make_unique<Handler>())
{
    handler->display = &display;
    handler->link.next = display.async_handlers;
    handler->link.handler = [](Display*, xReply* reply, char*, int, XPointer data) -> Bool {
        if (reply->generic.type != X_Error)
            return False;
        ++reinterpret_cast<Handler*>(data)->errors;
        return True;
    };
    handler->link.data = reinterpret_cast<XPointer>(handler.get());
    display.async_handlers = &handler->link;
}

X11Errors::~X11Errors()
{
    for (_XAsyncHandler** link = &handler->display->async_handlers; *link != nullptr; link = &(*link)->next)
        if (*link == &handler->link) {
            *link = handler->link.next;
            break;
        }
}

int X11Errors::take()
{
    return std::exchange(handler->errors, 0);
}

} // namespace sorvane::platform
