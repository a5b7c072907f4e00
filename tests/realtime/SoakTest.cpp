// That the effect stays as it is over hours of what a session does to it: every case of the benchmark under parameter
// moves, presets, changes of rate and of block size.

#include "Bench.h"
#include "Files.h"
#include "Plug.h"
#include "RealtimeGuard.h"
#include "StormSeconds.h"

#include <gtest/gtest.h>

#include <malloc.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <limits>
#include <random>
#include <span>
#include <string>
#include <thread>
#include <vector>

namespace sorvane::test {
namespace {

using namespace core;
using Random = std::mt19937;

constexpr double kSectionSeconds = 10.0; ///< of audio at one rate, with one block size
constexpr int kPlays = 3;                ///< of each section: what slows a block down by chance won't do so every time
constexpr int kMostPlays = 12;           ///< of one with blocks over the line, which may still have been chance
constexpr double kTimerSeconds = 0.01;
constexpr std::ptrdiff_t kNeighbours = 32;
constexpr std::size_t kSignalFrames = 1U << 18U;
constexpr double kMostGrowthBytes = 4e6; ///< of the heap, whose level depends on the settings of the moment
constexpr std::array kRates = {44100.0F, 48000.0F, 88200.0F, 96000.0F, 192000.0F};
constexpr std::array<std::int32_t, 7> kBlocks = {32, 64, 128, 256, 512, 1024, 4096};

/// Time that this thread worked: what others did meanwhile doesn't count.
double threadNanoseconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

std::vector<std::string> presetChunks()
{
    std::vector<std::string> chunks;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(SORVANE_SHARE "/Kestrune/Sorvane/Presets"))
        if (entry.is_regular_file())
            if (auto chunk = platform::readFile(entry.path().string(), host::kMostChunkBytes))
                chunks.push_back(std::move(*chunk));
    return chunks;
}

/// The thread that designs filters: it does what is due each time that it is asked, while the asker waits. So it does
/// its work at the same blocks in every play, however fast they are played.
class TimerThread {
public:
    explicit TimerThread(Plug& effect) : plug(effect), thread([this] { work(); }) {}
    ~TimerThread()
    {
        plugIsGone = true;
        ask();
        thread.join();
    }
    TimerThread(const TimerThread&) = delete;
    TimerThread& operator=(const TimerThread&) = delete;

    void tick()
    {
        ask();
        isAsked.wait(true);
    }

private:
    void ask()
    {
        isAsked = true;
        isAsked.notify_all();
    }

    void work()
    {
        for (isAsked.wait(false); !plugIsGone; isAsked.wait(false)) {
            plug.onTimer();
            isAsked = false;
            isAsked.notify_all();
        }
    }

    Plug& plug;
    std::atomic<bool> isAsked{false};
    std::atomic<bool> plugIsGone{false};
    std::thread thread;
};

/// One case for as long as it takes.
class Soak {
public:
    explicit Soak(const tools::BenchCase& whichCase)
        : benchCase(whichCase), presets(presetChunks()), signal(tools::benchSignal(kSignalFrames, 48000.0)),
          plug(nullptr, Plug::Start::factoryValues)
    {
        // What makes the case stays; so do the other switches, which change what a block costs as much.
        for (std::int32_t tag = 0; tag < kABBank; ++tag)
            if (factoryParameters()[static_cast<std::size_t>(tag)].scale != ScaleType::onOff &&
                std::none_of(benchCase.values.begin(), benchCase.values.end(),
                             [&](const auto& value) { return value.first == tag; }))
                moved.push_back(tag);
        for (Signal& buffer : buffers)
            buffer.resize(static_cast<std::size_t>(kBlocks.back()));
    }

    void run(double seconds)
    {
        const auto sections = static_cast<int>(std::ceil(seconds / kSectionSeconds));
        std::vector<double> heap;
        for (int section = 0; section < sections; ++section) {
            const Random before = random;
            const std::size_t start = at;
            times.clear();
            for (int i = 0; i < kPlays || (judged.blocksOver > 0 && i < kMostPlays); ++i) {
                random = before;
                at = start;
                prepare();
                std::thread audio([this] { play(); });
                audio.join();
                judgeTimes();
            }
            blocks += times.size();
            blocksOver += judged.blocksOver;
            worstRatio = std::max(worstRatio, judged.worstRatio);
            heap.push_back(static_cast<double>(mallinfo2().uordblks));
        }
        if (heap.size() >= 10) {
            const auto half = heap.begin() + static_cast<std::ptrdiff_t>(heap.size() / 2);
            growth = *std::max_element(half, heap.end()) - *std::max_element(heap.begin(), half);
        }
    }

    RealtimeGuard::Counts counts;
    std::uint64_t blocks = 0;
    std::uint64_t blocksOver = 0; ///< the line
    double worstRatio = 0.0;      ///< of a block to the median of its neighbours
    std::uint64_t notFinite = 0;
    double growth = 0.0;

private:
    using Signal = std::vector<float>;

    /// As a user does it who goes on to something else: a preset, what makes the case, another rate.
    void prepare()
    {
        const std::string& preset = presets[random() % presets.size()];
        plug.setChunk(preset.data(), static_cast<std::int32_t>(preset.size()), true);
        for (std::int32_t tag = 0; tag < kABBank; ++tag)
            if (factoryParameters()[static_cast<std::size_t>(tag)].scale == ScaleType::onOff)
                plug.setParameter(tag, factoryParameters()[static_cast<std::size_t>(tag)].normal);
        for (const auto& [tag, value] : benchCase.values)
            plug.setParameter(tag, plug.toNormalised(tag, value));
        rateHz = kRates[random() % kRates.size()];
        block = kBlocks[random() % kBlocks.size()];
        plug.setSampleRate(rateHz);
        plug.setBlockSize(block);
        plug.resume();
    }

    void play()
    {
        const auto count = static_cast<std::size_t>(kSectionSeconds * static_cast<double>(rateHz) / block);
        times.resize(count, std::numeric_limits<double>::infinity());
        processBlock(block); // becomes the audio thread, and meets its code
        TimerThread timer(plug);
        double untilTick = kTimerSeconds;
        const RealtimeGuard guard;
        for (std::size_t b = 0; b < count; ++b) {
            if (b % 16 == 15)
                plug.setParameter(moved[random() % moved.size()], static_cast<float>(random() % 1001) / 1000.0F);
            untilTick -= block / static_cast<double>(rateHz);
            if (untilTick <= 0.0) {
                const RealtimeGuard::Pause pause;
                timer.tick();
                untilTick += kTimerSeconds;
            }
            if (b % 64 == 63)
                processBlock(static_cast<std::int32_t>(random() % static_cast<std::uint32_t>(block + 1)));
            const double from = time();
            processBlock(block);
            times[b] = std::min(times[b], time() - from);
        }
        const RealtimeGuard::Counts taken = RealtimeGuard::take();
        const RealtimeGuard::Pause pause;
        counts.allocations += taken.allocations;
        counts.locks += taken.locks;
        counts.systemCalls += taken.systemCalls;
    }

    static double time()
    {
        const RealtimeGuard::Pause pause;
        return threadNanoseconds();
    }

    void processBlock(std::int32_t frames)
    {
        const auto size = static_cast<std::size_t>(frames);
        const auto channels = static_cast<std::size_t>(benchCase.channels);
        std::array<float*, 4> inputs{};
        std::array<float*, 2> outputs{};
        at = at + size <= kSignalFrames ? at : 0;
        for (std::size_t c = 0; c < channels; ++c) {
            inputs[c] = buffers[c].data();
            outputs[c] = buffers[2 + c].data();
            if (benchCase.silent && at > kSignalFrames / 4)
                std::fill_n(inputs[c], size, 0.0F);
            else
                std::copy_n(signal[c].data() + at, size, inputs[c]);
        }
        at += size;
        plug.processReplacing(inputs.data(), outputs.data(), frames);
        for (std::size_t c = 0; c < channels; ++c)
            for (const float sample : std::span(buffers[2 + c]).first(size))
                notFinite += std::isfinite(sample) ? 0 : 1;
    }

    /// A move may make all that follows it dearer: a block is compared with those before it or with those after it.
    void judgeTimes()
    {
        const bool isLong = std::any_of(benchCase.values.begin(), benchCase.values.end(),
                                        [](const auto& value) { return value.first == kHQSplit; });
        const double line = isLong ? 4.0 : 2.0;
        const auto count = static_cast<std::ptrdiff_t>(times.size());
        judged = {};
        for (std::ptrdiff_t b = 0; b < count; ++b) {
            const double median = std::max(medianOf(std::max(b - kNeighbours, std::ptrdiff_t{0}), b + 1),
                                           medianOf(b, std::min(b + 1 + kNeighbours, count)));
            const double ratio = times[static_cast<std::size_t>(b)] / median;
            judged.worstRatio = std::max(judged.worstRatio, ratio);
            judged.blocksOver += ratio > line ? 1 : 0;
        }
    }

    [[nodiscard]] double medianOf(std::ptrdiff_t first, std::ptrdiff_t end)
    {
        sorted.assign(times.begin() + first, times.begin() + end);
        const auto middle = sorted.begin() + (end - first) / 2;
        std::nth_element(sorted.begin(), middle, sorted.end());
        return *middle;
    }

    struct Judgement {
        std::uint64_t blocksOver = 0;
        double worstRatio = 0.0;
    };

    const tools::BenchCase& benchCase;
    std::vector<std::string> presets;
    std::array<Signal, 2> signal;
    Plug plug;
    std::vector<std::int32_t> moved;
    std::array<Signal, 4> buffers;
    std::vector<double> times;  ///< of each block of the section, the least of all plays
    std::vector<double> sorted; ///< of some of them
    Judgement judged;           ///< of the section's times so far
    Random random{1};
    float rateHz = 48000.0F;
    std::int32_t block = 256;
    std::size_t at = 0;
};

class SoakTest : public testing::TestWithParam<std::size_t> {};

TEST_P(SoakTest, LeavesMemorySignalAndAudioThreadAlone)
{
    const tools::BenchCase& benchCase = tools::benchCases()[GetParam()];
    const double seconds = secondsFrom("SORVANE_SOAK_SECONDS", kSectionSeconds);
    Soak soak(benchCase);
    soak.run(seconds);
    std::printf(
        "%-14s %.0f s, %llu blocks: %llu over the line, worst %.2f of the median; heap %+.1f MB; "
        "%llu allocations, %llu locks, %llu system calls, %llu samples not finite\n",
        benchCase.name, seconds, static_cast<unsigned long long>(soak.blocks),
        static_cast<unsigned long long>(soak.blocksOver), soak.worstRatio, soak.growth / 1e6,
        static_cast<unsigned long long>(soak.counts.allocations), static_cast<unsigned long long>(soak.counts.locks),
        static_cast<unsigned long long>(soak.counts.systemCalls), static_cast<unsigned long long>(soak.notFinite));
    EXPECT_GT(soak.blocks, 0U);
    EXPECT_EQ(soak.counts.all(), 0U);
    EXPECT_EQ(soak.notFinite, 0U);
    EXPECT_LT(soak.growth, kMostGrowthBytes);
}

INSTANTIATE_TEST_SUITE_P(, SoakTest, testing::Range<std::size_t>(0, tools::benchCases().size()),
                         [](const testing::TestParamInfo<std::size_t>& place) {
                             std::string name = tools::benchCases()[place.param].name;
                             std::erase(name, '-');
                             return name;
                         });

} // namespace
} // namespace sorvane::test
