#include "DelayRing.h"

#include "CpuDispatch.h"

namespace sorvane::core {

namespace {

[[gnu::always_inline]] inline void exchange(double* samples, const double* from, double* to, std::size_t count) noexcept
{
    for (std::size_t i = 0; i < count; ++i) {
        const double past = from[i];
        to[i] = samples[i];
        samples[i] = past;
    }
}

} // namespace

void exchangeSamples(std::span<double> samples, const double* from, double* to) noexcept
{
    dsp::CpuDispatch<exchange>::run(samples.data(), from, to, samples.size());
}

} // namespace sorvane::core
