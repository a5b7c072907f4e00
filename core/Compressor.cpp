#include "Compressor.h"

#include "BlockMath.h"
#include "CpuDispatch.h"
#include "Parameters.h"
#include "Vector.h"

#include <algorithm>
#include <limits>

namespace sorvane::core {

namespace {

void copy(std::span<const double> source, std::span<double> destination)
{
    if (source.data() != destination.data())
        std::copy(source.begin(), source.end(), destination.begin());
}

/// What a gain takes away.
void complementGains(std::span<double> gains)
{
    for (double& gain : gains)
        gain = 1.0 - gain;
}

void zero(std::span<double> samples)
{
    std::fill(samples.begin(), samples.end(), 0.0);
}

/// Far above any signal, and so far below what a double holds that no gain and no sum of the path comes to infinity,
/// which recursive states would keep for good.
constexpr double kMostSample = 1e100;

template <typename Sample>
[[gnu::always_inline]] inline void readSamples(const Sample* __restrict source, double* __restrict destination,
                                               std::size_t count) noexcept
{
    for (std::size_t i = 0; i < count; ++i) {
        const auto sample = static_cast<double>(source[i]);
        const double bounded = sample > kMostSample ? kMostSample : sample;
        destination[i] = bounded < -kMostSample ? -kMostSample : bounded;
    }
}

/// Doubles to the host's samples, as near as these come to them.
template <typename Sample>
struct SampleWriter {
    template <std::size_t width>
    [[gnu::always_inline]] static dsp::Vector<width> bounded(const dsp::Vector<width>& samples) noexcept
    {
        const auto most = dsp::broadcast<width>(std::numeric_limits<Sample>::max());
        const dsp::Vector<width> below = samples > most ? most : samples;
        return below < -most ? -most : below;
    }

    template <std::size_t width>
    [[gnu::always_inline]] static void run(const double* source, Sample* destination, std::size_t count) noexcept
    {
        std::size_t i = 0;
        for (; i + width <= count; i += width)
            dsp::storeAs<Sample, width>(bounded<width>(dsp::load<width>(source + i)), destination + i);
        for (; i < count; ++i)
            destination[i] = static_cast<Sample>(bounded<1>(dsp::load<1>(source + i))[0]);
    }
};

/// Frames that go through all steps together: few enough for the buffers of all to stay in the first-level cache.
/// Pieces are whole entries of the display, so that its feeds are those of the whole block.
constexpr std::size_t kMostPiece = 320;

template <typename Sample>
void read(const Sample* source, std::span<double> destination)
{
    if (source == nullptr)
        return zero(destination);
    dsp::CpuDispatch<readSamples<Sample>>::run(source, destination.data(), destination.size());
}

template <typename Sample>
void write(std::span<const double> source, Sample* destination)
{
    if (destination != nullptr)
        dsp::VectorDispatch<SampleWriter<Sample>>::run(source.data(), destination, source.size());
}

[[gnu::always_inline]] inline void linkPair(const LinkMatrix* matrix, double* __restrict first,
                                            double* __restrict second, std::size_t count) noexcept
{
    const LinkMatrix m = *matrix;
    for (std::size_t i = 0; i < count; ++i) {
        const double s0 = first[i];
        const double s1 = second[i];
        first[i] = s0 * m.m00 + s1 * m.m01;
        second[i] = s0 * m.m10 + s1 * m.m11;
    }
}

[[gnu::always_inline]] inline void encode(double* __restrict first, double* __restrict second,
                                          std::size_t count) noexcept
{
    for (std::size_t i = 0; i < count; ++i) {
        const double left = first[i];
        const double right = second[i];
        first[i] = (left + right) * 0.5;
        second[i] = (left - right) * 0.5;
    }
}

[[gnu::always_inline]] inline void decode(double* __restrict first, double* __restrict second,
                                          std::size_t count) noexcept
{
    for (std::size_t i = 0; i < count; ++i) {
        const double mid = first[i];
        const double side = second[i];
        first[i] = mid + side;
        second[i] = mid - side;
    }
}

/// Mixes the channels' side-chains, in place. Without a second channel that is silence: the link only scales.
void linkChannels(const LinkMatrix& m, std::span<double> first, std::span<double> second)
{
    if (!second.empty())
        return dsp::CpuDispatch<linkPair>::run(&m, first.data(), second.data(), first.size());
    for (double& sample : first)
        sample *= m.m00;
}

/// Samples at the host rate that a pass up and a pass down delay by.
std::int32_t chainDelay(bool highQuality)
{
    const dsp::HalfBandKernels& kernels = dsp::HalfBandKernels::shared();
    return static_cast<std::int32_t>((highQuality ? kernels.hq : kernels.standard).size()) - 1;
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
    publishedLatency =
        settings.lookaheadSamples + (settings.oversampled ? 2 * chainDelay(settings.highQualityOversampling) : 0);
}

void Compressor::takeSettings() noexcept
{
    bandSplit.beginBlock();
    for (Channel& channel : channelStates)
        channel.eq.beginBlock();
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
        for (dsp::ResamplerHQ* resampler :
             {&channel.detectorUp, &channel.gainDown, &channel.gainUp, &channel.signalUp, &channel.signalDown})
            resampler->setHq(active.highQualityOversampling);
    }
}

/// Delay of one pass up and one down, in samples at the host rate.
std::int32_t Compressor::halfBandDelay() const noexcept
{
    return chainDelay(active.highQualityOversampling);
}

/// The gain's way to the doubled rate and back, and the signal's, come one after the other.
std::int32_t Compressor::latencyInForce() const noexcept
{
    return active.lookaheadSamples + (active.oversampled ? 2 * halfBandDelay() : 0) + bandSplit.delaySamples();
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
        for (OversampleDelay* delay : {&channel.wetOversampleDelay, &channel.passOversampleDelay})
            delay->clear();
        for (dsp::ResamplerHQ* resampler : {&channel.signalUp, &channel.detectorUp, &channel.signalDown})
            resampler->fill(0.0);
        for (dsp::ResamplerHQ* resampler : {&channel.gainUp, &channel.gainDown})
            resampler->fill(1.0);
        channel.detector.reset();
        channel.eq.reset();
        channel.crossings.reset();
    }
    bandSplit.reset();
    for (RingPlace* const place : {&bypassPlace, &lookaheadPlace, &oversamplePlace})
        place->next = 0;
    hasBeenStereo = false;
    feeds.reset();
}

void Compressor::setRate(double rateHz) noexcept
{
    bandSplit.setRate(static_cast<float>(rateHz));
    for (Channel& channel : channelStates) {
        channel.eq.setRate(static_cast<float>(rateHz));
        channel.crossings.setRate(rateHz);
        for (Delay* delay : {&channel.bypassDelay, &channel.wetDelay, &channel.passDelay})
            delay->clear();
    }
    // As long as the longest delay at this rate: instances that run in turn share a cache.
    const std::int32_t lookahead = lookaheadSamples(factoryParameters()[kLookahead].max, rateHz);
    const std::int32_t longest = lookahead + 2 * chainDelay(true) + dsp::LinearPhaseFIR::kHqLength / 2;
    lookaheadPlace = {std::max<std::uint32_t>(static_cast<std::uint32_t>(lookahead), 1)};
    bypassPlace = {std::min(static_cast<std::uint32_t>(longest), kMostLookahead)};
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
    Block block{.frames = 0,
                .channels = static_cast<std::size_t>(channels),
                .step = static_cast<std::size_t>(std::max(active.decimation, 1)),
                .encoded = active.midSide && channels == 2,
                .externalSC = active.externalSC && sideChains > 0 && complete,
                .singlePrecision = sizeof(Sample) == sizeof(float)};
    const std::size_t piece = std::max(kMostPiece / block.step, std::size_t{1}) * block.step;
    const auto all = static_cast<std::size_t>(frames);
    const auto at = [](auto* samples, std::size_t place) { return samples != nullptr ? samples + place : nullptr; };
    for (std::size_t done = 0; done < all; done += block.frames) {
        block.frames = std::min(piece, all - done);
        for (std::size_t c = 0; c < block.channels; ++c) {
            read(at(inputs[c], done), buffers.channel(WorkBuffers::wet, c, block.frames));
            if (block.externalSC)
                read(c < sideInputs.size() ? sideInputs[c] + done : nullptr,
                     buffers.channel(WorkBuffers::side, c, block.frames));
        }
        processBlock(block);
        const auto result = active.bypassed ? WorkBuffers::bypass : WorkBuffers::wet;
        for (std::size_t c = 0; c < block.channels; ++c)
            write(buffers.channel(result, c, block.frames), at(outputs[c], done));
    }
    return true;
}

template bool Compressor::processCore(const float* const*, float* const*, std::int32_t, std::int32_t,
                                      std::int32_t) noexcept;
template bool Compressor::processCore(const double* const*, double* const*, std::int32_t, std::int32_t,
                                      std::int32_t) noexcept;

void Compressor::processBlock(const Block& block) noexcept
{
    const auto both = [&](WorkBuffers::Role role, auto feed) {
        (feeds.*feed)(buffers.channel(role, 0, block.frames), buffers.channel(role, 1, block.frames), block.step);
    };

    delayBypass(block);
    if (block.encoded) {
        encodeMidSide(WorkBuffers::wet, block);
        if (block.externalSC)
            encodeMidSide(WorkBuffers::side, block);
    }
    trimInput(block);
    prepareSideChain(block);
    both(WorkBuffers::side, &DisplayFeeds::feedSideChain);
    linkDetectorInputs(block);
    delayAudio(block);
    detectGains(block);
    for (std::size_t c = 0; c < block.channels; ++c) {
        if (active.channels[c].splitListen)
            passBand(c, block);
        else if (active.oversampled)
            compressOversampled(c, block);
        else
            compress(c, block);
    }
    oversamplePlace.advance(block.frames);
    bandSplit.advance(block.frames);
    if (active.bypassed) {
        for (std::size_t c = 0; c < block.channels; ++c)
            for (GainRamp* const ramp : {&channelStates[c].dryRamp, &channelStates[c].outputRamp})
                ramp->advance(block.frames);
        return;
    }
    mixDry(block);
    trimOutput(block);
    listen(block);
    both(WorkBuffers::wet, &DisplayFeeds::feedOutput);
    if (block.encoded)
        decodeMidSide(block);
}

/// Bypass takes as long as processing does, so that switching it moves nothing in time.
void Compressor::delayBypass(const Block& block) noexcept
{
    for (std::size_t c = 0; c < block.channels; ++c) {
        const auto input = buffers.channel(WorkBuffers::wet, c, block.frames);
        if (!active.bypassed) {
            channelStates[c].bypassDelay.record(input, bypassPlace); // nobody hears it
            continue;
        }
        channelStates[c].bypassDelay.process(input, buffers.channel(WorkBuffers::bypass, c, block.frames),
                                             latencyInForce(), bypassPlace);
    }
}

void Compressor::encodeMidSide(WorkBuffers::Role role, const Block& block) noexcept
{
    dsp::CpuDispatch<encode>::run(buffers.channel(role, 0, block.frames).data(),
                                  buffers.channel(role, 1, block.frames).data(), block.frames);
}

void Compressor::trimInput(const Block& block) noexcept
{
    for (std::size_t c = 0; c < block.channels; ++c)
        channelStates[c].inputRamp.apply(buffers.channel(WorkBuffers::wet, c, block.frames));
}

void Compressor::splitBand(const Block& block) noexcept
{
    const auto signalsOf = [&](std::size_t c) {
        return BandSplit::Signals{buffers.channel(WorkBuffers::wet, c, block.frames),
                                  buffers.channel(WorkBuffers::pass, c, block.frames),
                                  buffers.channel(WorkBuffers::scratch, c, block.frames)};
    };
    const std::array signals{signalsOf(0), signalsOf(1)};
    bandSplit.process(std::span(signals).first(block.channels));
}

/// Splits the band off and makes ready what the detector hears: the band itself, the whole input or the external
/// signal, through the EQ and the noise detector. What wasn't split waits as long as the band took.
void Compressor::prepareSideChain(const Block& block) noexcept
{
    const bool hearsBand = active.splitSource && !block.externalSC;
    if (hearsBand)
        splitBand(block);
    if (!block.externalSC)
        for (std::size_t c = 0; c < block.channels; ++c)
            copy(buffers.channel(WorkBuffers::wet, c, block.frames),
                 buffers.channel(WorkBuffers::side, c, block.frames));
    filterSideChain(block);
    if (!hearsBand) {
        splitBand(block);
        for (std::size_t c = 0; c < block.channels; ++c)
            bandSplit.delaySideChain(c, buffers.channel(WorkBuffers::side, c, block.frames));
    }
}

void Compressor::filterSideChain(const Block& block) noexcept
{
    const auto side = [&](std::size_t c) { return buffers.channel(WorkBuffers::side, c, block.frames); };
    if (block.channels == 2)
        SideChainEQ::processPair(channelStates[0].eq, side(0), channelStates[1].eq, side(1));
    else
        channelStates[0].eq.process(side(0));
    for (std::size_t c = 0; c < block.channels; ++c)
        channelStates[c].crossings.process(side(c), active.channels[c].crossingThreshold);
    if (!listensToSideChain())
        return;
    std::array<std::span<double>, 2> heard;
    for (std::size_t c = 0; c < block.channels; ++c) {
        heard[c] = buffers.channel(WorkBuffers::listen, c, block.frames);
        copy(side(c), heard[c]);
    }
    linkChannels(active.link, heard[0], heard[1]);
}

bool Compressor::listensToSideChain() const noexcept
{
    return active.coreListen == CoreListen::sideChain || active.coreListen == CoreListen::sideChainFirst ||
           active.coreListen == CoreListen::sideChainSecond;
}

void Compressor::linkDetectorInputs(const Block& block) noexcept
{
    std::array<std::span<double>, 2> inputs;
    for (std::size_t c = 0; c < block.channels; ++c) {
        const auto side = buffers.channel(WorkBuffers::side, c, block.frames);
        inputs[c] = side;
        if (active.oversampled) {
            inputs[c] = buffers.doubleRate(WorkBuffers::sideUp, c, 2 * block.frames);
            channelStates[c].detectorUp.process(2.0, side, inputs[c]);
        }
    }
    linkChannels(active.link, inputs[0], inputs[1]);
}

/// The audio waits for the look-ahead, so that a peak meets the gain that it caused.
void Compressor::delayAudio(const Block& block) noexcept
{
    const bool heard = !active.bypassed || active.oversampled; // in bypass only the half-bands listen
    for (std::size_t c = 0; c < block.channels; ++c)
        for (const auto& [delay, role] :
             {std::pair(&Channel::wetDelay, WorkBuffers::wet), {&Channel::passDelay, WorkBuffers::pass}}) {
            const auto samples = buffers.channel(role, c, block.frames);
            if (heard)
                (channelStates[c].*delay).process(samples, active.lookaheadSamples, lookaheadPlace);
            else
                (channelStates[c].*delay).record(samples, lookaheadPlace);
        }
    silenceAbsentChannel(block);
    bypassPlace.advance(block.frames);
    lookaheadPlace.advance(block.frames);
}

/// Where mono blocks come between stereo ones, the second channel's delays for bypass and look-ahead hear silence, and
/// never what they held a turn before. Its filters stand still, and come back with the past that they had.
void Compressor::silenceAbsentChannel(const Block& block) noexcept
{
    hasBeenStereo = hasBeenStereo || block.channels == 2;
    if (block.channels == 2 || !hasBeenStereo)
        return;
    Channel& second = channelStates[1];
    second.bypassDelay.recordSilence(block.frames, bypassPlace);
    for (Delay* delay : {&second.wetDelay, &second.passDelay})
        delay->recordSilence(block.frames, lookaheadPlace);
}

/// The linked side-chain becomes each channel's gain, for channels whose detector doesn't rest.
void Compressor::detectGains(const Block& block) noexcept
{
    const auto blockOf = [&](std::size_t c) {
        const std::size_t count = active.oversampled ? 2 * block.frames : block.frames;
        return DetectorChannel::Block{channelStates[c].detector,
                                      active.oversampled ? buffers.doubleRate(WorkBuffers::sideUp, c, count)
                                                         : buffers.channel(WorkBuffers::side, c, count),
                                      buffers.states(c, count)};
    };
    const auto rests = [&](std::size_t c) { return c >= block.channels || active.channels[c].splitListen; };
    if (!rests(0) && !rests(1))
        return DetectorChannel::processPair(blockOf(0), blockOf(1));
    for (std::size_t c = 0; c < block.channels; ++c)
        if (!rests(c))
            channelStates[c].detector.process(blockOf(c).samples, blockOf(c).codes);
}

/// Only the band is heard: the detector rests, and the signal takes as long as it would with it.
void Compressor::passBand(std::size_t index, const Block& block) noexcept
{
    channelStates[index].makeupRamp.advance(block.frames);
    if (active.oversampled) {
        const std::int32_t delay = 2 * halfBandDelay();
        Channel& channel = channelStates[index];
        channel.wetOversampleDelay.process(buffers.channel(WorkBuffers::wet, index, block.frames), delay,
                                           oversamplePlace);
        channel.passOversampleDelay.process(buffers.channel(WorkBuffers::pass, index, block.frames), delay,
                                            oversamplePlace);
    }
    feeds.feedUnity(index, block.frames, block.step);
}

/// Applies the gain to one channel.
void Compressor::compress(std::size_t index, const Block& block) noexcept
{
    const auto gain = buffers.channel(WorkBuffers::side, index, block.frames);
    feeds.feedGain(index, gain, buffers.states(index, block.frames), block.step);
    if (active.bypassed) // nobody hears the rest
        return channelStates[index].makeupRamp.advance(block.frames);
    if (active.coreListen == CoreListen::difference)
        complementGains(gain);
    channelStates[index].makeupRamp.apply(gain);
    dsp::multiply(buffers.channel(WorkBuffers::wet, index, block.frames), gain);
}

/// The same at twice the rate. The gain goes down to the host rate, where the display takes it, and up again, which
/// bounds its band before it meets the signal; the signal waits for that detour.
void Compressor::compressOversampled(std::size_t index, const Block& block) noexcept
{
    Channel& channel = channelStates[index];
    const std::int32_t detour = halfBandDelay();
    const auto gainUp = buffers.doubleRate(WorkBuffers::sideUp, index, 2 * block.frames);
    const auto wetUp = buffers.doubleRate(WorkBuffers::wetUp, index, 2 * block.frames);
    const auto gain = buffers.channel(WorkBuffers::side, index, block.frames);
    const auto wet = buffers.channel(WorkBuffers::wet, index, block.frames);

    channel.gainDown.process(0.5, gainUp, gain);
    feeds.feedGain(index, gain, buffers.states(index, 2 * block.frames), block.step);
    channel.wetOversampleDelay.process(wet, detour, oversamplePlace);
    channel.gainUp.process(2.0, gain, gainUp);
    channel.signalUp.process(2.0, wet, wetUp);
    if (active.coreListen == CoreListen::difference)
        complementGains(gainUp);
    dsp::multiply(wetUp, gainUp);
    channel.signalDown.process(0.5, wetUp, wet);
    channel.makeupRamp.apply(wet);
    channel.passOversampleDelay.process(buffers.channel(WorkBuffers::pass, index, block.frames), 2 * detour,
                                        oversamplePlace);
}

void Compressor::mixDry(const Block& block) noexcept
{
    for (std::size_t c = 0; c < block.channels; ++c)
        channelStates[c].dryRamp.mix(buffers.channel(WorkBuffers::pass, c, block.frames),
                                     buffers.channel(WorkBuffers::wet, c, block.frames));
}

void Compressor::trimOutput(const Block& block) noexcept
{
    for (std::size_t c = 0; c < block.channels; ++c)
        channelStates[c].outputRamp.apply(buffers.channel(WorkBuffers::wet, c, block.frames));
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
    dsp::CpuDispatch<decode>::run(buffers.channel(WorkBuffers::wet, 0, block.frames).data(),
                                  buffers.channel(WorkBuffers::wet, 1, block.frames).data(), block.frames);
}

} // namespace sorvane::core
