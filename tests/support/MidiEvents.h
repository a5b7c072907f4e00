#pragma once

#include "AudioEffectX.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

namespace sorvane::test {

using MidiBytes = std::array<std::uint8_t, 3>;

inline host::MidiEvent midiEvent(const MidiBytes& bytes)
{
    host::MidiEvent event{};
    event.head = {host::eventMidi, 24, 0, 0};
    std::memcpy(event.midiData, bytes.data(), bytes.size());
    return event;
}

/// A list of events as a host hands it over. Events may be changed or set to null before it is.
class EventList {
public:
    explicit EventList(const std::vector<MidiBytes>& messages)
        : memory((offsetof(host::Events, events) + (messages.size() + 2) * sizeof(host::Event*)) / sizeof(void*))
    {
        for (const MidiBytes& message : messages)
            midi.push_back(midiEvent(message));
        list = new (memory.data()) host::Events{static_cast<std::int32_t>(messages.size()), 0, {}};
        entries = list->events; // more than the two that are declared
        for (std::size_t i = 0; i < midi.size(); ++i)
            entries[i] = &midi[i].head;
    }
    EventList(const EventList&) = delete;
    EventList& operator=(const EventList&) = delete;

    std::vector<host::MidiEvent> midi;
    host::Events* list;
    host::Event** entries;

private:
    std::vector<void*> memory;
};

/// An effect that only notes what is automated; the last eight changes are kept.
class AutomatedEffect final : public host::AudioEffectX {
public:
    AutomatedEffect() : AudioEffectX(nullptr, 1, 92) {}

    void setParameterAutomated(std::int32_t index, float normal) override
    {
        changes[count++ % changes.size()] = {index, normal};
    }
    void processReplacing(float**, float**, std::int32_t) override {}
    void processDoubleReplacing(double**, double**, std::int32_t) override {}

    /// The last change, or {-1, -1} when there was none since the last call.
    [[nodiscard]] std::pair<std::int32_t, float> take()
    {
        if (count == 0)
            return {-1, -1.0F};
        const auto last = changes[(count - 1) % changes.size()];
        count = 0;
        return last;
    }

    std::size_t count = 0;

private:
    std::array<std::pair<std::int32_t, float>, 8> changes;
};

} // namespace sorvane::test
