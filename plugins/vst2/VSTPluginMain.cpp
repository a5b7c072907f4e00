// The entry of the VST 2.4 shared object.

#include "Plug.h"

using sorvane::host::AEffect;
using sorvane::host::HostCallback;

/// Makes one instance for a host, which ends it with effectClose through the record.
///
/// \param host  the host's side of the interface
/// \return the instance's record; null without a host that knows this interface, or without the memory for one
extern "C" [[gnu::visibility("default")]] AEffect* VSTPluginMain(HostCallback host)
{
    try {
        // A host answers before it has a record. The one that answers 0 is older than the interface's second version.
        if (host == nullptr || host(nullptr, sorvane::host::hostVersion, 0, 0, nullptr, 0.0F) == 0)
            return nullptr;
        // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDeleteLeaks): ended through its record
        return (new sorvane::core::Plug(host))->getAeffect();
    } catch (...) { // no exception enters a host
        return nullptr;
    }
}
