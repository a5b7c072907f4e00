#pragma once

#include <string>

namespace sorvane::platform {

/// Path of the library or program that this code was loaded from, links followed; empty when it can't be told. Any
/// thread but the audio thread.
[[nodiscard]] std::string loadedFile();

/// Keeps the library that this code is in loaded until the process ends, whoever closes it. For a thread that can't be
/// awaited. Any thread but the audio thread.
void keepLoaded() noexcept;

} // namespace sorvane::platform
