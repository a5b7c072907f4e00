#pragma once

#include <atomic>

namespace sorvane::host {

/// A flag that one thread raises and another takes down, each as one unit. Any thread; never waits.
class AtomicFlag {
public:
    AtomicFlag() = default;
    virtual ~AtomicFlag() = default;
    AtomicFlag(const AtomicFlag&) = delete;
    AtomicFlag& operator=(const AtomicFlag&) = delete;

    void set() noexcept { flag.store(true); }
    [[nodiscard]] bool isSet() const noexcept { return flag.load(); }
    /// \return whether it was up
    bool testAndSet() noexcept { return flag.exchange(true); }
    bool testAndClear() noexcept { return flag.exchange(false); }

private:
    std::atomic<bool> flag{false};
};

} // namespace sorvane::host
