#pragma once

#include <cstddef>
#include <new>
#include <utility>

namespace sorvane::platform {

/// Holds an object that is never destroyed, without taking memory for it: for process-wide objects that effects which
/// globals of the host's own may still use while the process ends.
template <typename T>
class NeverDestroyed {
public:
    template <typename... Arguments>
    explicit NeverDestroyed(Arguments&&... arguments) : object(*new (storage) T(std::forward<Arguments>(arguments)...))
    {}
    NeverDestroyed(const NeverDestroyed&) = delete;
    NeverDestroyed& operator=(const NeverDestroyed&) = delete;

    [[nodiscard]] T& get() noexcept { return object; }

private:
    alignas(T) std::byte storage[sizeof(T)];
    T& object;
};

} // namespace sorvane::platform
