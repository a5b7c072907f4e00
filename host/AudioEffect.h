#pragma once

#include "AEffEditor.h"
#include "AEffect.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace sorvane::host {

/// The effect as its host drives it: the first half of the public VST 2.4 class interface, with the record and its
/// entry points. Operations that an effect doesn't override do nothing and answer a neutral value.
///
/// No exception leaves an entry point: a host is C code, or built by another compiler. A host that closes an effect
/// through its record ends it: such an effect comes from a plain new, and nobody else owns it.
class AudioEffect {
public:
    /// \param callback  the host's; may be null, and then host operations answer 0
    AudioEffect(HostCallback callback, std::int32_t programCount, std::int32_t parameterCount);
    virtual ~AudioEffect();
    AudioEffect(const AudioEffect&) = delete;
    AudioEffect& operator=(const AudioEffect&) = delete;

    /// The record that the host holds. Valid as long as the effect.
    [[nodiscard]] AEffect* getAeffect() noexcept { return &cEffect; }
    [[nodiscard]] const AEffect* getAeffect() const noexcept { return &cEffect; }
    /// Keeps the record, not the effect, alive for a call to the host that the effect may end in.
    [[nodiscard]] std::shared_ptr<AEffect> shareRecord() const noexcept { return sharedRecord; }
    [[nodiscard]] AEffEditor* getEditor() const noexcept { return editor.get(); }
    [[nodiscard]] HostCallback getHostCallback() const noexcept { return audioMaster; }

    /// Answers an EffectOpcode; 0 for one that isn't known.
    virtual Pointer dispatcher(std::int32_t opcode, std::int32_t index, Pointer value, void* data, float option);

    virtual void open() {}
    virtual void close() {}
    virtual void suspend() {}
    virtual void resume() {}
    /// Takes effect on the engine's rate at the next resume.
    virtual void setSampleRate(float rateHz) { sampleRate = rateHz; }
    virtual void setBlockSize(std::int32_t frames) { blockSize = frames; }

    /// Audio thread. Output is always replaced; buffers may be in place or crossed.
    virtual void processReplacing(float** inputs, float** outputs, std::int32_t frames) = 0;
    virtual void processDoubleReplacing(double** inputs, double** outputs, std::int32_t frames) = 0;

    /// \param normal  0 to 1. Any thread
    virtual void setParameter(std::int32_t index, float normal);
    [[nodiscard]] virtual float getParameter(std::int32_t index) const;
    /// Sets a parameter and tells the host of it.
    virtual void setParameterAutomated(std::int32_t index, float normal);

    [[nodiscard]] virtual std::int32_t getProgram() const { return curProgram; }
    virtual void setProgram(std::int32_t program) { curProgram = program; }
    virtual void setProgramName(const char*) {}
    /// Texts go to a buffer of the caller's of at least kTextBytes. Through the record a program's name takes 25 at
    /// most.
    virtual void getProgramName(char* name) const;
    virtual void getParameterLabel(std::int32_t, char*) const {}
    virtual void getParameterDisplay(std::int32_t index, char* text) const;
    virtual void getParameterName(std::int32_t index, char* name) const;

    /// \return size in bytes of what \p data is pointed at, which the effect owns; 0 for none
    virtual std::int32_t getChunk(void** data, bool isPreset);
    virtual std::int32_t setChunk(const void* data, std::int32_t size, bool isPreset);

    [[nodiscard]] float getSampleRate() const noexcept { return sampleRate; }
    [[nodiscard]] std::int32_t getBlockSize() const noexcept { return blockSize; }
    [[nodiscard]] std::int32_t getInitialDelay() const noexcept;

protected:
    static constexpr std::size_t kTextBytes = 64;

    /// Gives a program's name to a host: as much of it as hosts have room for.
    static void copyProgramName(const char* name, char* destination);
    /// Calls the host. \return 0 without one
    Pointer callHost(HostOpcode opcode, std::int32_t index = 0, Pointer value = 0, void* data = nullptr,
                     float option = 0.0F) const;
    void setFlag(EffectFlag flag, bool on) noexcept;
    /// \return whether it changed
    bool setInitialDelay(std::int32_t samples) noexcept;
    void setEditor(std::unique_ptr<AEffEditor> newEditor);

    HostCallback audioMaster;
    std::unique_ptr<AEffEditor> editor;
    std::atomic<float> sampleRate{44100.0F};
    std::atomic<std::int32_t> blockSize{1024};
    std::int32_t numPrograms;
    std::int32_t numParams;
    std::atomic<std::int32_t> curProgram{0};
    const std::shared_ptr<AEffect> sharedRecord = std::make_shared<AEffect>();
    AEffect& cEffect = *sharedRecord;
};

} // namespace sorvane::host
