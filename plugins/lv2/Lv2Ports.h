#pragma once

#include "Tags.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace sorvane::lv2 {

inline constexpr const char* kStereoUri = "urn:kestrune:sorvane:stereo";
inline constexpr const char* kMonoUri = "urn:kestrune:sorvane:mono";

/// Properties of the state: chunks, as the effect writes them, and a text.
inline constexpr const char* kChunkUri = "urn:kestrune:sorvane#chunk";   ///< of a bank: an instance's own state
inline constexpr const char* kPortsUri = "urn:kestrune:sorvane#ports";   ///< no chunk: what the ports held beside it
inline constexpr const char* kPresetUri = "urn:kestrune:sorvane#preset"; ///< of a preset
inline constexpr const char* kFactoryBankUri = "urn:kestrune:sorvane#factoryBank"; ///< of a bank: the default state

/// Scales of the meters.
inline constexpr float kLowestLevelDb = -120.0F;
inline constexpr float kHighestLevelDb = 24.0F;
inline constexpr float kMostReductionDb = 48.0F; ///< below 0 as far: upward it is a boost

/// What a port is for.
enum class PortRole : std::uint8_t {
    parameter,    ///< control in the parameter's own unit
    enabled,      ///< control, 1 unless bypassed
    freeWheeling, ///< control, 1 while the host renders faster than time
    latency,      ///< control output in samples
    midi,         ///< atom sequence
    level,        ///< control output in dBFS
    reduction,    ///< control output in dB
    input,
    sideChain,
    output,
};

struct Port {
    PortRole role = PortRole::parameter;
    std::int32_t number = 0; ///< tag of a parameter, else channel
};

/// Sessions hold symbols and scripts hold indices: ports may be added behind the last one, and nothing else. The index
/// of a parameter's port is its tag. The bank parameter, the last tag, has none: a bank changes values that ports hold.
inline constexpr std::size_t kParameterPorts = core::kABBank;
static_assert(kParameterPorts + 1 == core::kNumParams);

/// Index of a port behind those of the parameters, which stand in the order of their roles.
/// \param channel  0 for a role that has one port
[[nodiscard]] constexpr std::size_t portIndex(std::size_t channels, PortRole role, std::size_t channel = 0)
{
    const auto behind = [role](PortRole first) {
        return static_cast<std::size_t>(role) - static_cast<std::size_t>(first);
    };
    return role < PortRole::level ? kParameterPorts + behind(PortRole::freeWheeling)
                                  : kParameterPorts + 3 + behind(PortRole::level) * channels + channel;
}

/// The ports of the plug-in with that many channels, in the order of their indices.
template <std::size_t channels>
[[nodiscard]] constexpr auto makePorts()
{
    std::array<Port, portIndex(channels, PortRole::output, channels)> ports{};
    for (std::size_t tag = 0; tag < kParameterPorts; ++tag)
        ports[tag] = {tag == core::kBypass ? PortRole::enabled : PortRole::parameter, static_cast<std::int32_t>(tag)};
    for (const PortRole role : {PortRole::freeWheeling, PortRole::latency, PortRole::midi})
        ports[portIndex(channels, role)] = {role, 0};
    for (const PortRole role :
         {PortRole::level, PortRole::reduction, PortRole::input, PortRole::sideChain, PortRole::output})
        for (std::size_t channel = 0; channel < channels; ++channel)
            ports[portIndex(channels, role, channel)] = {role, static_cast<std::int32_t>(channel)};
    return ports;
}

inline constexpr auto kMonoPorts = makePorts<1>();
inline constexpr auto kStereoPorts = makePorts<2>();

/// \param channels  1 or 2
[[nodiscard]] constexpr std::span<const Port> portsOf(std::size_t channels)
{
    return channels == 1 ? std::span<const Port>(kMonoPorts) : std::span<const Port>(kStereoPorts);
}

} // namespace sorvane::lv2
