#pragma once

#include "DF1Cascade.h"

namespace sorvane::dsp {

/// A filter by the bilinear transform, each section matched to the analog one at its own corner. Its response is
/// squeezed towards half the sample rate, where it ends at the analog response of infinity.
class BLTEQ final : public DF1Cascade {
public:
    void update() noexcept override;
};

} // namespace sorvane::dsp
