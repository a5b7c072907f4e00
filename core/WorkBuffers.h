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
        input,  ///< after encoding and input trim
        wet,    ///< the band to compress, then the sum of all
        side,   ///< side-chain, then gain
        pass,   ///< the remainder or the dry signal
        bypass, ///< the input, delayed as the processing is
        listen, ///< the linked side-chain, for listening to it
    };

    /// The first \p frames of a channel's buffer. \p frames within the capacity.
    [[nodiscard]] std::span<double> channel(Role role, std::size_t index, std::size_t frames) noexcept
    {
        return {samples.get() + (role * std::size_t{2} + index) * static_cast<std::size_t>(frameCapacity), frames};
    }
    /// The one buffer for an expanded ramp; between ramps it is free for other use.
    [[nodiscard]] std::span<double> gains(std::size_t frames) noexcept { return channel(kGains, 0, frames); }

    enum DoubleRateRole : std::size_t { wetUp, sideUp };
    /// The same at twice the rate. \p count within twice the capacity.
    [[nodiscard]] std::span<double> doubleRate(DoubleRateRole role, std::size_t index, std::size_t count) noexcept
    {
        return {samples.get() +
                    (kSampleBuffers + (role * std::size_t{2} + index) * 2) * static_cast<std::size_t>(frameCapacity),
                count};
    }
    /// State codes of a channel's detector, up to two a frame.
    [[nodiscard]] std::span<std::int32_t> states(std::size_t index, std::size_t count) noexcept
    {
        return {codes.get() + index * 2 * static_cast<std::size_t>(frameCapacity), count};
    }

private:
    static constexpr Role kGains = static_cast<Role>(listen + 1);
    static constexpr std::size_t kSampleBuffers = kGains * std::size_t{2} + 1;
    static constexpr std::size_t kSamplesPerFrame = kSampleBuffers + 8; // the four at twice the rate
    static constexpr std::size_t kCodesPerFrame = 4;

    std::unique_ptr<double[]> samples;
    std::unique_ptr<std::int32_t[]> codes;
    std::int32_t frameCapacity = 0;
};

} // namespace sorvane::core
