#include "CpuDispatch.h"

#include <algorithm>

namespace sorvane::dsp {

VectorUnit widestVectorUnit() noexcept
{
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx512f"))
        return VectorUnit::avx512;
    return __builtin_cpu_supports("avx2") ? VectorUnit::avx2 : VectorUnit::sse2;
}

namespace detail {
std::atomic<VectorUnit> vectorUnit{widestVectorUnit()};
}

void useVectorUnit(VectorUnit unit) noexcept
{
    detail::vectorUnit.store(std::min(unit, widestVectorUnit()), std::memory_order_relaxed);
}

} // namespace sorvane::dsp
