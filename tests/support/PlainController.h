#pragma once

#include "AAX_Host.h"

#include <atomic>
#include <cstdint>

namespace sorvane::test {

/// The AAX host's side of one stereo instance: notes what it is told, and neither waits nor takes memory for it.
struct PlainController final : aax::Controller, aax::AutomationDelegate {
    aax::Result getSampleRate(float& rateHz) const override
    {
        rateHz = 48000.0F;
        return aax::AAX_SUCCESS;
    }
    aax::Result getInputStemFormat(std::uint32_t& format) const override
    {
        format = 0x10002;
        return stemResult;
    }
    aax::Result setSignalLatency(std::int32_t samples) override
    {
        latency = samples;
        return aax::AAX_SUCCESS;
    }
    aax::AutomationDelegate* automationDelegate() override { return this; }
    aax::EffectParameters* dataModel() override { return model; }
    aax::Result postSetValueRequest(const char*, double) override { return note(); }
    aax::Result postTouchRequest(const char*) override { return note(); }
    aax::Result postReleaseRequest(const char*) override { return note(); }
    aax::Result note()
    {
        ++requests;
        return aax::AAX_SUCCESS;
    }

    aax::Result stemResult = aax::AAX_SUCCESS;
    aax::EffectParameters* model = nullptr;
    std::atomic<std::int32_t> latency{-1};
    std::atomic<int> requests{0};
};

} // namespace sorvane::test
