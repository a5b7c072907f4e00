#include "AudioEffect.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace sorvane::host {

namespace {

AudioEffect& effectOf(AEffect* record)
{
    return *static_cast<AudioEffect*>(record->object);
}

/// Runs one call of the host's; whatever it throws ends here.
template <typename Call>
auto guarded(AEffect* record, Call call) noexcept -> decltype(call(effectOf(record)))
{
    using Result = decltype(call(effectOf(record)));
    try {
        if (record != nullptr && record->object != nullptr)
            return call(effectOf(record));
    } catch (...) { // the answer below says that nothing was done
    }
    return Result();
}

Pointer dispatch(AEffect* record, std::int32_t opcode, std::int32_t index, Pointer value, void* data, float option)
{
    const Pointer answer =
        guarded(record, [&](AudioEffect& effect) { return effect.dispatcher(opcode, index, value, data, option); });
    if (opcode != effectClose || record == nullptr || record->object == nullptr)
        return answer;
    delete &effectOf(record);
    return 1;
}

void setParameterEntry(AEffect* record, std::int32_t index, float normal)
{
    guarded(record, [&](AudioEffect& effect) { effect.setParameter(index, normal); });
}

float getParameterEntry(AEffect* record, std::int32_t index)
{
    return guarded(record, [&](AudioEffect& effect) { return effect.getParameter(index); });
}

void processEntry(AEffect* record, float** inputs, float** outputs, std::int32_t frames)
{
    guarded(record, [&](AudioEffect& effect) { effect.processReplacing(inputs, outputs, frames); });
}

void processDoubleEntry(AEffect* record, double** inputs, double** outputs, std::int32_t frames)
{
    guarded(record, [&](AudioEffect& effect) { effect.processDoubleReplacing(inputs, outputs, frames); });
}

void clearText(char* text)
{
    if (text != nullptr)
        *text = 0;
}

} // namespace

AudioEffect::AudioEffect(HostCallback callback, std::int32_t programCount, std::int32_t parameterCount)
    : audioMaster(callback), numPrograms(programCount), numParams(parameterCount)
{
    cEffect.magic = fourCharCode("VstP");
    cEffect.dispatcher = dispatch;
    cEffect.process = processEntry;
    cEffect.setParameter = setParameterEntry;
    cEffect.getParameter = getParameterEntry;
    cEffect.processReplacing = processEntry;
    cEffect.processDoubleReplacing = processDoubleEntry;
    cEffect.numPrograms = programCount;
    cEffect.numParams = parameterCount;
    cEffect.ioRatio = 1.0F;
    cEffect.object = this;
    cEffect.version = 1;
    setFlag(effectCanReplacing, true);
}

AudioEffect::~AudioEffect()
{
    // Whoever still holds the record reaches nothing through it: neither this object nor the host's own.
    cEffect.object = nullptr;
    cEffect.user = nullptr;
    cEffect.hostReserved1 = 0;
    cEffect.hostReserved2 = 0;
}

Pointer AudioEffect::dispatcher(std::int32_t opcode, std::int32_t index, Pointer value, void* data, float option)
{
    auto* const text = static_cast<char*>(data);
    switch (opcode) {
    case effectOpen:
        open();
        break;
    case effectClose:
        close();
        break;
    case effectSetProgram:
        setProgram(static_cast<std::int32_t>(value));
        break;
    case effectGetProgram:
        return getProgram();
    case effectSetSampleRate:
        setSampleRate(option);
        break;
    case effectSetBlockSize:
        setBlockSize(static_cast<std::int32_t>(value));
        break;
    case effectMainsChanged:
        value != 0 ? resume() : suspend();
        break;
    case effectIdentify:
        return fourCharCode("NvEf");
    case effectSetBlockSizeAndRate:
        setBlockSize(static_cast<std::int32_t>(value));
        setSampleRate(option);
        return 1;
    case effectEditGetRect:
        return editor && data != nullptr && editor->getRect(static_cast<const EditorRect**>(data)) ? 1 : 0;
    case effectEditOpen:
        return editor && editor->open(data) ? 1 : 0;
    case effectEditClose:
        if (editor)
            editor->close();
        break;
    case effectGetChunk:
        return data == nullptr ? 0 : getChunk(static_cast<void**>(data), index != 0);
    case effectSetChunk:
        return setChunk(data, static_cast<std::int32_t>(value), index != 0);
    default:
        break;
    }
    if (text == nullptr)
        return 0;
    switch (opcode) {
    case effectSetProgramName:
        setProgramName(text);
        break;
    case effectGetProgramName: {
        char name[kTextBytes] = {};
        getProgramName(name);
        copyProgramName(name, text);
        break;
    }
    case effectGetParamLabel:
        clearText(text);
        getParameterLabel(index, text);
        break;
    case effectGetParamDisplay:
        clearText(text);
        getParameterDisplay(index, text);
        break;
    case effectGetParamName:
        clearText(text);
        getParameterName(index, text);
        break;
    default:
        break;
    }
    return 0;
}

/// Cuts between two characters of UTF-8.
void AudioEffect::copyProgramName(const char* name, char* destination)
{
    std::size_t length = strnlen(name, kMostProgramNameBytes + 1);
    if (length > kMostProgramNameBytes) {
        length = kMostProgramNameBytes;
        while (length > 0 && (static_cast<unsigned char>(name[length]) & 0xC0U) == 0x80U)
            --length;
    }
    std::copy_n(name, length, destination);
    destination[length] = 0;
}

void AudioEffect::setParameter(std::int32_t, float) {}

float AudioEffect::getParameter(std::int32_t) const
{
    return 0.0F;
}

void AudioEffect::setParameterAutomated(std::int32_t index, float normal)
{
    setParameter(index, normal);
    callHost(hostAutomate, index, 0, nullptr, normal);
}

void AudioEffect::getProgramName(char* name) const
{
    clearText(name);
}

void AudioEffect::getParameterDisplay(std::int32_t, char* text) const
{
    clearText(text);
}

void AudioEffect::getParameterName(std::int32_t, char* name) const
{
    clearText(name);
}

std::int32_t AudioEffect::getChunk(void**, bool)
{
    return 0;
}

std::int32_t AudioEffect::setChunk(const void*, std::int32_t, bool)
{
    return 0;
}

Pointer AudioEffect::callHost(HostOpcode opcode, std::int32_t index, Pointer value, void* data, float option) const
{
    return audioMaster != nullptr ? audioMaster(&cEffect, opcode, index, value, data, option) : 0;
}

void AudioEffect::setFlag(EffectFlag flag, bool on) noexcept
{
    cEffect.flags = on ? cEffect.flags | flag : cEffect.flags & ~flag;
}

// The host reads the delay from the record when it likes, so it is written as one unit.
std::int32_t AudioEffect::getInitialDelay() const noexcept
{
    return std::atomic_ref(cEffect.initialDelay).load(std::memory_order_relaxed);
}

bool AudioEffect::setInitialDelay(std::int32_t samples) noexcept
{
    return getInitialDelay() != samples &&
           std::atomic_ref(cEffect.initialDelay).exchange(samples, std::memory_order_relaxed) != samples;
}

void AudioEffect::setEditor(std::unique_ptr<AEffEditor> newEditor)
{
    editor = std::move(newEditor);
    setFlag(effectHasEditor, editor != nullptr);
}

} // namespace sorvane::host
