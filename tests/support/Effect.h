#pragma once

#include "Plug.h"
#include "Signals.h"

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace sorvane::test {

/// A host's call as the effect made it.
struct HostCall {
    std::int32_t opcode;
    std::int32_t index;
    host::Pointer value;
    float option;
};

/// A host that writes down what it is asked, and that names itself as a test wishes.
class TestHost {
public:
    TestHost() { current = this; }
    ~TestHost() { current = nullptr; }
    TestHost(const TestHost&) = delete;
    TestHost& operator=(const TestHost&) = delete;

    static host::Pointer callback(host::AEffect*, std::int32_t opcode, std::int32_t index, host::Pointer value,
                                  void* data, float option);

    [[nodiscard]] std::vector<HostCall> callsOf(std::int32_t opcode) const
    {
        std::vector<HostCall> found;
        for (const HostCall& call : calls)
            if (call.opcode == opcode)
                found.push_back(call);
        return found;
    }

    std::vector<HostCall>
        calls; // but the process level's, which comes with every block, and those of the timer's thread
    host::Pointer processLevel = host::processLevelRealtime;
    std::string vendor;
    std::string product;

private:
    static inline thread_local TestHost* current = nullptr;
};

inline host::Pointer TestHost::callback(host::AEffect*, std::int32_t opcode, std::int32_t index, host::Pointer value,
                                        void* data, float option)
{
    if (current == nullptr)
        return 0;
    if (opcode == host::hostProcessLevel)
        return current->processLevel;
    current->calls.push_back({opcode, index, value, option});
    const std::string* const text = opcode == host::hostVendorString    ? &current->vendor
                                    : opcode == host::hostProductString ? &current->product
                                                                        : nullptr;
    if (text != nullptr)
        text->copy(static_cast<char*>(data), 64);
    return 0;
}

/// A host that renders offline: what a parameter asks for is in force with the next block, filter designs too, although
/// parameters and blocks come from one thread.
inline host::Pointer offlineHost(host::AEffect*, std::int32_t opcode, std::int32_t, host::Pointer, void*, float)
{
    return opcode == host::hostProcessLevel ? host::processLevelOffline : 0;
}

inline std::unique_ptr<core::Plug> makePlug(float rateHz = 48000.0F, host::HostCallback callback = offlineHost)
{
    auto plug = std::make_unique<core::Plug>(callback, core::Plug::Start::factoryValues);
    plug->setSampleRate(rateHz);
    plug->resume();
    return plug;
}

using Values = std::vector<std::pair<std::int32_t, double>>;

/// Sets parameters in their own units.
inline void setValues(core::Plug& plug, const Values& values)
{
    for (const auto& [tag, value] : values)
        plug.setParameter(tag, plug.toNormalised(tag, static_cast<float>(value)));
}

/// An effect whose band is the whole signal, with no latency but the look-ahead: for what lies beyond the split.
inline std::unique_ptr<core::Plug> makeWidePlug(float rateHz = 48000.0F, host::HostCallback callback = offlineHost)
{
    auto plug = std::make_unique<core::Plug>(callback, core::Plug::Start::factoryValues);
    setValues(*plug, {{core::kSplitBPF, 0}, {core::kSplitBPFB, 0}, {core::kLinearPhase, 0}});
    plug->setSampleRate(rateHz);
    plug->resume();
    return plug;
}

/// Inputs of a stereo instance, or of a mono one when there is one main signal. Side-chains may be left out.
struct Inputs {
    std::vector<Signal> main;
    std::vector<Signal> side;
};

/// Plays signals through the block entry of that sample type, in blocks of the sizes that \p nextBlock gives.
template <typename Sample = double>
std::vector<Signal> play(core::Plug& plug, const Inputs& inputs, const std::function<std::int32_t()>& nextBlock)
{
    const std::size_t channels = inputs.main.size();
    const std::size_t frames = inputs.main[0].size();
    std::vector<Signal> result(channels, Signal(frames));
    std::vector<std::vector<Sample>> buffers(6);
    for (std::size_t done = 0; done < frames;) {
        const auto block = std::min(static_cast<std::size_t>(nextBlock()), frames - done);
        std::array<Sample*, 4> in{};
        std::array<Sample*, 2> out{};
        const auto load = [&](const Signal& signal, std::size_t place) {
            const auto first = signal.begin() + static_cast<std::ptrdiff_t>(done);
            buffers[place].assign(first, first + static_cast<std::ptrdiff_t>(block));
            in[place] = buffers[place].data();
        };
        for (std::size_t c = 0; c < channels; ++c) {
            load(inputs.main[c], c);
            if (!inputs.side.empty())
                load(inputs.side[c], channels + c);
            buffers[4 + c].assign(block, Sample(7));
            out[c] = buffers[4 + c].data();
        }
        if constexpr (sizeof(Sample) == sizeof(float))
            plug.processReplacing(in.data(), out.data(), static_cast<std::int32_t>(block));
        else
            plug.processDoubleReplacing(in.data(), out.data(), static_cast<std::int32_t>(block));
        for (std::size_t c = 0; c < channels; ++c)
            std::copy(buffers[4 + c].begin(), buffers[4 + c].end(),
                      result[c].begin() + static_cast<std::ptrdiff_t>(done));
        done += block;
    }
    return result;
}

template <typename Sample = double>
std::vector<Signal> play(core::Plug& plug, const Inputs& inputs, std::int32_t block = 512)
{
    return play<Sample>(plug, inputs, [block] { return block; });
}

} // namespace sorvane::test
