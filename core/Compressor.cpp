#include "Compressor.h"

#include <algorithm>

namespace sorvane::core {

namespace {

void multiply(std::span<double> samples, std::span<const double> gains)
{
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] *= gains[i];
}

void copy(std::span<const double> source, std::span<double> destination)
{
    if (source.data() != destination.data())
        std::copy(source.begin(), source.end(), destination.begin());
}

void zero(std::span<double> samples)
{
    std::fill(samples.begin(), samples.end(), 0.0);
}

template <typename Sample>
void read(const Sample* source, std::span<double> destination)
{
    if (source == nullptr)
        return zero(destination);
    for (std::size_t i = 0; i < destination.size(); ++i)
        destination[i] = static_cast<double>(source[i]);
}

template <typename Sample>
void write(std::span<const double> source, Sample* destination)
{
    if (destination == nullptr)
        return;
    for (std::size_t i = 0; i < source.size(); ++i)
        destination[i] = static_cast<Sample>(source[i]);
}

} // namespace

Compressor::Compressor()
{
    // Without the memory the first block asks again.
    (void)buffers.ensure(kStartCapacity);
}

void Compressor::publish(const EngineSettings& settings) noexcept
{
    mailbox.publish(settings);
    publishedLatency = settings.lookaheadSamples;
}

void Compressor::takeSettings() noexcept
{
    const EngineSettings* const newest = mailbox.take();
    if (newest == nullptr)
        return;
    active = *newest;
    for (std::size_t c = 0; c < 2; ++c) {
        const ChannelSettings& set = active.channels[c];
        Channel& channel = channelStates[c];
        channel.inputRamp.start(set.inputGain);
        channel.makeupRamp.start(set.makeupGain);
        channel.dryRamp.start(set.dryGain);
        channel.outputRamp.start(set.outputGain);
        channel.detector.set(set.detector);
    }
}

void Compressor::reset() noexcept
{
    takeSettings();
    buffers.clear();
    for (Channel& channel : channelStates) {
        for (GainRamp* ramp : {&channel.inputRamp, &channel.makeupRamp, &channel.dryRamp, &channel.outputRamp})
            ramp->finish();
        for (Delay* delay : {&channel.bypassDelay, &channel.wetDelay, &channel.passDelay})
            delay->clear();
        channel.detector.reset();
        channel.crossings.reset();
    }
    delayPosition = 0;
    feeds.reset();
}

void Compressor::setRate(double rateHz) noexcept
{
    for (Channel& channel : channelStates)
        channel.crossings.setRate(rateHz);
}

template <typename Sample>
bool Compressor::processCore(const Sample* const* inputs, Sample* const* outputs, std::int32_t frames,
                             std::int32_t channels, std::int32_t sideChains) noexcept
{
    if (frames <= 0)
        return true; // hosts send empty blocks to flush parameters
    if (!buffers.ensure(frames))
        return false;

    const auto sideInputs = std::span(inputs + channels, static_cast<std::size_t>(sideChains));
    const bool complete = std::find(sideInputs.begin(), sideInputs.end(), nullptr) == sideInputs.end();
    const Block block{.frames = static_cast<std::size_t>(frames),
                      .channels = static_cast<std::size_t>(channels),
                      .encoded = active.midSide && channels == 2,
                      .externalSC = active.externalSC && sideChains > 0 && complete,
                      .singlePrecision = sizeof(Sample) == sizeof(float)};

    for (std::size_t c = 0; c < block.channels; ++c) {
        read(inputs[c], buffers.channel(WorkBuffers::input, c, block.frames));
        if (block.externalSC)
            read(c < sideInputs.size() ? sideInputs[c] : nullptr, buffers.channel(WorkBuffers::side, c, block.frames));
    }

    processBlock(block);

    const auto result = active.bypassed ? WorkBuffers::bypass : WorkBuffers::wet;
    for (std::size_t c = 0; c < block.channels; ++c)
        write(buffers.channel(result, c, block.frames), outputs[c]);
    return true;
}

template bool Compressor::processCore(const float* const*, float* const*, std::int32_t, std::int32_t,
                                      std::int32_t) noexcept;
template bool Compressor::processCore(const double* const*, double* const*, std::int32_t, std::int32_t,
                                      std::int32_t) noexcept;

void Compressor::processBlock(const Block& block) noexcept
{
    const auto step = static_cast<std::size_t>(std::max(active.decimation, 1));
    const auto both = [&](WorkBuffers::Role role, auto feed) {
        (feeds.*feed)(buffers.channel(role, 0, block.frames), buffers.channel(role, 1, block.frames), step);
    };

    delayBypass(block);
    if (block.encoded) {
        encodeMidSide(WorkBuffers::input, block);
        if (block.externalSC)
            encodeMidSide(WorkBuffers::side, block);
    }
    trimInput(block);
    splitBand(block);
    gateNoise(block);
    if (listensToSideChain())
        linkSideChain(WorkBuffers::listen, block);
    both(WorkBuffers::side, &DisplayFeeds::feedSideChain);
    linkSideChain(WorkBuffers::side, block);
    delayAudio(block);
    for (std::size_t c = 0; c < block.channels; ++c) {
        channelStates[c].makeupRamp.expand(buffers.gains(block.frames));
        if (active.channels[c].splitListen)
            feeds.feedUnity(c, block.frames, step);
        else
            applyDetector(c, block);
    }
    mixDry(block);
    trimOutput(block);
    if (active.bypassed)
        return;
    listen(block);
    both(WorkBuffers::wet, &DisplayFeeds::feedOutput);
    if (block.encoded)
        decodeMidSide(block);
}

/// Bypass takes as long as processing does, so that switching it moves nothing in time.
void Compressor::delayBypass(const Block& block) noexcept
{
    for (std::size_t c = 0; c < block.channels; ++c) {
        const auto delayed = buffers.channel(WorkBuffers::bypass, c, block.frames);
        copy(buffers.channel(WorkBuffers::input, c, block.frames), delayed);
        channelStates[c].bypassDelay.process(delayed, active.lookaheadSamples, delayPosition);
    }
}

void Compressor::encodeMidSide(WorkBuffers::Role role, const Block& block) noexcept
{
    const auto first = buffers.channel(role, 0, block.frames);
    const auto second = buffers.channel(role, 1, block.frames);
    for (std::size_t i = 0; i < block.frames; ++i) {
        const double left = first[i];
        const double right = second[i];
        first[i] = (left + right) * 0.5;
        second[i] = (left - right) * 0.5;
    }
}

void Compressor::trimInput(const Block& block) noexcept
{
    const auto gains = buffers.gains(block.frames);
    for (std::size_t c = 0; c < block.channels; ++c) {
        const auto input = buffers.channel(WorkBuffers::input, c, block.frames);
        channelStates[c].inputRamp.expand(gains);
        multiply(input, gains);
        copy(input, buffers.channel(WorkBuffers::wet, c, block.frames));
    }
}

/// Parts the wet signal into the band and what stays beside it. The band is the whole signal, so the remainder is
/// silent.
void Compressor::splitBand(const Block& block) noexcept
{
    for (std::size_t c = 0; c < block.channels; ++c) {
        const auto wet = buffers.channel(WorkBuffers::wet, c, block.frames);
        const auto pass = buffers.channel(WorkBuffers::pass, c, block.frames);
        if (!block.externalSC)
            copy(wet, buffers.channel(WorkBuffers::side, c, block.frames));
        if (active.dryMode == DryMode::parallel)
            copy(wet, pass);
        else
            zero(pass);
    }
}

void Compressor::gateNoise(const Block& block) noexcept
{
    for (std::size_t c = 0; c < block.channels; ++c)
        channelStates[c].crossings.process(buffers.channel(WorkBuffers::side, c, block.frames),
                                           active.channels[c].crossingThreshold);
}

bool Compressor::listensToSideChain() const noexcept
{
    return active.coreListen == CoreListen::sideChain || active.coreListen == CoreListen::sideChainFirst ||
           active.coreListen == CoreListen::sideChainSecond;
}

/// Mixes the channels' side-chains. With one channel the other is silence: the link then only scales.
void Compressor::linkSideChain(WorkBuffers::Role target, const Block& block) noexcept
{
    const LinkMatrix& m = active.link;
    const auto in0 = buffers.channel(WorkBuffers::side, 0, block.frames);
    const auto out0 = buffers.channel(target, 0, block.frames);
    if (block.channels == 1) {
        for (std::size_t i = 0; i < block.frames; ++i)
            out0[i] = in0[i] * m.m00;
        return;
    }
    const auto in1 = buffers.channel(WorkBuffers::side, 1, block.frames);
    const auto out1 = buffers.channel(target, 1, block.frames);
    for (std::size_t i = 0; i < block.frames; ++i) {
        const double s0 = in0[i];
        const double s1 = in1[i];
        out0[i] = s0 * m.m00 + s1 * m.m01;
        out1[i] = s0 * m.m10 + s1 * m.m11;
    }
}

/// The audio waits for the look-ahead, so that a peak meets the gain that it caused.
void Compressor::delayAudio(const Block& block) noexcept
{
    for (std::size_t c = 0; c < block.channels; ++c) {
        Channel& channel = channelStates[c];
        channel.wetDelay.process(buffers.channel(WorkBuffers::wet, c, block.frames), active.lookaheadSamples,
                                 delayPosition);
        channel.passDelay.process(buffers.channel(WorkBuffers::pass, c, block.frames), active.lookaheadSamples,
                                  delayPosition);
    }
    delayPosition = (delayPosition + static_cast<std::uint32_t>(block.frames)) & Delay::kMask;
}

/// Gain of one channel; the gain buffer holds its makeup.
void Compressor::applyDetector(std::size_t index, const Block& block) noexcept
{
    Channel& channel = channelStates[index];
    const auto side = buffers.channel(WorkBuffers::side, index, block.frames);
    const auto states = buffers.states(index, block.frames);
    channel.detector.process(side, states);
    feeds.feedGain(index, side, states, static_cast<std::size_t>(std::max(active.decimation, 1)));
    if (active.coreListen == CoreListen::difference)
        for (double& gain : side)
            gain = 1.0 - gain;

    const auto wet = buffers.channel(WorkBuffers::wet, index, block.frames);
    const auto makeup = buffers.gains(block.frames);
    for (std::size_t i = 0; i < block.frames; ++i)
        wet[i] *= side[i] * makeup[i];
}

void Compressor::mixDry(const Block& block) noexcept
{
    const auto gains = buffers.gains(block.frames);
    for (std::size_t c = 0; c < block.channels; ++c) {
        channelStates[c].dryRamp.expand(gains);
        const auto wet = buffers.channel(WorkBuffers::wet, c, block.frames);
        const auto pass = buffers.channel(WorkBuffers::pass, c, block.frames);
        for (std::size_t i = 0; i < block.frames; ++i)
            wet[i] += gains[i] * pass[i];
    }
}

void Compressor::trimOutput(const Block& block) noexcept
{
    const auto gains = buffers.gains(block.frames);
    for (std::size_t c = 0; c < block.channels; ++c) {
        if (channelStates[c].outputRamp.isUnity())
            continue;
        channelStates[c].outputRamp.expand(gains);
        multiply(buffers.channel(WorkBuffers::wet, c, block.frames), gains);
    }
}

/// Puts the signal that the user listens to in the output's place. Listening to one channel of two silences the other
/// when they are mid and side, and plays it on both when they are left and right.
void Compressor::listen(const Block& block) noexcept
{
    const auto wet = [&](std::size_t c) { return buffers.channel(WorkBuffers::wet, c, block.frames); };
    const auto heard = [&](std::size_t c) { return buffers.channel(WorkBuffers::listen, c, block.frames); };
    const auto solo = [&](std::span<const double> source, std::size_t place) {
        copy(source, wet(place));
        if (block.encoded)
            zero(wet(1 - place));
        else
            copy(source, wet(1 - place));
    };

    if (block.singlePrecision && listensToSideChain())
        for (std::size_t c = 0; c < block.channels; ++c)
            for (double& sample : heard(c))
                sample =
                    static_cast<double>(static_cast<float>(sample)); // it reaches the host's buffers before decoding

    switch (active.coreListen) {
    case CoreListen::output:
    case CoreListen::difference:
        break;
    case CoreListen::sideChain:
        for (std::size_t c = 0; c < block.channels; ++c)
            copy(heard(c), wet(c));
        break;
    case CoreListen::passBand:
        for (std::size_t c = 0; c < block.channels; ++c)
            copy(buffers.channel(WorkBuffers::pass, c, block.frames), wet(c));
        break;
    case CoreListen::sideChainFirst:
        if (block.channels == 2)
            solo(heard(0), 0);
        break;
    case CoreListen::sideChainSecond:
        if (block.channels == 2)
            solo(heard(1), 0);
        break;
    case CoreListen::splitFirst:
        if (block.channels == 2)
            solo(wet(0), 0);
        break;
    case CoreListen::splitSecond:
        if (block.channels == 2)
            solo(wet(1), 0);
        break;
    }
}

void Compressor::decodeMidSide(const Block& block) noexcept
{
    const auto first = buffers.channel(WorkBuffers::wet, 0, block.frames);
    const auto second = buffers.channel(WorkBuffers::wet, 1, block.frames);
    for (std::size_t i = 0; i < block.frames; ++i) {
        const double mid = first[i];
        const double side = second[i];
        first[i] = mid + side;
        second[i] = mid - side;
    }
}

} // namespace sorvane::core
