#pragma once

#include <span>

namespace sorvane::dsp {

/// Adds a short direct FIR over a stretch of samples: output[i] += sum over j of taps[j] input[i + j].
///
/// An output's sum is formed in the same order wherever the stretch begins or ends, so that cutting a stream
/// differently changes no bit. Any thread.
/// \param taps    the last tap first, as it meets the oldest sample
/// \param input   taps.size() - 1 samples of history, then output.size() new ones; doesn't overlap the output
void addDirectFIR(std::span<const double> taps, const double* input, std::span<double> output) noexcept;

} // namespace sorvane::dsp
