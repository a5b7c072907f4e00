#include "CrossingCounter.h"

#include "CpuDispatch.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>

namespace sorvane::core {

namespace {

/// \param crossings  gets 1 for each sample but the first that lies across zero from the one before, else 0
[[gnu::always_inline]] inline void markCrossings(const double* samples, std::size_t count,
                                                 std::uint8_t* __restrict crossings) noexcept
{
    for (std::size_t i = 1; i < count; ++i)
        crossings[i] = samples[i] * samples[i - 1] < 0.0 ? 1 : 0;
}

} // namespace

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
    std::array<std::uint8_t, 256> fresh;
    while (!samples.empty()) {
        const auto run = samples.first(std::min<std::size_t>({samples.size(), fresh.size(), length - position}));
        fresh[0] = run[0] * previous < 0.0 ? 1 : 0;
        dsp::CpuDispatch<markCrossings>::run(run.data(), run.size(), fresh.data());
        previous = run.back();
        const auto old = std::span(crossings).subspan(position, run.size());
        if (threshold > 0.0)
            gate(run, old, std::span(fresh).first(run.size()), threshold);
        else
            sum += std::accumulate(fresh.begin(), fresh.begin() + static_cast<std::ptrdiff_t>(run.size()), 0) -
                   std::accumulate(old.begin(), old.end(), 0);
        std::copy_n(fresh.begin(), run.size(), old.begin());
        position += static_cast<std::uint32_t>(run.size());
        position = position == length ? 0 : position;
        samples = samples.subspan(run.size());
    }
}

void CrossingCounter::gate(std::span<double> samples, std::span<const std::uint8_t> old,
                           std::span<const std::uint8_t> fresh, double threshold) noexcept
{
    // The count is whole, and so can be what it is compared with.
    const auto needed =
        static_cast<std::int32_t>(std::ceil(std::min(threshold, static_cast<double>(crossings.size()))));
    std::int32_t count = sum;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        count += fresh[i] - old[i];
        samples[i] = count < needed ? 0.0 : samples[i];
    }
    sum = count;
}

} // namespace sorvane::core
