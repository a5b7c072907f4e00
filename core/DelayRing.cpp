#include "DelayRing.h"

#include "CpuDispatch.h"

namespace sorvane::core {

namespace {

[[gnu::always_inline]] inline void exchange(const double* source, double* destination, const double* from, double* to,
                                            std::size_t count) noexcept
{
    for (std::size_t i = 0; i < count; ++i) {
        const double past = from[i];
        to[i] = source[i];
        destination[i] = past;
    }
}

} // namespace

void exchangeSamples(std::span<const double> source, double* destination, const double* from, double* to) noexcept
{
    dsp::CpuDispatch<exchange>::run(source.data(), destination, from, to, source.size());
}

} // namespace sorvane::core
