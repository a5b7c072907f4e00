#include "AudioThreadScope.h"

namespace sorvane::platform {

namespace {

// Initial-exec keeps the counter in the thread's static block: the general model allocates it on first use, which would
// be on the audio thread.
[[gnu::tls_model("initial-exec")]] thread_local int depth = 0;

} // namespace

AudioThreadScope::AudioThreadScope() noexcept
{
    ++depth;
}

AudioThreadScope::~AudioThreadScope() noexcept
{
    --depth;
}

bool AudioThreadScope::active() noexcept
{
    return depth > 0;
}

} // namespace sorvane::platform
