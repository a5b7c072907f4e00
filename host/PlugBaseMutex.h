#pragma once

#include <mutex>

namespace sorvane::host {

/// A critical section to derive from. Never on the audio thread.
class PlugBaseMutex {
public:
    PlugBaseMutex() = default;
    virtual ~PlugBaseMutex() = default;
    PlugBaseMutex(const PlugBaseMutex&) = delete;
    PlugBaseMutex& operator=(const PlugBaseMutex&) = delete;

    void enter() { mutex.lock(); }
    void leave() { mutex.unlock(); }

    /// Is inside from here to the end of its scope.
    class Guard {
    public:
        explicit Guard(PlugBaseMutex& section) : guarded(section) { guarded.enter(); }
        ~Guard() { guarded.leave(); }
        Guard(const Guard&) = delete;
        Guard& operator=(const Guard&) = delete;

    private:
        PlugBaseMutex& guarded;
    };

private:
    std::mutex mutex;
};

} // namespace sorvane::host
