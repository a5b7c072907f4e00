#pragma once

#include <array>
#include <atomic>

namespace sorvane::dsp {

/// Hands whole sets of values from one writer to one reader, the newest only, with no lock and no wait on either side.
///
/// A triple buffer: the writer fills a slot of its own and exchanges it for the one in the middle; the reader exchanges
/// its own for the middle one when that is newer. Neither ever sees a slot that the other is using.
/// One thread at a time may publish (writers put themselves in order), one at a time may take; T is a plain value.
template <typename T>
class Mailbox {
public:
    /// Makes \p set the newest set. Writer.
    void publish(const T& set) noexcept
    {
        slots[writing] = set;
        writing = middle.exchange(writing | kFresh, std::memory_order_acq_rel) & kIndex;
    }

    /// \return the newest set if one came since the last call, else null. It stays valid until the next call. Reader.
    [[nodiscard]] const T* take() noexcept
    {
        if ((middle.load(std::memory_order_relaxed) & kFresh) == 0)
            return nullptr;
        reading = middle.exchange(reading, std::memory_order_acq_rel) & kIndex;
        return &slots[reading];
    }

private:
    static constexpr unsigned kIndex = 3;
    static constexpr unsigned kFresh = 4;

    std::array<T, 3> slots{};
    std::atomic<unsigned> middle{1};
    unsigned writing = 0;
    unsigned reading = 2;
};

} // namespace sorvane::dsp
