#pragma once

#include "AnalogStage.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <span>

namespace sorvane::dsp {

/// Most sections that a filter has, analog or digital: order 32.
inline constexpr std::size_t kMaxStages = 16;

/// An analog filter as sections in series. With none it passes the signal unchanged.
class AnalogCascade {
public:
    /// \pre fewer than kMaxStages sections are in it
    void add(const AnalogStage& stage) noexcept { all[count++] = stage; }

    [[nodiscard]] std::span<AnalogStage> stages() noexcept { return std::span(all).first(count); }
    [[nodiscard]] std::span<const AnalogStage> stages() const noexcept { return std::span(all).first(count); }

    /// |H(jw)|, linear. The quotient is formed section by section: at order 32 the products of the numerators and of
    /// the denominators alone leave the range of a double from about 80 kHz on.
    [[nodiscard]] double magnitude(double w) const noexcept
    {
        double square = 1.0;
        for (const AnalogStage& stage : stages())
            square *= stage.squaredMagnitude(w);
        return std::sqrt(square);
    }

    friend bool operator==(const AnalogCascade&, const AnalogCascade&) = default;

private:
    std::array<AnalogStage, kMaxStages> all{};
    std::size_t count = 0;
};

} // namespace sorvane::dsp
