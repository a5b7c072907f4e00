#pragma once

#include <atomic>

namespace sorvane::platform {

/// A lock that the audio thread only ever tries, and that costs it no system call to release.
///
/// Other threads wait by sleeping in short steps; while one waits, a try fails, so that a thread that takes the lock
/// again and again can't starve it. Not recursive. All accesses are sequentially consistent, so that a thread may leave
/// a request in another atomic, try the lock, and rely on the holder to see the request after its unlock if the try
/// failed.
class WaitFreeLock {
public:
    /// Any thread; never waits. \return whether the caller holds the lock now
    [[nodiscard]] bool tryLock() noexcept;

    /// Waits for the lock. Never on the audio thread, unless it renders offline.
    void lock() noexcept;

    /// The holder, on any thread.
    void unlock() noexcept { held.store(false); }

private:
    std::atomic<bool> held{false};
    std::atomic<int> waiting{0};
};

} // namespace sorvane::platform
