#pragma once

#include "PlugBaseThread.h"

#include <mutex>
#include <vector>

namespace sorvane::host {

class PlugBase;

/// The process-wide 10 ms timer: each tick calls onTimer and then the editor's idle of every instance.
///
/// Its thread is the user interface thread of a plug-in that owns no message loop. It runs while there are instances:
/// the first one starts it, the last one joins it, and nothing is left when the library is unloaded.
class InstanceTimer : private PlugBaseThread {
public:
    static InstanceTimer& instance();

    /// Enters an instance whose construction is complete. Any thread but the audio thread, as remove.
    void add(PlugBase& instance);
    /// Takes an instance out. No tick of it runs from here on. Called from within a tick, it returns at once.
    void remove(PlugBase& instance);

private:
    static constexpr std::int32_t kPeriodMs = 10;

    InstanceTimer() : PlugBaseThread(kPeriodMs) {}
    ~InstanceTimer() override { stopAndWait(); }

    void tick() override;
    void erase(PlugBase& instance);

    // The list belongs to the worker while that runs, and to whoever holds the mutex and has stopped the worker
    // otherwise.
    std::mutex lifecycle;
    std::vector<PlugBase*> instances;
    std::size_t cursor = 0; // of the tick in progress
};

} // namespace sorvane::host
