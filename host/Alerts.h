#pragma once

#include "AtomicFlag.h"
#include "PlugBaseMutex.h"

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace sorvane::host {

/// Messages for the user, raised on any thread but the audio thread and shown where there is somebody to read them: by
/// an open editor, or by the command-line tool. Process-wide; what isn't shown stays queued.
class Alerts : private PlugBaseMutex {
public:
    static Alerts& instance();

    /// Queues a message. Without memory for it, it is lost.
    void add(const std::string& title, const std::string& text) noexcept;

    /// Shows the messages queued so far, one after the other, and removes exactly those; more may come in meanwhile. A
    /// call from within \p show, as from a message box that keeps events running, does nothing. What \p show throws
    /// goes on to the caller; the messages behind it stay.
    void showPending(const std::function<void(const std::string& title, const std::string& text)>& show);

private:
    struct Alert {
        std::string title;
        std::string text;
    };

    [[nodiscard]] std::size_t count();
    [[nodiscard]] Alert takeFirst();

    std::vector<Alert> queue;
    AtomicFlag showing;
};

} // namespace sorvane::host
