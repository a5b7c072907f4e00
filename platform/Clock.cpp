#include "Clock.h"

#include "NeverDestroyed.h"

#include <chrono>

namespace sorvane::platform {

namespace {

class SteadyClock final : public Clock {
public:
    [[nodiscard]] std::int64_t milliseconds() const noexcept override
    {
        return std::chrono::duration_cast<std::chrono::milliseconds>(Now::now() - start).count();
    }

private:
    using Now = std::chrono::steady_clock;
    Now::time_point start = Now::now();
};

} // namespace

const Clock& Clock::steady()
{
    static NeverDestroyed<SteadyClock> clock;
    return clock.get();
}

} // namespace sorvane::platform
