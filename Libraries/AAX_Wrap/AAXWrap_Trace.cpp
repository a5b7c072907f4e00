#include "AAXWrap_Trace.h"

#include <atomic>
#include <cstdint>

namespace sorvane::aax {

namespace {

constexpr std::uint32_t kTracePriority = 0x8000000;

std::atomic<HostServices*> hostServices{nullptr};

} // namespace

void setHostServices(HostServices* services) noexcept
{
    hostServices.store(services, std::memory_order_release);
}

void trace(const char* text) noexcept
{
    try {
        if (HostServices* const services = hostServices.load(std::memory_order_acquire))
            services->trace(kTracePriority, text);
    } catch (...) { // a log that fails is no reason to fail
    }
}

} // namespace sorvane::aax
