// That the audio thread neither takes memory, nor waits, nor asks the kernel for anything.

#include "Effect.h"
#include "RealtimeGuard.h"
#include "StormSeconds.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <random>
#include <thread>

namespace sorvane::test {
namespace {

using namespace core;
using Clock = std::chrono::steady_clock;

const double kStormSeconds = stormSeconds(2.0);

TEST(Realtime, GuardSeesWhatItIsThereFor)
{
    static std::mutex mutex;
    static volatile int sink = 0;
    RealtimeGuard::Counts quiet;
    RealtimeGuard::Counts allocating;
    RealtimeGuard::Counts locking;
    RealtimeGuard::Counts calling;
    {
        const RealtimeGuard guard;
        sink = sink + 1;
        quiet = RealtimeGuard::take();
        delete new std::array<int, 100>();
        allocating = RealtimeGuard::take();
        {
            const std::lock_guard lock(mutex);
            sink = sink + 1;
        }
        locking = RealtimeGuard::take();
        (void)getppid();
        calling = RealtimeGuard::take();
    }
    EXPECT_EQ(quiet.all(), 0U);
    EXPECT_GE(allocating.allocations, 1U);
    EXPECT_EQ(locking.locks, 1U);
    if (RealtimeGuard::seesSystemCalls()) {
        EXPECT_EQ(calling.systemCalls, 1U);
    } else {
        std::puts("this kernel can't show system calls; memory and locks are watched");
    }
}

/// What a host does wrong when the effect calls it on the audio thread.
enum class Fault { none, allocation, lock, systemCall };
Fault fault = Fault::none;

host::Pointer faultyHost(host::AEffect*, std::int32_t, std::int32_t, host::Pointer, void*, float)
{
    static std::unique_ptr<int> memory;
    static std::mutex mutex;
    if (fault == Fault::allocation)
        memory = std::make_unique<int>(1);
    if (fault == Fault::lock)
        const std::lock_guard lock(mutex);
    if (fault == Fault::systemCall)
        std::this_thread::sleep_for(std::chrono::nanoseconds(1));
    return 0;
}

TEST(Realtime, FaultOnTheAudioThreadIsCaught)
{
    const auto plug = makePlug(48000.0F, faultyHost);
    std::array<double, 64> buffer{};
    std::array<double*, 4> inputs = {buffer.data(), buffer.data(), nullptr, nullptr};
    std::array<double*, 2> outputs = {buffer.data(), buffer.data()};
    const auto countsWith = [&](Fault wanted) {
        fault = wanted;
        const RealtimeGuard guard;
        plug->processDoubleReplacing(inputs.data(), outputs.data(), 64);
        fault = Fault::none;
        return RealtimeGuard::take();
    };
    EXPECT_EQ(countsWith(Fault::none).all(), 0U);
    EXPECT_GE(countsWith(Fault::allocation).allocations, 1U);
    EXPECT_EQ(countsWith(Fault::lock).locks, 1U);
    if (RealtimeGuard::seesSystemCalls()) {
        EXPECT_GE(countsWith(Fault::systemCall).systemCalls, 1U);
    }
}

TEST(Realtime, AnnouncedBlockSizeTakesNoMemory)
{
    const auto plug = makePlug(48000.0F, nullptr);
    plug->setBlockSize(8192);
    plug->resume();
    Signal signal(16384);
    std::array<double*, 4> inputs = {signal.data(), signal.data(), nullptr, nullptr};
    std::array<double*, 2> outputs = {signal.data(), signal.data()};
    const auto countsOf = [&](std::int32_t frames) {
        const RealtimeGuard guard;
        plug->processDoubleReplacing(inputs.data(), outputs.data(), frames);
        return RealtimeGuard::take();
    };
    EXPECT_EQ(countsOf(8192).all(), 0U);
    EXPECT_GE(countsOf(16384).allocations, 1U) << "of a larger one than was announced";
    EXPECT_EQ(countsOf(16384).all(), 0U);
}

TEST(Realtime, StormOfParametersLeavesTheAudioThreadAlone)
{
    const auto plug = makePlug(48000.0F, nullptr);
    std::atomic<bool> over{false};
    std::atomic<std::uint64_t> changes{0};
    std::thread parameters([&] {
        std::mt19937 random(1);
        while (!over) {
            plug->setParameter(static_cast<std::int32_t>(random() % 92), static_cast<float>(random() % 1001) / 1000.0F);
            ++changes;
        }
    });

    const Signal left = bursts(4096, 1);
    const Signal right = bursts(4096, 2);
    std::array<Signal, 6> buffers;
    buffers.fill(Signal(4096));
    std::array<double*, 4> inputs{};
    for (std::size_t i = 0; i < 4; ++i)
        inputs[i] = buffers[i].data();
    std::array<double*, 2> outputs = {buffers[4].data(), buffers[5].data()};

    RealtimeGuard::Counts counts;
    std::uint64_t blocks = 0;
    std::uint64_t frames = 0;
    std::mt19937 random(2);
    const auto end = Clock::now() + std::chrono::duration<double>(kStormSeconds);
    std::thread audio([&] {
        plug->processDoubleReplacing(inputs.data(), outputs.data(), 16); // becomes the audio thread
        const RealtimeGuard guard;
        while (Clock::now() < end) { // asks no kernel
            std::copy(left.begin(), left.end(), buffers[0].begin());
            std::copy(right.begin(), right.end(), buffers[1].begin());
            const auto block = static_cast<std::int32_t>(random() % 4097);
            plug->processDoubleReplacing(inputs.data(), outputs.data(), block);
            // As a host does that automates on this thread, the bank too.
            plug->setParameter(static_cast<std::int32_t>(random() % 92), static_cast<float>(random() % 101) / 100.0F);
            (void)plug->getLevelMeter(0);
            (void)plug->getReductionMeter(1);
            ++blocks;
            frames += static_cast<std::uint64_t>(block);
        }
        counts = RealtimeGuard::take();
    });
    audio.join();
    over = true;
    parameters.join();

    std::printf("%.1f s, %llu blocks, %.1f s of audio, %llu changes: %llu allocations, %llu locks, %llu system calls\n",
                kStormSeconds, static_cast<unsigned long long>(blocks), static_cast<double>(frames) / 48000.0,
                static_cast<unsigned long long>(changes.load()), static_cast<unsigned long long>(counts.allocations),
                static_cast<unsigned long long>(counts.locks), static_cast<unsigned long long>(counts.systemCalls));
    EXPECT_GT(blocks, 100U);
    EXPECT_GT(changes, 100U);
    EXPECT_EQ(counts.all(), 0U);
}

} // namespace
} // namespace sorvane::test
