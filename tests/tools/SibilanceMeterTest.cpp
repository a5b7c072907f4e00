#include "SibilanceMeter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <span>
#include <utility>
#include <vector>

namespace sorvane::test {
namespace {

using tools::Sibilance;
using tools::SibilanceMeter;

constexpr int kRateHz = 48000;

/// A second each of fricative and vowel in turn, with tones of 4 and 15 kHz that belong to neither band.
std::vector<double> voice(int channels, double fricative, double vowelBand, double vowelLow)
{
    std::vector<double> interleaved;
    for (int i = 0; i < 4 * kRateHz; ++i) {
        const auto tone = [&](double hertz) { return std::sin(2.0 * std::numbers::pi * hertz * i / kRateHz); };
        const bool isVowel = i / kRateHz % 2 != 0;
        const double inBand = (isVowel ? vowelBand : fricative) * tone(7000.0);
        const double sample = inBand + (isVowel ? vowelLow * tone(500.0) : 0.0) + 0.1 * (tone(4000.0) + tone(15000.0));
        interleaved.insert(interleaved.end(), static_cast<std::size_t>(channels), sample);
    }
    return interleaved;
}

/// Feeds pieces of so many samples, the signal after some pieces later than the one before.
Sibilance measured(int channels, std::span<const double> before, std::span<const double> after, std::size_t piece,
                   std::size_t lag)
{
    SibilanceMeter meter(kRateHz, channels);
    const auto width = static_cast<std::size_t>(channels);
    const auto part = [&](std::span<const double> signal, std::size_t at) {
        const std::size_t first = std::min(at * width, signal.size());
        return signal.subspan(first, std::min(piece * width, signal.size() - first));
    };
    for (std::size_t at = 0; at < before.size() / width + lag * piece; at += piece)
        meter.add(part(before, at), at < lag * piece ? std::span<const double>() : part(after, at - lag * piece));
    Sibilance result;
    EXPECT_TRUE(meter.compare(result));
    return result;
}

TEST(SibilanceMeter, MeasuresTonesHoweverTheyArrive)
{
    for (const int channels : {1, 2}) {
        auto before = voice(channels, 0.1, 0.01, 0.2);
        auto after = voice(channels, 0.05, 0.008, 0.18);
        before[1000] = NAN;
        after[1001] = INFINITY;
        const Sibilance whole = measured(channels, before, after, before.size(), 0);
        const double level = 10.0 * std::log10(channels * 0.1 * 0.1 / 2.0);
        EXPECT_NEAR(whole.before, level, 0.1) << channels;
        EXPECT_NEAR(whole.after - whole.before, 20.0 * std::log10(0.5), 0.1) << channels;
        EXPECT_NEAR(whole.vowelChangeDb, 20.0 * std::log10(0.8), 0.1) << channels;
        EXPECT_NEAR(whole.lowChangeDb, 20.0 * std::log10(0.9), 0.1) << channels;
        for (const auto& [piece, lag] : {std::pair{7, 0}, {512, 3}, {16384, 1}, {481, 20}}) {
            const Sibilance pieces =
                measured(channels, before, after, static_cast<std::size_t>(piece), static_cast<std::size_t>(lag));
            EXPECT_EQ(pieces.before, whole.before) << piece;
            EXPECT_EQ(pieces.after, whole.after) << piece;
            EXPECT_EQ(pieces.vowelChangeDb, whole.vowelChangeDb) << piece;
            EXPECT_EQ(pieces.lowChangeDb, whole.lowChangeDb) << piece;
        }
    }
    SibilanceMeter silent(kRateHz, 2);
    silent.add(std::vector<double>(9600), std::vector<double>(9600));
    Sibilance none;
    EXPECT_FALSE(silent.compare(none));
}

} // namespace
} // namespace sorvane::test
