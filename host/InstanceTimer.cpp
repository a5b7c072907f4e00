#include "InstanceTimer.h"

#include "PlugBase.h"

#include <algorithm>
#include <new>

namespace sorvane::host {

InstanceTimer& InstanceTimer::instance()
{
    alignas(InstanceTimer) static std::byte storage[sizeof(InstanceTimer)];
    static InstanceTimer& timer = *new (storage) InstanceTimer();
    struct AtExit {
        ~AtExit() { timer.endForNow(); }
    };
    static const AtExit atExit;
    return timer;
}

void InstanceTimer::endForNow()
{
    if (isWorker())
        return; // a host that exits in a call of ours; the thread goes with the process
    const std::lock_guard order(lifecycle);
    stopAndWait();
    const std::lock_guard lock(list);
    instances.shrink_to_fit(); // nobody would free it when the library goes
}

void InstanceTimer::add(PlugBase& instance)
{
    if (isWorker()) { // from within a call to the host
        const std::lock_guard lock(list);
        instances.push_back(&instance);
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
    if (!instances.empty())
        return;
    // In a call of the host's it may be waiting for a lock that this thread holds; it ends by itself behind that.
    const bool mayWait = !tellsHost;
    lock.unlock();
    if (mayWait)
        stopAndWait();
    else
        requestStop();
}

void InstanceTimer::tick()
{
    while (PlugBase* const instance = enterNext()) {
        const bool latencyChanged = workIn(*instance);
        const HostCallback callback = instance->getHostCallback();
        const std::shared_ptr<AEffect> record = instance->shareRecord();
        leave(latencyChanged);
        if (!latencyChanged || callback == nullptr)
            continue;
        try {
            callback(record.get(), hostIOChanged, 0, 0, nullptr, 0.0F);
        } catch (...) { // as below
        }
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
    tellsHost = false;
    if (cursor >= instances.size()) {
        cursor = 0; // of the next tick
        return nullptr;
    }
    ticking = instances[cursor++];
    return ticking;
}

void InstanceTimer::leave(bool toTellTheHost)
{
    {
        const std::lock_guard lock(list);
        ticking = nullptr;
        tellsHost = toTellTheHost;
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
