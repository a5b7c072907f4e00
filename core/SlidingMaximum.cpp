#include "SlidingMaximum.h"

#include "CpuDispatch.h"
#include "Vector.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace sorvane::core {

namespace {

[[gnu::always_inline]] inline void takeLarger(const double* __restrict a, const double* __restrict b,
                                              double* __restrict maxima, std::uint32_t count) noexcept
{
    for (std::uint32_t i = 0; i < count; ++i)
        maxima[i] = std::max(a[i], b[i]);
}

/// A stage of the sliding maximum: the larger of each level and the one \p delay samples before.
/// \param cells   ring of the last levels, as long as a power of two
/// \param index   place in the ring of the first level, modulo its size
/// \param delay   1 to \p size
/// \param maxima  another place than \p levels
[[gnu::always_inline]] inline void widenWindow(double* __restrict cells, std::uint32_t size, std::uint32_t index,
                                               std::uint32_t delay, const double* __restrict levels,
                                               double* __restrict maxima, std::uint32_t count) noexcept
{
    const std::uint32_t mask = size - 1;
    // What is older than the piece stands in the ring, in runs that end where it wraps.
    const std::uint32_t fromRing = std::min(delay, count);
    for (std::uint32_t i = 0; i < fromRing;) {
        const std::uint32_t at = (index - delay + i) & mask;
        const std::uint32_t run = std::min(fromRing - i, size - at);
        takeLarger(levels + i, cells + at, maxima + i, run);
        i += run;
    }
    takeLarger(levels + fromRing, levels, maxima + fromRing, count - fromRing);
    for (std::uint32_t i = count - std::min(size, count); i < count;) {
        const std::uint32_t at = (index + i) & mask;
        const std::uint32_t run = std::min(count - i, size - at);
        std::copy_n(levels + i, run, cells + at);
        i += run;
    }
}

/// A stage of few cells whose ring stands at its beginning before the piece and after it: the cells go before the
/// levels, where there is room for them, and no run ends.
template <std::uint32_t size>
[[gnu::always_inline]] inline void widenShortWindow(double* __restrict cells, std::uint32_t delay,
                                                    double* __restrict levels, double* __restrict maxima,
                                                    std::uint32_t count) noexcept
{
    constexpr std::uint32_t width = std::min(size, std::uint32_t{dsp::kWidestVector});
    for (std::uint32_t i = 0; i < size; i += width)
        dsp::store<width>(dsp::load<width>(cells + i), levels + i - size);
    for (std::uint32_t i = 0; i < size; i += width)
        dsp::store<width>(dsp::load<width>(levels + count - size + i), cells + i);
    takeLarger(levels, levels - delay, maxima, count);
}

constexpr std::uint32_t kMostShort = 64;

/// All stages of the sliding maximum over the magnitudes of a piece, in place.
/// \param tree     cells of the stages behind one another: 1, 2, 4 ...
/// \param stages   1 and above
/// \param shorter  by how much the last stage's delay is shorter than its cells
[[gnu::always_inline]] inline void widenStepwise(double* tree, std::uint32_t index, std::uint32_t stages,
                                                 std::uint32_t shorter, double* samples, std::uint32_t count) noexcept
{
    std::array<std::array<double, kMostShort + SlidingMaximum::kMostFrames>, 2> rooms;
    double* from = rooms[0].data() + kMostShort;
    double* spare = rooms[1].data() + kMostShort;
    for (std::uint32_t i = 0; i < count; ++i)
        from[i] = std::abs(samples[i]);
    for (std::uint32_t stage = 0; stage < stages; ++stage) {
        const bool isLast = stage + 1 == stages;
        const std::uint32_t size = 1U << stage;
        const std::uint32_t delay = isLast ? size - shorter : size;
        double* const cells = tree + (size - 1);
        double* const to = isLast ? samples : spare;
        const bool isShort = size <= kMostShort && ((index | count) & (size - 1)) == 0;
        switch (isShort ? size : 0) {
        case 1:
            widenShortWindow<1>(cells, delay, from, to, count);
            break;
        case 2:
            widenShortWindow<2>(cells, delay, from, to, count);
            break;
        case 4:
            widenShortWindow<4>(cells, delay, from, to, count);
            break;
        case 8:
            widenShortWindow<8>(cells, delay, from, to, count);
            break;
        case 16:
            widenShortWindow<16>(cells, delay, from, to, count);
            break;
        case 32:
            widenShortWindow<32>(cells, delay, from, to, count);
            break;
        case kMostShort:
            widenShortWindow<kMostShort>(cells, delay, from, to, count);
            break;
        default:
            widenWindow(cells, size, index, delay, from, to, count);
        }
        spare = std::exchange(from, to);
    }
}

} // namespace

void SlidingMaximum::clear() noexcept
{
    cells.fill(0.0);
    index = 0;
}

void SlidingMaximum::process(std::span<double> samples, const DetectorSettings& settings) noexcept
{
    if (settings.treeLevels == 0)
        for (double& sample : samples)
            sample = std::abs(sample);
    else
        dsp::CpuDispatch<widenStepwise>::run(cells.data(), index, static_cast<std::uint32_t>(settings.treeLevels),
                                             static_cast<std::uint32_t>(settings.treeShort), samples.data(),
                                             static_cast<std::uint32_t>(samples.size()));
    index = (index + static_cast<std::uint32_t>(samples.size())) & static_cast<std::uint32_t>(settings.treeSize - 1);
}

} // namespace sorvane::core
