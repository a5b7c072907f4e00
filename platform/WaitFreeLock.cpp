#include "WaitFreeLock.h"

#include <chrono>
#include <thread>

namespace sorvane::platform {

bool WaitFreeLock::tryLock() noexcept
{
    return waiting.load() == 0 && !held.exchange(true);
}

void WaitFreeLock::lock() noexcept
{
    waiting.fetch_add(1);
    while (held.exchange(true))
        std::this_thread::sleep_for(std::chrono::microseconds(50));
    waiting.fetch_sub(1);
}

} // namespace sorvane::platform
