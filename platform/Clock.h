#pragma once

#include <cstdint>

namespace sorvane::platform {

/// A monotonic clock in milliseconds since some moment before its first reading. Any thread.
class Clock {
public:
    Clock() = default;
    virtual ~Clock() = default;
    Clock(const Clock&) = delete;
    Clock& operator=(const Clock&) = delete;
    [[nodiscard]] virtual std::int64_t milliseconds() const noexcept = 0;

    /// The machine's, since the process began to use it. Never destroyed.
    static const Clock& steady();
};

} // namespace sorvane::platform
