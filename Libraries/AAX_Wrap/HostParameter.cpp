#include "HostParameter.h"

#include <cmath>

namespace sorvane::aax {

std::string BinaryDisplayDelegate::valueToText(double normal) const
{
    return normal >= 0.5 ? trueText : falseText;
}

bool BinaryDisplayDelegate::textToValue(const char* text, double& normal) const
{
    if (text != trueText && text != falseText)
        return false;
    normal = text == trueText ? 1.0 : 0.0;
    return true;
}

std::int32_t HostParameter::stepIndexOf(double value) const noexcept
{
    return static_cast<std::int32_t>(std::lround(value * (numSteps - 1)));
}

} // namespace sorvane::aax
