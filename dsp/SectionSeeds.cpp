#include "SectionSeeds.h"

#include "LeastSquares.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <span>
#include <utility>

namespace sorvane::dsp {

namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kTwoPi = 2.0 * kPi;

double squared(double x) noexcept
{
    return x * x;
}

/// Root of a value that only rounding takes below 0.
double rootOrZero(double x) noexcept
{
    return std::sqrt(std::max(0.0, x));
}

double atLeastMillionth(double x) noexcept
{
    return std::abs(x) < 1e-6 ? 1e-6 : x;
}

/// A peak whose centre lies beyond half the rate: what is left of it below is one slope. For a cut, too, it is that of
/// the boost, and the fit turns it round.
BiquadSection peakBeyondNyquist(double rateHz, double frequencyHz, double qq, double gain, double nyquistGain) noexcept
{
    if (nyquistGain == 1.0)
        return {};
    const double v = (nyquistGain - 1.0) * qq * gain / (nyquistGain - squared(gain));
    const double bend = rootOrZero((std::sqrt(1.0 - 4.0 * v) + 2.0 * v - 1.0) / (2.0 * v));
    const double t = 2.0 * std::tan(kPi * frequencyHz * bend / rateHz);
    return {(t + nyquistGain) / (t + 1.0), (t - nyquistGain) / (t + 1.0), 0.0, (t - 1.0) / (t + 1.0), 0.0};
}

/// The general section in the terms of its seed: (high s^2 + s numeratorDamping sqrt(high low) + low) /
/// (s^2 + s denominatorDamping + 1), s = 1 at the corner.
struct GeneralTerms {
    double cornerHz;
    double high;               ///< gain at infinity
    double low;                ///< gain at 0 Hz
    double nyquistGain;        ///< gain at half the rate
    double numeratorDamping;   ///< 1 / Q of the zeros
    double denominatorDamping; ///< 1 / Q of the poles
    double lowerExtremum;      ///< where the gain is largest or smallest, in corners; 0 for none
    double upperExtremum;

    [[nodiscard]] double squaredGain(double p) const noexcept
    {
        const double pp = squared(p);
        return (pp * squared(numeratorDamping) * high * low + squared(low - pp * high)) /
               (pp * squared(denominatorDamping) + squared(1.0 - pp));
    }

    /// Those of 1 / H. Its poles, the zeros of H, lie at another frequency, which becomes the corner.
    [[nodiscard]] GeneralTerms inverted() const noexcept
    {
        const double k = std::sqrt(low / high);
        return {cornerHz * k,       1.0 / high,       1.0 / low,         1.0 / nyquistGain,
                denominatorDamping, numeratorDamping, lowerExtremum / k, upperExtremum / k};
    }
};

/// The frequencies above 0 at which the magnitude has an extremum, ascending, 0 for each that there isn't.
std::pair<double, double> extrema(const AnalogStage& stage) noexcept
{
    const auto& [b0, b1, b2, a0, a1, a2] = stage;
    const double p = 2.0 * b0 * b2 - squared(b1) + squared(b0 * a1) - 2.0 * squared(b0) * a2;
    const double q = squared(b0 * a2) - squared(b2);
    const double r = 2.0 * squared(b2) * a2 - squared(b2 * a1) + squared(b1 * a2) - 2.0 * b0 * b2 * squared(a2);
    // The derivative is p x^2 + 2 q x + r over a square, x the squared frequency.
    if (p == 0.0)
        return {0.0, rootOrZero(-r / (2.0 * q))};
    const double discriminant = squared(q / p) - r / p;
    if (!(discriminant > 0.0))
        return {0.0, 0.0};
    const double root = std::sqrt(discriminant);
    return {rootOrZero(-q / p - root), rootOrZero(root - q / p)};
}

GeneralTerms termsOf(const AnalogStage& stage, double rateHz) noexcept
{
    const double w0 = std::sqrt(stage.a2);
    const double low = stage.b2 / stage.a2;
    const double linear = stage.b1 / w0;
    const double cornerHz = w0 / kTwoPi;
    const auto [lower, upper] = extrema(stage);

    GeneralTerms terms{cornerHz, stage.b0, low, 0.0, 0.0, stage.a1 / w0, lower / w0, upper / w0};
    if (stage.b0 != 0.0 && low != 0.0)
        terms.numeratorDamping = linear / std::sqrt(low * stage.b0);
    const double v = rateHz / (2.0 * cornerHz);
    terms.nyquistGain = std::sqrt((squared(v * linear) + squared(low - squared(v) * stage.b0)) /
                                  (squared(v * terms.denominatorDamping) + squared(1.0 - squared(v))));
    return terms;
}

BiquadSection matchGeneral(const GeneralTerms& terms, double rateHz) noexcept
{
    const double nyquist = rateHz / (2.0 * terms.cornerHz); // in corners
    const double lower = terms.lowerExtremum;
    const double upper = terms.upperExtremum * terms.cornerHz >= rateHz / 2.0 ? 0.0 : terms.upperExtremum;

    double x = lower != 0.0 ? lower : terms.upperExtremum;
    x = std::min({x != 0.0 ? x : 1.0, nyquist, 1.0});
    const double k = std::tan(kPi * terms.cornerHz * x / rateHz) / x;
    const double kk = squared(k);
    const double g = terms.nyquistGain;

    // The squared magnitudes of both sides at a point are linear in the squares of the two dampings.
    std::array<std::array<double, 3>, 4> rows;
    std::size_t count = 0;
    for (const double point : {upper != 0.0 ? upper : std::sqrt(nyquist), lower, 1.0, 0.5}) {
        if (point == 0.0)
            continue;
        const double theta = kTwoPi * terms.cornerHz * point / rateHz;
        const double cosine = std::cos(theta);
        const double factor = 4.0 * squared(k * std::sin(theta));
        const double wanted = terms.squaredGain(point);
        rows[count++] = {factor * g * terms.low, -factor * wanted,
                         4.0 * wanted * squared((kk + 1.0) * cosine + kk - 1.0) -
                             4.0 * squared((kk * terms.low + g) * cosine + kk * terms.low - g)};
    }
    const auto [y0, y1] = solveLeastSquares(std::span(rows).first(count));
    const double numeratorDamping = y0 != 0.0 ? std::sqrt(std::abs(y0)) : terms.numeratorDamping;
    const double denominatorDamping = y1 != 0.0 ? std::sqrt(std::abs(y1)) : terms.denominatorDamping;

    const double a = k * denominatorDamping;
    const double w = std::sqrt(terms.low * g) * numeratorDamping * k;
    const double u = kk * terms.low;
    const double den = a + 1.0 + kk;
    return {(w + g + u) / den, 2.0 * (u - g) / den, (g - w + u) / den, 2.0 * (kk - 1.0) / den, (1.0 - a + kk) / den};
}

} // namespace

BiquadSection firstOrderSeed(double rateHz, double frequencyHz, double high, double low) noexcept
{
    if (high == low)
        return {high, 0.0, 0.0, 0.0, 0.0};
    const bool swapped = high > low && low != 0.0;
    const double p = swapped ? 1.0 / high : high;
    const double r = swapped ? 1.0 / low : low;
    const double cornerHz = swapped ? frequencyHz * p / r : frequencyHz;

    const double v = rateHz / 2.0 / cornerHz;
    const double nyquistGain = std::sqrt((squared(p * v) + squared(r)) / (squared(v) + 1.0));
    const double middle = (squared(nyquistGain) + squared(r)) / 2.0;
    const double middleHz = std::sqrt((squared(r) - middle) / (middle - squared(p))) * cornerHz;
    const double t = std::tan(kPi * middleHz / rateHz);
    if (swapped) {
        const double den = t * r + nyquistGain;
        return {(t + 1.0) / den, (t - 1.0) / den, 0.0, (t * r - nyquistGain) / den, 0.0};
    }
    const double den = t + 1.0;
    return {(t * r + nyquistGain) / den, (t * r - nyquistGain) / den, 0.0, (t - 1.0) / den, 0.0};
}

BiquadSection lowPassSeed(double rateHz, double frequencyHz, double q) noexcept
{
    if (std::abs(q - std::sqrt(0.5)) < 1e-10)
        q += 1e-6;
    const double qq = squared(q);
    const double w = kTwoPi * frequencyHz / rateHz;
    const double ww = squared(w);
    const double nyquistGain = 2.0 / std::sqrt(4.0 * squared(kPi) / (qq * ww) + squared(2.0 - 2.0 * squared(kPi) / ww));
    const double x = std::abs(1.0 - nyquistGain) < 1e-6 ? nyquistGain - 1e-6 : nyquistGain;

    // Tangents of half an angle: ws of the shelf that the section consists of, wp and wz of its poles and zeros.
    double ws = 0.0;
    if (q >= std::sqrt(0.5)) {
        const double ee = 4.0 * qq - 1.0;
        const double d = 2.0 * qq;
        const double t = std::min(1e6, std::abs(std::tan(std::sqrt(1.0 - 1.0 / d) * w / 2.0)));
        if (t >= 1e-6)
            ws = t * std::sqrt(rootOrZero((squared(d) - squared(x) * ee) / (squared(d) - ee)));
    } else {
        const double inner = rootOrZero((1.0 - 4.0 * qq) / squared(qq) + 4.0 / x);
        ws = std::min(std::sqrt(rootOrZero(1.0 - squared(x))) * w / 2.0,
                      std::tan(rootOrZero((inner + 2.0 - 1.0 / qq) / 2.0) * w / 2.0));
    }

    const auto squaredGain = [qq, ww](double v) { return 1.0 / (v / (qq * ww) + squared(1.0 - v / ww)); };
    const double p = squaredGain(squared(2.0 * std::atan(ws)));
    const double r = squaredGain(squared(2.0 * std::atan(ws / std::sqrt(x))));
    const double yy = squared(x - 1.0);
    const double wp = atLeastMillionth(std::sqrt((p - r) * x / ((r + x) * yy)));
    const double wz = atLeastMillionth(std::sqrt((p - r) * squared(x) / ((p + x) * r * yy)));
    const double d = ws / wp;
    const double z = std::sqrt(x) * ws / wz;
    const double t = squared(ws);
    const double den = t + d + 1.0;
    return {(z + t + x) / den, 2.0 * (t - x) / den, (t - z + x) / den, 2.0 * (t - 1.0) / den, (t - d + 1.0) / den};
}

BiquadSection highPassSeed(double rateHz, double frequencyHz, double q) noexcept
{
    const double i = 1.0 / q;
    const double n = rateHz / (2.0 * frequencyHz);
    const double nyquistGain = squared(n) / std::sqrt(squared(n * i) + squared(1.0 - squared(n)));

    // With a resonance: where the gain passes 1 on its way up, and the square of where it peaks; below half the rate.
    double crossing = 0.0;
    double beyondPeak = 0.0;
    if (squared(i) < 2.0) {
        crossing = 1.0 / std::sqrt(2.0 - squared(i));
        beyondPeak = 2.0 / (2.0 - squared(i));
        if (beyondPeak * frequencyHz > rateHz / 2.0)
            beyondPeak = 0.0;
        if (crossing * frequencyHz > rateHz / 2.0)
            crossing = 0.0;
    }
    const double x = crossing != 0.0 ? crossing : std::min({1.0, n, beyondPeak != 0.0 ? beyondPeak : 1.0});
    const double k = std::tan(kPi * frequencyHz * x / rateHz) / x;
    const double kk = squared(k);

    // The squared magnitudes of both sides at a point are linear in the square of the damping.
    std::array<std::array<double, 2>, 4> rows;
    std::size_t count = 0;
    for (const double point : {beyondPeak, 1.0, 0.5, crossing}) {
        if (point == 0.0)
            continue;
        const double theta = kTwoPi * frequencyHz * point / rateHz;
        const double pp = squared(point);
        const double wanted = squared(pp) / (squared(point * i) + squared(1.0 - pp));
        rows[count++] = {-squared(k * std::sin(theta)) * wanted,
                         squared((kk + 1.0) * std::cos(theta) + kk - 1.0) * wanted -
                             squared(nyquistGain * std::cos(theta) - nyquistGain)};
    }
    const double solved = std::sqrt(std::abs(solveLeastSquares(std::span(rows).first(count))));
    const double damping = solved != 0.0 ? solved : i;

    const double den = k * damping + 1.0 + kk;
    return {nyquistGain / den, -2.0 * nyquistGain / den, nyquistGain / den, 2.0 * (kk - 1.0) / den,
            (1.0 - k * damping + kk) / den};
}

BiquadSection peakSeed(double rateHz, double gainDb, double frequencyHz, double q) noexcept
{
    const double signedGain = std::pow(10.0, gainDb / 20.0);
    const double l = std::max(signedGain, 1.0 / signedGain) + 1e-10;
    const double m = squared(l);
    const double qq = squared(q);
    const double nn = squared(2.0 * frequencyHz / rateHz);
    const double c = squared(1.0 - nn);
    const double g = std::sqrt((nn * l / qq + c) / (nn / (l * qq) + c)); // the gain at half the rate
    if (frequencyHz > rateHz / 2.0)
        return peakBeyondNyquist(rateHz, frequencyHz, qq, l, g);

    const double w = kTwoPi * frequencyHz / rateHz;
    const double t = std::tan(w / 2.0);
    const double r = std::max(0.0, m - squared(g));
    const double tt = r <= 1e-10 ? squared(t) : squared(t) * std::sqrt(r / (m - 1.0));
    const double u = 2.0 * tt * (m - g - std::sqrt(r * (m - 1.0)));
    const double v = std::tan((std::sqrt(4.0 * qq + 1.0) - 1.0) * w / (4.0 * q));
    const double h = tt / v;
    const double x = (squared(v - h) * l - squared(v * g - h) + u) / (m - l);
    const double p = rootOrZero(x);
    const double z = rootOrZero(m * x - u);

    const double den = 1.0 + tt + p;
    const BiquadSection boost{(tt + g + z) / den, -2.0 * (g - tt) / den, (g - z + tt) / den, -2.0 * (1.0 - tt) / den,
                              (1.0 + tt - p) / den};
    return signedGain >= 1.0 ? boost : reciprocal(boost);
}

GeneralSeed generalSeed(double rateHz, const AnalogStage& stage) noexcept
{
    const GeneralTerms terms = termsOf(stage, rateHz);
    const bool monotone = terms.lowerExtremum == 0.0 && terms.upperExtremum == 0.0;
    const bool inverts = terms.low < terms.high && terms.low != 0.0;
    const GeneralTerms falling = inverts ? terms.inverted() : terms;
    if ((monotone && terms.cornerHz > rateHz / 2.0) || falling.cornerHz > rateHz / 2.0)
        return {firstOrderSeed(rateHz, terms.cornerHz / 2.0, terms.high, terms.low), false};
    return {matchGeneral(falling, rateHz), inverts};
}

} // namespace sorvane::dsp
