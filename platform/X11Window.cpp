#include "X11Window.h"

#include <X11/Xatom.h>
#include <X11/cursorfont.h>

#include <poll.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace sorvane::platform {

namespace {

constexpr Time kDoubleClickMs = 400;
constexpr int kDoubleClickPixels = 4;
constexpr int kLargestSide = 16384;
constexpr long kLongestPaste = 1L << 16; ///< bytes

int modifiersOf(unsigned state)
{
    return ((state & ShiftMask) != 0 ? kShift : 0) | ((state & ControlMask) != 0 ? kControl : 0) |
           ((state & Mod1Mask) != 0 ? kAlt : 0) | ((state & Mod4Mask) != 0 ? kApple : 0);
}

int buttonsOf(unsigned state)
{
    return ((state & Button1Mask) != 0 ? kLButton : 0) | ((state & Button2Mask) != 0 ? kMButton : 0) |
           ((state & Button3Mask) != 0 ? kRButton : 0);
}

/// 0 for one that isn't told of.
int buttonOf(unsigned button)
{
    return button == Button1 ? kLButton : button == Button2 ? kMButton : button == Button3 ? kRButton : 0;
}

/// Latin 1 of UTF-8, with "?" for what it hasn't.
std::string latin1Of(std::string_view utf8)
{
    std::string latin;
    for (std::size_t i = 0; i < utf8.size(); ++i) {
        const auto byte = static_cast<unsigned char>(utf8[i]);
        if ((byte == 0xC2 || byte == 0xC3) && i + 1 < utf8.size())
            latin += static_cast<char>((byte & 3U) << 6 | (static_cast<unsigned char>(utf8[++i]) & 0x3FU));
        else if (byte < 0x80)
            latin += utf8[i];
        else if (byte >= 0xC0)
            latin += '?';
    }
    return latin;
}

std::string utf8Of(std::string_view latin1)
{
    std::string utf8;
    for (const char character : latin1) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x80)
            utf8 += character;
        else
            utf8.append({static_cast<char>(0xC0U | byte >> 6), static_cast<char>(0x80U | (byte & 0x3FU))});
    }
    return utf8;
}

} // namespace

std::unique_ptr<NativeWindow> NativeWindow::open(const Request& request)
{
    return X11Window::open(request);
}

std::unique_ptr<X11Window> X11Window::open(const Request& request)
{
    const X11Library* const library = X11Library::get();
    Display* const connection = library != nullptr ? library->openDisplay(nullptr) : nullptr;
    if (connection == nullptr)
        return nullptr;
    std::unique_ptr<X11Window> window(new X11Window(*library, *connection));
    return window->create(request) ? std::move(window) : nullptr;
}

X11Window::X11Window(const X11Library& library, Display& connection)
    : x(library), display(connection), errors(std::make_unique<X11Errors>(connection))
{
    // A server that goes away ends the process, unless the host has a handler that returns: then this one is asked,
    // too.
    if (x.setIOErrorExitHandler != nullptr)
        x.setIOErrorExitHandler(
            &display,
            [](Display* lost, void* self) {
                auto& owner = *static_cast<X11Window*>(self);
                owner.connectionLost = true;
                owner.x.unlockDisplay(lost); // left locked for the thread that met the loss
            },
            this);
}

X11Window::~X11Window()
{
    shared.reset();
    if (context != nullptr)
        x.freeGC(&display, context); // which also frees memory of this process
    if (!connectionLost) {
        for (const Cursor cursor : cursors)
            if (cursor != 0)
                x.freeCursor(&display, cursor);
        if (hidden != 0)
            x.freeCursor(&display, hidden);
        if (window != 0)
            x.destroyWindow(&display, window);
        x.sync(&display, True); // errors of it are answered while they are still swallowed
    }
    errors.reset();
    x.closeDisplay(&display);
}

bool X11Window::create(const Request& request)
{
    const int screen = x.defaultScreen(&display);
    parent = request.parent;
    width = std::clamp(request.width, 1, kLargestSide);
    height = std::clamp(request.height, 1, kLargestSide);
    if (x.defaultDepth(&display, screen) < 24)
        return false; // pixels are presented as 0xRRGGBB
    XSetWindowAttributes attributes{};
    attributes.event_mask = ExposureMask | StructureNotifyMask | ButtonPressMask | ButtonReleaseMask |
                            PointerMotionMask | LeaveWindowMask | VisibilityChangeMask | KeyPressMask | KeyReleaseMask |
                            FocusChangeMask;
    attributes.bit_gravity = NorthWestGravity;
    errors->take();
    x.setDetectableAutoRepeat(&display, True, nullptr); // so that a key that repeats is let go once
    window = x.createWindow(&display, parent != 0 ? parent : x.defaultRootWindow(&display), 0, 0,
                            static_cast<unsigned>(width), static_cast<unsigned>(height), 0, CopyFromParent, InputOutput,
                            x.defaultVisual(&display, screen), CWEventMask | CWBitGravity, &attributes);
    // The parent may be gone already, or be of another kind of screen.
    x.sync(&display, False);
    if (errors->take() != 0 || connectionLost) {
        window = 0;
        return false;
    }
    sharesMemory = X11SharedImage::isKnown(display);
    context = x.createGC(&display, window, 0, nullptr);
    if (parent == 0)
        makeTopLevel(request);
    const std::array<unsigned long, 2> embedInfo{0, 1}; // version, mapped
    x.changeProperty(&display, window, atom("_XEMBED_INFO"), atom("_XEMBED_INFO"), 32, PropModeReplace,
                     reinterpret_cast<const unsigned char*>(embedInfo.data()), static_cast<int>(embedInfo.size()));
    x.mapWindow(&display, window);
    x.flush(&display);
    return true;
}

void X11Window::makeTopLevel(const Request& request)
{
    x.storeName(&display, window, request.title.c_str());
    x.changeProperty(&display, window, atom("_NET_WM_NAME"), atom("UTF8_STRING"), 8, PropModeReplace,
                     reinterpret_cast<const unsigned char*>(request.title.data()),
                     static_cast<int>(request.title.size()));
    Atom closing = atom("WM_DELETE_WINDOW");
    x.setWMProtocols(&display, window, &closing, 1);
    fixSize();
}

void X11Window::fixSize()
{
    XSizeHints hints{};
    hints.flags = PMinSize | PMaxSize;
    hints.min_width = hints.max_width = width;
    hints.min_height = hints.max_height = height;
    x.setWMNormalHints(&display, window, &hints);
}

void X11Window::present(const std::uint32_t* pixels, int rowWidth, const WindowArea& area)
{
    const int left = std::max(area.left, 0);
    const int top = std::max(area.top, 0);
    const int areaWidth = std::min({area.right, width, rowWidth}) - left;
    const int areaHeight = std::min(area.bottom, height) - top;
    if (window == 0 || connectionLost || areaWidth <= 0 || areaHeight <= 0)
        return;
    if (sharesMemory && !(shared && shared->holds(width, height))) {
        shared.reset();
        shared = X11SharedImage::create(display, *errors, width, height);
        sharesMemory = shared != nullptr;
    }
    if (shared) {
        shared->put(window, context, pixels, rowWidth, {left, top, left + areaWidth, top + areaHeight});
        return;
    }
    XImage image{};
    image.width = rowWidth;
    image.height = top + areaHeight;
    image.format = ZPixmap;
    // The library doesn't write to it.
    image.data =
        reinterpret_cast<char*>(const_cast<std::uint32_t*>(pixels)); // NOLINT(cppcoreguidelines-pro-type-const-cast)
    image.byte_order = LSBFirst;
    image.bitmap_unit = 32;
    image.bitmap_bit_order = LSBFirst;
    image.bitmap_pad = 32;
    image.depth = x.defaultDepth(&display, x.defaultScreen(&display));
    image.bytes_per_line = rowWidth * 4;
    image.bits_per_pixel = 32;
    if (x.initImage(&image) == 0)
        return;
    x.putImage(&display, window, context, &image, left, top, left, top, static_cast<unsigned>(areaWidth),
               static_cast<unsigned>(areaHeight));
    x.flush(&display);
}

void X11Window::resize(int newWidth, int newHeight)
{
    width = std::clamp(newWidth, 1, kLargestSide);
    height = std::clamp(newHeight, 1, kLargestSide);
    if (window == 0 || connectionLost)
        return;
    if (parent == 0)
        fixSize();
    x.resizeWindow(&display, window, static_cast<unsigned>(width), static_cast<unsigned>(height));
    x.flush(&display);
}

void X11Window::setCursor(CursorShape newShape)
{
    shape = newShape;
    applyCursor();
}

void X11Window::showPointer(bool show)
{
    pointerShown = show;
    applyCursor();
}

void X11Window::applyCursor()
{
    if (window == 0 || connectionLost)
        return;
    if (!pointerShown && hidden == 0) {
        const std::array<char, 1> clear{};
        const Pixmap blank = x.createBitmapFromData(&display, window, clear.data(), 1, 1);
        XColor black{};
        hidden = x.createPixmapCursor(&display, blank, blank, &black, &black, 0, 0);
        x.freePixmap(&display, blank);
    }
    constexpr std::array<unsigned, 4> glyphs{XC_left_ptr, XC_hand2, XC_xterm, XC_sb_h_double_arrow};
    const auto index = static_cast<std::size_t>(shape);
    if (pointerShown && cursors[index] == 0)
        cursors[index] = x.createFontCursor(&display, glyphs[index]);
    x.defineCursor(&display, window, pointerShown ? cursors[index] : hidden);
    x.flush(&display);
}

void X11Window::movePointer(int toX, int toY)
{
    if (window == 0 || connectionLost)
        return;
    x.warpPointer(&display, None, window, 0, 0, 0, 0, toX, toY);
    x.flush(&display);
}

void X11Window::takeKeyboard()
{
    if (window == 0 || connectionLost)
        return;
    x.setInputFocus(&display, window, RevertToParent, lastEvent);
    x.flush(&display);
}

void X11Window::giveKeyboardBack()
{
    if (window == 0 || parent == 0 || connectionLost)
        return;
    x.setInputFocus(&display, parent, RevertToParent, lastEvent);
    x.flush(&display);
}

void X11Window::setClipboard(const std::string& text)
{
    clipboard = text;
    if (window == 0 || connectionLost)
        return;
    x.setSelectionOwner(&display, atom("CLIPBOARD"), window, lastEvent);
    ownsClipboard = true;
    x.flush(&display);
}

void X11Window::requestClipboard()
{
    if (window == 0 || connectionLost)
        return;
    if (ownsClipboard) {
        if (listener != nullptr && !clipboard.empty())
            listener->windowPasted(clipboard);
        return;
    }
    convertClipboard(atom("UTF8_STRING"));
}

void X11Window::convertClipboard(Atom target)
{
    x.convertSelection(&display, atom("CLIPBOARD"), target, atom("SORVANE_CLIPBOARD"), window, lastEvent);
    x.flush(&display);
}

double X11Window::getDpi() const
{
    constexpr double kUsual = 96.0;
    const char* const resources = connectionLost ? nullptr : x.resourceManagerString(&display);
    const std::string_view text = resources != nullptr ? resources : "";
    constexpr std::string_view name = "Xft.dpi:";
    for (std::size_t at = 0; at < text.size(); at = std::min(text.find('\n', at), text.size() - 1) + 1)
        if (text.substr(at, name.size()) == name) {
            const double dpi = std::strtod(resources + at + name.size(), nullptr);
            return dpi >= 24.0 && dpi <= 960.0 ? dpi : kUsual;
        }
    return kUsual;
}

bool X11Window::awaitEvents(int milliseconds)
{
    if (connectionLost)
        return false;
    if (x.pending(&display) > 0)
        return true;
    pollfd waiting{x.connectionNumber(&display), POLLIN, 0};
    ::poll(&waiting, 1, milliseconds);
    return !connectionLost && x.pending(&display) > 0;
}

void X11Window::processEvents()
{
    while (!connectionLost && x.pending(&display) > 0) {
        XEvent event;
        x.nextEvent(&display, &event);
        handle(event);
    }
    lookWhetherSeen();
    if (connectionLost)
        windowIsGone();
}

void X11Window::windowIsGone()
{
    if (window == 0)
        return;
    window = 0;
    seen = false;
    if (listener != nullptr)
        listener->windowClosed();
}

void X11Window::setSeen(bool now)
{
    if (now != std::exchange(seen, now) && listener != nullptr)
        listener->windowSeen(seen);
}

void X11Window::lookWhetherSeen()
{
    // A window that it lies in may be unmapped, which nobody is told of. The way back is: by a VisibilityNotify.
    constexpr std::chrono::milliseconds kPause{250};
    const auto now = std::chrono::steady_clock::now();
    if (!seen || connectionLost || now < nextLook)
        return;
    nextLook = now + kPause;
    XWindowAttributes attributes{};
    if (x.getWindowAttributes(&display, window, &attributes) != 0 && attributes.map_state != IsViewable)
        setSeen(false);
}

void X11Window::handle(XEvent& event)
{
    if (event.type == DestroyNotify && event.xdestroywindow.window == window) {
        windowIsGone();
        return;
    }
    if (event.type == VisibilityNotify)
        setSeen(event.xvisibility.state != VisibilityFullyObscured);
    if (event.type == UnmapNotify)
        setSeen(false);
    if (event.type == MappingNotify) // the user has changed the keyboard
        x.refreshKeyboardMapping(&event.xmapping);
    if (event.type == SelectionClear)
        ownsClipboard = false;
    if (event.type == SelectionRequest) {
        answerSelection(event.xselectionrequest);
        return;
    }
    if (listener == nullptr || window == 0)
        return;
    switch (event.type) {
    case Expose:
        listener->windowExposed({event.xexpose.x, event.xexpose.y, event.xexpose.x + event.xexpose.width,
                                 event.xexpose.y + event.xexpose.height});
        break;
    case ConfigureNotify:
        listener->windowResized(event.xconfigure.width, event.xconfigure.height);
        break;
    case ButtonPress:
        handlePress(event.xbutton);
        break;
    case ButtonRelease:
        handleRelease(event.xbutton);
        break;
    case MotionNotify:
        handleMotion(event.xmotion);
        break;
    case LeaveNotify:
        if (event.xcrossing.mode == NotifyNormal && event.xcrossing.detail != NotifyInferior)
            listener->windowMouseLeft();
        break;
    case kXKeyPress:
        handleKey(event.xkey);
        break;
    case KeyRelease:
        handleKeyRelease(event.xkey);
        break;
    case FocusIn:
    case FocusOut:
        // While a window manager holds the keyboard, to switch windows, the focus moves too.
        if ((event.xfocus.mode == NotifyNormal || event.xfocus.mode == NotifyWhileGrabbed) &&
            event.xfocus.detail != NotifyPointer)
            listener->windowFocusChanged(event.type == FocusIn);
        break;
    case ClientMessage:
        handleMessage(event.xclient);
        break;
    case SelectionNotify:
        receiveSelection(event.xselection);
        break;
    default:
        break;
    }
}

void X11Window::handlePress(const XButtonEvent& event)
{
    lastEvent = event.time;
    const int modifiers = modifiersOf(event.state);
    constexpr unsigned kFirstWheelButton = 4; // up, down, left, right
    constexpr unsigned kLastWheelButton = 7;
    if (event.button >= kFirstWheelButton && event.button <= kLastWheelButton) {
        const unsigned way = event.button - kFirstWheelButton;
        listener->windowWheel(event.x, event.y, way < 2 ? WheelAxis::vertical : WheelAxis::horizontal,
                              way % 2 == 0 ? 1.0F : -1.0F, modifiers);
        return;
    }
    const int button = buttonOf(event.button);
    if (button == 0)
        return;
    const bool again = event.button == lastButton && event.time - lastPress < kDoubleClickMs &&
                       std::abs(event.x - lastX) < kDoubleClickPixels && std::abs(event.y - lastY) < kDoubleClickPixels;
    lastButton = again ? 0 : event.button; // a third press begins anew
    lastPress = event.time;
    lastX = event.x;
    lastY = event.y;
    listener->windowMouseDown(event.x, event.y,
                              button | buttonsOf(event.state) | modifiers | (again ? kDoubleClick : 0));
}

void X11Window::handleRelease(const XButtonEvent& event)
{
    lastEvent = event.time;
    if (buttonOf(event.button) != 0)
        listener->windowMouseUp(event.x, event.y,
                                buttonsOf(event.state) | buttonOf(event.button) | modifiersOf(event.state));
}

void X11Window::handleMotion(XMotionEvent event)
{
    // Of several that wait, the last.
    while (x.pending(&display) > 0) {
        XEvent next;
        x.peekEvent(&display, &next);
        if (next.type != MotionNotify || next.xmotion.state != event.state)
            break;
        x.nextEvent(&display, &next);
        event = next.xmotion;
    }
    lastEvent = event.time;
    listener->windowMouseMoved(event.x, event.y, buttonsOf(event.state) | modifiersOf(event.state));
}

void X11Window::handleKey(XKeyEvent& event)
{
    lastEvent = event.time;
    KeySym symbol = NoSymbol;
    std::array<char, 8> typed;
    x.lookupString(&event, typed.data(), static_cast<int>(typed.size()), &symbol, nullptr);
    const Key named = keyOf(symbol);
    if (named != Key::other) {
        listener->windowKeyDown({named, 0, modifiersOf(event.state)});
        return;
    }
    for (const char32_t character : compose.typed(symbol))
        if (listener != nullptr)
            listener->windowKeyDown({Key::character, character, modifiersOf(event.state)});
}

void X11Window::handleKeyRelease(XKeyEvent& event)
{
    lastEvent = event.time;
    KeySym symbol = NoSymbol;
    std::array<char, 8> typed;
    x.lookupString(&event, typed.data(), static_cast<int>(typed.size()), &symbol, nullptr);
    const Key named = keyOf(symbol);
    const char32_t character = named == Key::other ? characterOf(symbol) : 0;
    listener->windowKeyUp({character != 0 ? Key::character : named, character, modifiersOf(event.state)});
}

void X11Window::handleMessage(const XClientMessageEvent& event)
{
    if (event.message_type == atom("WM_PROTOCOLS") && static_cast<Atom>(event.data.l[0]) == atom("WM_DELETE_WINDOW")) {
        listener->windowClosed();
        return;
    }
    if (event.message_type != atom("_XEMBED"))
        return;
    constexpr long kFocusIn = 4;
    constexpr long kFocusOut = 5;
    if (event.data.l[1] == kFocusIn || event.data.l[1] == kFocusOut)
        listener->windowFocusChanged(event.data.l[1] == kFocusIn);
}

void X11Window::answerSelection(const XSelectionRequestEvent& request)
{
    XSelectionEvent answer{};
    answer.type = SelectionNotify;
    answer.requestor = request.requestor;
    answer.selection = request.selection;
    answer.target = request.target;
    answer.time = request.time;
    const Atom property = request.property != None ? request.property : request.target; // older programs give none
    const Atom utf8 = atom("UTF8_STRING");
    const Atom targets = atom("TARGETS");
    const auto offer = [&](Atom type, int format, const void* data, std::size_t count) {
        x.changeProperty(&display, request.requestor, property, type, format, PropModeReplace,
                         static_cast<const unsigned char*>(data), static_cast<int>(count));
        answer.property = property;
    };
    if (request.target == targets) {
        const std::array<Atom, 3> offered{targets, utf8, XA_STRING};
        offer(XA_ATOM, 32, offered.data(), offered.size());
    } else if (request.target == utf8) {
        offer(utf8, 8, clipboard.data(), clipboard.size());
    } else if (request.target == XA_STRING) { // which is Latin 1
        const std::string latin = latin1Of(clipboard);
        offer(XA_STRING, 8, latin.data(), latin.size());
    }
    XEvent event{};
    event.xselection = answer;
    x.sendEvent(&display, request.requestor, False, 0, &event);
    x.flush(&display);
}

void X11Window::receiveSelection(const XSelectionEvent& event)
{
    if (event.property == None) {
        if (event.target == atom("UTF8_STRING")) // which older programs don't have
            convertClipboard(XA_STRING);
        return;
    }
    Atom type = None;
    int format = 0;
    unsigned long count = 0;
    unsigned long left = 0;
    unsigned char* data = nullptr;
    x.getWindowProperty(&display, window, event.property, 0, kLongestPaste / 4, True, AnyPropertyType, &type, &format,
                        &count, &left, &data);
    if (data == nullptr)
        return;
    std::string text(format == 8 ? reinterpret_cast<const char*>(data) : "", format == 8 ? count : 0);
    x.free(data);
    if (type == XA_STRING)
        text = utf8Of(text);
    if (!text.empty() && (type == atom("UTF8_STRING") || type == XA_STRING))
        listener->windowPasted(text);
}

} // namespace sorvane::platform
