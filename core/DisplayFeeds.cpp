#include "DisplayFeeds.h"

#include "BlockMath.h"

#include <algorithm>

namespace sorvane::core {

namespace {

constexpr std::uint32_t kMask = DisplayFeeds::kEntries - 1;

constexpr std::size_t kSideChainRing = 0;
constexpr std::size_t kOutputRing = 2;
constexpr std::size_t kGainRing = 4;

std::size_t channelIndex(std::int32_t channel)
{
    return static_cast<std::uint32_t>(channel) & 1U;
}

template <typename Ring>
void feed(Ring& ring, std::span<const double> samples, std::uint32_t position, std::size_t step)
{
    const std::size_t entries = samples.size() / step;
    for (std::size_t entry = 0; entry < entries; ++entry)
        ring[(position + entry) & kMask] = static_cast<float>(samples[entry * step]);
}

} // namespace

void DisplayFeeds::reset() noexcept
{
    for (std::size_t i = 0; i < rings.size(); ++i)
        for (auto& entry : rings[i])
            entry = i >= kGainRing ? 1.0F : 0.0F;
    for (auto& ring : states)
        for (auto& entry : ring)
            entry = 0;
    for (auto& position : positions)
        position.store(0, std::memory_order_release);
    readers = {};
    for (auto& gain : lowest)
        gain = 1.0F;
}

void DisplayFeeds::advance(std::size_t position, std::size_t entries) noexcept
{
    const std::uint32_t old = positions[position].load(std::memory_order_relaxed);
    positions[position].store((old + static_cast<std::uint32_t>(entries)) & kMask, std::memory_order_release);
}

void DisplayFeeds::feedSideChain(std::span<const double> first, std::span<const double> second,
                                 std::size_t step) noexcept
{
    const std::uint32_t position = positions[sideChainPosition].load(std::memory_order_relaxed);
    feed(rings[kSideChainRing], first, position, step);
    feed(rings[kSideChainRing + 1], second, position, step);
    advance(sideChainPosition, first.size() / step);
}

void DisplayFeeds::feedOutput(std::span<const double> first, std::span<const double> second, std::size_t step) noexcept
{
    const std::uint32_t position = positions[outputPosition].load(std::memory_order_relaxed);
    feed(rings[kOutputRing], first, position, step);
    feed(rings[kOutputRing + 1], second, position, step);
    advance(outputPosition, first.size() / step);
}

void DisplayFeeds::feedGain(std::size_t channel, std::span<const double> gains, std::span<const std::int32_t> codes,
                            std::size_t step) noexcept
{
    lowest[channel] = static_cast<float>(std::min(static_cast<double>(lowest[channel]), dsp::lowest(gains)));
    const std::uint32_t position = positions[gainPosition0 + channel].load(std::memory_order_relaxed);
    const std::size_t entries = gains.size() / step;
    const std::size_t codesPerEntry = step * (codes.size() / gains.size()); // twice the step when oversampled
    for (std::size_t entry = 0; entry < entries; ++entry) {
        std::int32_t gathered = 0;
        for (const std::int32_t code : codes.subspan(entry * codesPerEntry, codesPerEntry))
            gathered |= code;
        states[channel][(position + entry) & kMask] = gathered;
    }
    feed(rings[kGainRing + channel], gains, position, step);
    advance(gainPosition0 + channel, entries);
}

void DisplayFeeds::feedUnity(std::size_t channel, std::size_t frames, std::size_t step) noexcept
{
    const std::uint32_t position = positions[gainPosition0 + channel].load(std::memory_order_relaxed);
    const std::size_t entries = frames / step;
    for (std::size_t entry = 0; entry < entries; ++entry)
        rings[kGainRing + channel][(position + entry) & kMask] = 1.0F;
    advance(gainPosition0 + channel, entries);
}

const dsp::Relaxed<float>* DisplayFeeds::displayRing(std::int32_t index) const noexcept
{
    const auto ring = static_cast<std::size_t>(index);
    return ring < rings.size() ? rings[ring].data() : nullptr;
}

const dsp::Relaxed<std::int32_t>* DisplayFeeds::stateRing(std::int32_t channel) const noexcept
{
    return states[channelIndex(channel)].data();
}

std::uint32_t DisplayFeeds::ringPosition(std::int32_t index) const noexcept
{
    return positions[static_cast<std::uint32_t>(index) & 3U].load(std::memory_order_acquire);
}

float DisplayFeeds::reductionMeter(std::int32_t channel) noexcept
{
    const std::size_t index = channelIndex(channel);
    ReductionReader& reader = readers[index];
    const std::uint32_t end = positions[gainPosition0 + index].load(std::memory_order_acquire);
    std::uint32_t at = reader.position;
    if (at == end)
        return reader.result;
    float least = rings[kGainRing + index][at];
    for (; at != end; at = (at + 1) & kMask)
        least = std::min<float>(least, rings[kGainRing + index][at]);
    reader.position = end;
    reader.result = least;
    return least;
}

float DisplayFeeds::lowestGain(std::int32_t channel) const noexcept
{
    return lowest[channelIndex(channel)];
}

} // namespace sorvane::core
