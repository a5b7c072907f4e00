#pragma once

#include "AAX_Host.h"
#include "AEffect.h"

#include <cstdint>

namespace sorvane::aax {

inline constexpr std::int32_t kManufacturerCode = host::fourCharCode("KSTR");
inline constexpr std::int32_t kProductCode = host::fourCharCode("Sorv");

/// Keeps the services that the host gave the library; null takes them back.
void setHostServices(HostServices* services) noexcept;
/// Writes a line to the host's log, if there is one. Any thread but the audio thread.
void trace(const char* text) noexcept;

} // namespace sorvane::aax
