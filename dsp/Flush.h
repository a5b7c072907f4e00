#pragma once

namespace sorvane::dsp {

/// Clears values below about 1e-46, denormals among them, from a recursive state: the sum rounds them away. Values
/// above 1e-14 come back unchanged.
[[nodiscard]] inline double flush(double x) noexcept
{
    return x + 1e-30 - 1e-30;
}

} // namespace sorvane::dsp
