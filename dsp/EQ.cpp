#include "EQ.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

namespace sorvane::dsp {

namespace {

constexpr std::int32_t kMaxOrder = 2 * static_cast<std::int32_t>(kMaxStages);

// 0 to 1: how much the Q of a peak or band-pass rises with its gain, and how far the two Qs of a shelf lie apart.
constexpr double kExtra = 0.5;

// Extreme settings are held where the poles still lie clear of the imaginary axis and of 0 Hz.
constexpr double kMaxShelfDb = 60.0;

double decibelsToGain(double decibels) noexcept
{
    return std::pow(10.0, decibels / 20.0);
}

/// All prototypes have their corner at 1 rad/s.
AnalogCascade lowPass(std::int32_t order, FilterShape shape, double q) noexcept
{
    const std::int32_t pairs = order / 2;
    const std::int32_t single = order % 2;
    const double k = pairs;
    const double o = single;
    // x = 1 / corner solves k x^4 + o x^2 = 1: the leading terms of half power of the whole cascade at 1 rad/s.
    const bool moved = shape == FilterShape::coincident && pairs > 0;
    const double corner = moved ? std::sqrt(2.0 * k / (std::sqrt(o + 4.0 * k) - o)) : 1.0;

    AnalogCascade cascade;
    for (std::int32_t i = 0; i < pairs; ++i) {
        switch (shape) {
        case FilterShape::coincident:
            cascade.add({0.0, 0.0, corner * corner, 1.0, std::numbers::sqrt2 * corner, corner * corner});
            break;
        case FilterShape::butterworth: {
            const double angle = (2 * i + 1 + order) * std::numbers::pi / (2 * order);
            cascade.add({0.0, 0.0, 1.0, 1.0, -2.0 * std::cos(angle), 1.0});
            break;
        }
        case FilterShape::plain:
        default:
            cascade.add({0.0, 0.0, 1.0, 1.0, 1.0 / q, 1.0});
            break;
        }
    }
    if (single != 0)
        cascade.add({0.0, corner, 0.0, 1.0, corner, 0.0});
    return cascade;
}

/// Low-pass to high-pass: s becomes 1/s.
void invertFrequency(AnalogCascade& cascade) noexcept
{
    for (AnalogStage& stage : cascade.stages()) {
        if (stage.isFirstOrder()) {
            std::swap(stage.b0, stage.b1);
            std::swap(stage.a0, stage.a1);
        } else {
            std::swap(stage.b0, stage.b2);
            std::swap(stage.a0, stage.a2);
        }
    }
}

/// Spreads the gain over the second-order sections, or gives it to the one section of a first-order filter.
void spreadGain(AnalogCascade& cascade, std::int32_t order, double gainDb) noexcept
{
    const std::int32_t sections = order == 1 ? 1 : order / 2;
    if (gainDb == 0.0 || sections == 0)
        return;
    const double factor = decibelsToGain(gainDb / sections);
    for (AnalogStage& stage : cascade.stages().first(static_cast<std::size_t>(sections))) {
        stage.b0 *= factor;
        stage.b1 *= factor;
        stage.b2 *= factor;
    }
}

/// A cut is the reciprocal of the boost of the same size. The Qs of numerator and denominator are 1/sqrt(2) at that set
/// Q or without gain, and move away from it as the gain grows.
AnalogStage shelf(bool low, double gainDb, double q) noexcept
{
    const double size = std::min(std::abs(gainDb), kMaxShelfDb);
    const double slope = decibelsToGain(size);
    const double spread = q < 0.707106781 ? 0.0 : (q - 0.707106781) * kExtra * 0.01;
    const double exponent = size * 0.0625;
    // The limits lie beyond any set Q of 0.1 to 50 at 24 dB.
    const double q1 = std::clamp(std::pow((q - spread) * 1.41421356, exponent) * 0.707106781, 1e-3, 1e3);
    const double q2 = std::clamp(std::pow((q + spread) * 1.41421356, exponent) * 0.707106781, 1e-3, 1e3);
    const double raised = std::sqrt(slope) / q1;
    const double flat = 1.0 / q2;
    const AnalogStage boost =
        low ? AnalogStage{1.0, raised, slope, 1.0, flat, 1.0} : AnalogStage{slope, raised, 1.0, 1.0, flat, 1.0};
    if (gainDb >= 0.0)
        return boost;
    return {boost.a0, boost.a1, boost.a2, boost.b0, boost.b1, boost.b2};
}

} // namespace

bool EQ::takeDirty() noexcept
{
    return std::exchange(dirty, false);
}

template <typename T>
bool EQ::store(T& field, T newValue) noexcept
{
    if (field == newValue)
        return false;
    field = newValue;
    dirty = true;
    return true;
}

bool EQ::storeLimited(float& field, float newValue, float lowest, float highest) noexcept
{
    if (std::isnan(newValue))
        return false;
    return store(field, std::clamp(newValue, lowest, highest));
}

bool EQ::setBypass(bool newBypass) noexcept
{
    return store(bypass, newBypass);
}

bool EQ::setType(FilterType newType) noexcept
{
    return store(type, newType);
}

bool EQ::setShape(FilterShape newShape) noexcept
{
    return store(shape, newShape);
}

bool EQ::setFrequency(float hertz) noexcept
{
    return storeLimited(frequency, hertz, 0.1F, 1.0e6F);
}

bool EQ::setOrder(std::int32_t poles) noexcept
{
    return store(order, std::clamp(poles, 0, kMaxOrder));
}

bool EQ::setGain(float decibels) noexcept
{
    return storeLimited(gain, decibels, -120.0F, 120.0F);
}

bool EQ::setQ(float newQ) noexcept
{
    return storeLimited(q, newQ, 0.01F, 1000.0F);
}

bool EQ::setDifference(bool newDifference) noexcept
{
    return store(difference, newDifference);
}

double EQ::effectiveQ() const noexcept
{
    const double setQ = q;
    if ((type != FilterType::peak && type != FilterType::bandPass) || gain == 0.0F)
        return setQ;
    // With B = 10^(-|gain| / 40) and E = 10^(-0.12 c / 20): Q' = sqrt((1 - B^(-2/E)) / (2 - (v^2 + 1) / v)), v the
    // smaller root of v^2 + u v + 1 = 0, u = (1 - 1/B^2) / Q^2 - 2. There (v^2 + 1) / v = -u, and this is what is left.
    const double logInverseSquare = std::abs(static_cast<double>(gain)) * std::numbers::ln10 / 20.0;
    const double exponent = decibelsToGain(kExtra * 0.12);
    return setQ * std::sqrt(std::expm1(logInverseSquare * exponent) / std::expm1(logInverseSquare));
}

AnalogCascade EQ::design(bool ignoreBypass) const noexcept
{
    AnalogCascade cascade;
    if (bypass && !ignoreBypass) {
        cascade.add({});
        return cascade;
    }
    const double gainDb = gain;
    const double sectionQ = effectiveQ();
    switch (type) {
    case FilterType::none:
        cascade.add({});
        break;
    case FilterType::highPass:
    case FilterType::lowPass:
        cascade = lowPass(order, shape, sectionQ);
        if (type == FilterType::highPass)
            invertFrequency(cascade);
        spreadGain(cascade, order, gainDb);
        break;
    case FilterType::lowShelf:
    case FilterType::highShelf:
        cascade.add(shelf(type == FilterType::lowShelf, gainDb, sectionQ));
        break;
    case FilterType::peak: {
        const double amplitude = decibelsToGain(gainDb / 2.0);
        cascade.add({1.0, amplitude / sectionQ, 1.0, 1.0, 1.0 / (sectionQ * amplitude), 1.0});
        break;
    }
    case FilterType::bandPass:
        cascade.add({0.0, decibelsToGain(gainDb) / sectionQ, 0.0, 1.0, 1.0 / sectionQ, 1.0});
        break;
    case FilterType::notch:
        cascade.add({1.0, 0.0, 1.0, 1.0, 1.0 / sectionQ, 1.0});
        break;
    case FilterType::allPass:
        cascade.add({1.0, -1.0 / sectionQ, 1.0, 1.0, 1.0 / sectionQ, 1.0});
        break;
    }
    for (AnalogStage& stage : cascade.stages())
        stage = stage.scaled(frequency);
    return cascade;
}

double EQ::analogMagnitude(double hertz, bool ignoreBypass) const noexcept
{
    return design(ignoreBypass).magnitude(hertz);
}

} // namespace sorvane::dsp
