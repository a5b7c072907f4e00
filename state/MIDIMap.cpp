#include "MIDIMap.h"

#include "JSONTree.h"
#include "NeverDestroyed.h"
#include "Tags.h"

#include <algorithm>
#include <optional>

namespace sorvane::state {

namespace {

constexpr const char* kStoreName = "MIDIMap";
constexpr std::size_t kMostStoredBytes = 4096;

struct ControlChange {
    std::int32_t controller; ///< 0 to 127
    std::int32_t value;      ///< 0 to 127
};

std::optional<ControlChange> controlChange(const host::Event* event)
{
    constexpr std::size_t kMidiBytes = sizeof(host::MidiEvent) - 2 * sizeof(std::int32_t);
    constexpr int kStatusMask = 0xF0; // all but the channel
    constexpr int kControlChange = 0xB0;
    if (event == nullptr || event->type != host::eventMidi || event->byteSize < static_cast<std::int32_t>(kMidiBytes))
        return std::nullopt;
    const auto& data = reinterpret_cast<const host::MidiEvent*>(event)->midiData;
    if ((data[0] & kStatusMask) != kControlChange)
        return std::nullopt;
    return ControlChange{data[1] & 127, std::min<std::int32_t>(data[2], 127)};
}

/// 0 gives 0, 64 the exact middle, 127 exactly 1: so that a centre detent is the centre.
float normalOf(std::int32_t value)
{
    return static_cast<float>(value > 64 ? (value - 64) * 0.5 / 63 + 0.5 : value * 0.0078125);
}

} // namespace

MIDIMap::MIDIMap(GlobalPrefs& prefs) : store(prefs)
{
    for (std::atomic<std::int32_t>& entry : table)
        entry = kNone;
    std::array<char, kMostStoredBytes> text; // NOLINT(*-member-init): filled by the read
    if (!store.readRegistryValue(kStoreName, text))
        return;
    const host::JSONTree stored = host::parseJSON(text.data());
    if (!cJSON_IsArray(stored.get()))
        return;
    const cJSON* number = stored->child;
    for (std::atomic<std::int32_t>& entry : controllers()) {
        if (number == nullptr)
            break;
        if (cJSON_IsNumber(number))
            entry = number->valueint;
        number = number->next;
    }
}

MIDIMap& MIDIMap::instance()
{
    static platform::NeverDestroyed<MIDIMap> map(GlobalPrefs::instance());
    struct AtExit {
        ~AtExit() { map.get().savePending(); }
    };
    static const AtExit atExit;
    return map.get();
}

void MIDIMap::setLearnTag(std::int32_t tag) noexcept
{
    slot() = core::isParameter(tag) ? tag : kNone;
}

std::int32_t MIDIMap::findMidiController(std::int32_t tag) const noexcept
{
    if (tag != kNone)
        for (std::size_t controller = 0; controller < kControllers; ++controller)
            if (table[controller].load(std::memory_order_relaxed) == tag)
                return static_cast<std::int32_t>(controller);
    return kNone;
}

void MIDIMap::unlearnMidi(std::int32_t tag)
{
    changeLock.lock();
    free(tag);
    changeLock.unlock();
    savePending();
}

void MIDIMap::learnMidi(std::int32_t tag, std::int32_t controller)
{
    if (!core::isParameter(tag))
        return;
    changeLock.lock();
    assign(tag, controller);
    changeLock.unlock();
    savePending();
}

void MIDIMap::processMidi(const host::Events* events, host::AudioEffectX& effect)
{
    constexpr std::int32_t kMostEvents = 65536; // more in one block is no list of events
    if (events == nullptr || events->numEvents > kMostEvents)
        return;
    const host::Event* const* const list = events->events;
    for (std::int32_t i = 0; i < events->numEvents; ++i) {
        const std::optional<ControlChange> change = controlChange(list[i]);
        if (!change)
            continue;
        completeLearn(change->controller);
        const std::int32_t tag = table[static_cast<std::size_t>(change->controller)].load(std::memory_order_relaxed);
        if (core::isParameter(tag)) // a stored map may be another product's
            effect.setParameterAutomated(tag, normalOf(change->value));
    }
}

void MIDIMap::completeLearn(std::int32_t controller) noexcept
{
    if (slot().load(std::memory_order_relaxed) == kNone || !changeLock.tryLock())
        return;
    std::int32_t tag = slot().load(std::memory_order_relaxed); // anew: another instance may have been first
    if (tag != kNone) {
        assign(tag, controller);
        // Unless the user has chosen another parameter meanwhile.
        slot().compare_exchange_strong(tag, kNone, std::memory_order_release, std::memory_order_relaxed);
    }
    changeLock.unlock();
}

/// With the change lock held.
void MIDIMap::free(std::int32_t tag) noexcept
{
    for (std::atomic<std::int32_t>& entry : controllers())
        if (entry.load(std::memory_order_relaxed) == tag)
            entry.store(kNone, std::memory_order_relaxed);
    changes.fetch_add(1, std::memory_order_release);
}

/// With the change lock held.
void MIDIMap::assign(std::int32_t tag, std::int32_t controller) noexcept
{
    free(tag);
    table[static_cast<std::size_t>(controller & 127)].store(tag, std::memory_order_relaxed);
    changes.fetch_add(1, std::memory_order_release);
}

void MIDIMap::savePending()
{
    if (savedChanges.load(std::memory_order_acquire) == changes.load(std::memory_order_relaxed))
        return;
    const std::lock_guard lock(saveMutex); // behind a save that is under way
    const std::uint32_t counted = changes.load(std::memory_order_acquire);
    if (savedChanges.load(std::memory_order_relaxed) == counted)
        return;
    std::array<int, kControllers> numbers; // NOLINT(*-member-init): filled by the copy
    std::copy(controllers().begin(), controllers().end(), numbers.begin());
    const host::JSONTree array(cJSON_CreateIntArray(numbers.data(), static_cast<int>(numbers.size())));
    const std::string text = array ? host::printJSON(*array, false) : std::string();
    if (!text.empty())
        store.writeRegistryValue(kStoreName, text);
    savedChanges.store(counted, std::memory_order_release);
}

} // namespace sorvane::state
