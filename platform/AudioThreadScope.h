#pragma once

namespace sorvane::platform {

/// Marks the calling thread as the audio thread for the scope's lifetime.
///
/// Every entry that a host calls on its real-time thread opens one. Code that must not run there (locks that wait,
/// memory, files, filter design) asks active() and either asserts or leaves its work to another thread. Scopes nest.
/// Any thread; costs one thread-local increment.
class AudioThreadScope {
public:
    AudioThreadScope() noexcept;
    ~AudioThreadScope() noexcept;
    AudioThreadScope(const AudioThreadScope&) = delete;
    AudioThreadScope& operator=(const AudioThreadScope&) = delete;

    /// Whether the calling thread is inside a scope.
    [[nodiscard]] static bool active() noexcept;

    /// Whether the calling thread has ever been inside one: hosts automate on such threads between blocks too.
    [[nodiscard]] static bool isAudioThread() noexcept;
};

} // namespace sorvane::platform
