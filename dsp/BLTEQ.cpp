#include "BLTEQ.h"

#include "BilinearTransform.h"

#include <array>
#include <numbers>

namespace sorvane::dsp {

void BLTEQ::update() noexcept
{
    if (!takeDirty())
        return;
    if (isOff()) {
        switchOff();
        return;
    }
    const AnalogCascade analog = design(false);
    std::array<BiquadSection, kMaxStages> sections;
    std::size_t count = 0;
    for (const AnalogStage& stage : analog.stages()) {
        const AnalogStage radians = stage.scaled(2.0 * std::numbers::pi);
        sections[count++] = bilinear(radians, warpFrequency(radians, getFrequency(), getSampleRate()), getSampleRate());
    }
    setIdentity(false);
    setCoefficients(std::span(sections).first(count));
}

} // namespace sorvane::dsp
