#include "BandSplit.h"

#include "BlockMath.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <vector>

namespace sorvane::core {

using dsp::FilterShape;
using dsp::FilterType;

namespace {

/// How the three split filters are set for a type.
struct Layout {
    bool lowPass;
    bool highPass;
    bool bandPass;
    FilterShape shape;
};

Layout layoutOf(const SplitParameters& parameters)
{
    if (!parameters.on)
        return {false, false, false, FilterShape::coincident};
    switch (parameters.type) {
    case SplitType::coincidentBandPass:
        return {true, true, false, FilterShape::coincident};
    case SplitType::butterworthBandPass:
        return {true, true, false, FilterShape::butterworth};
    case SplitType::secondOrderBandPass:
        return {false, true, true, FilterShape::coincident}; // the high-pass has no sections
    case SplitType::coincidentLowPass:
        return {true, false, false, FilterShape::coincident};
    case SplitType::butterworthLowPass:
        return {true, false, false, FilterShape::butterworth};
    case SplitType::coincidentHighPass:
        return {false, true, false, FilterShape::coincident};
    case SplitType::butterworthHighPass:
        break;
    }
    return {false, true, false, FilterShape::butterworth};
}

/// Ratio of either edge of a band-pass to its centre: r with r - 1 / r = 1 / q.
double edgeRatio(double q)
{
    return std::sqrt(1.0 + (0.5 + std::sqrt(q * q + 0.25)) / (q * q));
}

/// How far above a low-pass's frequency the high-pass that complements it stands; a high-pass's low-pass lies as far
/// below.
double complementRatio(const dsp::EQ& filter)
{
    const std::int32_t order = filter.getOrder();
    if (filter.getShape() == FilterShape::butterworth)
        return order > 0 ? std::pow(3.0, 1.0 / order) : 1.0;
    const std::int32_t pairs = order / 2;
    const double k = pairs;
    const double o = order % 2;
    return k > 0.0 ? (std::sqrt(8.0 * k + o) - o) / (std::sqrt(4.0 * k + o) - o) : 1.0;
}

void complementEdge(dsp::BLTEQ& complement, FilterType type, const dsp::EQ& filter, double ratio)
{
    complement.setBypass(filter.getBypass());
    complement.setShape(filter.getShape());
    complement.setOrder(filter.getOrder());
    complement.setType(type);
    complement.setFrequency(static_cast<float>(filter.getFrequency() * ratio));
}

} // namespace

void BandSplit::setRate(float rateHz) noexcept
{
    for (Channel& channel : channelFilters)
        for (dsp::BLTEQ* filter : {&channel.splitHPF, &channel.splitLPF, &channel.splitBPF, &channel.restLPF,
                                   &channel.restHPF, &channel.restNotch})
            filter->setSampleRate(rateHz);
}

void BandSplit::reset() noexcept
{
    for (Channel& channel : channelFilters) {
        for (dsp::BLTEQ* filter : {&channel.splitHPF, &channel.splitLPF, &channel.splitBPF, &channel.restLPF,
                                   &channel.restHPF, &channel.restNotch})
            filter->clearState();
        channel.restDelay.clear();
        channel.sideDelay.clear();
    }
    fir.clear();
    delayPlace.next = 0;
}

bool BandSplit::design(const std::array<SplitParameters, 2>& channels, const SplitMode& mode) noexcept
{
    for (std::size_t c = 0; c < 2; ++c)
        setSplit(channelFilters[c], channels[c], mode);
    // The running filters stay as they are while kernels take their place: until the audio thread changes over it runs
    // on them, and this design is meant for kernels.
    if (mode.linearPhase) {
        if (!rebuildKernels(mode))
            return false;
    } else {
        updateFilters();
    }
    // Last: whoever takes the mode finds what serves it.
    mailbox.publish({.linearPhase = mode.linearPhase, .dryMode = mode.dryMode});
    publishedDelay = mode.linearPhase ? kernelSource.length / 2 : 0;
    return true;
}

void BandSplit::setSplit(Channel& channel, const SplitParameters& parameters, const SplitMode& mode) noexcept
{
    const Layout layout = layoutOf(parameters);
    const bool isBand = layout.lowPass && layout.highPass;
    // A second-order band-pass and a split that is off have no edges with sections.
    const bool hasEdges = parameters.on && !layout.bandPass;
    const double frequency = parameters.frequencyHz;
    const double ratio = isBand ? edgeRatio(parameters.q) : 1.0;
    const double upper = isBand ? std::min(frequency * ratio, mode.halfRateHz) : frequency;

    channel.splitLPF.setBypass(!layout.lowPass);
    channel.splitLPF.setOrder(hasEdges ? parameters.lowPassSlope / 6 : 0);
    channel.splitLPF.setType(FilterType::lowPass);
    channel.splitLPF.setShape(layout.shape);
    channel.splitLPF.setFrequency(static_cast<float>(upper));

    channel.splitHPF.setBypass(!layout.highPass);
    channel.splitHPF.setOrder(hasEdges ? parameters.highPassSlope / 6 : 0);
    channel.splitHPF.setType(FilterType::highPass);
    channel.splitHPF.setShape(layout.shape);
    channel.splitHPF.setFrequency(static_cast<float>(frequency / ratio));

    channel.splitBPF.setBypass(!layout.bandPass);
    channel.splitBPF.setType(FilterType::bandPass);
    channel.splitBPF.setFrequency(static_cast<float>(frequency));
    channel.splitBPF.setQ(static_cast<float>(parameters.q));

    // Both edges take a little at the centre; the linear-phase band gets it back and reads 0 dB there.
    channel.splitLPF.setGain(0.0F);
    if (isBand && mode.linearPhase) {
        const double centre =
            channel.splitHPF.analogMagnitude(frequency, false) * channel.splitLPF.analogMagnitude(frequency, false);
        channel.splitLPF.setGain(static_cast<float>(-20.0 * std::log10(centre)));
    }
}

void BandSplit::updateFilters() noexcept
{
    for (Channel& channel : channelFilters) {
        channel.splitLPF.update();
        channel.splitHPF.update();
        channel.splitBPF.update();
        rebuildComplements(channel);
    }
}

void BandSplit::rebuildComplements(Channel& channel) noexcept
{
    complementEdge(channel.restHPF, FilterType::highPass, channel.splitLPF, complementRatio(channel.splitLPF));
    complementEdge(channel.restLPF, FilterType::lowPass, channel.splitHPF, 1.0 / complementRatio(channel.splitHPF));
    channel.restNotch.setBypass(channel.splitBPF.getBypass());
    channel.restNotch.setType(FilterType::notch);
    channel.restNotch.setQ(channel.splitBPF.getQ());
    channel.restNotch.setFrequency(channel.splitBPF.getFrequency());
    channel.restHPF.update();
    channel.restLPF.update();
    channel.restNotch.update();
}

bool BandSplit::rebuildKernels(const SplitMode& mode) noexcept
{
    KernelSource source;
    for (std::size_t c = 0; c < 2; ++c) {
        const Channel& channel = channelFilters[c];
        source.filters[c] = {channel.splitHPF.design(false), channel.splitLPF.design(false),
                             channel.splitBPF.design(false)};
    }
    source.length = mode.highQuality ? dsp::LinearPhaseFIR::kHqLength : dsp::LinearPhaseFIR::kLength;
    source.rateHz = channelFilters[0].splitHPF.getSampleRate();
    if (source == kernelSource)
        return true;

    try {
        const auto bins = static_cast<std::size_t>(source.length) / 2 + 1;
        std::array<std::vector<double>, 2> magnitudes;
        for (std::size_t c = 0; c < 2; ++c) {
            const bool sameAsFirst = c == 1 && source.filters[1] == source.filters[0];
            if (sameAsFirst) {
                magnitudes[1] = magnitudes[0];
                continue;
            }
            magnitudes[c].resize(bins);
            for (std::size_t i = 0; i < bins; ++i) {
                const double hertz = static_cast<double>(i) * source.rateHz / source.length;
                double magnitude = 1.0;
                for (const dsp::AnalogCascade& filter : source.filters[c])
                    magnitude *= filter.magnitude(hertz);
                magnitudes[c][i] = magnitude;
            }
        }
        if (!fir.load(source.length, {magnitudes[0], magnitudes[1]}))
            return false;
    } catch (const std::bad_alloc&) {
        return false;
    }
    kernelSource = source;
    return true;
}

const dsp::DF1Cascade& BandSplit::filter(std::size_t channel, Edge edge) const noexcept
{
    const Channel& filters = channelFilters[channel];
    switch (edge) {
    case Edge::highPass:
        return filters.splitHPF;
    case Edge::lowPass:
        return filters.splitLPF;
    case Edge::bandPass:
        break;
    }
    return filters.splitBPF;
}

void BandSplit::beginBlock() noexcept
{
    if (const InForce* const newest = mailbox.take()) {
        linearPhase = newest->linearPhase;
        dryMode = newest->dryMode;
        // Only now, as they lie far apart: asking each of them in every block would fetch as many cache lines.
        for (Channel& channel : channelFilters)
            for (dsp::BLTEQ* filter : {&channel.splitHPF, &channel.splitLPF, &channel.splitBPF, &channel.restLPF,
                                       &channel.restHPF, &channel.restNotch})
                filter->beginBlock();
    }
    fir.acceptPending();
}

void BandSplit::process(std::span<const Signals> signals) noexcept
{
    if (linearPhase)
        return splitLinearPhase(signals);
    for (const Signals& signal : signals)
        std::copy(signal.band.begin(), signal.band.end(), signal.rest.begin());
    const Lanes lowPass = lanesOf(&Channel::splitLPF, 0, signals, &Signals::band);
    const Lanes highPass = lanesOf(&Channel::splitHPF, 0, signals, &Signals::band);
    dsp::DF1Cascade::processInSeries(std::span(lowPass).first(signals.size()),
                                     std::span(highPass).first(signals.size()));
    filter(&Channel::splitBPF, 0, signals, &Signals::band);
    if (dryMode != DryMode::remainder)
        return;
    if (signals.size() == 2 && complementOf(0) == complementOf(1))
        return complement(0, signals);
    for (std::size_t c = 0; c < signals.size(); ++c)
        complement(c, signals.subspan(c, 1));
}

void BandSplit::splitLinearPhase(std::span<const Signals> signals) noexcept
{
    std::array<std::span<double>, 2> bands;
    for (std::size_t c = 0; c < signals.size(); ++c) {
        bands[c] = signals[c].band;
        channelFilters[c].restDelay.process(signals[c].band, signals[c].rest, fir.delaySamples(), delayPlace);
    }
    fir.process(std::span(bands).first(signals.size()));
    if (dryMode == DryMode::remainder)
        for (const Signals& signal : signals)
            dsp::addScaled(signal.band, -1.0, signal.rest);
}

/// \param first    channel of the first signal
/// \param signals  of one channel or of both; there are as many lanes, from the first on
BandSplit::Lanes BandSplit::lanesOf(Filter filter, std::size_t first, std::span<const Signals> signals,
                                    Place place) noexcept
{
    Lanes lanes;
    for (std::size_t i = 0; i < signals.size(); ++i)
        lanes[i] = {&(channelFilters[first + i].*filter), signals[i].*place};
    return lanes;
}

void BandSplit::filter(Filter filter, std::size_t first, std::span<const Signals> signals, Place place) noexcept
{
    const Lanes lanes = lanesOf(filter, first, signals, place);
    dsp::DF1Cascade::processTogether(std::span(lanes).first(signals.size()));
}

BandSplit::Complement BandSplit::complementOf(std::size_t channel) const noexcept
{
    const Channel& filters = channelFilters[channel];
    if (!filters.restNotch.isIdentity())
        return Complement::notch;
    const bool below = !filters.restLPF.isIdentity();
    const bool above = !filters.restHPF.isIdentity();
    if (below && above)
        return Complement::both;
    return below ? Complement::below : above ? Complement::above : Complement::nothing;
}

/// \param first    channel of the first signal
/// \param signals  of one channel, or of two that are complemented alike
void BandSplit::complement(std::size_t first, std::span<const Signals> signals) noexcept
{
    switch (complementOf(first)) {
    case Complement::nothing:
        for (const Signals& signal : signals)
            std::fill(signal.rest.begin(), signal.rest.end(), 0.0);
        break;
    case Complement::below:
        filter(&Channel::restLPF, first, signals, &Signals::rest);
        break;
    case Complement::above:
        filter(&Channel::restHPF, first, signals, &Signals::rest);
        break;
    case Complement::both:
        for (const Signals& signal : signals)
            std::copy(signal.rest.begin(), signal.rest.end(), signal.scratch.begin());
        filterSides(first, signals);
        for (const Signals& signal : signals)
            for (std::size_t i = 0; i < signal.rest.size(); ++i)
                signal.rest[i] += signal.scratch[i];
        break;
    case Complement::notch:
        filter(&Channel::restNotch, first, signals, &Signals::rest);
        break;
    }
}

/// Both complements of a band-pass, the one above in the scratch buffers.
void BandSplit::filterSides(std::size_t first, std::span<const Signals> signals) noexcept
{
    const Lanes above = lanesOf(&Channel::restHPF, first, signals, &Signals::scratch);
    const Lanes below = lanesOf(&Channel::restLPF, first, signals, &Signals::rest);
    std::array<dsp::DF1Cascade::Lane, 4> lanes;
    std::copy_n(above.begin(), signals.size(), lanes.begin());
    std::copy_n(below.begin(), signals.size(), lanes.begin() + static_cast<std::ptrdiff_t>(signals.size()));
    dsp::DF1Cascade::processTogether(std::span(lanes).first(2 * signals.size()));
}

void BandSplit::delaySideChain(std::size_t channel, std::span<double> side) noexcept
{
    if (linearPhase)
        channelFilters[channel].sideDelay.process(side, fir.delaySamples(), delayPlace);
}

void BandSplit::advance(std::size_t frames) noexcept
{
    delayPlace.advance(frames);
}

} // namespace sorvane::core
