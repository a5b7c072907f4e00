#include "DF1Cascade.h"
#include "BLTEQ.h"
#include "CpuDispatch.h"
#include "FilterSettings.h"
#include "TrimoraEQ.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <numbers>
#include <random>
#include <thread>

namespace sorvane::dsp {
namespace {

using Signal = std::vector<double>;
using Sections = std::vector<BiquadSection>;

constexpr double kTolerance = 1e-12;

/// A cascade whose coefficients a test sets itself.
class Cascade final : public DF1Cascade {
public:
    void update() noexcept override {}
    using DF1Cascade::setCoefficients;
    using DF1Cascade::setIdentity;
    using DF1Cascade::switchOff;

    void run(std::span<double> buffer)
    {
        beginBlock();
        processDouble(buffer);
    }
};

Signal noise(std::size_t length, unsigned seed)
{
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    Signal signal(length);
    std::generate(signal.begin(), signal.end(), [&] { return uniform(random); });
    return signal;
}

Sections sections(std::size_t count, unsigned seed)
{
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> uniform(0.0, 1.0);
    Sections result;
    for (std::size_t i = 0; i < count; ++i) {
        const double radius = 0.9 * uniform(random);
        const double angle = std::numbers::pi * uniform(random);
        result.push_back(
            {1.0, uniform(random) - 0.5, uniform(random) - 0.5, -2.0 * radius * std::cos(angle), radius * radius});
    }
    return result;
}

/// The oracle: one section after another over the whole signal, each coefficient a function of the sample.
class PlainSection {
public:
    BiquadSection now;

    void run(Signal& signal, std::size_t from, std::size_t to, const BiquadSection& start, const BiquadSection& end)
    {
        for (std::size_t n = from; n < to; ++n) {
            const double t = std::min(static_cast<double>(n - from) / 1000.0, 1.0);
            now = {start.b0 + t * (end.b0 - start.b0), start.b1 + t * (end.b1 - start.b1),
                   start.b2 + t * (end.b2 - start.b2), start.a1 + t * (end.a1 - start.a1),
                   start.a2 + t * (end.a2 - start.a2)};
            const double x = signal[n];
            const double y = now.b0 * x + now.b1 * x1 + now.b2 * x2 - now.a1 * y1 - now.a2 * y2;
            x2 = x1;
            x1 = x;
            y2 = y1;
            y1 = y;
            signal[n] = y;
        }
    }

private:
    double x1 = 0.0;
    double x2 = 0.0;
    double y1 = 0.0;
    double y2 = 0.0;
};

double peakDifference(const Signal& a, const Signal& b)
{
    double peak = 0.0;
    for (std::size_t i = 0; i < a.size(); ++i)
        peak = std::max(peak, std::abs(a[i] - b[i]));
    return peak;
}

TEST(DF1Cascade, SlidesInAStraightLineAndRestartsFromWhereItStands)
{
    for (const std::size_t count : {1U, 2U, 5U, 16U}) {
        const auto first = sections(count, 1);
        const auto second = sections(count, 2);
        const auto input = noise(3000, 3);
        auto expected = input;
        for (std::size_t i = 0; i < count; ++i) {
            PlainSection section;
            section.run(expected, 0, 300, BiquadSection{}, first[i]);
            section.run(expected, 300, expected.size(), BiquadSection{section.now}, second[i]);
        }
        for (const std::size_t block : {1U, 7U, 64U, 300U, 3000U}) {
            Cascade cascade;
            cascade.setCoefficients(first);
            auto output = input;
            for (std::size_t n = 0; n < output.size();) {
                if (n == 300)
                    cascade.setCoefficients(second);
                const auto end = std::min(n + block, n < 300 ? 300 : output.size());
                cascade.run(std::span(output).subspan(n, end - n));
                n = end;
            }
            EXPECT_LT(peakDifference(output, expected), kTolerance) << count << " sections, block " << block;
        }
    }
}

/// Filters over signals of their own, or the later half behind the first half on the same signals. They slide one after
/// the other, and while others do.
std::vector<Signal> runFilters(const std::vector<Sections>& settings, bool inSeries, std::size_t block, bool alone)
{
    std::vector<Cascade> cascades(settings.size());
    std::vector<Signal> signals;
    const std::size_t half = settings.size() / 2;
    for (std::size_t i = 0; i < (inSeries ? half : settings.size()); ++i)
        signals.push_back(noise(3000, static_cast<unsigned>(40 + i)));
    for (std::size_t done = 0; done < 3000; done += block) {
        std::vector<DF1Cascade::Lane> lanes;
        for (std::size_t i = 0; i < settings.size(); ++i) {
            const std::size_t change = 1200 + 300 * i;
            if (done == 0 || (done >= change && done < change + block))
                cascades[i].setCoefficients(done == 0 ? settings[i] : sections(settings[i].size(), 50));
            cascades[i].beginBlock();
            Signal& signal = signals[i % signals.size()];
            lanes.push_back({&cascades[i], std::span(signal).subspan(done, std::min(block, 3000 - done))});
        }
        if (alone)
            for (const DF1Cascade::Lane& lane : lanes)
                lane.filter->processDouble(lane.buffer);
        else if (inSeries)
            DF1Cascade::processInSeries(std::span(lanes).first(half), std::span(lanes).last(half));
        else
            DF1Cascade::processTogether(lanes);
    }
    return signals;
}

TEST(DF1Cascade, FiltersTogetherAreThoseFiltersAlone)
{
    for (const VectorUnit unit : {VectorUnit::sse2, VectorUnit::avx2, VectorUnit::avx512}) {
        useVectorUnit(unit);
        for (const std::array<std::size_t, 4> counts :
             {std::array<std::size_t, 4>{16, 16, 16, 16}, {5, 5, 5, 5}, {2, 2, 3, 3}, {4, 2, 4, 4}, {1, 0, 1, 1}}) {
            std::vector<Sections> settings;
            for (std::size_t i = 0; i < counts.size(); ++i)
                settings.push_back(sections(counts[i], static_cast<unsigned>(30 + i)));
            for (const std::size_t block : {1U, 63U, 128U, 333U, 3000U})
                for (const bool inSeries : {false, true})
                    for (const auto& some : {settings, {settings[0], settings[2]}, {settings[0], settings[1]}})
                        EXPECT_TRUE(runFilters(some, inSeries, block, false) == runFilters(some, inSeries, block, true))
                            << counts[1] << " sections, block " << block << ", filters " << some.size();
        }
    }
    useVectorUnit(widestVectorUnit());
}

TEST(DF1Cascade, TakesOnlyTheNewestSet)
{
    const auto input = noise(2000, 4);
    auto expected = input;
    auto output = input;
    Cascade direct;
    direct.setCoefficients(sections(3, 6));
    direct.run(expected);
    Cascade overtaken;
    overtaken.setCoefficients(sections(5, 5));
    overtaken.setCoefficients(sections(3, 6));
    overtaken.run(output);
    EXPECT_EQ(output, expected);
}

TEST(DF1Cascade, ASectionBeyondTheCountStopsAndRejoinsWhereItStood)
{
    const auto both = sections(2, 7);
    auto output = noise(4500, 8);
    auto expected = output;
    // A change of the count alone starts the slide afresh: the first section, too, slides on from where it stands.
    PlainSection staying;
    staying.run(expected, 0, 500, BiquadSection{}, both[0]);
    staying.run(expected, 500, 2000, BiquadSection{staying.now}, both[0]);
    staying.run(expected, 2000, 4500, BiquadSection{staying.now}, both[0]);
    PlainSection leaving;
    leaving.run(expected, 0, 500, BiquadSection{}, both[1]);
    leaving.run(expected, 2000, 4500, BiquadSection{leaving.now}, both[1]);

    Cascade cascade;
    cascade.setCoefficients(both);
    cascade.run(std::span(output).first(500));
    cascade.setCoefficients(std::span(both).first(1));
    cascade.run(std::span(output).subspan(500, 1500));
    cascade.setCoefficients(both);
    cascade.run(std::span(output).subspan(2000));
    EXPECT_LT(peakDifference(output, expected), kTolerance);
}

TEST(DF1Cascade, AnIdentitySlidesThereThenLeavesTheSamplesAlone)
{
    for (const std::size_t block : {250U, 333U}) {
        for (const bool difference : {false, true}) {
            Cascade cascade;
            cascade.setDifference(difference);
            cascade.setCoefficients(sections(1, 9));
            auto settled = noise(2000, 10);
            cascade.run(settled);
            cascade.switchOff();
            Signal output;
            for (std::size_t n = 0; n < 3000; n += block) {
                auto buffer = noise(block, static_cast<unsigned>(n));
                const auto input = buffer;
                cascade.run(buffer);
                ASSERT_TRUE(cascade.isIdentity());
                if (n == 0) {
                    EXPECT_GT(peakDifference(buffer, difference ? Signal(block) : input), 0.01) << "no slide";
                } else if (n > 1000) {
                    EXPECT_EQ(buffer, difference ? Signal(block) : input) << block;
                }
            }
        }
    }
}

TEST(DF1Cascade, WakesFromAnIdentityAlikeWithAnyBlockLength)
{
    const auto input = noise(6000, 21);
    const auto run = [&input](std::size_t block) {
        Cascade cascade;
        auto output = input;
        for (std::size_t n = 0; n < output.size(); n += block) {
            if (n % 2000 == 0) {
                cascade.setIdentity(n == 2000);
                cascade.setCoefficients(n == 2000 ? Sections(3) : sections(3, 22));
            }
            cascade.run(std::span(output).subspan(n, block));
        }
        return output;
    };
    const auto expected = run(2000);
    for (const std::size_t block : {1U, 100U, 400U})
        EXPECT_LT(peakDifference(run(block), expected), kTolerance) << block;
}

TEST(DF1Cascade, ADifferenceIsTheOutputLessTheInput)
{
    const auto input = noise(2500, 11);
    for (const std::size_t count : {0U, 1U, 7U}) {
        auto expected = input;
        auto output = input;
        Cascade plain;
        plain.setCoefficients(sections(count, 12));
        plain.run(expected);
        for (std::size_t n = 0; n < input.size(); ++n)
            expected[n] -= input[n];
        Cascade cascade;
        cascade.setDifference(true);
        cascade.setCoefficients(sections(count, 12));
        cascade.run(output);
        EXPECT_LT(peakDifference(output, expected), kTolerance) << count;
    }
}

TEST(DF1Cascade, TellsTheResponseThatItsImpulseResponseHas)
{
    Cascade cascade;
    cascade.setSampleRate(48000.0F);
    cascade.setCoefficients(sections(5, 13));
    Signal silence(2000);
    cascade.run(silence);
    Signal impulse(4000);
    impulse[0] = 1.0;
    cascade.run(impulse);
    for (const double hertz : {0.0, 50.0, 1234.0, 9000.0, 24000.0}) {
        std::complex<double> sum;
        for (std::size_t n = 0; n < impulse.size(); ++n)
            sum += impulse[n] * std::polar(1.0, -2.0 * std::numbers::pi * hertz * static_cast<double>(n) / 48000.0);
        double phase = 0.0;
        EXPECT_NEAR(cascade.magnitudeAt(hertz, &phase), std::abs(sum), 1e-9 * std::abs(sum)) << hertz;
        EXPECT_LT(std::abs(cascade.responseAt(hertz) - sum), 1e-9 * std::abs(sum)) << hertz;
        EXPECT_NEAR(std::cos(phase - std::arg(sum)), 1.0, 1e-12) << hertz;
    }
    cascade.setCoefficients(Sections{{1.0, 0.0, 0.0, -2.0, 1.0}}); // poles at 0 Hz
    EXPECT_EQ(cascade.responseAt(0.0), std::complex<double>(1.0, 1.0));
    EXPECT_EQ(cascade.magnitudeAt(0.0), 0.0);
}

TEST(DF1Cascade, RunsOutIntoExactSilenceAndForgetsAtClear)
{
    BLTEQ filter;
    apply({FilterType::lowPass, FilterShape::butterworth, 8, 2000.0F}, filter);
    filter.beginBlock();
    auto buffer = noise(2000, 14);
    filter.processDouble(buffer);
    double tail = 1.0;
    for (int block = 0; block < 100 && tail != 0.0; ++block) {
        Signal silence(512);
        filter.processDouble(silence);
        tail = *std::max_element(silence.begin(), silence.end());
    }
    EXPECT_EQ(tail, 0.0) << "denormals go round";

    for (const bool bySampleRate : {false, true}) {
        filter.processDouble(buffer);
        if (bySampleRate)
            filter.setSampleRate(filter.getSampleRate());
        else
            filter.clearState();
        Signal silence(64);
        filter.processDouble(silence);
        EXPECT_EQ(silence, Signal(64));
    }
}

/// One thread updates and reads responses, another processes: for a sanitizer above all.
template <typename Filter>
void storm()
{
    Filter filter;
    apply({FilterType::peak, FilterShape::plain, 2, 1000.0F, 6.0F, 2.0F}, filter);
    std::atomic<bool> done = false;
    double peak = 0.0;
    std::thread audio([&] {
        const auto input = noise(64, 15);
        while (!done) {
            auto buffer = input;
            filter.beginBlock();
            if (!filter.isIdentity())
                filter.processDouble(buffer);
            for (const double x : buffer)
                peak = std::max(peak, std::isfinite(x) ? std::abs(x) : HUGE_VAL);
        }
    });
    const FilterSettings last{FilterType::highShelf, FilterShape::plain, 2, 4000.0F, -6.0F};
    for (int i = 0; i < 200; ++i) {
        const auto type = static_cast<FilterType>(i % 8);
        apply({type, FilterShape::butterworth, i % 9, 500.0F + 50.0F * static_cast<float>(i % 100), 6.0F}, filter);
        EXPECT_TRUE(std::isfinite(filter.magnitudeAt(1000.0) + filter.analogMagnitude(1000.0, true)));
        EXPECT_TRUE(std::isfinite(std::abs(filter.responseAt(1000.0))));
    }
    apply(last, filter);
    done = true;
    audio.join();
    EXPECT_LT(peak, 1e3);

    Filter fresh;
    apply(last, fresh);
    for (DF1Cascade* each : {static_cast<DF1Cascade*>(&filter), static_cast<DF1Cascade*>(&fresh)}) {
        Signal settling(2000);
        each->beginBlock();
        each->processDouble(settling);
        each->clearState();
    }
    auto output = noise(500, 16);
    auto expected = output;
    filter.processDouble(output);
    fresh.processDouble(expected);
    EXPECT_EQ(output, expected) << "the last set got lost or torn";
}

TEST(DF1Cascade, UpdatesStormBesideARunningBlock)
{
    storm<BLTEQ>();
    storm<TrimoraEQ>();
}

} // namespace
} // namespace sorvane::dsp
