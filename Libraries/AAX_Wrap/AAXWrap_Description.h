#pragma once

#include "AAX_Description.h"

namespace sorvane::aax {

/// Describes the plug-in to the host: one effect with a mono and a stereo component. Whatever the host throws meanwhile
/// ends here as a result.
Result registerPlugin(Collection* collection) noexcept;

} // namespace sorvane::aax
