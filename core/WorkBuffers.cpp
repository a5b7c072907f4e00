#include "WorkBuffers.h"

#include <algorithm>
#include <new>
#include <utility>

namespace sorvane::core {

bool WorkBuffers::ensure(std::int32_t frames) noexcept
{
    if (frames <= frameCapacity)
        return true;
    const auto count = static_cast<std::size_t>(frames);
    std::unique_ptr<double[]> newSamples(new (std::nothrow) double[kBuffers * stride(frames)]());
    if (!newSamples)
        return false;
    std::unique_ptr<std::int32_t[]> newCodes(new (std::nothrow) std::int32_t[kCodesPerFrame * count]());
    if (!newCodes)
        return false;
    samples = std::move(newSamples);
    codes = std::move(newCodes);
    frameCapacity = frames;
    return true;
}

void WorkBuffers::clear() noexcept
{
    if (frameCapacity == 0)
        return;
    std::fill_n(samples.get(), kBuffers * stride(frameCapacity), 0.0);
    std::fill_n(codes.get(), kCodesPerFrame * static_cast<std::size_t>(frameCapacity), 0);
}

} // namespace sorvane::core
