#pragma once

#include <atomic>

namespace sorvane::dsp {

/// A single value that several threads read and write without a lock: each access is one relaxed atomic load or store.
///
/// A reader sees the old value or the new one, never a mixture; nothing is promised about the order of two values.
/// Copies take the value at that moment. Any thread; T of at most 64 bits.
template <typename T>
class Relaxed {
public:
    Relaxed() noexcept = default;
    Relaxed(T initial) noexcept : value(initial) {} // NOLINT(google-explicit-constructor): stands in for a T
    Relaxed(const Relaxed& other) noexcept : value(other.load()) {}
    Relaxed& operator=(const Relaxed& other) noexcept
    {
        store(other.load());
        return *this;
    }
    Relaxed& operator=(T newValue) noexcept
    {
        store(newValue);
        return *this;
    }

    operator T() const noexcept { return load(); } // NOLINT(google-explicit-constructor): stands in for a T
    [[nodiscard]] T load() const noexcept { return value.load(std::memory_order_relaxed); }
    void store(T newValue) noexcept { value.store(newValue, std::memory_order_relaxed); }

    /// Sequentially consistent, for the few places where one value's store must come before another one's load.
    [[nodiscard]] T loadInOrder() const noexcept { return value.load(); }
    void storeInOrder(T newValue) noexcept { value.store(newValue); }

private:
    static_assert(std::atomic<T>::is_always_lock_free);
    std::atomic<T> value{};
};

} // namespace sorvane::dsp
