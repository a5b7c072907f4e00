#pragma once

#include "Relaxed.h"

#include <array>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace sorvane::editor {

/// The newest value of every tag that changed since a reader last looked.
///
/// Any number of threads may post, the audio thread too: nothing waits or allocates. One reader. A value that is posted
/// while the reader is at its tag is read now or the next time.
class PendingValues {
public:
    static constexpr std::int32_t kSlots = 750;

    /// \param tag  0 to kSlots - 1; any other is ignored
    void post(std::int32_t tag, float value) noexcept
    {
        if (tag < 0 || tag >= kSlots)
            return;
        const auto slot = static_cast<std::size_t>(tag);
        pendingValues[slot] = value;
        pendingBits[slot / 64].fetch_or(std::uint64_t{1} << slot % 64, std::memory_order_release);
    }

    /// Hands every posted value to \p take(tag, value), in the order of the tags.
    template <typename Take>
    void drain(Take take)
    {
        for (std::size_t word = 0; word < pendingBits.size(); ++word)
            for (std::uint64_t bits = pendingBits[word].exchange(0, std::memory_order_acquire); bits != 0;
                 bits &= bits - 1) {
                const std::size_t slot = word * 64 + static_cast<std::size_t>(std::countr_zero(bits));
                take(static_cast<std::int32_t>(slot), pendingValues[slot].load());
            }
    }

private:
    std::array<dsp::Relaxed<float>, kSlots> pendingValues;
    std::array<std::atomic<std::uint64_t>, (kSlots + 63) / 64> pendingBits{};
};

} // namespace sorvane::editor
