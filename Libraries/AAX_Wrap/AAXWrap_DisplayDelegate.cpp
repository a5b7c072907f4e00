#include "AAXWrap_DisplayDelegate.h"

#include "ParameterText.h"

namespace sorvane::aax {

std::string AAXWrap_DisplayDelegate::valueToText(double normal) const
{
    char text[core::kParameterTextBytes] = {};
    effect.formatParameter(index, static_cast<float>(normal), text, 0);
    return text;
}

} // namespace sorvane::aax
