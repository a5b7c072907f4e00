#pragma once

#include "NeverDestroyed.h"
#include "PlugBaseThread.h"

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <vector>

namespace sorvane::host {

class PlugBase;

/// The process-wide 10 ms timer: each tick calls onTimer and then the editor's idle of every instance.
///
/// Its thread is the user interface thread of a plug-in that owns no message loop. It runs while there are instances:
/// the first one starts it, the last one joins it, and nothing is left when the library is unloaded.
///
/// At exit the thread ends too, but the timer is never destroyed: globals that are older than it may end their effects
/// behind it, or even make new ones.
///
/// What a tick has to tell the host it tells after it has let go of the instance, and of one that is still in. A host
/// may hold a lock of its own while it makes or ends instances and take the same one when it is told something: neither
/// waits for the other for longer than half a second. Only such a host may still be in a call about an instance that
/// has ended; when that was the last one, the library stays loaded for good, since the call returns into it.
class InstanceTimer : private PlugBaseThread {
public:
    static InstanceTimer& instance();

    /// Whether the caller is the timer's thread: it may always wait and design filters.
    [[nodiscard]] bool isTimerThread() const noexcept { return isWorker(); }

    /// Enters an instance whose construction is complete. Any thread but the audio thread, as remove.
    void add(PlugBase& instance);
    /// Takes an instance out. Waits while a tick is at work in it, and for a call to the host about it; from here on
    /// none touches it.
    void remove(PlugBase& instance);

private:
    static constexpr std::int32_t kPeriodMs = 10;

    friend class platform::NeverDestroyed<InstanceTimer>;
    InstanceTimer() : PlugBaseThread(kPeriodMs) {}
    ~InstanceTimer() override = default;

    void endForNow();
    void tick() override;
    [[nodiscard]] static bool workIn(PlugBase& instance) noexcept;
    [[nodiscard]] PlugBase* enterNext();
    [[nodiscard]] bool leave(bool toTellTheHost);
    void endTelling();
    bool waitForHost(std::unique_lock<std::mutex>& lock, const PlugBase* instance);
    void erase(PlugBase& instance);

    std::mutex lifecycle;         ///< orders starts and ends of the thread; taken first
    std::mutex list;              ///< guards what follows
    std::condition_variable left; ///< an instance, or a call to the host
    std::vector<PlugBase*> instances;
    std::size_t cursor = 0;      ///< of the tick in progress
    PlugBase* ticking = nullptr; ///< the instance that it is at work in
    bool ending = false;         ///< at exit: no host is told anything more
    PlugBase* telling = nullptr; ///< the instance, perhaps ended since, that the host is being told of
};

} // namespace sorvane::host
