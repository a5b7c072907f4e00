#pragma once

#include "AAX_Host.h"

namespace sorvane::aax {

/// Keeps the services that the host gave the library; null takes them back.
void setHostServices(HostServices* services) noexcept;
/// Writes a line to the host's log, if there is one. Any thread but the audio thread.
void trace(const char* text) noexcept;

} // namespace sorvane::aax
