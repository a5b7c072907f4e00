#pragma once

#include "AnalogCascade.h"

#include <cstdint>

namespace sorvane::dsp {

/// The numbers are those of the graph's band types. A number outside these designs a filter of no sections.
enum class FilterType : std::int32_t {
    none = 0,
    highPass = 1,
    lowShelf = 2,
    peak = 3,
    notch = 4,
    highShelf = 5,
    lowPass = 6,
    bandPass = 7,
    allPass = 8
};

/// How a high-pass or low-pass of more than two poles places them. Another number is taken as plain.
enum class FilterShape : std::int32_t {
    plain = 0,      ///< all sections of the set Q at the set frequency
    coincident = 1, ///< equal sections of Q 1/sqrt(2), moved so that the cascade is about 3 dB down at the frequency
    butterworth = 2 ///< the maximally flat filter of the order, 3 dB down at the frequency
};

/// A filter as its user sets it, and its analog prototype.
///
/// Setters: a NaN is ignored, any other value is brought into the stated range; the result tells whether the value in
/// force changed. A change takes effect with the next update.
/// Everything here belongs to the thread that updates the parameters or draws the response: never the audio thread, and
/// one call at a time, which the caller sees to.
class EQ {
public:
    EQ() = default;
    EQ(const EQ&) = delete;
    EQ& operator=(const EQ&) = delete;
    virtual ~EQ() = default;

    bool setBypass(bool newBypass) noexcept;
    bool setType(FilterType newType) noexcept;
    bool setShape(FilterShape newShape) noexcept;
    /// \param hertz  0.1 to 1e6; it may lie above half the sample rate
    bool setFrequency(float hertz) noexcept;
    /// \param poles  0 to 32, of a high-pass or low-pass; with 0 it has no sections and passes the signal unchanged
    bool setOrder(std::int32_t poles) noexcept;
    /// Of a high-pass or low-pass it is the gain of the pass band, spread evenly over the second-order sections.
    /// \param decibels  -120 to 120; a shelf stops at 60 either way
    bool setGain(float decibels) noexcept;
    /// \param newQ  0.01 to 1000
    bool setQ(float newQ) noexcept;
    /// \param newDifference  the filter delivers H(z) - 1, what it adds to its input, in place of H(z)
    bool setDifference(bool newDifference) noexcept;

    [[nodiscard]] bool getBypass() const noexcept { return bypass; }
    [[nodiscard]] FilterType getType() const noexcept { return type; }
    [[nodiscard]] FilterShape getShape() const noexcept { return shape; }
    [[nodiscard]] float getFrequency() const noexcept { return frequency; }
    [[nodiscard]] std::int32_t getOrder() const noexcept { return order; }
    [[nodiscard]] float getGain() const noexcept { return gain; }
    [[nodiscard]] float getQ() const noexcept { return q; }
    [[nodiscard]] bool getDifference() const noexcept { return difference; }

    /// The Q of the sections of a peak or band-pass, which rises a little with the size of the gain; of another type
    /// the set Q.
    [[nodiscard]] double effectiveQ() const noexcept;

    /// The analog prototype, in hertz: evaluate it at s = j hertz.
    /// \param ignoreBypass  design the filter even while it is bypassed, instead of a unity section
    [[nodiscard]] AnalogCascade design(bool ignoreBypass) const noexcept;

    /// Magnitude of the analog prototype at a frequency, linear. For many frequencies take design() once.
    [[nodiscard]] double analogMagnitude(double hertz, bool ignoreBypass) const noexcept;

    /// Brings the digital filter to the values that were set; without a change since the last call it does nothing.
    virtual void update() noexcept = 0;

protected:
    /// Whether a value changed since the last call.
    bool takeDirty() noexcept;
    [[nodiscard]] bool isOff() const noexcept { return bypass || type == FilterType::none; }
    void markDirty() noexcept { dirty = true; }

private:
    template <typename T>
    bool store(T& field, T newValue) noexcept;
    bool storeLimited(float& field, float newValue, float lowest, float highest) noexcept;

    FilterType type = FilterType::none;
    FilterShape shape = FilterShape::plain;
    std::int32_t order = 2;
    bool bypass = true;
    bool difference = false;
    bool dirty = true;
    float frequency = 1000.0F;
    float gain = 0.0F;
    float q = 0.707F; // below 1/sqrt(2), where the section has no resonance
};

} // namespace sorvane::dsp
