#pragma once

#include "AudioEffectX.h"
#include "GlobalPrefs.h"
#include "WaitFreeLock.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <span>

namespace sorvane::state {

/// Which MIDI controller moves which parameter: one table for all instances, kept in the user's store as "MIDIMap", an
/// array of 128 numbers.
///
/// A controller moves at most one parameter, and a parameter answers to at most one controller. Where an operation
/// doesn't tell: any thread but the audio thread.
class MIDIMap {
public:
    static constexpr std::size_t kControllers = 128;
    static constexpr std::int32_t kNone = -1;
    /// An entry for each controller, a parameter's tag or kNone, and then the learn slot.
    using Table = std::array<std::atomic<std::int32_t>, kControllers + 1>;

    /// Loads the table; a text that isn't an array of numbers leaves it empty.
    /// \param prefs  gives the store; outlives the map
    explicit MIDIMap(GlobalPrefs& prefs);
    MIDIMap(const MIDIMap&) = delete;
    MIDIMap& operator=(const MIDIMap&) = delete;

    /// The process's, never destroyed; at exit what is pending is saved. The first call loads it, and so mustn't come
    /// from the audio thread.
    static MIDIMap& instance();

    /// Any thread.
    [[nodiscard]] const Table& getMidiMap() const noexcept { return table; }
    /// Tag of the parameter that waits for a controller, else kNone. When it is back at kNone the table is as it
    /// became. Any thread.
    [[nodiscard]] std::int32_t getLearnTag() const noexcept { return slot().load(std::memory_order_acquire); }
    [[nodiscard]] bool isLearning() const noexcept { return getLearnTag() != kNone; }
    /// Lets the next control change that any instance gets move this parameter from then on.
    /// \param tag  kNone, or anything that is no parameter, gives it up
    void setLearnTag(std::int32_t tag) noexcept;
    /// \return the lowest controller that moves the parameter, else kNone. Any thread
    [[nodiscard]] std::int32_t findMidiController(std::int32_t tag) const noexcept;
    /// Frees a parameter of its controllers, and saves.
    void unlearnMidi(std::int32_t tag);
    /// Lets a controller (modulo 128) move this parameter alone, and saves. Nothing for a tag that is no parameter.
    void learnMidi(std::int32_t tag, std::int32_t controller);

    /// Takes a block's control changes, on any channel, in order: the first one completes a learn that is under way,
    /// and each moves its parameter. What is learnt is in force at once, and saved by the next savePending.
    ///
    /// Audio thread, before the block: neither waits nor allocates. While another thread changes the table, a learn
    /// goes on to the next event. A list that can't be one, and events that are null or too short, are passed over.
    void processMidi(const host::Events* events, host::AudioEffectX& effect);

    /// Saves the table if it changed since it was saved; when it returns, all changes before the call are saved. Costs
    /// two loads if there were none.
    void savePending();

private:
    [[nodiscard]] std::atomic<std::int32_t>& slot() noexcept { return table[kControllers]; }
    [[nodiscard]] const std::atomic<std::int32_t>& slot() const noexcept { return table[kControllers]; }
    [[nodiscard]] std::span<std::atomic<std::int32_t>, kControllers> controllers() noexcept
    {
        return std::span(table).first<kControllers>();
    }
    void completeLearn(std::int32_t controller) noexcept;
    void free(std::int32_t tag) noexcept;
    void assign(std::int32_t tag, std::int32_t controller) noexcept;

    GlobalPrefs& store;
    Table table;
    platform::WaitFreeLock changeLock;          ///< one change of the entries at a time
    std::mutex saveMutex;                       ///< keeps the saves in the order of the changes
    std::atomic<std::uint32_t> changes{0};      ///< counts them; wraps
    std::atomic<std::uint32_t> savedChanges{0}; ///< how many of them the store has
};

} // namespace sorvane::state
