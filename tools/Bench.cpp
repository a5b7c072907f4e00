#include "Bench.h"

#include "ParameterText.h"

#include <nlohmann/json.hpp>

#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <fstream>
#include <limits>
#include <memory>
#include <numbers>
#include <numeric>
#include <random>
#include <utility>

namespace sorvane::tools {

namespace {

using Clock = std::chrono::steady_clock;
using Signal = std::vector<float>;

constexpr int kPasses = 7;
constexpr double kWarmUpSeconds = 1.0; ///< by then filters have slid to their design and envelopes are under way

double nanosecondsSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::nano>(Clock::now() - start).count();
}

/// Syllables of 0.28 s, each a vowel of harmonics, an "s" of noise that rises with frequency, and a faint pause, at
/// levels that wander over 18 dB: so that the detector has work, and never quite silent.
Signal speech(std::size_t frames, double rateHz, std::uint32_t seed)
{
    std::mt19937 generator(seed);
    std::uniform_real_distribution<double> noise(-1.0, 1.0);
    Signal signal(frames);
    double before = 0.0;
    for (std::size_t i = 0; i < frames; ++i) {
        const double seconds = static_cast<double>(i) / rateHz;
        const double syllable = std::floor(seconds / 0.28);
        const double at = seconds / 0.28 - syllable;
        const double vowel = at < 0.55 ? std::sin(std::numbers::pi * at / 0.55) : 0.0;
        const double hiss = at > 0.5 && at < 0.85 ? std::sin(std::numbers::pi * (at - 0.5) / 0.35) : 0.0;
        const double level = std::pow(10.0, -std::fmod(7.0 * syllable, 19.0) / 20.0);
        double harmonics = 0.0;
        for (int k = 1; k <= 8; ++k)
            harmonics += std::sin(2.0 * std::numbers::pi * 140.0 * k * seconds) / k;
        const double now = noise(generator);
        signal[i] = static_cast<float>(level * (0.3 * vowel * harmonics + 0.5 * hiss * (now - before)) + 1e-4 * now);
        before = now;
    }
    return signal;
}

/// Of a list that isn't empty. \param part  0 to 1: 0.5 for the median, 1 for the largest
double quantile(std::vector<double> values, double part)
{
    const auto place = static_cast<std::ptrdiff_t>(part * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), values.begin() + place, values.end());
    return values[static_cast<std::size_t>(place)];
}

/// Memory of this process that is backed by pages.
double residentKiB()
{
    std::ifstream statm("/proc/self/statm");
    double pages = 0.0;
    double resident = 0.0;
    statm >> pages >> resident;
    return resident * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1024.0;
}

std::unique_ptr<core::Plug> start(const BenchCase& benchCase, const BenchOptions& options)
{
    auto plug = std::make_unique<core::Plug>(nullptr, core::Plug::Start::factoryValues);
    plug->setSampleRate(static_cast<float>(options.rateHz));
    plug->setBlockSize(options.blockFrames);
    for (const auto& [tag, value] : benchCase.values)
        plug->setParameter(tag, plug->toNormalised(tag, value));
    apply(options.settings, *plug);
    plug->resume();
    return plug;
}

/// The instances of one case with the buffers of a block.
class Rig {
public:
    Rig(const BenchCase& whichCase, const BenchOptions& benchOptions, const std::array<Signal, 2>& audio)
        : benchCase(whichCase), options(benchOptions), source(audio),
          size(static_cast<std::size_t>(options.blockFrames)), storage(4 * size)
    {
        for (std::int32_t i = 0; i < options.instances; ++i) {
            const auto from = Clock::now();
            instances.push_back(start(benchCase, options));
            startMs.push_back(nanosecondsSince(from) / 1e6);
        }
    }

    /// Plays \p blocks blocks from the start of the audio, or of silence, and hands each one's time over.
    template <typename Taker>
    void play(std::size_t blocks, bool silent, Taker&& take)
    {
        std::size_t at = 0;
        for (std::size_t b = 0; b < blocks; ++b) {
            if (at + size > source[0].size())
                at = 0;
            double ns = 0.0;
            for (const auto& plug : instances)
                ns += playBlock(*plug, at, silent);
            take(b, ns);
            at += size;
        }
    }

    [[nodiscard]] std::int32_t latencySamples() const { return instances.front()->getLatency(); }

    std::vector<double> startMs;

private:
    double playBlock(core::Plug& plug, std::size_t at, bool silent)
    {
        std::array<float*, 4> inputs{};
        std::array<float*, 2> outputs{};
        for (std::size_t c = 0; c < static_cast<std::size_t>(benchCase.channels); ++c) {
            inputs[c] = storage.data() + c * size;
            outputs[c] = storage.data() + (2 + c) * size;
            if (silent)
                std::fill_n(inputs[c], size, 0.0F);
            else
                std::copy_n(source[c].begin() + static_cast<std::ptrdiff_t>(at), size, inputs[c]);
        }
        const auto from = Clock::now();
        plug.processReplacing(inputs.data(), outputs.data(), options.blockFrames);
        return nanosecondsSince(from);
    }

    const BenchCase& benchCase;
    const BenchOptions& options;
    const std::array<Signal, 2>& source;
    std::size_t size;
    Signal storage;
    std::vector<std::unique_ptr<core::Plug>> instances;
};

BenchResult runCase(const BenchCase& benchCase, const BenchOptions& options, const std::array<Signal, 2>& audio,
                    std::size_t blocks)
{
    std::vector<double> least(blocks, std::numeric_limits<double>::infinity());
    malloc_trim(0); // what other cases freed goes back, so that this one's memory is its own
    const double memoryBefore = residentKiB();
    Rig rig(benchCase, options, audio);
    const auto warmUp = static_cast<std::size_t>(kWarmUpSeconds * options.rateHz / options.blockFrames) + 1;
    rig.play(warmUp, false, [](std::size_t, double) {});
    const double frames = static_cast<double>(blocks) * options.blockFrames;
    for (int pass = 0; pass < kPasses; ++pass)
        rig.play(blocks, benchCase.silent, [&](std::size_t b, double ns) { least[b] = std::min(least[b], ns); });

    BenchResult result;
    result.name = benchCase.name;
    result.channels = benchCase.channels;
    result.blockFrames = options.blockFrames;
    result.instances = options.instances;
    result.rateHz = options.rateHz;
    result.latencySamples = rig.latencySamples();
    result.nsPerFrame = std::accumulate(least.begin(), least.end(), 0.0) / frames / options.instances;
    result.corePercent = result.nsPerFrame * options.rateHz / 1e7;
    result.medianBlockNs = quantile(least, 0.5);
    result.p99BlockNs = quantile(least, 0.99);
    result.worstBlockNs = quantile(least, 1.0);
    result.startMs = quantile(rig.startMs, 0.5);
    result.residentKiB = (residentKiB() - memoryBefore) / options.instances;
    return result;
}

std::string padded(const std::string& text, std::size_t width)
{
    return std::string(width > text.size() ? width - text.size() : 0, ' ') + text;
}

std::string fixed(double x, int decimals)
{
    return core::FixedText().add(x, decimals).c_str();
}

} // namespace

const std::vector<BenchCase>& benchCases()
{
    using namespace core;
    static const std::vector<BenchCase> cases = {
        {"default", {}},
        {"linear8192", {{kHQSplit, 1}}},
        {"oversample", {{kOverSample, 1}}},
        {"oversample-hq", {{kOverSample, 1}, {kHQOversample, 1}}},
        {"minimum", {{kLinearPhase, 0}, {kSplitHPFSlope, 96}, {kSplitLPFSlope, 96}}},
        {"minimum192", {{kLinearPhase, 0}, {kSplitHPFSlope, 192}, {kSplitLPFSlope, 192}}},
        {"heavy",
         {{kHQSplit, 1},
          {kSCHPF, 1},
          {kSCPeak, 1},
          {kSCPeakGain, 6},
          {kSCLPF, 1},
          {kSCLPFFreq, 12000},
          {kOverSample, 1},
          {kHQOversample, 1},
          {kSmoothing, 1}}},
        {"mono", {}, 1},
        {"bypass", {{kBypass, 1}}},
        {"silence", {}, 2, true},
    };
    return cases;
}

std::vector<std::string> benchCaseNames()
{
    std::vector<std::string> names;
    for (const BenchCase& benchCase : benchCases())
        names.emplace_back(benchCase.name);
    return names;
}

std::array<std::vector<float>, 2> benchSignal(std::size_t frames, double rateHz)
{
    return {speech(frames, rateHz, 1), speech(frames, rateHz, 2)};
}

std::vector<BenchResult> runBench(const BenchOptions& options)
{
    // Whole rounds of work that comes only once in many blocks, so that it falls on the same blocks in each pass.
    constexpr double kRound = 65536.0;
    const double frames = std::max(1.0, std::round(options.seconds * options.rateHz / kRound)) * kRound;
    const auto blocks = static_cast<std::size_t>(std::ceil(frames / options.blockFrames));
    const auto audioFrames = std::max(static_cast<std::size_t>(frames), static_cast<std::size_t>(options.blockFrames));
    const std::array<Signal, 2> audio = benchSignal(audioFrames, options.rateHz);

    (void)start(benchCases().front(), options); // what the first instance brings to the process

    std::vector<BenchResult> results;
    for (const BenchCase& benchCase : benchCases())
        if (options.cases.empty() ||
            std::find(options.cases.begin(), options.cases.end(), benchCase.name) != options.cases.end())
            results.push_back(runCase(benchCase, options, audio, blocks));
    return results;
}

std::string benchTable(const std::vector<BenchResult>& results)
{
    constexpr std::array kHeads = {"ns/frame", "core %",    "median us", "p99 us",
                                   "worst us", "worst/med", "start ms",  "memory KiB"};
    constexpr std::size_t kNameWidth = 14;
    constexpr std::size_t kWidth = 11;
    std::string text;
    if (!results.empty())
        text = "# " + fixed(results.front().rateHz, 0) + " Hz, blocks of " +
               std::to_string(results.front().blockFrames) + " frames, " + std::to_string(results.front().instances) +
               " in turn; ns, %, ms and KiB of one, us a block of all\n";
    text += "case          ";
    for (const char* head : kHeads)
        text += padded(head, kWidth);
    text += '\n';
    for (const BenchResult& r : results) {
        text += r.name + std::string(kNameWidth - std::min(kNameWidth, r.name.size()), ' ');
        text += padded(fixed(r.nsPerFrame, 1), kWidth) + padded(fixed(r.corePercent, 3), kWidth) +
                padded(fixed(r.medianBlockNs / 1e3, 2), kWidth) + padded(fixed(r.p99BlockNs / 1e3, 2), kWidth) +
                padded(fixed(r.worstBlockNs / 1e3, 2), kWidth) +
                padded(fixed(r.worstBlockNs / r.medianBlockNs, 2), kWidth) + padded(fixed(r.startMs, 2), kWidth) +
                padded(fixed(r.residentKiB, 0), kWidth) + '\n';
    }
    return text;
}

std::string benchJson(const std::vector<BenchResult>& results)
{
    auto list = nlohmann::ordered_json::array();
    for (const BenchResult& r : results)
        list.push_back({{"case", r.name},
                        {"rateHz", r.rateHz},
                        {"channels", r.channels},
                        {"blockFrames", r.blockFrames},
                        {"instances", r.instances},
                        {"latencySamples", r.latencySamples},
                        {"nsPerFrame", r.nsPerFrame},
                        {"corePercent", r.corePercent},
                        {"medianBlockNs", r.medianBlockNs},
                        {"p99BlockNs", r.p99BlockNs},
                        {"worstBlockNs", r.worstBlockNs},
                        {"startMs", r.startMs},
                        {"residentKiB", r.residentKiB}});
    return list.dump(2) + "\n";
}

} // namespace sorvane::tools
