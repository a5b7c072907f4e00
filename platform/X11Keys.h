#pragma once

#include "WindowEvents.h"
#include "X11Library.h"

#include <string>

struct xkb_compose_state;

namespace sorvane::platform {

/// Key::other for a symbol that types a character, or that nobody asks for.
[[nodiscard]] Key keyOf(KeySym symbol);

/// What a symbol types by itself, 0 for one that types nothing.
[[nodiscard]] char32_t characterOf(KeySym symbol);

/// What the symbols of keys type, one after the other: dead keys and sequences are composed as the user's locale has
/// them. Where the library for that is missing, symbols of Latin 1 and of Unicode type themselves.
class X11Compose {
public:
    X11Compose() = default;
    ~X11Compose();
    X11Compose(const X11Compose&) = delete;
    X11Compose& operator=(const X11Compose&) = delete;

    /// Empty for a symbol that types none, or none yet.
    [[nodiscard]] std::u32string typed(KeySym symbol);

private:
    void loadSequences();

    bool loaded = false; ///< the user's sequences, of which there are thousands: when a key is first pressed
    xkb_compose_state* state = nullptr;
};

} // namespace sorvane::platform
