#include "SibilanceMeter.h"

#include <algorithm>
#include <cmath>

namespace sorvane::tools {

namespace {

constexpr double kAudible = 1e-5;    ///< mean square: -50 dBFS
constexpr double kVowelShare = 0.03; ///< most energy from 5 to 10 kHz beside that below 3 kHz: -15 dB

void design(dsp::BLTEQ& filter, dsp::FilterType type, float hertz, int rateHz)
{
    filter.setSampleRate(static_cast<float>(rateHz));
    filter.setBypass(false);
    filter.setType(type);
    filter.setShape(dsp::FilterShape::butterworth);
    filter.setOrder(16);
    filter.setFrequency(hertz);
    filter.update();
    // A fresh filter slides from a unity pass to its design; it is to measure from the first sample.
    std::vector<double> silence(2048);
    filter.beginBlock();
    filter.processDouble(silence);
}

double decibels(double meanSquare)
{
    return 10.0 * std::log10(std::max(meanSquare, 1e-30));
}

} // namespace

SibilanceMeter::SibilanceMeter(int rateHz, int channels) : frameSamples(static_cast<std::size_t>(rateHz / 100))
{
    for (int c = 0; c < channels; ++c) {
        auto filters = std::make_unique<Filters>();
        design(filters->highPass, dsp::FilterType::highPass, 5000.0F, rateHz);
        design(filters->lowPass, dsp::FilterType::lowPass, 10000.0F, rateHz);
        design(filters->low, dsp::FilterType::lowPass, 3000.0F, rateHz);
        channelFilters.push_back(std::move(filters));
    }
}

void SibilanceMeter::add(std::span<const double> interleaved)
{
    using Lane = dsp::DF1Cascade::Lane;
    const std::size_t channels = channelFilters.size();
    const std::size_t samples = interleaved.size() / channels;
    band.resize(interleaved.size());
    low.resize(interleaved.size());
    std::vector<Lane> edges; // all that take the signal itself: side by side
    std::vector<Lane> lowPasses;
    for (std::size_t c = 0; c < channels; ++c) {
        const auto bandOf = std::span(band).subspan(c * samples, samples);
        const auto lowOf = std::span(low).subspan(c * samples, samples);
        for (std::size_t i = 0; i < samples; ++i)
            bandOf[i] = lowOf[i] = std::isfinite(interleaved[i * channels + c]) ? interleaved[i * channels + c] : 0.0;
        edges.push_back({&channelFilters[c]->highPass, bandOf});
        edges.push_back({&channelFilters[c]->low, lowOf});
        lowPasses.push_back({&channelFilters[c]->lowPass, bandOf});
    }
    dsp::DF1Cascade::processTogether(edges);
    dsp::DF1Cascade::processTogether(lowPasses);
    for (std::size_t i = 0; i < samples; ++i) {
        for (std::size_t at = i; at < band.size(); at += samples) {
            current.band += band[at] * band[at] / static_cast<double>(frameSamples);
            current.low += low[at] * low[at] / static_cast<double>(frameSamples);
        }
        if (++filled == frameSamples) {
            frames.push_back(current);
            current = {};
            filled = 0;
        }
    }
}

bool SibilanceMeter::compare(const SibilanceMeter& before, const SibilanceMeter& after, Sibilance& result)
{
    struct Sum {
        double before = 0.0;
        double after = 0.0;
        std::size_t frames = 0;
    };
    Sum fricatives;
    Sum vowels;
    Sum low;
    for (std::size_t i = 0; i < std::min(before.frames.size(), after.frames.size()); ++i) {
        const Frame& was = before.frames[i];
        const Frame& is = after.frames[i];
        if (was.band + was.low < kAudible)
            continue;
        for (Sum* sum : {&fricatives, &vowels}) {
            const bool belongs = sum == &fricatives ? was.band > was.low : was.band < kVowelShare * was.low;
            sum->before += belongs ? was.band : 0.0;
            sum->after += belongs ? is.band : 0.0;
            sum->frames += belongs ? 1 : 0;
        }
        low.before += was.low;
        low.after += is.low;
    }
    if (fricatives.frames == 0 || vowels.frames == 0)
        return false;
    const auto count = static_cast<double>(fricatives.frames);
    result.before = decibels(fricatives.before / count);
    result.after = decibels(fricatives.after / count);
    result.vowelChangeDb = decibels(vowels.after) - decibels(vowels.before);
    result.lowChangeDb = decibels(low.after) - decibels(low.before);
    return true;
}

} // namespace sorvane::tools
