#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace sorvane::core {

/// The buffers that one block is worked in, for two channels, in one allocation.
class WorkBuffers {
public:
    /// Makes room for blocks of \p frames. Room only grows; what is there already costs a comparison.
    /// On the audio thread this allocates when a block is larger than any before.
    /// \return false when there is no memory: the old buffers stand
    [[nodiscard]] bool ensure(std::int32_t frames) noexcept;
    [[nodiscard]] std::int32_t capacity() const noexcept { return frameCapacity; }
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
        return {samples.get() + (role * 2 + index) * static_cast<std::size_t>(frameCapacity), frames};
    }
    /// The one buffer for an expanded ramp.
    [[nodiscard]] std::span<double> gains(std::size_t frames) noexcept { return channel(kGains, 0, frames); }
    /// State codes of a channel's detector.
    [[nodiscard]] std::span<std::int32_t> states(std::size_t index, std::size_t frames) noexcept
    {
        return {codes.get() + index * static_cast<std::size_t>(frameCapacity), frames};
    }

private:
    static constexpr Role kGains = static_cast<Role>(listen + 1);
    static constexpr std::size_t kSampleBuffers = kGains * 2 + 1;

    std::unique_ptr<double[]> samples;
    std::unique_ptr<std::int32_t[]> codes;
    std::int32_t frameCapacity = 0;
};

} // namespace sorvane::core
