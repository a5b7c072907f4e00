#include "HalfBandKernel.h"

#include "Kaiser.h"

#include <cmath>
#include <cstddef>
#include <numbers>

namespace sorvane::dsp {

namespace {

HalfBandKernel makeKernel(int n, double beta)
{
    HalfBandKernel kernel(static_cast<std::size_t>(n));
    for (int j = 0; j < n; ++j) {
        const int lag = 1 - n + 2 * j;
        const double x = lag * std::numbers::pi / 2.0;
        kernel[static_cast<std::size_t>(j)] = std::sin(x) / x * kaiser(static_cast<double>(lag) / (n - 1), beta);
    }
    return kernel;
}

} // namespace

const HalfBandKernels& HalfBandKernels::shared()
{
    static const HalfBandKernels kernels{makeKernel(34, 3.5), makeKernel(128, 15.0)};
    return kernels;
}

} // namespace sorvane::dsp
