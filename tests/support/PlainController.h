#pragma once

#include "AAXWrap_Parameters.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <stdexcept>

namespace sorvane::test {

/// The AAX host's side of one stereo instance: notes what it is told, and neither waits nor takes memory for it.
struct PlainController final : aax::Controller, aax::AutomationDelegate {
    aax::Result getSampleRate(float& rateHz) const override
    {
        rateHz = 48000.0F;
        return note(aax::AAX_SUCCESS);
    }
    aax::Result getInputStemFormat(std::uint32_t& format) const override
    {
        format = 0x10002;
        return stemResult;
    }
    aax::Result setSignalLatency(std::int32_t samples) override
    {
        latency = samples;
        return note(aax::AAX_SUCCESS);
    }
    aax::AutomationDelegate* automationDelegate() override { return hasDelegate ? this : nullptr; }
    aax::EffectParameters* dataModel() override { return model; }
    aax::Result postSetValueRequest(const char*, double) override { return request(); }
    aax::Result postTouchRequest(const char*) override { return request(); }
    aax::Result postReleaseRequest(const char*) override { return request(); }
    aax::Result request()
    {
        ++requests;
        return note(aax::AAX_SUCCESS);
    }
    [[nodiscard]] aax::Result note(aax::Result result) const
    {
        if (throws)
            throw std::runtime_error("host");
        return result;
    }

    aax::Result stemResult = aax::AAX_SUCCESS;
    aax::EffectParameters* model = nullptr;
    bool hasDelegate = true;
    bool throws = false;
    std::atomic<std::int32_t> latency{-1};
    std::atomic<int> requests{0};
};

/// What the callback of a stereo instance gets: two inputs, a side-chain behind them, two outputs.
struct PlainBlock {
    explicit PlainBlock(aax::EffectParameters& parameters)
    {
        (void)parameters.resetPrivateData(8, &owner, sizeof owner);
    }
    void play()
    {
        aax::AlgorithmContext* const list[] = {&context};
        aax::AAXWrap_Parameters::algorithm(list, list + 1);
    }

    std::array<std::array<float, 512>, 5> buffers{};
    float* inputs[3] = {buffers[0].data(), buffers[1].data(), buffers[2].data()};
    float* outputs[2] = {buffers[3].data(), buffers[4].data()};
    std::array<float, 6> meters{};
    std::int32_t frames = 512;
    float rate = 48000.0F;
    std::int64_t clock = 0;
    std::int32_t sideChain = 0;
    aax::SAAXWrap_Alg_Context_Private owner{};
    aax::AlgorithmContext context{inputs,  outputs, &frames, &rate,         &clock,    nullptr,
                                  nullptr, nullptr, &owner,  meters.data(), &sideChain};
};

} // namespace sorvane::test
