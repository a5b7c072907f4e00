#pragma once

#include "AEffect.h"
#include "Signals.h"

#include <dlfcn.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace sorvane::test {

/// A VST 2.4 library as a host has it: a file that is loaded, of which it knows the entry only.
class VstLibrary {
public:
    using Entry = host::AEffect* (*)(host::HostCallback);

    explicit VstLibrary(const std::string& path = SORVANE_VST2)
        : handle(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)),
          entry(handle != nullptr ? reinterpret_cast<Entry>(dlsym(handle, "VSTPluginMain")) : nullptr)
    {
        if (entry == nullptr)
            throw std::runtime_error(path + " isn't a VST 2.4 library");
    }
    ~VstLibrary() { dlclose(handle); }
    VstLibrary(const VstLibrary&) = delete;
    VstLibrary& operator=(const VstLibrary&) = delete;

    void* const handle;
    const Entry entry;

    // What the host of all effects answers and sees.
    static inline std::atomic<host::Pointer> version{2400};
    static inline std::atomic<std::int32_t> processLevel{host::processLevelRealtime};
    static inline std::atomic<std::int32_t> ioChanges{0};
    static inline std::atomic<std::int32_t> edits{0};            ///< begun, moved and ended
    static inline std::atomic<std::int32_t> delayAtIOChange{-1}; ///< as the effect's record read within the call

    static host::Pointer callback(host::AEffect* record, std::int32_t opcode, std::int32_t, host::Pointer, void*, float)
    {
        if (opcode == host::hostVersion)
            return version;
        if (opcode == host::hostProcessLevel)
            return processLevel;
        if (opcode == host::hostAutomate || opcode == host::hostBeginEdit || opcode == host::hostEndEdit)
            ++edits;
        if (opcode == host::hostIOChanged) {
            delayAtIOChange = std::atomic_ref(record->initialDelay).load();
            ++ioChanges;
        }
        return 0;
    }
};

/// An instance of a library's, made, run and ended through its record.
class VstEffect {
public:
    enum class State { asMade, running };

    explicit VstEffect(const VstLibrary& library, float rateHz = 48000.0F, State state = State::running)
        : record(library.entry(VstLibrary::callback))
    {
        if (record == nullptr)
            throw std::runtime_error("no instance");
        if (state == State::asMade)
            return;
        ask(host::effectOpen);
        ask(host::effectSetSampleRate, 0, 0, nullptr, rateHz);
        ask(host::effectSetBlockSize, 0, 2048);
        ask(host::effectMainsChanged, 0, 1);
    }
    ~VstEffect()
    {
        ask(host::effectMainsChanged, 0, 0);
        ask(host::effectClose);
    }
    VstEffect(const VstEffect&) = delete;
    VstEffect& operator=(const VstEffect&) = delete;

    host::Pointer ask(std::int32_t opcode, std::int32_t index = 0, host::Pointer value = 0, void* data = nullptr,
                      float option = 0.0F) const
    {
        return record->dispatcher(record, opcode, index, value, data, option);
    }
    [[nodiscard]] std::string text(std::int32_t opcode, std::int32_t index = 0) const
    {
        std::array<char, 256> buffer{"untouched"};
        ask(opcode, index, 0, buffer.data());
        return buffer.data();
    }
    [[nodiscard]] std::string chunk(bool isPreset = false) const
    {
        void* data = nullptr;
        const auto size = ask(host::effectGetChunk, isPreset ? 1 : 0, 0, &data);
        return {static_cast<const char*>(data), static_cast<std::size_t>(size)};
    }
    [[nodiscard]] host::Pointer load(std::string chunk, bool isPreset = false) const
    {
        return ask(host::effectSetChunk, isPreset ? 1 : 0, static_cast<host::Pointer>(chunk.size()), chunk.data());
    }
    void set(std::int32_t index, float normal) const { record->setParameter(record, index, normal); }
    [[nodiscard]] float get(std::int32_t index) const { return record->getParameter(record, index); }
    [[nodiscard]] std::int32_t delay() const { return std::atomic_ref(record->initialDelay).load(); }

    host::AEffect* const record;
};

/// Plays four inputs through the record's entry for that sample type, in blocks of the sizes that \p nextBlock gives.
template <typename Sample = double>
std::vector<Signal> play(const VstEffect& effect, const std::array<Signal, 4>& inputs,
                         const std::function<std::int32_t()>& nextBlock)
{
    std::vector<std::vector<Sample>> buffers;
    for (const Signal& input : inputs)
        buffers.emplace_back(input.begin(), input.end());
    const std::size_t frames = inputs[0].size();
    for (int c = 0; c < 2; ++c)
        buffers.emplace_back(frames, Sample(7));
    for (std::size_t done = 0; done < frames;) {
        const auto block = std::min(static_cast<std::size_t>(nextBlock()), frames - done);
        std::array<Sample*, 6> at{};
        for (std::size_t i = 0; i < at.size(); ++i)
            at[i] = buffers[i].data() + done;
        if constexpr (sizeof(Sample) == sizeof(float))
            effect.record->processReplacing(effect.record, at.data(), &at[4], static_cast<std::int32_t>(block));
        else
            effect.record->processDoubleReplacing(effect.record, at.data(), &at[4], static_cast<std::int32_t>(block));
        done += block;
    }
    return {Signal(buffers[4].begin(), buffers[4].end()), Signal(buffers[5].begin(), buffers[5].end())};
}

} // namespace sorvane::test
