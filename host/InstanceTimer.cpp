#include "InstanceTimer.h"

#include "LoadedFile.h"
#include "PlugBase.h"

#include <algorithm>
#include <chrono>

namespace sorvane::host {

InstanceTimer& InstanceTimer::instance()
{
    static platform::NeverDestroyed<InstanceTimer> timer;
    struct AtExit {
        ~AtExit() { timer.get().endForNow(); }
    };
    static const AtExit atExit;
    return timer.get();
}

void InstanceTimer::endForNow()
{
    if (isWorker())
        return; // a host that exits in a call of ours; the thread goes with the process
    const std::lock_guard order(lifecycle);
    std::unique_lock lock(list);
    ending = true;
    if (!waitForHost(lock, telling))
        return requestStop(); // it waits for the thread that is ending the process
    lock.unlock();
    stopAndWait();
    lock.lock();
    ending = false;            // what older globals make ticks as ever
    instances.shrink_to_fit(); // nobody would free it when the library goes
}

void InstanceTimer::add(PlugBase& instance)
{
    if (isWorker()) { // from within a call to the host
        const std::lock_guard lock(list);
        instances.push_back(&instance);
        if (!ending)
            start(); // it runs, unless it was asked to end
        return;
    }
    const std::lock_guard order(lifecycle);
    {
        const std::lock_guard lock(list);
        instances.push_back(&instance);
    }
    start();
}

void InstanceTimer::remove(PlugBase& instance)
{
    if (isWorker()) { // a host that ends an instance when it is told something
        const std::lock_guard lock(list);
        erase(instance);
        if (instances.empty())
            requestStop();
        return;
    }
    const std::lock_guard order(lifecycle);
    std::unique_lock lock(list);
    erase(instance);
    left.wait(lock, [&] { return ticking != &instance; });
    const bool hostIsBack = waitForHost(lock, instances.empty() ? telling : &instance);
    if (!instances.empty())
        return;
    lock.unlock();
    if (hostIsBack)
        return stopAndWait();
    requestStop();
    platform::keepLoaded();
}

/// Waits for a call to the host about an instance to come back. It may be waiting for a lock that this thread holds.
/// \return whether it is back
bool InstanceTimer::waitForHost(std::unique_lock<std::mutex>& lock, const PlugBase* instance)
{
    constexpr std::chrono::milliseconds kLongest{500};
    return left.wait_for(lock, kLongest, [&] { return telling == nullptr || telling != instance; });
}

void InstanceTimer::tick()
{
    while (PlugBase* const instance = enterNext()) {
        const bool latencyChanged = workIn(*instance);
        const HostCallback callback = instance->getHostCallback();
        const std::shared_ptr<AEffect> record = instance->shareRecord();
        if (!leave(latencyChanged && callback != nullptr))
            continue;
        try {
            callback(record.get(), hostIOChanged, 0, 0, nullptr, 0.0F);
        } catch (...) { // as below
        }
        endTelling();
    }
}

/// \return whether the host is to be told of a new latency
bool InstanceTimer::workIn(PlugBase& instance) noexcept
{
    bool latencyChanged = false;
    try {
        latencyChanged = instance.onTimer();
        if (AEffEditor* const editor = instance.getEditor())
            editor->idle();
    } catch (...) { // it would end the process, the host's work with it; the next tick tries again
    }
    return latencyChanged;
}

PlugBase* InstanceTimer::enterNext()
{
    const std::lock_guard lock(list);
    if (cursor >= instances.size()) {
        cursor = 0; // of the next tick
        return nullptr;
    }
    ticking = instances[cursor++];
    return ticking;
}

/// \return whether to tell the host: not of an instance that was taken out meanwhile
bool InstanceTimer::leave(bool toTellTheHost)
{
    {
        const std::lock_guard lock(list);
        if (toTellTheHost && !ending && std::find(instances.begin(), instances.end(), ticking) != instances.end())
            telling = ticking;
        toTellTheHost = telling != nullptr;
        ticking = nullptr;
    }
    left.notify_all();
    return toTellTheHost;
}

void InstanceTimer::endTelling()
{
    {
        const std::lock_guard lock(list);
        telling = nullptr;
    }
    left.notify_all();
}

void InstanceTimer::erase(PlugBase& instance)
{
    const auto found = std::find(instances.begin(), instances.end(), &instance);
    if (found == instances.end())
        return;
    if (static_cast<std::size_t>(found - instances.begin()) < cursor)
        --cursor;
    instances.erase(found);
}

} // namespace sorvane::host
