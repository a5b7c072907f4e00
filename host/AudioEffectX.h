#pragma once

#include "AudioEffect.h"

namespace sorvane::host {

/// The second half of the public VST 2.4 class interface: edits, pins, names and capabilities.
class AudioEffectX : public AudioEffect {
public:
    using AudioEffect::AudioEffect;

    Pointer dispatcher(std::int32_t opcode, std::int32_t index, Pointer value, void* data, float option) override;

    [[nodiscard]] virtual bool canParameterBeAutomated(std::int32_t) const { return true; }
    /// Brackets a user's gesture on one parameter. User interface thread.
    virtual void beginEdit(std::int32_t index) { callHost(hostBeginEdit, index); }
    virtual void endEdit(std::int32_t index) { callHost(hostEndEdit, index); }

    virtual bool getProgramNameIndexed(std::int32_t index, char* name) const;
    virtual bool getInputProperties(std::int32_t index, PinProperties* properties) const;
    virtual bool getOutputProperties(std::int32_t index, PinProperties* properties) const;
    virtual bool getParameterProperties(std::int32_t index, ParameterProperties* properties) const;
    virtual bool getSpeakerArrangement(SpeakerArrangement** input, SpeakerArrangement** output) const;
    /// \return whether the effect bypasses itself
    virtual bool setBypass(bool on);
    /// Audio thread, before the block that the events belong to. \return whether they were taken
    virtual bool processEvents(const Events* events);

    virtual bool getEffectName(char* name) const;
    virtual bool getVendorString(char* text) const;
    virtual bool getProductString(char* text) const;
    [[nodiscard]] virtual std::int32_t getVendorVersion() const { return 0; }
    virtual Pointer vendorSpecific(std::int32_t first, Pointer second, void* data, float option);
    [[nodiscard]] virtual std::int32_t canDo(const char* feature) const;
    [[nodiscard]] virtual std::int32_t getVstVersion() const { return 2400; }
    [[nodiscard]] virtual std::int32_t getPlugCategory() const { return 0; }
};

} // namespace sorvane::host
