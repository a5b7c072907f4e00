#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <semaphore>
#include <thread>

namespace sorvane::host {

/// A thread that does the same thing again and again, with a pause after each time.
///
/// start and stopAndWait from any thread but the worker itself, one at a time. A derived class stops the thread before
/// its own members go.
class PlugBaseThread {
public:
    /// \param pauseMs  between two ticks
    explicit PlugBaseThread(std::int32_t pauseMs) : periodMs(pauseMs) {}
    virtual ~PlugBaseThread() { stopAndWait(); }
    PlugBaseThread(const PlugBaseThread&) = delete;
    PlugBaseThread& operator=(const PlugBaseThread&) = delete;

    /// Starts the thread if it doesn't run, or lets it go on if it was asked to end and hasn't yet. Where the system
    /// has no thread or memory to give, nothing runs until a later start.
    void start() noexcept;
    /// Lets the tick in progress end, however long it takes, and joins the thread.
    void stopAndWait();
    /// Asks the thread to end after this tick; the next start or stopAndWait joins it. The worker itself may call this.
    void requestStop() noexcept;
    [[nodiscard]] bool isWorker() const noexcept;

protected:
    /// One round of the work. Worker thread.
    virtual void tick() = 0;

private:
    void run();
    [[nodiscard]] bool ends() noexcept;
    [[nodiscard]] bool goesOn() noexcept;

    std::mutex state; ///< guards stop and ended together
    std::int32_t stop = 0;
    bool ended = true;
    std::int32_t periodMs;
    std::counting_semaphore<> wake{0}; ///< ends a pause early
    std::thread thread;
    std::atomic<std::thread::id> worker{};
};

} // namespace sorvane::host
