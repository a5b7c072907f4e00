#include "AudioThreadScope.h"

namespace sorvane::platform {

namespace {

// Initial-exec keeps these in the thread's static block: the general model allocates it on first use, which would
// be on the audio thread.
[[gnu::tls_model("initial-exec")]] thread_local int depth = 0;
[[gnu::tls_model("initial-exec")]] thread_local bool hasRunBlocks = false;

} // namespace

AudioThreadScope::AudioThreadScope() noexcept
{
    ++depth;
    hasRunBlocks = true;
}

AudioThreadScope::~AudioThreadScope() noexcept
{
    --depth;
}

bool AudioThreadScope::active() noexcept
{
    return depth > 0;
}

bool AudioThreadScope::isAudioThread() noexcept
{
    return hasRunBlocks;
}

} // namespace sorvane::platform
