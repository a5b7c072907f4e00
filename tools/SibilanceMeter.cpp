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

/// Fast because both bands of all channels go side by side, and two sections overlap in a pass, with their past in
/// registers.
struct SibilanceMeter::Kernel {
    template <std::size_t lanes>
    struct RunningSection {
        using Lanes = dsp::Vector<lanes>;

        [[gnu::always_inline]] explicit RunningSection(const Section<lanes>& section) noexcept
            : b0(dsp::load<lanes>(section.b0.data())), b1(dsp::load<lanes>(section.b1.data())),
              b2(dsp::load<lanes>(section.b2.data())), a1(dsp::load<lanes>(section.a1.data())),
              a2(dsp::load<lanes>(section.a2.data())), x1(pastOf(section.x1)), x2(pastOf(section.x2)),
              y1(pastOf(section.y1)), y2(pastOf(section.y2))
        {}

        /// Without denormals, whose arithmetic is slow on some CPUs.
        [[gnu::always_inline]] static Lanes pastOf(const std::array<double, lanes>& values) noexcept
        {
            const auto past = dsp::load<lanes>(values.data());
            return (past < 0.0 ? -past : past) < 0x1p-1021 ? Lanes{} : past;
        }

        [[gnu::always_inline]] Lanes step(const Lanes& x) noexcept
        {
            const Lanes forward = b0 * x + b1 * x1 + b2 * x2;
            const Lanes y = forward - a2 * y2 - a1 * y1; // the newest last: the next sample waits for it
            x2 = x1;
            x1 = x;
            y2 = y1;
            y1 = y;
            return y;
        }

        [[gnu::always_inline]] void save(Section<lanes>& section) const noexcept
        {
            dsp::store<lanes>(x1, section.x1.data());
            dsp::store<lanes>(x2, section.x2.data());
            dsp::store<lanes>(y1, section.y1.data());
            dsp::store<lanes>(y2, section.y2.data());
        }

        Lanes b0, b1, b2, a1, a2;
        Lanes x1, x2, y1, y2;
    };

    template <std::size_t lanes>
    [[gnu::always_inline]] static void filter(Filter<lanes>& sections, Values* samples, std::size_t count) noexcept
    {
        for (std::size_t k = 0; k < kSections; k += 2) {
            RunningSection<lanes> first(sections[k]);
            RunningSection<lanes> second(sections[k + 1]);
            for (std::size_t i = 0; i < count; ++i) {
                double* const at = samples[i].data();
                dsp::store<lanes>(second.step(first.step(dsp::load<lanes>(at))), at);
            }
            first.save(sections[k]);
            second.save(sections[k + 1]);
        }
    }

    /// Filters a frame in place.
    /// \param energies  mean squares from 5 to 10 kHz before and after, then below 3 kHz before and after
    [[gnu::always_inline]] static void run(SibilanceMeter* meter, Values* samples,
                                           std::array<double, 4>* energies) noexcept
    {
        const std::size_t count = meter->frameSamples;
        filter(meter->edges, samples, count);
        filter(meter->lowPass, samples, count);
        dsp::Vector<4> sum{};
        for (std::size_t i = 0; i < count; ++i) {
            const auto bands = dsp::load<2 * kSignals>(samples[i].data());
            const auto shares = bands * bands / static_cast<double>(count);
            sum += __builtin_shufflevector(shares, shares, 0, 1, 4, 5); // the first channel's
            sum += __builtin_shufflevector(shares, shares, 2, 3, 6, 7);
        }
        dsp::store<4>(sum, energies->data());
    }
};

SibilanceMeter::SibilanceMeter(int rateHz, int channelCount)
    : frameSamples(static_cast<std::size_t>(rateHz / 100)), channels(static_cast<std::size_t>(channelCount))
{
    design(edges, 0, dsp::FilterType::highPass, 5000.0F, rateHz);
    design(edges, kSignals, dsp::FilterType::lowPass, 3000.0F, rateHz);
    design(lowPass, 0, dsp::FilterType::lowPass, 10000.0F, rateHz);
}

/// Fills the lanes of all signals from the first one on.
template <std::size_t lanes>
void SibilanceMeter::design(Filter<lanes>& filter, std::size_t firstLane, dsp::FilterType type, float hertz, int rateHz)
{
    dsp::BLTEQ equalizer;
    equalizer.setSampleRate(static_cast<float>(rateHz));
    equalizer.setBypass(false);
    equalizer.setType(type);
    equalizer.setShape(dsp::FilterShape::butterworth);
    equalizer.setOrder(2 * kSections);
    equalizer.setFrequency(hertz);
    equalizer.update();
    const auto designed = equalizer.getCoefficients();
    for (std::size_t k = 0; k < kSections; ++k)
        filter[k].set(firstLane, designed[k]);
}

template <std::size_t lanes>
void SibilanceMeter::Section<lanes>::set(std::size_t firstLane, const dsp::BiquadSection& section)
{
    std::fill_n(b0.begin() + firstLane, kSignals, section.b0);
    std::fill_n(b1.begin() + firstLane, kSignals, section.b1);
    std::fill_n(b2.begin() + firstLane, kSignals, section.b2);
    std::fill_n(a1.begin() + firstLane, kSignals, section.a1);
    std::fill_n(a2.begin() + firstLane, kSignals, section.a2);
}

void SibilanceMeter::add(std::span<const double> before, std::span<const double> after)
{
    place(before, 0, beforeEnd);
    place(after, 1, afterEnd);
    std::size_t done = 0;
    for (; done + frameSamples <= std::min(beforeEnd, afterEnd); done += frameSamples)
        measureFrame(waiting.data() + done);
    if (done == 0)
        return;
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
            Values& lanes = waiting[end + i];
            lanes[2 * c + signal] = lanes[kSignals + 2 * c + signal] = std::isfinite(sample) ? sample : 0.0;
        }
    }
    end += samples;
}

void SibilanceMeter::measureFrame(Values* samples)
{
    std::array<double, 4> energies{};
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
