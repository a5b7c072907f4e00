#pragma once

#include "AEffect.h"

namespace sorvane::tools {

/// The side of a host that an offline render answers for.
inline host::Pointer offlineHost(host::AEffect*, std::int32_t opcode, std::int32_t, host::Pointer, void*, float)
{
    return opcode == host::hostProcessLevel ? host::processLevelOffline : 0;
}

} // namespace sorvane::tools
