#include "PlainRoute.h"

#include <algorithm>
#include <cmath>

namespace sorvane::test {

using namespace core;

namespace {

constexpr std::size_t kDelayRing = 16384;
constexpr std::size_t kDisplayRing = 32768;
constexpr std::size_t kOutputRing = 8192;

double gainOfDb(double db)
{
    return std::pow(10.0, db * 0.05);
}

double finite(double sample)
{
    return std::isfinite(sample) ? sample : 0.0;
}

PlainRoute::Pair frameOf(const std::array<Signal, 2>& signals, std::size_t i)
{
    PlainRoute::Pair frame{};
    for (std::size_t c = 0; c < 2; ++c)
        frame[c] = i < signals[c].size() ? finite(signals[c][i]) : 0.0;
    return frame;
}

} // namespace

void PlainRoute::Ramp::start(double newTarget)
{
    if (newTarget == target)
        return;
    step = (newTarget - value()) / 1000.0;
    target = newTarget;
    left = 1000;
}

double PlainRoute::Ramp::next()
{
    const double now = value();
    left = std::max(left - 1, 0);
    return now;
}

void PlainRoute::NoiseGate::reset(double hertz)
{
    crossings.assign(static_cast<std::size_t>(std::max(1.0, hertz * 256.0 / 44100.0)), 0);
    count = 0;
    previous = 0.0;
}

double PlainRoute::NoiseGate::process(double sample, double threshold)
{
    crossings.push_back(sample * previous < 0.0 ? 1 : 0);
    count += crossings.back() - crossings.front();
    crossings.pop_front();
    previous = sample;
    return count < threshold ? 0.0 : sample;
}

void PlainRoute::resume(const Plug& plug)
{
    rateHz = plug.getSampleRate();
    meterRelease = 1.0 - std::pow(0.1, 1.0 / (0.3 * rateHz));
    for (Channel& channel : channels) {
        for (Ramp* ramp : {&channel.input, &channel.makeup, &channel.dry, &channel.output})
            ramp->finish();
        for (auto* ring : {&channel.bypassRing, &channel.wetRing, &channel.passRing})
            ring->assign(kDelayRing, 0.0);
        channel.detector.reset();
        channel.gate.reset(rateHz);
    }
    for (std::size_t i = 0; i < rings.size(); ++i)
        rings[i].assign(kDisplayRing, i < 4 ? 0.0F : 1.0F);
    for (auto& ring : states)
        ring.assign(kDisplayRing, 0);
    for (Signal& ring : outputRing)
        ring.assign(kOutputRing, 0.0);
    positions = {};
    meters = {};
    delayPosition = 0;
    outputPosition = 0;
    autoListen = -1;
    update(plug);
}

/// 0 side-chain, 1 band, 2 output, 3 pass-band, 4 difference; side-chain and band may be narrowed to one channel: 5, 6
/// and 7, 8.
std::int32_t PlainRoute::listenCode(const Plug& plug) const
{
    if (autoListen < 0)
        return static_cast<std::int32_t>(plug.getParameterValue(kListen));
    const std::int32_t code = autoListen % 2;
    if (plug.getParameterValue(kLinked) != 0.0F)
        return code;
    return 5 + 2 * code + autoListen / 2;
}

void PlainRoute::update(const Plug& plug)
{
    const auto value = [&](std::int32_t tag) { return static_cast<double>(plug.getParameterValue(tag)); };
    static constexpr std::array kHeard = {Heard::sideChain,       Heard::output,     Heard::output,
                                          Heard::passBand,        Heard::difference, Heard::firstSideChain,
                                          Heard::secondSideChain, Heard::first,      Heard::second};

    const std::int32_t code = listenCode(plug);
    bypassed = value(kBypass) != 0.0;
    midSide = value(kStereoMode) != 0.0;
    wantsExternal = value(kExtSC) != 0.0;
    parallelDry = value(kDryType) != 0.0;
    bandOnly = code == 1 || code == 7 || code == 8;
    heard = bypassed ? Heard::output : kHeard[static_cast<std::size_t>(code)];
    const auto percent = static_cast<float>(50.0 * static_cast<double>(plug.getParameter(kStereoLink)));
    otherShare = percent * 0.01;
    ownShare = (100.0 - percent) * 0.01;
    delaySamples = static_cast<std::size_t>(std::min(16384.0, value(kLookahead) * rateHz * 0.001));
    step = static_cast<std::size_t>(std::max(1.0F, static_cast<float>(plug.getSampleRate() * 5.0 / 44100.0)));
    balance = {1.0, 1.0};
    if (!bypassed && code == 2)
        balance = {std::min(1.0, 2.0 - value(kBalance) / 50.0), std::min(1.0, 2.0 + value(kBalance) / 50.0)};
    for (std::size_t c = 0; c < 2; ++c)
        updateChannel(plug, c, code);
}

void PlainRoute::updateChannel(const Plug& plug, std::size_t index, std::int32_t code)
{
    const auto global = [&](std::int32_t tag) { return static_cast<double>(plug.getParameterValue(tag)); };
    const std::int32_t twin = index == 1 && global(kLinked) == 0.0 ? kIpTrimB - kIpTrim : 0;
    const auto value = [&](std::int32_t tag) { return global(tag + twin); };
    const bool difference = code == 4;

    Channel& channel = channels[index];
    channel.input.start(gainOfDb(value(kIpTrim)));
    channel.makeup.start(difference ? 1.0 : value(kMuteComp) != 0.0 ? 0.0 : value(kMakeup));
    channel.dry.start(difference || bandOnly || value(kMuteDry) != 0.0 ? 0.0 : value(kDryGain));
    channel.output.start(difference ? 1.0 : value(kMuteOutput) != 0.0 ? 0.0 : gainOfDb(value(kOpTrim)));
    crossingThreshold[index] = global(kNoiseDetector) * 0.005 * 256.0;
    channel.detector.set({.thresholdDb = value(kThreshold),
                          .slope = value(kRatio),
                          .kneePercent = value(kSoft),
                          .ceilingDb = value(kCeil),
                          .attackMs = value(kAttack),
                          .releaseMs = value(kRelease),
                          .fastReleaseMs = value(kRelease2),
                          .rmsMs = value(kRelAvg),
                          .holdMs = value(kHold),
                          .lookaheadMs = global(kLookahead),
                          .upward = value(kExcite) != 0.0,
                          .dualRelease = global(kMode) != 0.0,
                          .smoothing = global(kSmoothing) != 0.0,
                          .rateHz = rateHz});
}

std::array<Signal, 2> PlainRoute::process(const Block& block)
{
    beginBlock(block);
    outputPosition += block.frames;
    std::array<Signal, 2> result;
    Trace trace;
    for (std::size_t i = 0; i < block.frames; ++i) {
        Pair output = processFrame(frameOf(block.main, i), frameOf(block.side, i), trace);
        for (std::size_t c = 0; c < channelCount; ++c) {
            output[c] = rounded(output[c]);
            if (channelCount == 2)
                output[c] = rounded(output[c] * balance[c]);
            result[c].push_back(output[c]);
            outputRing[c][(outputPosition + i) % kOutputRing] = output[c];
        }
        followMeters(output);
    }
    feed(trace, block.frames / step);
    return result;
}

void PlainRoute::beginBlock(const Block& block)
{
    channelCount = block.channels;
    singlePrecision = block.singlePrecision;
    encodes = midSide && channelCount == 2;
    hearsExternal = wantsExternal;
    for (std::size_t c = 0; c < channelCount; ++c) {
        hearsExternal = hearsExternal && !block.side[c].empty();
        if (!bandOnly && block.frames > 0)
            channels[c].detector.beginBlock();
    }
}

PlainRoute::Pair PlainRoute::processFrame(const Pair& input, const Pair& external, Trace& trace)
{
    const Pair bypass = delayed(&Channel::bypassRing, input);
    Pair band = encoded(input);
    for (std::size_t c = 0; c < channelCount; ++c)
        band[c] *= channels[c].input.next();
    Pair sideChain = hearsExternal ? encoded(external) : band;
    for (std::size_t c = 0; c < channelCount; ++c) {
        sideChain[c] = channels[c].gate.process(sideChain[c], crossingThreshold[c]);
        trace.sideChain[c].push_back(sideChain[c]);
    }
    if (channelCount == 1)
        sideChain[1] = 0.0;
    const Pair shared = linked(sideChain);

    Pair output = delayed(&Channel::wetRing, band);
    const Pair pass = delayed(&Channel::passRing, parallelDry ? band : Pair{}); // nothing lies beside the band
    ++delayPosition;
    for (std::size_t c = 0; c < channelCount; ++c) {
        const double makeup = channels[c].makeup.next();
        const double gain = gainOf(c, shared[c], trace);
        if (!bandOnly)
            output[c] *= makeup * (heard == Heard::difference ? 1.0 - gain : gain);
        output[c] = (output[c] + channels[c].dry.next() * pass[c]) * channels[c].output.next();
    }
    if (bypassed)
        return bypass;

    output = chosen(output, pass, {rounded(shared[0]), rounded(shared[1])});
    for (std::size_t c = 0; c < channelCount; ++c)
        trace.output[c].push_back(output[c]);
    return encodes ? Pair{output[0] + output[1], output[0] - output[1]} : output;
}

PlainRoute::Pair PlainRoute::encoded(const Pair& leftRight) const
{
    if (!encodes)
        return leftRight;
    return {(leftRight[0] + leftRight[1]) / 2.0, (leftRight[0] - leftRight[1]) / 2.0};
}

PlainRoute::Pair PlainRoute::linked(const Pair& sideChain) const
{
    return {sideChain[0] * ownShare + sideChain[1] * otherShare, sideChain[0] * otherShare + sideChain[1] * ownShare};
}

/// To the sample type of the block.
double PlainRoute::rounded(double sample) const
{
    return singlePrecision ? static_cast<double>(static_cast<float>(sample)) : sample;
}

/// The detector rests while the band alone is heard; its states keep their old entries then.
double PlainRoute::gainOf(std::size_t index, double level, Trace& trace)
{
    PlainDetector::Result result;
    if (!bandOnly) {
        result = channels[index].detector.process(level);
        trace.codes[index].push_back(result.code);
    }
    trace.gains[index].push_back(result.gain);
    return result.gain;
}

/// What is listened to, before mid and side are decoded. One channel's signal goes to both outputs.
PlainRoute::Pair PlainRoute::chosen(const Pair& output, const Pair& pass, const Pair& sideChain) const
{
    const auto both = [&](double sample) { return Pair{sample, encodes ? 0.0 : sample}; };
    if (heard == Heard::sideChain)
        return sideChain;
    if (heard == Heard::passBand)
        return pass;
    if (channelCount == 2) {
        if (heard == Heard::firstSideChain)
            return both(sideChain[0]);
        if (heard == Heard::secondSideChain)
            return both(sideChain[1]);
        if (heard == Heard::first)
            return both(output[0]);
        if (heard == Heard::second)
            return both(output[1]);
    }
    return output;
}

/// A channel that a mono block leaves out is silence to its ring.
PlainRoute::Pair PlainRoute::delayed(std::vector<double> Channel::*ring, const Pair& samples)
{
    Pair result = samples;
    for (std::size_t c = 0; c < 2; ++c) {
        std::vector<double>& cells = channels[c].*ring;
        const double before = cells[(delayPosition - delaySamples) % kDelayRing];
        cells[delayPosition % kDelayRing] = c < channelCount ? samples[c] : 0.0;
        if (delaySamples > 0)
            result[c] = before;
    }
    return result;
}

void PlainRoute::followMeters(const Pair& output)
{
    const double left = output[0];
    const double right = channelCount == 2 ? output[1] : 0.0;
    const Pair levels = midSide ? Pair{std::abs(left + right) / 2.0, std::abs(left - right) / 2.0}
                                : Pair{std::abs(left), std::abs(right)};
    for (std::size_t c = 0; c < 2; ++c)
        meters[c] = levels[c] > meters[c] ? levels[c] : meters[c] + meterRelease * (levels[c] - meters[c]);
}

void PlainRoute::feed(const Trace& trace, std::size_t entries)
{
    const auto advance = [&](std::size_t index) {
        positions[index] = static_cast<std::uint32_t>((positions[index] + entries) % kDisplayRing);
    };
    for (std::size_t c = 0; c < channelCount; ++c) {
        const std::uint32_t position = positions[2 + c];
        feedRing(c, trace.sideChain[c], positions[0], entries);
        if (!bypassed)
            feedRing(2 + c, trace.output[c], positions[1], entries);
        feedRing(4 + c, trace.gains[c], position, entries);
        for (std::size_t k = 0; k < entries && !bandOnly; ++k) {
            std::int32_t gathered = 0;
            for (std::size_t j = 0; j < step; ++j)
                gathered |= trace.codes[c][k * step + j];
            states[c][(position + k) % kDisplayRing] = gathered;
        }
        advance(2 + c);
    }
    advance(0);
    if (!bypassed)
        advance(1);
}

void PlainRoute::feedRing(std::size_t ring, const Signal& samples, std::uint32_t position, std::size_t entries)
{
    for (std::size_t k = 0; k < entries; ++k)
        rings[ring][(position + k) % kDisplayRing] = static_cast<float>(samples[k * step]);
}

Signal PlainRoute::outputSamples(std::size_t count, std::size_t channel) const
{
    Signal samples;
    for (std::size_t back = count; back > 0; --back)
        samples.push_back(outputRing[channel][(outputPosition - back) % kOutputRing]);
    return samples;
}

} // namespace sorvane::test
