#include "SibilanceMeter.h"

#include "BLTEQ.h"
#include "CpuDispatch.h"

#include <algorithm>
#include <cmath>

namespace sorvane::tools {

namespace {

constexpr double kAudible = 1e-5;    ///< mean square: -50 dBFS
constexpr double kVowelShare = 0.03; ///< most energy from 5 to 10 kHz beside that below 3 kHz: -15 dB

double decibels(double meanSquare)
{
    return 10.0 * std::log10(std::max(meanSquare, 1e-30));
}

} // namespace

/// The recursions of all lanes at once. Fast because two sections overlap in a pass, with their past in registers.
struct SibilanceMeter::Kernel {
    using Lanes = dsp::Vector<kLanes>;

    struct RunningStage {
        [[gnu::always_inline]] explicit RunningStage(const Stage& stage) noexcept
            : section(stage.section), x1(pastOf(stage.x1)), x2(pastOf(stage.x2)), y1(pastOf(stage.y1)),
              y2(pastOf(stage.y2))
        {}

        /// Without denormals, whose arithmetic is slow on some CPUs.
        [[gnu::always_inline]] static Lanes pastOf(const Values& values) noexcept
        {
            const auto past = dsp::load<kLanes>(values.data());
            return (past < 0.0 ? -past : past) < 0x1p-1021 ? Lanes{} : past;
        }

        [[gnu::always_inline]] Lanes step(const Lanes& x) noexcept
        {
            const Lanes forward = section.b0 * x + section.b1 * x1 + section.b2 * x2;
            const Lanes y = forward - section.a2 * y2 - section.a1 * y1; // the newest last: the next step waits for it
            x2 = x1;
            x1 = x;
            y2 = y1;
            y1 = y;
            return y;
        }

        [[gnu::always_inline]] void save(Stage& stage) const noexcept
        {
            dsp::store<kLanes>(x1, stage.x1.data());
            dsp::store<kLanes>(x2, stage.x2.data());
            dsp::store<kLanes>(y1, stage.y1.data());
            dsp::store<kLanes>(y2, stage.y2.data());
        }

        dsp::BiquadSection section;
        Lanes x1, x2, y1, y2;
    };

    /// \param stages  an even number of them
    [[gnu::always_inline]] static void filter(std::span<Stage> stages, const Values* from, Values* to,
                                              std::size_t samples) noexcept
    {
        for (std::size_t stage = 0; stage < stages.size(); stage += 2) {
            RunningStage first(stages[stage]);
            RunningStage second(stages[stage + 1]);
            for (std::size_t i = 0; i < samples; ++i)
                dsp::store<kLanes>(second.step(first.step(dsp::load<kLanes>(from[i].data()))), to[i].data());
            first.save(stages[stage]);
            second.save(stages[stage + 1]);
            from = to;
        }
    }

    /// Mean squares: of the band before and after, then below 3 kHz before and after.
    [[gnu::always_inline]] static void run(SibilanceMeter* meter, Values* samples, Values* energies) noexcept
    {
        const std::size_t count = meter->frameSamples;
        Values* const band = meter->band.data();
        filter(meter->highPass, samples, band, count);
        filter(meter->lowPass, band, band, count);
        filter(meter->low, samples, samples, count);
        const auto share = static_cast<double>(count);
        Lanes sum{};
        for (std::size_t i = 0; i < count; ++i) {
            const auto inBand = dsp::load<kLanes>(band[i].data());
            const auto below = dsp::load<kLanes>(samples[i].data());
            const Lanes bandSquares = inBand * inBand / share;
            const Lanes lowSquares = below * below / share;
            sum += __builtin_shufflevector(bandSquares, lowSquares, 0, 1, 4, 5); // of the first channel
            sum += __builtin_shufflevector(bandSquares, lowSquares, 2, 3, 6, 7);
        }
        dsp::store<kLanes>(sum, energies->data());
    }
};

SibilanceMeter::SibilanceMeter(int rateHz, int channelCount)
    : frameSamples(static_cast<std::size_t>(rateHz / 100)), channels(static_cast<std::size_t>(channelCount)),
      highPass(design(dsp::FilterType::highPass, 5000.0F, rateHz)),
      lowPass(design(dsp::FilterType::lowPass, 10000.0F, rateHz)),
      low(design(dsp::FilterType::lowPass, 3000.0F, rateHz)), band(frameSamples)
{}

SibilanceMeter::Filter SibilanceMeter::design(dsp::FilterType type, float hertz, int rateHz)
{
    dsp::BLTEQ equalizer;
    equalizer.setSampleRate(static_cast<float>(rateHz));
    equalizer.setBypass(false);
    equalizer.setType(type);
    equalizer.setShape(dsp::FilterShape::butterworth);
    equalizer.setOrder(16);
    equalizer.setFrequency(hertz);
    equalizer.update();
    Filter filter;
    for (const dsp::BiquadSection& section : equalizer.getCoefficients())
        filter.push_back({.section = section});
    filter.resize(filter.size() + filter.size() % 2); // a pass runs two
    return filter;
}

void SibilanceMeter::add(std::span<const double> before, std::span<const double> after)
{
    place(before, 0, beforeEnd);
    place(after, 1, afterEnd);
    std::size_t done = 0;
    for (; done + frameSamples <= std::min(beforeEnd, afterEnd); done += frameSamples)
        measureFrame(waiting.data() + done);
    std::copy(waiting.data() + done, waiting.data() + std::max(beforeEnd, afterEnd), waiting.data());
    beforeEnd -= done;
    afterEnd -= done;
}

/// Puts samples of one signal into its lanes, behind those that wait.
void SibilanceMeter::place(std::span<const double> interleaved, std::size_t signal, std::size_t& end)
{
    const std::size_t samples = interleaved.size() / channels;
    waiting.resize(std::max(waiting.size(), end + samples));
    for (std::size_t c = 0; c < channels; ++c) {
        for (std::size_t i = 0; i < samples; ++i) {
            const double sample = interleaved[i * channels + c];
            waiting[end + i][2 * c + signal] = std::isfinite(sample) ? sample : 0.0;
        }
    }
    end += samples;
}

void SibilanceMeter::measureFrame(Values* samples)
{
    Values energies;
    dsp::CpuDispatch<&Kernel::run>::run(this, samples, &energies);
    const auto [bandBefore, bandAfter, lowBefore, lowAfter] = energies;
    if (bandBefore + lowBefore < kAudible)
        return;
    if (bandBefore > lowBefore)
        fricatives.add(bandBefore, bandAfter);
    if (bandBefore < kVowelShare * lowBefore)
        vowels.add(bandBefore, bandAfter);
    lows.add(lowBefore, lowAfter);
}

void SibilanceMeter::Energies::add(double frameBefore, double frameAfter)
{
    before += frameBefore;
    after += frameAfter;
    ++frames;
}

bool SibilanceMeter::compare(Sibilance& result) const
{
    if (fricatives.frames == 0 || vowels.frames == 0)
        return false;
    const auto count = static_cast<double>(fricatives.frames);
    result.before = decibels(fricatives.before / count);
    result.after = decibels(fricatives.after / count);
    result.vowelChangeDb = decibels(vowels.after) - decibels(vowels.before);
    result.lowChangeDb = decibels(lows.after) - decibels(lows.before);
    return true;
}

} // namespace sorvane::tools
