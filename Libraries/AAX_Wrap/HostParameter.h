#pragma once

#include "AAX_EffectParameters.h"
#include "Relaxed.h"

#include <cstdint>
#include <memory>
#include <string>

namespace sorvane::aax {

/// Turns a parameter's normalised value into text and back. Data model thread.
class DisplayDelegate {
public:
    DisplayDelegate() = default;
    virtual ~DisplayDelegate() = default;
    DisplayDelegate(const DisplayDelegate&) = delete;
    DisplayDelegate& operator=(const DisplayDelegate&) = delete;

    [[nodiscard]] virtual std::string valueToText(double normal) const = 0;
    /// \return whether the text was understood; else \p normal stays
    virtual bool textToValue(const char* text, double& normal) const = 0;
};

/// Two texts, one for each state of a switch.
class BinaryDisplayDelegate : public DisplayDelegate {
public:
    BinaryDisplayDelegate(const char* trueWord, const char* falseWord) : trueText(trueWord), falseText(falseWord) {}
    [[nodiscard]] std::string valueToText(double normal) const override;
    bool textToValue(const char* text, double& normal) const override;

private:
    std::string trueText;
    std::string falseText;
};

/// A parameter as the host keeps it: a value from 0 to 1 with a linear taper, or a switch.
///
/// The value may be read and set on any thread; all else is fixed at construction.
class HostParameter {
public:
    /// \param steps  number of places that the host gives the value, at least 2
    HostParameter(std::string parameterIdentifier, std::string parameterName, double defaultValue, std::int32_t steps,
                  ParameterType parameterType, std::unique_ptr<DisplayDelegate> displayDelegate)
        : identifier(std::move(parameterIdentifier)), name(std::move(parameterName)), defaultNormal(defaultValue),
          numSteps(steps), type(parameterType), display(std::move(displayDelegate)), normal(defaultValue)
    {}

    [[nodiscard]] double getNormalizedValue() const noexcept { return normal; }
    void storeNormalizedValue(double value) noexcept { normal = value; }
    /// The value as a switch reads it.
    [[nodiscard]] bool isTrue() const noexcept { return normal >= 0.5; }
    /// Place of the value, 0 to numSteps - 1.
    [[nodiscard]] std::int32_t getStepIndex() const noexcept { return stepIndexOf(normal); }
    /// Place that another value, 0 to 1, would have.
    [[nodiscard]] std::int32_t stepIndexOf(double value) const noexcept;

    const std::string identifier;
    const std::string name;
    const double defaultNormal;
    const std::int32_t numSteps;
    const ParameterType type;
    const std::unique_ptr<const DisplayDelegate> display;

private:
    dsp::Relaxed<double> normal;
};

} // namespace sorvane::aax
