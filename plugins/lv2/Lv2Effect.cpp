#include "Lv2Effect.h"

#include "AudioThreadScope.h"

#include <lv2/atom/util.h>
#include <lv2/buf-size/buf-size.h>
#include <lv2/midi/midi.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
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
    const float db = 20.0F * std::log10(gain);
    return db > low ? std::min(db, high) : low;
}

} // namespace

Lv2Effect::Lv2Effect(std::size_t channelCount, double rateHz, const LV2_Feature* const* features)
    : channels(channelCount), plug(std::make_unique<core::Plug>(&Lv2Effect::answer))
{
    plug->getAeffect()->user = this;
    if (const auto* const map = feature<LV2_URID_Map>(features, LV2_URID__map))
        mapUrids(*map);
    if (const auto* const options = feature<LV2_Options_Option>(features, LV2_OPTIONS__options))
        (void)setOptions(options);
    for (std::size_t tag = 0; tag < kParameterPorts; ++tag) {
        const float factory = core::factoryParameters()[tag].value;
        unconnected[tag] = tag == core::kBypass ? 1.0F - factory : factory;
        controls[tag] = &unconnected[tag];
    }
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
             .atomChunk = urid(LV2_ATOM__Chunk),
             .atomInt = urid(LV2_ATOM__Int),
             .atomSequence = urid(LV2_ATOM__Sequence),
             .midiEvent = urid(LV2_MIDI__MidiEvent),
             .maxBlockLength = urid(LV2_BUF_SIZE__maxBlockLength)};
}

void Lv2Effect::connect(std::uint32_t index, void* data) noexcept
{
    const auto ports = portsOf(channels);
    if (index >= ports.size())
        return;
    const Port port = ports[index];
    const auto number = static_cast<std::size_t>(port.number);
    auto* const values = static_cast<float*>(data);
    switch (port.role) {
    case PortRole::parameter:
    case PortRole::enabled:
        controls[number] = values != nullptr ? values : &unconnected[number];
        break;
    case PortRole::freeWheeling:
        freeWheelingPort = values;
        break;
    case PortRole::latency:
        latency = values;
        break;
    case PortRole::midi:
        midi = static_cast<const LV2_Atom_Sequence*>(data);
        break;
    case PortRole::level:
        meters[0][number] = values;
        break;
    case PortRole::reduction:
        meters[1][number] = values;
        break;
    case PortRole::input:
        inputs[0][number] = values;
        break;
    case PortRole::sideChain:
        inputs[1][number] = values;
        break;
    case PortRole::output:
        outputs[number] = values;
        break;
    }
}

void Lv2Effect::activate()
{
    capacity = 0; // in case that there is no memory
    storage.assign((2 * channels + 1) * static_cast<std::size_t>(announcedFrames), 0.0F);
    capacity = announcedFrames;
    freeWheeling = false; // until a run says so
    plug->setBlockSize(capacity);
    plug->resume();
    firstRun = true;
}

void Lv2Effect::deactivate()
{
    plug->suspend();
}

void Lv2Effect::run(std::uint32_t frames) noexcept
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

/// All ports, with their designs there and then; silent so far, the effect is free to start anew.
void Lv2Effect::takeFirstPorts()
{
    firstRun = false;
    bool changed = restored.testAndClear();
    {
        const platform::AudioThreadScope audioThread; // one design is enough
        changed |= applyPorts(true);
    }
    if (changed)
        plug->resume();
}

void Lv2Effect::followFreeWheeling()
{
    const bool now = freeWheelingPort != nullptr && *freeWheelingPort > 0.0F;
    if (now == freeWheeling)
        return;
    freeWheeling = now;
    plug->processReplacing(nullptr, nullptr, 0); // asks for the process level, which the ports' changes go by
    if (now) // a design that was put off is made: from here on nothing gives it the time
        plug->setParameter(core::kBypass, plug->getParameter(core::kBypass));
}

void Lv2Effect::takePorts()
{
    const bool wasRestored = restored.isSet() && restored.testAndClear();
    std::optional<platform::AudioThreadScope> audioThread;
    if (!freeWheeling)
        audioThread.emplace();
    (void)applyPorts(wasRestored);
}

/// Applies the ports that changed, or all that differ from the effect's parameters.
/// \return whether there were any
bool Lv2Effect::applyPorts(bool differing)
{
    bool applied = false;
    for (std::size_t tag = 0; tag < kParameterPorts; ++tag)
        if (*controls[tag] != last[tag] || differing)
            applied |= applyPort(tag, differing);
    return applied;
}

bool Lv2Effect::applyPort(std::size_t tag, bool ifDiffering)
{
    float value = *controls[tag];
    if (std::isnan(value))
        return false;
    last[tag] = value;
    const auto index = static_cast<std::int32_t>(tag);
    if (core::factoryParameters()[tag].scale == core::ScaleType::onOff)
        value = (value > 0.0F) == (tag != core::kBypass) ? 1.0F : 0.0F; // its port says "enabled"
    const float normal = plug->toNormalised(index, value);
    if (ifDiffering && normal == plug->getParameter(index))
        return false;
    plug->setParameter(index, normal);
    return true;
}

/// MIDI messages of up to three bytes, all before the block that they belong to.
void Lv2Effect::takeEvents()
{
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

/// The host's inputs aren't ours to write, and one may be an output too: the effect gets copies, taken before any output
/// is written.
void Lv2Effect::processPart(std::size_t first, std::size_t frames)
{
    std::array<float*, 4> ins{};
    for (std::size_t i = 0; i < 2 * channels; ++i) {
        const float* const source = inputs[i / channels][i % channels];
        if (source == nullptr)
            continue;
        ins[i] = buffer(i);
        std::copy_n(source + first, frames, ins[i]);
    }
    std::array<float*, 2> outs{};
    for (std::size_t i = 0; i < channels; ++i)
        outs[i] = outputs[i] != nullptr ? outputs[i] + first : buffer(2 * channels);
    plug->processReplacing(ins.data(), outs.data(), static_cast<std::int32_t>(frames));
}

void Lv2Effect::silence(std::size_t frames) noexcept
{
    for (float* const output : outputs)
        if (output != nullptr)
            std::fill_n(output, frames, 0.0F);
}

void Lv2Effect::report()
{
    if (latency != nullptr)
        *latency = static_cast<float>(plug->getLatency());
    for (std::size_t i = 0; i < channels; ++i) {
        const auto channel = static_cast<std::int32_t>(i);
        if (float* const level = meters[0][i]; level != nullptr)
            *level = decibels(plug->getLevelMeter(channel), kLowestLevelDb, kHighestLevelDb);
        if (float* const reduction = meters[1][i]; reduction != nullptr)
            *reduction = 0.0F - decibels(plug->getReductionMeter(channel), -kMostReductionDb, kMostReductionDb);
    }
}

LV2_State_Status Lv2Effect::save(LV2_State_Store_Function store, LV2_State_Handle handle)
{
    if (urids.chunk == 0)
        return LV2_STATE_ERR_NO_FEATURE;
    const std::string chunk = plug->copyChunk(false);
    if (chunk.empty())
        return LV2_STATE_ERR_UNKNOWN;
    return store(handle, urids.chunk, chunk.data(), chunk.size(), urids.atomChunk,
                 LV2_STATE_IS_POD | LV2_STATE_IS_PORTABLE);
}

/// An instance's own state, else that of a preset, else the default: the factory bank, which a user's own default bank
/// overrules as it does at every start.
LV2_State_Status Lv2Effect::restore(LV2_State_Retrieve_Function retrieve, LV2_State_Handle handle)
{
    if (urids.chunk == 0)
        return LV2_STATE_ERR_NO_FEATURE;
    for (const LV2_URID key : {urids.chunk, urids.preset, urids.factoryBank}) {
        std::size_t size = 0;
        std::uint32_t type = 0;
        std::uint32_t flags = 0;
        const void* const data = retrieve(handle, key, &size, &type, &flags);
        if (data == nullptr)
            continue;
        if (type != urids.atomChunk || size > host::kMostChunkBytes)
            return LV2_STATE_ERR_BAD_TYPE;
        std::error_code unreadable;
        if (key == urids.factoryBank && std::filesystem::exists(plug->getDefaultBankPath(), unreadable))
            return LV2_STATE_SUCCESS;
        (void)plug->setChunk(data, static_cast<std::int32_t>(size), key == urids.preset);
        restored.set();
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
