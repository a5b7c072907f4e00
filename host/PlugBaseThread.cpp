#include "PlugBaseThread.h"

#include <pthread.h>

#include <chrono>
#include <csignal>

namespace sorvane::host {

namespace {

/// Blocks all signals for its lifetime: a thread started meanwhile never runs a handler of the host's.
class SignalsBlocked {
public:
    SignalsBlocked()
    {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t before{};
};

} // namespace

void PlugBaseThread::start() noexcept
{
    if (goesOn())
        return;
    if (thread.joinable())
        thread.join();
    ended = false;
    const SignalsBlocked blocked;
    try {
        thread = std::thread(&PlugBaseThread::run, this);
    } catch (...) {   // no thread, or no memory for one
        ended = true; // the next start tries again
    }
}

/// Takes a request to end back; false when it came too late, or when nothing runs.
bool PlugBaseThread::goesOn() noexcept
{
    const std::lock_guard lock(state);
    stop = 0;
    return !ended;
}

void PlugBaseThread::stopAndWait()
{
    requestStop();
    if (thread.joinable())
        thread.join();
}

void PlugBaseThread::requestStop() noexcept
{
    {
        const std::lock_guard lock(state);
        stop = 1;
    }
    wake.release();
}

bool PlugBaseThread::isWorker() const noexcept
{
    return worker.load() == std::this_thread::get_id();
}

bool PlugBaseThread::ends() noexcept
{
    const std::lock_guard lock(state);
    ended = stop != 0;
    return ended;
}

void PlugBaseThread::run()
{
    // Of the class of an ordinary thread, even when one of the host's real-time threads started it.
    const sched_param ordinary{};
    pthread_setschedparam(pthread_self(), SCHED_OTHER, &ordinary);
    worker = std::this_thread::get_id();
    while (!ends()) {
        tick();
        (void)wake.try_acquire_for(std::chrono::milliseconds(periodMs));
    }
    worker = std::thread::id();
}

} // namespace sorvane::host
