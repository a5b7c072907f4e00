// A stored MIDI map, up to the first 0, and behind that what users and hosts do with it.

#include "MIDIMap.h"
#include "MemoryStore.h"
#include "MidiEvents.h"
#include "Tags.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <vector>

namespace {

using namespace sorvane;

/// Takes only parameters, and values from 0 to 1.
class CheckedEffect final : public host::AudioEffectX {
public:
    CheckedEffect() : AudioEffectX(nullptr, 1, core::kNumParams) {}

    void setParameterAutomated(std::int32_t index, float normal) override
    {
        if (!core::isParameter(index) || !(normal >= 0.0F && normal <= 1.0F))
            std::abort();
    }
    void processReplacing(float**, float**, std::int32_t) override {}
    void processDoubleReplacing(double**, double**, std::int32_t) override {}
};

class Bytes {
public:
    explicit Bytes(std::string_view bytes) : left(bytes) {}

    [[nodiscard]] bool empty() const { return left.empty(); }
    std::uint8_t take()
    {
        if (left.empty())
            return 0;
        const auto byte = static_cast<std::uint8_t>(left.front());
        left.remove_prefix(1);
        return byte;
    }

private:
    std::string_view left;
};

std::ptrdiff_t entriesOf(const state::MIDIMap& map, std::int32_t tag)
{
    const auto& table = map.getMidiMap();
    return std::count(table.begin(), table.end() - 1, tag);
}

void playEvents(state::MIDIMap& map, Bytes& bytes)
{
    CheckedEffect effect;
    std::vector<test::MidiBytes> messages(bytes.take() % 8U);
    for (test::MidiBytes& message : messages)
        message = {static_cast<std::uint8_t>(bytes.take() | 0x80), bytes.take(), bytes.take()};
    test::EventList events(messages);
    const std::uint8_t damage = bytes.take();
    for (std::size_t i = 0; i < messages.size(); ++i) {
        if ((damage & 1) != 0)
            events.midi[i].head.byteSize = bytes.take() - 100;
        if ((damage & 2) != 0)
            events.midi[i].head.type = bytes.take();
        if ((damage & 4) != 0 && bytes.take() % 2 != 0)
            events.entries[i] = nullptr;
    }
    if ((damage & 8) != 0) // no count that a list could have
        events.list->numEvents = bytes.take() % 2 != 0 ? -1 - bytes.take() : 0x7FFFFFFF - bytes.take();
    map.processMidi(events.list, effect);
}

void operate(state::MIDIMap& map, Bytes& bytes)
{
    switch (bytes.take() % 5) {
    case 0:
        map.setLearnTag(bytes.take() - 100);
        break;
    case 1: {
        const std::int32_t tag = bytes.take() % core::kNumParams;
        const std::uint8_t controller = bytes.take();
        map.learnMidi(tag, controller);
        if (map.findMidiController(tag) != controller % 128 || entriesOf(map, tag) != 1)
            std::abort();
        break;
    }
    case 2: {
        const std::int32_t tag = bytes.take() - 100;
        map.unlearnMidi(tag);
        if (map.findMidiController(tag) != -1)
            std::abort();
        break;
    }
    case 3:
        map.savePending();
        break;
    default:
        playEvents(map, bytes);
        break;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    const std::size_t end = std::min(input.find('\0'), size);
    test::MemoryStore store;
    store.texts["MIDIMap"] = input.substr(0, end);
    state::GlobalPrefs prefs(store);
    state::MIDIMap map(prefs);
    for (Bytes bytes(input.substr(std::min(end + 1, size))); !bytes.empty();)
        operate(map, bytes);
    map.savePending();
    // The next process finds the same, unless nothing was changed.
    const state::MIDIMap next(prefs);
    if (!std::equal(map.getMidiMap().begin(), map.getMidiMap().end() - 1, next.getMidiMap().begin()))
        std::abort();
    return 0;
}
