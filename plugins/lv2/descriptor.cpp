// The entry of the LV2 bundle's library.

#include "Lv2Effect.h"

#include <cmath>
#include <string_view>

namespace sorvane::lv2 {

namespace {

constexpr double kMostRateHz = 1.0e6;

Lv2Effect& effect(LV2_Handle handle)
{
    return *static_cast<Lv2Effect*>(handle);
}

LV2_Handle instantiate(const LV2_Descriptor* descriptor, double rateHz, const char*,
                       const LV2_Feature* const* features) noexcept
{
    if (!(rateHz > 0.0 && rateHz <= kMostRateHz))
        return nullptr;
    try {
        return new Lv2Effect(std::string_view(descriptor->URI) == kMonoUri ? 1 : 2, rateHz, features);
    } catch (...) {
        return nullptr;
    }
}

void connectPort(LV2_Handle handle, std::uint32_t index, void* data) noexcept
{
    effect(handle).connect(index, data);
}

/// Without the memory for its buffers the instance stays silent.
void activate(LV2_Handle handle) noexcept
{
    try {
        effect(handle).activate();
    } catch (...) {
    }
}

void run(LV2_Handle handle, std::uint32_t frames) noexcept
{
    effect(handle).run(frames);
}

void deactivate(LV2_Handle handle) noexcept
{
    try {
        effect(handle).deactivate();
    } catch (...) { // the next activation starts anew whatever was left
    }
}

void cleanup(LV2_Handle handle) noexcept
{
    delete static_cast<Lv2Effect*>(handle);
}

LV2_State_Status save(LV2_Handle handle, LV2_State_Store_Function store, LV2_State_Handle state, std::uint32_t,
                      const LV2_Feature* const*) noexcept
{
    try {
        return effect(handle).save(store, state);
    } catch (...) {
        return LV2_STATE_ERR_UNKNOWN;
    }
}

LV2_State_Status restore(LV2_Handle handle, LV2_State_Retrieve_Function retrieve, LV2_State_Handle state, std::uint32_t,
                         const LV2_Feature* const*) noexcept
{
    try {
        return effect(handle).restore(retrieve, state);
    } catch (...) {
        return LV2_STATE_ERR_UNKNOWN;
    }
}

std::uint32_t getOptions(LV2_Handle handle, LV2_Options_Option* options) noexcept
{
    return effect(handle).getOptions(options);
}

std::uint32_t setOptions(LV2_Handle handle, const LV2_Options_Option* options) noexcept
{
    return effect(handle).setOptions(options);
}

const void* extensionData(const char* uri) noexcept
{
    static constexpr LV2_State_Interface state{save, restore};
    static constexpr LV2_Options_Interface options{getOptions, setOptions};
    const std::string_view wanted = uri != nullptr ? uri : "";
    if (wanted == LV2_STATE__interface)
        return &state;
    if (wanted == LV2_OPTIONS__interface)
        return &options;
    return nullptr;
}

constexpr LV2_Descriptor descriptorOf(const char* uri)
{
    return {uri, instantiate, connectPort, activate, run, deactivate, cleanup, extensionData};
}

} // namespace

} // namespace sorvane::lv2

LV2_SYMBOL_EXPORT const LV2_Descriptor* lv2_descriptor(std::uint32_t index)
{
    using namespace sorvane::lv2;
    static constexpr LV2_Descriptor stereo = descriptorOf(kStereoUri);
    static constexpr LV2_Descriptor mono = descriptorOf(kMonoUri);
    return index == 0 ? &stereo : index == 1 ? &mono : nullptr;
}
