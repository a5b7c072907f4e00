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
    for (double& sample : samples) {
        const double x = sample;
        const std::uint8_t crossing = x * previous < 0.0 ? 1 : 0;
        sum += crossing - crossings[position];
        crossings[position] = crossing;
        position = position + 1 == length ? 0 : position + 1;
        previous = x;
        if (sum < threshold)
            sample = 0.0;
    }
}

} // namespace sorvane::core
