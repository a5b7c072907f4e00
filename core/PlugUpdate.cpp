// The road from the parameters to the engine.

#include "AudioThreadScope.h"
#include "InstanceTimer.h"
#include "Plug.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace sorvane::core {

namespace {

/// What is heard; the numbers are those of the parameter kListen and its narrowing to one channel.
enum ListenCode : std::int32_t {
    listenSideChain = 0,
    listenSplit = 1,
    listenOutput = 2,
    listenPass = 3,
    listenDifference = 4,
    listenSideChainFirst = 5,
    listenSideChainSecond = 6,
    listenSplitFirst = 7,
    listenSplitSecond = 8,
};

/// Signal of each listen code.
constexpr std::array<CoreListen, 9> kCoreListen = {
    CoreListen::sideChain,       CoreListen::output,     CoreListen::output,
    CoreListen::passBand,        CoreListen::difference, CoreListen::sideChainFirst,
    CoreListen::sideChainSecond, CoreListen::splitFirst, CoreListen::splitSecond,
};

/// Display entries are made at 5 for each 44100 Hz of the rate; the step is rounded to 32 bits before it is cut.
std::int32_t displayDecimation(float rateHz)
{
    return static_cast<std::int32_t>(static_cast<float>(static_cast<double>(rateHz) * 5.0 / 44100.0));
}

bool hearsBandOnly(std::int32_t code)
{
    return code == listenSplit || code == listenSplitFirst || code == listenSplitSecond;
}

double gainOfDecibels(double decibels)
{
    return std::pow(10.0, decibels * 0.05);
}

} // namespace

/// The cheap half runs on every thread, at once where it can. Whoever holds its lock works for all: a thread that may
/// not wait leaves its request, and the holder looks for one after it has let go, so that none is lost. The filter
/// design belongs to threads that may wait; on any other it is left to the timer.
void Plug::updateParameters(bool full)
{
    // An offline render's thread has time to wait, and its blocks can't go on without. The timer's is never an audio
    // thread, even if a host runs a block in a call that it gets there.
    const bool mayWait =
        !platform::AudioThreadScope::active() &&
        (!platform::AudioThreadScope::isAudioThread() || offline || host::InstanceTimer::instance().isTimerThread());
    updateRequested.set();
    while (updateRequested.isSet()) {
        if (mayWait)
            updateLock.lock();
        else if (!updateLock.tryLock())
            break;
        while (updateRequested.testAndClear())
            engine.publish(makeEngineSettings());
        updateLock.unlock();
    }

    if (full)
        fullRequested.set();
    if (!mayWait && !offline)
        return designPending.set();
    designLock.lock();
    if (isDesignDue())
        designFilters();
    else
        designPending.set();
    designLock.unlock();
}

/// At most one design in 100 ms, or in 4096 samples, unless it is forced.
bool Plug::isDesignDue() noexcept
{
    constexpr std::uint32_t kSamplesBetweenDesigns = 4096;
    const std::int64_t tick = designClock.milliseconds() * 10 / 1000;
    if (sampleCount >= kSamplesBetweenDesigns)
        sampleCount = 0;
    else if (tick == lastDesignTick && !fullRequested.isSet() && !offline)
        return false;
    lastDesignTick = tick;
    return true;
}

void Plug::designFilters() noexcept
{
    designPending.testAndClear(); // first: what changes from here on asks anew
    fullRequested.testAndClear();
    const SplitMode mode{.linearPhase = isOn(parameter(kLinearPhase)),
                         .highQuality = isOn(parameter(kHQSplit)),
                         .dryMode = isOn(parameter(kDryType)) ? DryMode::parallel : DryMode::remainder,
                         .halfRateHz = getSampleRate() * 0.5};
    std::array<SplitParameters, 2> splits;
    for (std::size_t channel = 0; channel < 2; ++channel) {
        const std::int32_t twin = twinOffset(channel);
        splits[channel] = splitParameters(twin);
        engine.sideChainEQ(channel).design(sideChainEdge(kSCHPF + twin), sideChainEdge(kSCLPF + twin),
                                           {.on = isOn(parameter(kSCPeak + twin)),
                                            .gainDb = parameter(kSCPeakGain + twin).value,
                                            .frequencyHz = parameter(kSCPeakFreq + twin).value,
                                            .q = parameter(kSCPeakQ + twin).value});
    }
    if (!engine.split().design(splits, mode))
        designPending.set(); // no memory now; the timer tries again
}

SplitParameters Plug::splitParameters(std::int32_t twin) const noexcept
{
    const auto value = [&](std::int32_t tag) { return parameter(tag + twin).value.load(); };
    return {.on = isOn(parameter(kSplitBPF + twin)),
            .type = static_cast<SplitType>(value(kSplitType)),
            .frequencyHz = value(kSplitBPFFreq),
            .q = value(kSplitBPFQ),
            .highPassSlope = static_cast<std::int32_t>(value(kSplitHPFSlope)),
            .lowPassSlope = static_cast<std::int32_t>(value(kSplitLPFSlope))};
}

/// \param first  the switch of the band; its frequency, slope, type and gain follow
SideChainEdge Plug::sideChainEdge(std::int32_t first) const noexcept
{
    static_assert(kSCHPFGain - kSCHPF == kSCLPFGain - kSCLPF && kSCHPFType - kSCHPF == kSCLPFType - kSCLPF);
    return {.on = isOn(parameter(first)),
            .isShelf = isOn(parameter(first + (kSCHPFType - kSCHPF))),
            .frequencyHz = parameter(first + (kSCHPFFreq - kSCHPF)).value,
            .slope = static_cast<std::int32_t>(parameter(first + (kSCHPFSlope - kSCHPF)).value),
            .gainDb = parameter(first + (kSCHPFGain - kSCHPF)).value};
}

std::int32_t Plug::twinOffset(std::size_t channel) const noexcept
{
    return channel == 1 && !isOn(parameter(kLinked)) ? kTwinOffset : 0;
}

EngineSettings Plug::makeEngineSettings() const noexcept
{
    const double rateHz = engineRate;
    const std::int32_t code = listenCode();

    EngineSettings settings;
    settings.bypassed = isOn(parameter(kBypass));
    settings.midSide = isOn(parameter(kStereoMode));
    settings.externalSC = isOn(parameter(kExtSC));
    settings.splitSource = isOn(parameter(kSCSource));
    settings.oversampled = isOn(parameter(kOverSample));
    settings.highQualityOversampling = isOn(parameter(kHQOversample));
    settings.lookaheadSamples = lookaheadSamples(parameter(kLookahead).value, rateHz);
    settings.decimation = displayDecimation(getSampleRate());

    const auto share = static_cast<float>(static_cast<double>(parameter(kStereoLink).normal) * 50.0);
    const double across = share * 0.01;
    const double own = (100.0 - share) * 0.01;
    settings.link = {.m00 = own, .m01 = across, .m10 = across, .m11 = own};

    setListening(settings, code);
    for (std::size_t channel = 0; channel < 2; ++channel)
        settings.channels[channel] = channelSettings(channel, code, settings.oversampled ? 2.0 * rateHz : rateHz);
    return settings;
}

/// Auto-listen overrules the user's choice while a frequency is held, and narrows it to the channel under the hand.
std::int32_t Plug::listenCode() const noexcept
{
    static constexpr std::array kSources = {listenSplit, listenPass, listenDifference};

    const std::int32_t mode = autoListenMode;
    auto code = static_cast<std::int32_t>(parameter(kListen).value);
    if (mode < 0 || mode > 3)
        return code;
    const bool sideChain = mode == 0 || mode == 2;
    code = sideChain ? listenSideChain : kSources[static_cast<std::uint32_t>(autoListenSource) % kSources.size()];
    if (isOn(parameter(kLinked)))
        return code;
    const bool first = mode < 2;
    if (code == listenSideChain)
        return first ? listenSideChainFirst : listenSideChainSecond;
    if (code == listenSplit)
        return first ? listenSplitFirst : listenSplitSecond;
    return code;
}

void Plug::setListening(EngineSettings& settings, std::int32_t code) const noexcept
{
    if (settings.bypassed)
        return; // the delayed input, unbalanced
    settings.coreListen = kCoreListen[static_cast<std::size_t>(code)];
    if (code == listenOutput) {
        // Neither side is attenuated before the control is half-way to the other.
        const double balance = parameter(kBalance).value * 0.01;
        settings.balanceLeft = std::min(1.0, 2.0 * (1.0 - balance));
        settings.balanceRight = std::min(1.0, 2.0 * (1.0 + balance));
    }
}

ChannelSettings Plug::channelSettings(std::size_t channel, std::int32_t code, double detectorRateHz) const noexcept
{
    const std::int32_t twin = twinOffset(channel);
    const auto value = [&](std::int32_t tag) { return static_cast<double>(parameter(tag + twin).value); };
    const auto on = [&](std::int32_t tag) { return isOn(parameter(tag + twin)); };

    ChannelSettings settings;
    settings.inputGain = gainOfDecibels(value(kIpTrim));
    settings.makeupGain = on(kMuteComp) ? 0.0 : value(kMakeup);
    settings.dryGain = on(kMuteDry) || hearsBandOnly(code) ? 0.0 : value(kDryGain);
    settings.outputGain = on(kMuteOutput) ? 0.0 : gainOfDecibels(value(kOpTrim));
    if (code == listenDifference) {
        settings.dryGain = 0.0;
        settings.makeupGain = 1.0;
        settings.outputGain = 1.0;
    }
    settings.splitListen = hearsBandOnly(code);
    settings.crossingThreshold = parameter(kNoiseDetector).value * 0.005 * 256.0;
    settings.detector = makeDetectorSettings(detectorParameters(twin), detectorRateHz);
    return settings;
}

DetectorParameters Plug::detectorParameters(std::int32_t twin) const noexcept
{
    const auto value = [&](std::int32_t tag) { return parameter(tag + twin).value.load(); };
    return {.thresholdDb = value(kThreshold),
            .ratio = value(kRatio),
            .kneePercent = value(kSoft),
            .ceilingDb = value(kCeil),
            .attackMs = value(kAttack),
            .releaseMs = value(kRelease),
            .fastReleaseMs = value(kRelease2),
            .rmsMs = value(kRelAvg),
            .holdMs = value(kHold),
            .lookaheadMs = parameter(kLookahead).value,
            .upward = isOn(parameter(kExcite + twin)),
            .dualRelease = isOn(parameter(kMode)),
            .smoothing = isOn(parameter(kSmoothing))};
}

} // namespace sorvane::core
