// The real-time half of the adapter: one callback of the host's becomes MIDI intake, a block, and meters.

#include "AAXWrap_Parameters.h"
#include "AudioThreadScope.h"
#include "Guarded.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <span>
#include <utility>

namespace sorvane::aax {

namespace {

constexpr double kTicksPerQuarter = 960000.0;
constexpr std::int32_t kTimeFlags =
    timeNanosecondsValid | timeMusicalPositionValid | timeTempoValid | timeCycleValid | timeSignatureValid;
constexpr std::size_t kMostTaps = 6;

/// Taps of a component: a mono one has no second gain reduction.
std::size_t tapCount(std::int32_t channels)
{
    return channels == 1 ? kMostTaps - 1 : kMostTaps;
}

} // namespace

void AAXWrap_Parameters::algorithm(AlgorithmContext* const* begin, AlgorithmContext* const* end) noexcept
{
    const platform::AudioThreadScope audioThread;
    for (AlgorithmContext* const* context = begin; context != end; ++context)
        if (*context != nullptr && (*context)->privateBlock != nullptr &&
            (*context)->privateBlock->parameters != nullptr && (*context)->bufferLength != nullptr)
            (*context)->privateBlock->parameters->process(**context);
}

void AAXWrap_Parameters::process(const AlgorithmContext& context) noexcept
{
    (void)guarded([&] { followTransport(context); }); // the nodes are the host's
    (void)guarded([&] { takeMidi(context); });
    if (context.audioOutput != nullptr && context.audioInput == nullptr)
        silence(context);
    else if (bypassActive)
        passThrough(context);
    else
        run(context);
    deliverEvents();
}

void AAXWrap_Parameters::followTransport(const AlgorithmContext& context)
{
    if (context.sampleRate != nullptr)
        timeInfo.sampleRate = static_cast<double>(*context.sampleRate);
    if (context.clock != nullptr)
        timeInfo.nanoSeconds = static_cast<double>(*context.clock);
    const Transport* const transport = context.transport != nullptr ? context.transport->transport() : nullptr;
    if (transport == nullptr)
        return;
    bool playing = false;
    bool looping = false;
    std::int64_t start = 0;
    std::int64_t end = 0;
    std::int64_t ticks = 0;
    std::int64_t samples = 0;
    (void)transport->tempo(timeInfo.tempo);
    (void)transport->meter(timeInfo.timeSignatureNumerator, timeInfo.timeSignatureDenominator);
    (void)transport->isPlaying(playing);
    (void)transport->loop(looping, start, end);
    (void)transport->tickPosition(ticks);
    (void)transport->sampleLocation(samples);
    timeInfo.samplePosition = static_cast<double>(samples);
    timeInfo.musicalPosition = static_cast<double>(ticks) / kTicksPerQuarter;
    timeInfo.cycleStart = static_cast<double>(start) / kTicksPerQuarter;
    timeInfo.cycleEnd = static_cast<double>(end) / kTicksPerQuarter;
    timeInfo.flags = kTimeFlags | (playing ? timeIsPlaying : 0) | (looping ? timeIsLooping : 0);
}

void AAXWrap_Parameters::takeMidi(const AlgorithmContext& context)
{
    if (context.midiIn == nullptr || !midiAccepted)
        return;
    const MidiPacket* packets = nullptr;
    const std::uint32_t count = context.midiIn->packets(packets);
    host::AEffect* const record = effect->getAeffect();
    for (std::uint32_t i = 0; packets != nullptr && i < count; ++i) {
        const MidiPacket& packet = packets[i];
        host::MidiEvent event{};
        event.head = {.type = host::eventMidi,
                      .byteSize = sizeof event,
                      .deltaFrames = static_cast<std::int32_t>(packet.timeStamp),
                      .flags = packet.isImmediate ? 1 : 0};
        std::copy_n(packet.data, std::min<std::size_t>(packet.length, sizeof packet.data), event.midiData);
        host::Events list{.numEvents = 1, .reserved = 0, .events = {&event.head, nullptr}};
        record->dispatcher(record, host::effectProcessEvents, 0, 0, &list, 0.0F);
    }
}

void AAXWrap_Parameters::clearMeters(const AlgorithmContext& context) const noexcept
{
    if (context.meters != nullptr)
        std::fill_n(context.meters, tapCount(channels), 0.0F);
}

void AAXWrap_Parameters::silence(const AlgorithmContext& context) const noexcept
{
    const std::span outputs(context.audioOutput, static_cast<std::size_t>(channels.load()));
    for (float* const output : outputs)
        if (output != nullptr)
            std::fill_n(output, std::max(*context.bufferLength, 0), 0.0F);
    clearMeters(context);
}

/// The effect isn't called: its detectors and meters stand still.
void AAXWrap_Parameters::passThrough(const AlgorithmContext& context) const noexcept
{
    const auto frames = static_cast<std::size_t>(std::max(*context.bufferLength, 0));
    const auto copy = [&](std::int32_t c) {
        const float* const input = context.audioInput[c];
        float* const output = context.audioOutput[c];
        if (output == nullptr || output == input)
            return;
        if (input != nullptr)
            std::memmove(output, input, frames * sizeof(float)); // the host's buffers may overlap
        else
            std::fill_n(output, frames, 0.0F);
    };
    clearMeters(context);
    if (context.audioOutput == nullptr)
        return;
    if (channels == 1)
        return copy(0);
    // A host may hand the channels back crossed, in the same two buffers.
    float* const first = context.audioOutput[0];
    const bool overwritesSecond = first != nullptr && first == context.audioInput[1];
    if (overwritesSecond && context.audioOutput[1] == context.audioInput[0]) {
        if (context.audioInput[0] != nullptr)
            std::swap_ranges(first, first + frames, context.audioInput[0]);
        else
            copy(0);
        return;
    }
    copy(overwritesSecond ? 1 : 0);
    copy(overwritesSecond ? 0 : 1);
}

/// The effect has two main inputs and two of a side-chain behind them, which get the host's one channel. A mono run is
/// told by a null second output, and then the side-chain stands in the second place.
void AAXWrap_Parameters::run(const AlgorithmContext& context) noexcept
{
    if (context.audioOutput == nullptr)
        return;
    std::array<float*, kMostInputs> inputs{};
    std::array<float*, kMostOutputs> outputs{};
    const auto count = static_cast<std::size_t>(channels);
    const std::int32_t place = context.sideChainInput != nullptr ? *context.sideChainInput : 0;
    float* const sideChain =
        place > 0 && place < static_cast<std::int32_t>(kMostInputs) ? context.audioInput[place] : nullptr;
    for (std::size_t c = 0; c < count; ++c) {
        inputs[c] = context.audioInput[c];
        outputs[c] = context.audioOutput[c];
        inputs[c + count] = sideChain;
    }
    host::AEffect* const record = effect->getAeffect();
    record->processReplacing(record, inputs.data(), outputs.data(), *context.bufferLength);

    if (float* const meters = context.meters; meters != nullptr) {
        meters[0] = meters[2] = effect->getLevelMeter(0);
        meters[1] = meters[3] = effect->getLevelMeter(1);
        meters[4] = 1.0F - effect->getReductionMeter(0);
        if (tapCount(channels) == kMostTaps)
            meters[5] = 1.0F - effect->getReductionMeter(1);
    }
}

/// Any thread. What comes while the callback empties the queues is lost.
void AAXWrap_Parameters::queueEvents(const host::Events& events) noexcept
{
    if (!queueLock.tryLock())
        return;
    for (std::int32_t i = 0; i < events.numEvents; ++i) {
        const host::Event* const event = events.events[i];
        if (event == nullptr)
            continue;
        const auto timeStamp = static_cast<std::uint32_t>(std::max(event->deltaFrames, 0));
        if (event->type == host::eventMidi) {
            const std::span bytes(reinterpret_cast<const host::MidiEvent*>(event)->midiData);
            const bool hasOneDataByte = (bytes[0] & 0xE0U) == 0xC0U; // program change, channel pressure
            midiOutQueue.add(timeStamp, bytes.first(hasOneDataByte ? 2 : 3));
        } else if (event->type == kEventSysex) {
            const auto& sysex = *reinterpret_cast<const SysexEvent*>(event);
            if (sysex.sysexDump != nullptr && sysex.dumpBytes > 0)
                sysexOutQueue.add(timeStamp, {reinterpret_cast<const std::uint8_t*>(sysex.sysexDump),
                                              static_cast<std::size_t>(sysex.dumpBytes)});
        }
    }
    queueLock.unlock();
}

void AAXWrap_Parameters::deliverEvents() noexcept
{
    if (!queueLock.tryLock())
        return;
    for (const MidiPacket& packet : midiOutQueue.waiting())
        sendMidi(packet);
    for (const MidiPacket& packet : sysexOutQueue.waiting())
        sendMidi(packet);
    midiOutQueue.clear();
    sysexOutQueue.clear();
    queueLock.unlock();
}

} // namespace sorvane::aax
