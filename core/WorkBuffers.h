#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace sorvane::core {

/// The buffers that one block is worked in, for two channels.
class WorkBuffers {
public:
    /// Makes room for blocks of \p frames. Room only grows; what is there already costs a comparison.
    /// On the audio thread this allocates when a block is larger than any before.
    /// \return false when there is no memory: the old buffers stand
    [[nodiscard]] bool ensure(std::int32_t frames) noexcept;
    void clear() noexcept;

    enum Role : std::size_t {
        wet,     ///< the input, then the band to compress, then the sum of all
        side,    ///< side-chain, then gain
        pass,    ///< the remainder or the dry signal
        bypass,  ///< the input, delayed as the processing is
        listen,  ///< the linked side-chain, for listening to it
        scratch, ///< of whoever is at work
    };

    /// The first \p frames of a channel's buffer. \p frames within the capacity.
    [[nodiscard]] std::span<double> channel(Role role, std::size_t index, std::size_t frames) noexcept
    {
        return {samples.get() + (role * std::size_t{2} + index) * stride(frameCapacity), frames};
    }

    enum DoubleRateRole : std::size_t { wetUp, sideUp };
    /// The same at twice the rate. \p count within twice the capacity.
    [[nodiscard]] std::span<double> doubleRate(DoubleRateRole role, std::size_t index, std::size_t count) noexcept
    {
        return {samples.get() + (kSampleBuffers + (role * std::size_t{2} + index) * 2) * stride(frameCapacity), count};
    }
    /// State codes of a channel's detector, up to two a frame.
    [[nodiscard]] std::span<std::int32_t> states(std::size_t index, std::size_t count) noexcept
    {
        return {codes.get() + index * 2 * static_cast<std::size_t>(frameCapacity), count};
    }

private:
    static constexpr std::size_t kSampleBuffers = (scratch + 1) * std::size_t{2};
    static constexpr std::size_t kBuffers = kSampleBuffers + 8; // the four at twice the rate
    static constexpr std::size_t kCodesPerFrame = 4;

    /// From one buffer to the next. Not a whole number of pages: buffers that all start at one offset in a page would
    /// share a few sets of the first-level cache.
    [[nodiscard]] static constexpr std::size_t stride(std::int32_t capacity) noexcept
    {
        constexpr std::size_t kLine = 8;
        return (static_cast<std::size_t>(capacity) + kLine - 1) / kLine * kLine + 5 * kLine;
    }

    std::unique_ptr<double[]> samples;
    std::unique_ptr<std::int32_t[]> codes;
    std::int32_t frameCapacity = 0;
};

} // namespace sorvane::core
