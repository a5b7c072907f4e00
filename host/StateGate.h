#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace sorvane::host {

/// Lets one thread at a time load or gather an effect's state, so that nobody gets half of one and half of another.
///
/// The thread that is inside may enter again: hosts ask for a state when they are told of a change by a load. Another
/// one waits, but not for ever: while a load tells the host, the host may hold a lock that the waiting thread holds
/// too. Never on the audio thread.
class StateGate {
public:
    /// Is inside from here to the end of its scope, or goes on without after a second.
    class Passage {
    public:
        explicit Passage(StateGate& stateGate) : gate(stateGate), isInside(gate.enter()) {}
        ~Passage()
        {
            if (isInside)
                gate.leave();
        }
        Passage(const Passage&) = delete;
        Passage& operator=(const Passage&) = delete;

    private:
        StateGate& gate;
        bool isInside;
    };

private:
    bool enter()
    {
        constexpr std::chrono::seconds kLongest(1);
        std::unique_lock lock(mutex);
        const auto self = std::this_thread::get_id();
        if (owner != self && !left.wait_for(lock, kLongest, [&] { return depth == 0; }))
            return false;
        owner = self;
        ++depth;
        return true;
    }

    void leave()
    {
        {
            const std::lock_guard lock(mutex);
            if (--depth == 0)
                owner = {};
        }
        left.notify_one();
    }

    std::mutex mutex;
    std::condition_variable left;
    std::thread::id owner;
    int depth = 0;
};

} // namespace sorvane::host
