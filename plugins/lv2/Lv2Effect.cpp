#include "Lv2Effect.h"

#include "AudioThreadScope.h"

#include <lv2/atom/util.h>
#include <lv2/buf-size/buf-size.h>
#include <lv2/midi/midi.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <limits>
#include <mutex>
#include <numbers>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace sorvane::lv2 {

namespace {

template <typename T>
const T* feature(const LV2_Feature* const* features, std::string_view uri)
{
    for (; features != nullptr && *features != nullptr; ++features)
        if ((*features)->URI == uri)
            return static_cast<const T*>((*features)->data);
    return nullptr;
}

/// Of a meter; silence and what isn't a number read as the bottom of the scale.
float decibels(float gain, float low, float high)
{
    constexpr float kDbPerOctave = 20.0F * (std::numbers::ln2_v<float> / std::numbers::ln10_v<float>);
    const float db = kDbPerOctave * std::log2(gain);
    return db > low ? std::min(db, high) : low;
}

constexpr auto kUnknownPorts = [] {
    std::array<float, kParameterPorts> ports{};
    ports.fill(std::numeric_limits<float>::quiet_NaN());
    return ports;
}();

// In the port's unit: hosts keep a port beside a state as a text, with six digits behind the point or six in all, and
// what the state holds is the truer.
constexpr float kTextAbsolute = 1.0e-6F;
constexpr float kTextRelative = 1.0e-5F;

} // namespace

Lv2Effect::Lv2Effect(std::size_t channelCount, double rateHz, const LV2_Feature* const* features)
    : channels(channelCount), last(kUnknownPorts), plug(std::make_unique<core::Plug>(&Lv2Effect::answer))
{
    plug->getAeffect()->user = this;
    if (const auto* const map = feature<LV2_URID_Map>(features, LV2_URID__map))
        mapUrids(*map);
    if (const auto* const options = feature<LV2_Options_Option>(features, LV2_OPTIONS__options))
        (void)setOptions(options);
    for (std::size_t tag = 0; tag < kParameterPorts; ++tag)
        agreed[tag] = plug->getParameter(static_cast<std::int32_t>(tag));
    plug->setSampleRate(static_cast<float>(rateHz));
}

/// The effect's questions to its host. While it is constructed the record doesn't lead here yet.
host::Pointer Lv2Effect::answer(host::AEffect* record, std::int32_t opcode, std::int32_t, host::Pointer, void*, float)
{
    const auto* const self = static_cast<const Lv2Effect*>(record->user);
    if (opcode == host::hostProcessLevel && self != nullptr)
        return self->freeWheeling ? host::processLevelOffline : host::processLevelRealtime;
    return 0;
}

void Lv2Effect::mapUrids(const LV2_URID_Map& map)
{
    const auto urid = [&](const char* uri) { return map.map(map.handle, uri); };
    urids = {.chunk = urid(kChunkUri),
             .preset = urid(kPresetUri),
             .factoryBank = urid(kFactoryBankUri),
             .ports = urid(kPortsUri),
             .atomChunk = urid(LV2_ATOM__Chunk),
             .atomString = urid(LV2_ATOM__String),
             .atomInt = urid(LV2_ATOM__Int),
             .atomSequence = urid(LV2_ATOM__Sequence),
             .midiEvent = urid(LV2_MIDI__MidiEvent),
             .maxBlockLength = urid(LV2_BUF_SIZE__maxBlockLength)};
}

void Lv2Effect::connect(std::uint32_t index, void* data) noexcept
{
    if (index < portsOf(channels).size())
        connections[index] = data;
}

void Lv2Effect::activate()
{
    capacity = 0; // in case that there is no memory
    firstRun = true;
    storage.assign((2 * channels + 1) * static_cast<std::size_t>(announcedFrames), 0.0F);
    freeWheeling = false; // until a run says so
    plug->setBlockSize(announcedFrames);
    plug->resume();
    capacity = announcedFrames;
}

void Lv2Effect::deactivate()
{
    plug->suspend();
}

/// Where memory fails, the block is silent.
void Lv2Effect::run(std::uint32_t frames) noexcept
{
    try {
        process(frames);
    } catch (...) {
        silence(frames);
    }
}

void Lv2Effect::process(std::uint32_t frames)
{
    if (firstRun)
        takeFirstPorts();
    followFreeWheeling();
    takePorts();
    takeEvents();
    const auto most = static_cast<std::size_t>(capacity);
    for (std::size_t done = 0; done < frames && most > 0; done += most)
        processPart(done, std::min(frames - done, most));
    if (most == 0)
        silence(frames);
    report();
}

/// All ports, or, when they have been taken before, those that were written since, with their designs there and then;
/// silent so far, the effect is free to start anew. May wait for a state that is being saved or restored.
void Lv2Effect::takeFirstPorts()
{
    bool changed = false;
    {
        const std::lock_guard lock(portsLock);
        changed = restored;
        restored = false;
        const platform::AudioThreadScope audioThread; // one design is enough
        changed |= applyPorts(!everRan) > 0;
    }
    if (changed) {
        try {
            plug->resume();
        } catch (...) {
            const std::lock_guard lock(portsLock);
            restored = true; // the next run tries again
            throw;
        }
    }
    firstRun = false;
    everRan = true;
}

void Lv2Effect::followFreeWheeling()
{
    const auto* const port = connected<const float>(PortRole::freeWheeling);
    const bool now = port != nullptr && *port > 0.0F;
    if (now == freeWheeling)
        return;
    freeWheeling = now;
    plug->processReplacing(nullptr, nullptr, 0); // asks for the process level, which the ports' changes go by
    if (now) // a design that was put off is made: from here on nothing gives it the time
        plug->designNow();
}

/// While a state is saved or restored no port is taken: whatever changes meanwhile is applied behind it.
void Lv2Effect::takePorts()
{
    if (freeWheeling)
        portsLock.lock();
    else if (!portsLock.tryLock())
        return;
    const std::lock_guard lock(portsLock, std::adopt_lock);
    std::optional<platform::AudioThreadScope> audioThread;
    if (!freeWheeling)
        audioThread.emplace();
    if (applyPorts(false) > 1 && !freeWheeling)
        plug->designNow(); // the timer may have designed with some of them
}

/// Whether any port may hold another value than last time. Most blocks ask no more than this, and so it has no
/// branches.
bool Lv2Effect::anyPortChanged() const noexcept
{
    std::uint32_t difference = 0;
    for (std::size_t tag = 0; tag < kParameterPorts; ++tag) {
        const float* const control =
            connections[tag] != nullptr ? static_cast<const float*>(connections[tag]) : &last[tag];
        difference |= std::bit_cast<std::uint32_t>(*control) ^ std::bit_cast<std::uint32_t>(last[tag]);
    }
    return difference != 0;
}

/// Applies the ports that changed, or all.
/// \return how many differed from what was agreed
int Lv2Effect::applyPorts(bool all)
{
    if (!all && !anyPortChanged())
        return 0;
    int count = 0;
    for (std::size_t tag = 0; tag < kParameterPorts; ++tag) {
        const auto* const control = static_cast<const float*>(connections[tag]);
        if (control != nullptr && (all || *control != last[tag]))
            count += applyPort(tag, *control) ? 1 : 0;
    }
    return count;
}

float Lv2Effect::normalOf(std::size_t tag, float port) const
{
    if (core::factoryParameters()[tag].scale == core::ScaleType::onOff)
        port = (port > 0.0F) == (tag != core::kBypass) ? 1.0F : 0.0F; // its port says "enabled"
    return plug->toNormalised(static_cast<std::int32_t>(tag), port);
}

/// Whether a port holds what was agreed, as far as the text can tell in which a host keeps it beside a state.
bool Lv2Effect::isAgreed(std::size_t tag, float normal) const
{
    if (normal == agreed[tag] || !fromState[tag])
        return normal == agreed[tag];
    const auto index = static_cast<std::int32_t>(tag);
    const float value = plug->fromNormalised(index, agreed[tag]);
    const float off = std::abs(plug->fromNormalised(index, normal) - value);
    return off <= std::max(kTextAbsolute, kTextRelative * std::abs(value));
}

bool Lv2Effect::applyPort(std::size_t tag, float value)
{
    if (std::isnan(value))
        return false;
    last[tag] = value;
    const float normal = normalOf(tag, value);
    if (isAgreed(tag, normal))
        return false;
    plug->setParameter(static_cast<std::int32_t>(tag), normal);
    agreed[tag] = normal;
    fromState[tag] = false;
    return true;
}

/// MIDI messages of up to three bytes, all before the block that they belong to.
void Lv2Effect::takeEvents()
{
    const auto* const midi = connected<const LV2_Atom_Sequence>(PortRole::midi);
    if (midi == nullptr || urids.midiEvent == 0 || midi->atom.type != urids.atomSequence ||
        midi->atom.size < sizeof(LV2_Atom_Sequence_Body))
        return;
    const auto* const body = reinterpret_cast<const char*>(&midi->body);
    std::size_t at = sizeof(LV2_Atom_Sequence_Body);
    while (midi->atom.size - at >= sizeof(LV2_Atom_Event)) {
        const auto* const event = reinterpret_cast<const LV2_Atom_Event*>(body + at);
        const std::size_t room = midi->atom.size - at - sizeof(LV2_Atom_Event);
        const std::size_t size = event->body.size;
        if (size > room)
            return;
        host::MidiEvent message{};
        if (event->body.type == urids.midiEvent && size > 0 && size <= 3) {
            message.head = {host::eventMidi, sizeof message - 2 * sizeof(std::int32_t),
                            static_cast<std::int32_t>(event->time.frames), 0};
            std::memcpy(message.midiData, event + 1, size);
            const host::Events list{1, 0, {&message.head, nullptr}};
            (void)plug->processEvents(&list);
        }
        at += sizeof(LV2_Atom_Event) + lv2_atom_pad_size(static_cast<std::uint32_t>(size));
        if (at > midi->atom.size)
            return;
    }
}

/// The host's inputs aren't ours to write, and one may be an output too: the effect gets copies, taken before any
/// output is written. Side-chains that nothing listens to are left out.
void Lv2Effect::processPart(std::size_t first, std::size_t frames)
{
    std::array<float*, 4> ins{};
    const bool hearsSideChain = plug->getParameter(core::kExtSC) > 0.0F;
    for (std::size_t i = 0; i < (hearsSideChain ? 2 : 1) * channels; ++i) {
        const auto* const source =
            connected<const float>(i < channels ? PortRole::input : PortRole::sideChain, i % channels);
        if (source == nullptr)
            continue;
        ins[i] = buffer(i);
        std::copy_n(source + first, frames, ins[i]);
    }
    std::array<float*, 2> outs{};
    for (std::size_t i = 0; i < channels; ++i) {
        auto* const output = connected<float>(PortRole::output, i);
        outs[i] = output != nullptr ? output + first : buffer(2 * channels);
    }
    plug->processReplacing(ins.data(), outs.data(), static_cast<std::int32_t>(frames));
}

void Lv2Effect::silence(std::size_t frames) noexcept
{
    for (std::size_t i = 0; i < channels; ++i)
        if (auto* const output = connected<float>(PortRole::output, i))
            std::fill_n(output, frames, 0.0F);
}

void Lv2Effect::report()
{
    if (auto* const latency = connected<float>(PortRole::latency))
        *latency = static_cast<float>(plug->getLatency());
    for (std::size_t i = 0; i < channels; ++i) {
        const auto channel = static_cast<std::int32_t>(i);
        if (auto* const level = connected<float>(PortRole::level, i))
            *level = decibels(plug->getLevelMeter(channel), kLowestLevelDb, kHighestLevelDb);
        if (auto* const reduction = connected<float>(PortRole::reduction, i))
            *reduction = 0.0F - decibels(plug->getReductionMeter(channel), -kMostReductionDb, kMostReductionDb);
    }
}

LV2_State_Status Lv2Effect::save(LV2_State_Store_Function store, LV2_State_Handle handle)
{
    if (urids.chunk == 0)
        return LV2_STATE_ERR_NO_FEATURE;
    if (store == nullptr)
        return LV2_STATE_ERR_UNKNOWN;
    std::string ports;
    std::string chunk;
    {
        const std::lock_guard lock(portsLock); // the two belong together
        ports = portsText();
        chunk = plug->copyChunk(false);
    }
    if (chunk.empty())
        return LV2_STATE_ERR_UNKNOWN;
    constexpr std::uint32_t kFlags = LV2_STATE_IS_POD | LV2_STATE_IS_PORTABLE;
    const LV2_State_Status status = store(handle, urids.chunk, chunk.data(), chunk.size(), urids.atomChunk, kFlags);
    return status != LV2_STATE_SUCCESS
               ? status
               : store(handle, urids.ports, ports.c_str(), ports.size() + 1, urids.atomString, kFlags);
}

/// The agreed values in the order of the ports, each with as many digits as bring it back.
std::string Lv2Effect::portsText() const
{
    std::string text;
    for (const float normal : agreed) {
        char digits[32];
        const auto end = std::to_chars(digits, std::end(digits), normal);
        text.append(digits, end.ptr) += ' ';
    }
    text.pop_back();
    return text;
}

Lv2Effect::PortNormals Lv2Effect::retrievePorts(LV2_State_Retrieve_Function retrieve, LV2_State_Handle handle) const
{
    PortNormals ports = kUnknownPorts;
    std::size_t size = 0;
    std::uint32_t type = 0;
    std::uint32_t flags = 0;
    const auto* at = static_cast<const char*>(retrieve(handle, urids.ports, &size, &type, &flags));
    if (at == nullptr || type != urids.atomString)
        return ports;
    const char* const end = at + size;
    for (float& port : ports) {
        const auto read = std::from_chars(at, end, port);
        if (read.ec != std::errc())
            break;
        at = read.ptr + (read.ptr != end ? 1 : 0);
    }
    return ports;
}

/// The effect stands as it should while the ports hold these values, or, where none is known, its own.
void Lv2Effect::agree(const PortNormals& ports) noexcept
{
    for (std::size_t tag = 0; tag < kParameterPorts; ++tag)
        agreed[tag] = std::isnan(ports[tag]) ? plug->getParameter(static_cast<std::int32_t>(tag)) : ports[tag];
    fromState.set();
    restored = true;
}

/// An instance's own state, else that of a preset, else the default: the factory bank, which a user's own default bank
/// overrules as it does at every start.
LV2_State_Status Lv2Effect::restore(LV2_State_Retrieve_Function retrieve, LV2_State_Handle handle)
{
    if (urids.chunk == 0)
        return LV2_STATE_ERR_NO_FEATURE;
    if (retrieve == nullptr)
        return LV2_STATE_ERR_UNKNOWN;
    for (const LV2_URID key : {urids.chunk, urids.preset, urids.factoryBank}) {
        std::size_t size = 0;
        std::uint32_t type = 0;
        std::uint32_t flags = 0;
        const void* const data = retrieve(handle, key, &size, &type, &flags);
        if (data == nullptr)
            continue;
        if (type != urids.atomChunk || size > host::kMostChunkBytes)
            return LV2_STATE_ERR_BAD_TYPE;
        const std::string chunk(static_cast<const char*>(data), size); // the next question may end what the host lent
        if (!host::isChunk(chunk))
            return LV2_STATE_ERR_UNKNOWN;
        std::error_code unreadable;
        if (key == urids.factoryBank && std::filesystem::exists(plug->getDefaultBankPath(), unreadable))
            return LV2_STATE_SUCCESS;
        const PortNormals ports = key == urids.chunk ? retrievePorts(retrieve, handle) : kUnknownPorts;
        const std::lock_guard lock(portsLock);
        try {
            (void)plug->setChunk(chunk.data(), static_cast<std::int32_t>(size), key == urids.preset);
        } catch (...) { // half of it may be there: what the ports hold sets it right
            agree(kUnknownPorts);
            last = kUnknownPorts;
            throw;
        }
        agree(ports);
        if (key == urids.factoryBank) { // the default of what ports hold is theirs
            last = kUnknownPorts;
            fromState.reset();
        }
        return LV2_STATE_SUCCESS;
    }
    return LV2_STATE_ERR_NO_PROPERTY;
}

std::uint32_t Lv2Effect::getOptions(LV2_Options_Option* options) const noexcept
{
    std::uint32_t status = LV2_OPTIONS_SUCCESS;
    for (; options != nullptr && options->key != 0; ++options) {
        if (options->context != LV2_OPTIONS_INSTANCE) {
            status |= LV2_OPTIONS_ERR_BAD_SUBJECT;
        } else if (options->key != urids.maxBlockLength) {
            status |= LV2_OPTIONS_ERR_BAD_KEY;
        } else {
            options->size = sizeof announcedFrames;
            options->type = urids.atomInt;
            options->value = &announcedFrames;
        }
    }
    return status;
}

std::uint32_t Lv2Effect::setOptions(const LV2_Options_Option* options) noexcept
{
    std::uint32_t status = LV2_OPTIONS_SUCCESS;
    for (; options != nullptr && options->key != 0; ++options) {
        if (options->context != LV2_OPTIONS_INSTANCE) {
            status |= LV2_OPTIONS_ERR_BAD_SUBJECT;
        } else if (options->key != urids.maxBlockLength) {
            status |= LV2_OPTIONS_ERR_BAD_KEY;
        } else if (options->type != urids.atomInt || options->size != sizeof announcedFrames ||
                   options->value == nullptr) {
            status |= LV2_OPTIONS_ERR_BAD_VALUE;
        } else {
            std::memcpy(&announcedFrames, options->value, sizeof announcedFrames);
            announcedFrames = std::clamp(announcedFrames, 1, kMostFrames);
        }
    }
    return status;
}

} // namespace sorvane::lv2
