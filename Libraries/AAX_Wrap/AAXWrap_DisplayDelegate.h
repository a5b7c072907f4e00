#pragma once

#include "HostParameter.h"
#include "PlugBase.h"

namespace sorvane::aax {

/// Shows a parameter's value as the effect itself writes it. Text isn't read.
class AAXWrap_DisplayDelegate : public DisplayDelegate {
public:
    /// \param shownEffect  outlives this
    AAXWrap_DisplayDelegate(const host::PlugBase& shownEffect, std::int32_t parameterIndex)
        : effect(shownEffect), index(parameterIndex)
    {}
    [[nodiscard]] std::string valueToText(double normal) const override;
    bool textToValue(const char*, double&) const override { return false; }

private:
    const host::PlugBase& effect;
    std::int32_t index;
};

} // namespace sorvane::aax
