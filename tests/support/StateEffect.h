#pragma once

#include "PlugBaseJSON.h"

namespace sorvane::test {

/// An effect that has parameters, banks and state but no sound, so that tests can load state by the thousand.
class StateEffect : public host::PlugBaseJSON {
public:
    explicit StateEffect(host::HostCallback callback = nullptr) : PlugBaseJSON(callback)
    {
        bankParam = core::kABBank;
        chunkCacheable = true;
    }

    [[nodiscard]] float programValue(std::size_t tag) const { return programs[0].values[tag]; }
    [[nodiscard]] float bankValue(std::size_t bank, std::size_t tag) const { return banks[bank].values[tag]; }
    void setBankValue(std::size_t bank, std::size_t tag, float normal)
    {
        banks[bank].values[tag] = normal;
        markChunkDirty();
    }
    void setProgramValue(std::size_t tag, float normal)
    {
        programs[0].values[tag] = normal;
        markChunkDirty();
    }
    [[nodiscard]] std::string programName() const { return programs[0].getName(); }

    std::int32_t load(std::string_view chunk, bool isPreset = false)
    {
        return setChunk(chunk.data(), static_cast<std::int32_t>(chunk.size()), isPreset);
    }

protected:
    void processBlock(float**, float**, std::int32_t) override {}
    void processBlock(double**, double**, std::int32_t) override {}
};

} // namespace sorvane::test
