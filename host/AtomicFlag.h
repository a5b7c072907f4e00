#pragma once

#include <atomic>

namespace sorvane::host {

/// A flag that threads raise and another takes down, each as one unit. Any thread; never waits.
///
/// Whoever finds it up sees all that was written before any of the calls that raised it: hence the exchange in set,
/// since a plain store would hide what the one before it published.
class AtomicFlag {
public:
    AtomicFlag() = default;
    virtual ~AtomicFlag() = default;
    AtomicFlag(const AtomicFlag&) = delete;
    AtomicFlag& operator=(const AtomicFlag&) = delete;

    void set() noexcept { (void)flag.exchange(true); }
    [[nodiscard]] bool isSet() const noexcept { return flag.load(); }
    /// \return whether it was up
    bool testAndSet() noexcept { return flag.exchange(true); }
    bool testAndClear() noexcept { return flag.exchange(false); }

private:
    std::atomic<bool> flag{false};
};

} // namespace sorvane::host
