// The timer shared by all instances, and what instances leave behind.

#include "InstanceTimer.h"
#include "Effect.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <mutex>
#include <stdexcept>
#include <thread>

namespace sorvane::test {
namespace {

using namespace core;

std::ptrdiff_t entries(const char* folder)
{
    namespace fs = std::filesystem;
    return std::distance(fs::directory_iterator(folder), fs::directory_iterator());
}

std::ptrdiff_t threads()
{
    return entries("/proc/self/task");
}

/// Threads before there is any instance. A first thread is started and ended before: a sanitizer adds one of its own
/// then.
std::ptrdiff_t threadsBefore()
{
    std::thread([] {}).join();
    std::this_thread::sleep_for(std::chrono::milliseconds(50)); // until it is out of the list
    return threads();
}

template <typename Predicate>
bool soon(Predicate holds)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (!holds() && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return holds();
}

/// A thread that was joined may stand in the list for a moment more.
bool threadsSettleAt(std::ptrdiff_t count)
{
    return soon([=] { return threads() == count; });
}

/// Whether the timer calls the instance: it is what reports a changed latency.
bool isTicked(Plug& plug)
{
    const std::int32_t before = plug.getInitialDelay();
    setValues(plug, {{kLookahead, plug.getParameterValue(kLookahead) == 0.0F ? 50 : 0}});
    return soon([&] { return plug.getInitialDelay() != before; });
}

TEST(InstanceTimer, OneThreadForAllInstancesAndNoneWithoutThem)
{
    static std::atomic<int> latenciesTold{0};
    const auto callback = [](host::AEffect*, std::int32_t opcode, std::int32_t, host::Pointer, void*,
                             float) -> host::Pointer {
        latenciesTold += opcode == host::hostIOChanged ? 1 : 0;
        return 0;
    };
    const std::ptrdiff_t before = threadsBefore();
    {
        const auto first = makePlug(48000.0F, callback);
        latenciesTold = 0;
        EXPECT_TRUE(threadsSettleAt(before + 1));
        {
            const auto second = makePlug();
            EXPECT_TRUE(threadsSettleAt(before + 1));
            EXPECT_TRUE(isTicked(*first));
            EXPECT_TRUE(isTicked(*second));
        }
        EXPECT_TRUE(isTicked(*first)) << "it goes on for the one that is left";
        EXPECT_TRUE(threadsSettleAt(before + 1));
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        EXPECT_EQ(latenciesTold, 2) << "each once";
    }
    EXPECT_TRUE(threadsSettleAt(before));
}

TEST(InstanceTimer, ThousandInstancesOnEightThreadsLeaveNothing)
{
    const std::ptrdiff_t threadsAtFirst = threadsBefore();
    const std::ptrdiff_t handlesBefore = entries("/proc/self/fd");
    std::vector<std::thread> workers;
    for (int worker = 0; worker < 8; ++worker)
        workers.emplace_back([worker] {
            std::unique_ptr<Plug> kept;
            for (int i = 0; i < 125; ++i) {
                auto made = std::make_unique<Plug>(nullptr);
                setValues(*made, {{kLookahead, worker + i % 7}});
                if (i % 3 != 0)
                    kept = std::move(made); // overlaps with the next
            }
        });
    for (std::thread& worker : workers)
        worker.join();
    EXPECT_TRUE(threadsSettleAt(threadsAtFirst));
    EXPECT_EQ(entries("/proc/self/fd"), handlesBefore);
}

TEST(InstanceTimer, InstanceMayEndWithinItsOwnTick)
{
    // A host that removes the effect when it hears of a new latency, on the timer's thread.
    static std::atomic<bool> armed{false};
    static std::atomic<bool> ended{false};
    static std::atomic<Plug*> doomed{nullptr};
    static const std::thread::id here = std::this_thread::get_id();
    const auto callback = [](host::AEffect*, std::int32_t opcode, std::int32_t, host::Pointer, void*,
                             float) -> host::Pointer {
        if (opcode == host::hostIOChanged && std::this_thread::get_id() != here) {
            while (!armed)
                std::this_thread::yield();
            host::AEffect* const record = doomed.load()->getAeffect();
            ended = record->dispatcher(record, host::effectClose, 0, 0, nullptr, 0.0F) == 1;
        }
        return 0;
    };
    const std::ptrdiff_t before = threadsBefore();
    for (const bool last : {false, true}) {
        const auto other = last ? nullptr : makePlug();
        armed = false;
        ended = false;
        doomed = new Plug(callback);
        setValues(*doomed.load(), {{kLookahead, 55}});
        armed = true;
        EXPECT_TRUE(soon([] { return ended.load(); }));
        EXPECT_TRUE(last || isTicked(*other));
    }
    EXPECT_TRUE(threadsSettleAt(before));
    const auto after = makePlug(); // the timer starts again
    EXPECT_TRUE(isTicked(*after));
}

TEST(InstanceTimer, HostIsToldNothingOfAnInstanceThatHasEnded)
{
    // What a host holds of an effect goes when it has closed it; the record's user field leads there.
    static std::atomic<int> calls{0};
    static std::atomic<int> toldOfTheDead{0};
    static std::atomic<const host::AEffect*> known{nullptr}; // its user field is written
    static const std::thread::id here = std::this_thread::get_id();
    const auto callback = [](host::AEffect* record, std::int32_t opcode, std::int32_t, host::Pointer, void*,
                             float) -> host::Pointer {
        if (opcode == host::hostIOChanged && std::this_thread::get_id() != here && known == record) {
            const auto* const alive = static_cast<const std::atomic<bool>*>(record->user);
            for (int look = 0; look < 20; ++look) {
                toldOfTheDead += *alive ? 0 : 1;
                std::this_thread::sleep_for(std::chrono::microseconds(100));
            }
            ++calls;
        }
        return 0;
    };
    static std::array<std::atomic<bool>, 200> lives{};
    for (std::atomic<bool>& alive : lives) {
        alive = true;
        const auto doomed = new Plug(callback);
        doomed->getAeffect()->user = &alive;
        known = doomed->getAeffect();
        setValues(*doomed, {{kLookahead, 55}});
        std::this_thread::sleep_for(std::chrono::microseconds((&alive - lives.data()) * 100));
        host::AEffect* const record = doomed->getAeffect();
        record->dispatcher(record, host::effectClose, 0, 0, nullptr, 0.0F);
        alive = false;
    }
    EXPECT_GT(calls, 20);
    EXPECT_EQ(toldOfTheDead, 0);
}

TEST(InstanceTimer, HostMayMakeAndEndInstancesUnderALockThatItsCallbackTakes)
{
    static std::mutex graph;
    static std::atomic<int> inCallback{0};
    static const std::thread::id here = std::this_thread::get_id();
    const auto callback = [](host::AEffect*, std::int32_t opcode, std::int32_t, host::Pointer, void*,
                             float) -> host::Pointer {
        if (opcode == host::hostIOChanged && std::this_thread::get_id() != here) {
            ++inCallback;
            const std::lock_guard lock(graph);
            --inCallback;
        }
        return 0;
    };
    const std::ptrdiff_t before = threadsBefore();
    for (const bool another : {false, true}) {
        auto doomed = std::make_unique<Plug>(callback);
        auto other = another ? std::make_unique<Plug>(callback) : nullptr;
        std::unique_ptr<Plug> made;
        {
            const std::lock_guard lock(graph);
            setValues(*doomed, {{kLookahead, 70}});
            while (inCallback == 0)
                std::this_thread::yield();
            doomed.reset();
            made = std::make_unique<Plug>(callback);
        }
        EXPECT_TRUE(isTicked(*made));
        EXPECT_TRUE(other == nullptr || isTicked(*other));
    }
    EXPECT_TRUE(threadsSettleAt(before));
}

/// A latency that always changes, with an editor and a host that fail.
class Failing : public host::PlugBase {
public:
    Failing() : PlugBase(failingHost) { setEditor(std::make_unique<Editor>(*this)); }
    bool onTimer() override { return true; }

    std::atomic<int> idles{0};
    static inline std::atomic<int> toldTheHost{0};

protected:
    void processBlock(float**, float**, std::int32_t) override {}
    void processBlock(double**, double**, std::int32_t) override {}

private:
    struct Editor : host::AEffEditor {
        explicit Editor(Failing& owner) : failing(owner) {}
        bool getRect(const host::EditorRect**) override { return false; }
        bool open(void*) override { return false; }
        void close() override {}
        void idle() override
        {
            ++failing.idles;
            throw std::runtime_error("no window");
        }
        void setParameter(std::int32_t, float) override {}
        Failing& failing;
    };

    static host::Pointer failingHost(host::AEffect*, std::int32_t opcode, std::int32_t, host::Pointer, void*, float)
    {
        if (opcode == host::hostIOChanged) {
            ++toldTheHost;
            throw std::runtime_error("no route");
        }
        return 0;
    }
};

TEST(InstanceTimer, DrivesEditorsAndGoesOnWhenOneFails)
{
    Failing failing;
    host::InstanceTimer::instance().add(failing);
    const auto other = makePlug();
    EXPECT_TRUE(isTicked(*other));
    EXPECT_TRUE(isTicked(*other));
    EXPECT_GE(failing.idles, 2);
    EXPECT_GE(Failing::toldTheHost, 2);
    host::InstanceTimer::instance().remove(failing);
    const int idles = failing.idles;
    EXPECT_TRUE(isTicked(*other));
    EXPECT_EQ(failing.idles, idles);
}

TEST(InstanceTimerDeathTest, OlderGlobalMayOwnAnEffectAtExit)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // in a process of its own
    struct OlderGlobal {
        ~OlderGlobal()
        {
            bool right = threadsSettleAt(before); // although an instance is left
            plug.reset();
            right = isTicked(*makePlug()) && right;
            std::_Exit(right && threadsSettleAt(before) ? 0 : 1);
        }
        std::ptrdiff_t before = threadsBefore();
        std::unique_ptr<Plug> plug;
    };
    EXPECT_EXIT(
        {
            static OlderGlobal global;
            global.plug = makePlug();
            std::exit(isTicked(*global.plug) ? 2 : 3);
        },
        testing::ExitedWithCode(0), "");
}

} // namespace
} // namespace sorvane::test
