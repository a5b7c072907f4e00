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

void PlugBaseThread::start()
{
    if (thread.joinable() && stop.load() == 0)
        return;
    stopAndWait();
    stop = 0;
    const SignalsBlocked blocked;
    thread = std::thread(&PlugBaseThread::run, this);
}

void PlugBaseThread::stopAndWait()
{
    if (!thread.joinable())
        return;
    requestStop();
    thread.join();
    (void)wake.try_acquire(); // left over when the thread was in a tick
}

void PlugBaseThread::requestStop() noexcept
{
    if (stop.exchange(1) == 0)
        wake.release();
}

bool PlugBaseThread::isWorker() const noexcept
{
    return worker.load() == std::this_thread::get_id();
}

void PlugBaseThread::run()
{
    worker = std::this_thread::get_id();
    while (stop.load() == 0) {
        tick();
        (void)wake.try_acquire_for(std::chrono::milliseconds(periodMs));
    }
    worker = std::thread::id();
}

} // namespace sorvane::host
