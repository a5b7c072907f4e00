#pragma once

#include <cstdint>

namespace sorvane::host {

/// What an effect offers its editor beyond the class chain, which stands in rows above the editor's.
class EffectOperations {
public:
    EffectOperations() = default;
    virtual ~EffectOperations() = default;
    EffectOperations(const EffectOperations&) = delete;
    EffectOperations& operator=(const EffectOperations&) = delete;

    /// Lets beginEdit on a frequency switch to listening to what it moves.
    virtual void setAutoListenEnabled(bool on) = 0;
    /// Listens as if a frequency of that mode were held: 0 and 1 side-chain and split of the first channel, 2 and 3 of
    /// the second.
    virtual void armAutoListen(std::int32_t mode) = 0;
    /// Brings the user's preferences in force.
    virtual void applyGlobalPrefs() = 0;
    /// Brings the instance's display preferences in force that the effect itself heeds.
    virtual void applyUiPrefs() = 0;
};

} // namespace sorvane::host
