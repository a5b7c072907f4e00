#pragma once

#include "PlugBase.h"

namespace sorvane::host {

/// The effect's state for hosts and files. Notes what changes it, so that an unchanged state needn't be written anew.
class PlugBaseJSON : public PlugBase {
public:
    explicit PlugBaseJSON(HostCallback callback);

    void setParameter(std::int32_t index, float normal) override;

    /// \param level  of deflate, 0 to 9; 0 writes plain text
    virtual void setCompressionLevel(std::int32_t level);

protected:
    dsp::Relaxed<std::int32_t> compressionLevel{9};
    Program defaultProgram;              ///< the factory values
    dsp::Relaxed<bool> chunkDirty{true}; ///< something changed since the chunk was last made
    bool chunkCacheable = false;
};

} // namespace sorvane::host
