#pragma once

#include "DetectorSettings.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace sorvane::core {

/// The greatest magnitude among the last n samples, n the look-ahead of the settings.
///
/// A cascade of delays of 1, 2, 4 ... samples, each stage passing on the larger of its input and its delayed input,
/// widens the window from 1 to P; the last stage's delay is shortened so that the whole is exactly n.
///
/// log2(n) comparisons a sample for any n. Fast because a stage runs over the whole block before the next one does, so
/// that neighbouring samples share a vector. Audio thread.
class SlidingMaximum {
public:
    static constexpr std::size_t kMostFrames = 256; ///< a call

    void clear() noexcept;

    /// \param samples  up to kMostFrames, their magnitudes' maxima out, in place
    void process(std::span<double> samples, const DetectorSettings& settings) noexcept;

private:
    std::array<double, kMostLookahead> cells; // of the stages behind one another: 1, 2, 4 ...
    std::uint32_t index = 0;                  // of the next sample in the stages' rings, modulo their sizes
};

} // namespace sorvane::core
