#include "X11Keys.h"

#include <X11/keysym.h>

#include <xkbcommon/xkbcommon-compose.h>

#include <dlfcn.h>

#include <array>
#include <cstdlib>
#include <utility>

namespace sorvane::platform {

namespace {

/// What names and composes key symbols, loaded when it is first asked for.
struct XkbLibrary {
    decltype(&::xkb_context_new) newContext;
    decltype(&::xkb_context_unref) unrefContext;
    decltype(&::xkb_compose_table_new_from_locale) newTable;
    decltype(&::xkb_compose_table_unref) unrefTable;
    decltype(&::xkb_compose_state_new) newState;
    decltype(&::xkb_compose_state_unref) unrefState;
    decltype(&::xkb_compose_state_feed) feed;
    decltype(&::xkb_compose_state_get_status) getStatus;
    decltype(&::xkb_compose_state_get_one_sym) getSymbol;
    decltype(&::xkb_compose_state_reset) reset;
    decltype(&::xkb_keysym_to_utf32) toUtf32;

    /// Null when there is none. Any thread.
    static const XkbLibrary* get()
    {
        static XkbLibrary library;
        static const bool loaded = library.load();
        return loaded ? &library : nullptr;
    }

private:
    bool load()
    {
        void* const handle = ::dlopen("libxkbcommon.so.0", RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
        const auto find = [handle](const char* name, auto& function) {
            function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(
                handle != nullptr ? ::dlsym(handle, name) : nullptr);
            return function != nullptr;
        };
        return find("xkb_context_new", newContext) && find("xkb_context_unref", unrefContext) &&
               find("xkb_compose_table_new_from_locale", newTable) && find("xkb_compose_table_unref", unrefTable) &&
               find("xkb_compose_state_new", newState) && find("xkb_compose_state_unref", unrefState) &&
               find("xkb_compose_state_feed", feed) && find("xkb_compose_state_get_status", getStatus) &&
               find("xkb_compose_state_get_one_sym", getSymbol) && find("xkb_compose_state_reset", reset) &&
               find("xkb_keysym_to_utf32", toUtf32);
    }
};

/// The user's, whatever the host has set for itself.
const char* localeOfUser()
{
    for (const char* const variable : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        const char* const value = std::getenv(variable); // NOLINT(concurrency-mt-unsafe): nobody writes it
        if (value != nullptr && *value != 0)
            return value;
    }
    return "C";
}

} // namespace

char32_t characterOf(KeySym symbol)
{
    if (const XkbLibrary* const xkb = XkbLibrary::get()) {
        const std::uint32_t code = xkb->toUtf32(static_cast<xkb_keysym_t>(symbol));
        return code >= U' ' && code != 0x7F ? code : 0;
    }
    // Symbols of Latin 1 and of Unicode are their code points.
    if ((symbol >= 0x20 && symbol <= 0x7E) || (symbol >= 0xA0 && symbol <= 0xFF))
        return static_cast<char32_t>(symbol);
    if (symbol >= 0x01000100 && symbol <= 0x0110FFFF)
        return static_cast<char32_t>(symbol - 0x01000000);
    constexpr KeySym kKeypad = 0xFF80; // whose symbols are those of ASCII from there on
    if (symbol >= XK_KP_Multiply && symbol <= XK_KP_9)
        return static_cast<char32_t>(symbol - kKeypad);
    return 0;
}

Key keyOf(KeySym symbol)
{
    switch (symbol) {
    case XK_BackSpace:
        return Key::backspace;
    case XK_Delete:
    case XK_KP_Delete:
        return Key::remove;
    case XK_Tab:
    case XK_ISO_Left_Tab: // with Shift
        return Key::tab;
    case XK_Return:
    case XK_KP_Enter:
        return Key::enter;
    case XK_Escape:
        return Key::escape;
    case XK_Left:
    case XK_KP_Left:
        return Key::left;
    case XK_Right:
    case XK_KP_Right:
        return Key::right;
    case XK_Up:
    case XK_KP_Up:
        return Key::up;
    case XK_Down:
    case XK_KP_Down:
        return Key::down;
    case XK_Home:
    case XK_KP_Home:
        return Key::home;
    case XK_End:
    case XK_KP_End:
        return Key::end;
    case XK_Prior:
        return Key::pageUp;
    case XK_Next:
        return Key::pageDown;
    default:
        return Key::other;
    }
}

void X11Compose::loadSequences()
{
    const XkbLibrary* const xkb = XkbLibrary::get();
    xkb_context* const context = xkb != nullptr ? xkb->newContext(XKB_CONTEXT_NO_DEFAULT_INCLUDES) : nullptr;
    if (context == nullptr)
        return;
    if (xkb_compose_table* const table = xkb->newTable(context, localeOfUser(), XKB_COMPOSE_COMPILE_NO_FLAGS)) {
        state = xkb->newState(table, XKB_COMPOSE_STATE_NO_FLAGS);
        xkb->unrefTable(table);
    }
    xkb->unrefContext(context);
}

X11Compose::~X11Compose()
{
    if (state != nullptr)
        XkbLibrary::get()->unrefState(state);
}

std::u32string X11Compose::typed(KeySym symbol)
{
    const auto text = [](KeySym of) {
        const char32_t character = characterOf(of);
        return character != 0 ? std::u32string(1, character) : std::u32string();
    };
    if (!std::exchange(loaded, true))
        loadSequences();
    if (state == nullptr)
        return text(symbol);
    const XkbLibrary& xkb = *XkbLibrary::get();
    if (xkb.feed(state, static_cast<xkb_keysym_t>(symbol)) == XKB_COMPOSE_FEED_IGNORED) // a modifier
        return {};
    switch (xkb.getStatus(state)) {
    case XKB_COMPOSE_COMPOSED: {
        std::u32string composed = text(xkb.getSymbol(state));
        xkb.reset(state);
        return composed;
    }
    case XKB_COMPOSE_COMPOSING:
    case XKB_COMPOSE_CANCELLED:
        return {};
    case XKB_COMPOSE_NOTHING:
        break;
    }
    return text(symbol);
}

} // namespace sorvane::platform
