#include "CrossingCounter.h"

#include <algorithm>

namespace sorvane::core {

void CrossingCounter::setRate(double rateHz) noexcept
{
    const double window = std::clamp(rateHz * 256.0 / 44100.0, 1.0, static_cast<double>(crossings.size()));
    length = static_cast<std::uint32_t>(window);
    reset();
}

void CrossingCounter::reset() noexcept
{
    crossings.fill(0);
    position = 0;
    sum = 0;
    previous = 0.0;
}

void CrossingCounter::process(std::span<double> samples, double threshold) noexcept
{
    const std::uint32_t window = length;
    std::uint32_t at = position;
    std::int32_t count = sum;
    double last = previous;
    for (double& sample : samples) {
        const double x = sample;
        const std::uint8_t crossing = x * last < 0.0 ? 1 : 0;
        count += crossing - crossings[at];
        crossings[at] = crossing;
        at = at + 1 == window ? 0 : at + 1;
        last = x;
        if (count < threshold)
            sample = 0.0;
    }
    position = at;
    sum = count;
    previous = last;
}

} // namespace sorvane::core
