#include "InstanceTimer.h"

#include "PlugBase.h"

#include <algorithm>

namespace sorvane::host {

InstanceTimer& InstanceTimer::instance()
{
    static InstanceTimer timer;
    return timer;
}

void InstanceTimer::add(PlugBase& instance)
{
    if (isWorker()) {
        instances.push_back(&instance);
        return;
    }
    const std::lock_guard lock(lifecycle);
    stopAndWait();
    instances.push_back(&instance);
    start();
}

void InstanceTimer::remove(PlugBase& instance)
{
    if (isWorker()) { // a host that ends an instance from within a call that the tick made
        erase(instance);
        if (instances.empty())
            requestStop();
        return;
    }
    const std::lock_guard lock(lifecycle);
    stopAndWait();
    erase(instance);
    if (!instances.empty())
        start();
}

void InstanceTimer::tick()
{
    for (cursor = 0; cursor < instances.size(); ++cursor) {
        PlugBase* const instance = instances[cursor];
        instance->onTimer();
        if (cursor >= instances.size() || instances[cursor] != instance)
            continue; // it ended itself
        if (AEffEditor* const editor = instance->getEditor())
            editor->idle();
    }
}

void InstanceTimer::erase(PlugBase& instance)
{
    const auto found = std::find(instances.begin(), instances.end(), &instance);
    if (found == instances.end())
        return;
    if (static_cast<std::size_t>(found - instances.begin()) <= cursor)
        --cursor; // may pass below 0: the tick's step brings it back
    instances.erase(found);
}

} // namespace sorvane::host
