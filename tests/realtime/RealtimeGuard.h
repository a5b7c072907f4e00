#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace sorvane::test {

/// Watches a thread for what must not happen on the audio thread: memory taken or given back, a lock or a wait, a
/// system call.
///
/// The allocator and the lock and wait functions of this process are replaced by ones that look whether their thread is
/// watched, and the kernel is asked to hand each system call of a watched thread to us first.
class RealtimeGuard {
public:
    /// Watches the calling thread until the guard goes.
    RealtimeGuard();
    ~RealtimeGuard();
    RealtimeGuard(const RealtimeGuard&) = delete;
    RealtimeGuard& operator=(const RealtimeGuard&) = delete;

    /// Looks away on the calling thread, which a guard watches, until it goes.
    class Pause {
    public:
        Pause();
        ~Pause();
        Pause(const Pause&) = delete;
        Pause& operator=(const Pause&) = delete;
    };

    /// Whether system calls are seen too: an older kernel can't.
    [[nodiscard]] static bool seesSystemCalls();

    struct Counts {
        std::uint64_t allocations = 0;
        std::uint64_t locks = 0;
        std::uint64_t systemCalls = 0;
        [[nodiscard]] std::uint64_t all() const { return allocations + locks + systemCalls; }
    };
    /// What the calling thread has done while it was watched, since the last call.
    [[nodiscard]] static Counts take();
};

} // namespace sorvane::test
