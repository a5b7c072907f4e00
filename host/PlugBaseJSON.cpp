#include "PlugBaseJSON.h"

#include <algorithm>

namespace sorvane::host {

PlugBaseJSON::PlugBaseJSON(HostCallback callback) : PlugBase(callback)
{
    setFlag(effectProgramChunks, true);
}

void PlugBaseJSON::setParameter(std::int32_t index, float normal)
{
    chunkDirty = true;
    PlugBase::setParameter(index, normal);
}

void PlugBaseJSON::setCompressionLevel(std::int32_t level)
{
    compressionLevel = std::clamp(level, 0, 9);
}

} // namespace sorvane::host
