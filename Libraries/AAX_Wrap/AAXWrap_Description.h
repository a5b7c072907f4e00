#pragma once

#include "AAX_Description.h"
#include "AEffect.h"

#include <cstdint>

namespace sorvane::aax {

inline constexpr std::int32_t kManufacturerCode = host::fourCharCode("KSTR");
inline constexpr std::int32_t kProductCode = host::fourCharCode("Sorv");

/// Describes the plug-in to the host: one effect with a mono and a stereo component. Whatever the host throws meanwhile
/// ends here as a result.
Result registerPlugin(Collection* collection) noexcept;

} // namespace sorvane::aax
