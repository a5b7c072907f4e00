#include "BiquadFit.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace sorvane::dsp {

namespace {

constexpr int kMaxFailures = 3;

double dot(const std::array<double, 4>& a, const std::array<double, 4>& b) noexcept
{
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2] + a[3] * b[3];
}

double length(const std::array<double, 4>& a) noexcept
{
    return std::sqrt(dot(a, a));
}

double insideUnitCircle(double root) noexcept
{
    return std::abs(root) > 1.0 ? 1.0 / root : root;
}

double nonZero(double x) noexcept
{
    return x == 0.0 ? 1e-5 : x;
}

} // namespace

BiquadFit::BiquadFit() noexcept
{
    const double lowest = std::log(20.0);
    const double range = std::log(22050.0) - lowest;
    for (std::size_t i = 0; i < kGridSize; ++i) {
        const double hertz = std::exp(lowest + static_cast<double>(i) * range / (kGridSize - 1));
        grid[i] = 2.0 * std::numbers::pi / 44100.0 * hertz;
        cosw[i] = std::cos(grid[i]);
        sinw[i] = std::sin(grid[i]);
        cos2w[i] = std::cos(2.0 * grid[i]);
        sin2w[i] = std::sin(2.0 * grid[i]);
    }
}

BiquadSection BiquadFit::improve(const BiquadSection& seed, std::span<const float, kGridSize> wanted,
                                 const Plan& plan) noexcept
{
    if (seed.b0 == 0.0)
        return seed;
    begin(seed, wanted);
    error = evaluate();
    const double seedError = error;
    if (seedError <= plan.skipError)
        return seed;
    computeGradient();
    int failures = 0;
    for (int steps = 0; steps < plan.maxSteps && failures < kMaxFailures; ++steps) {
        if (!takeStep())
            ++failures;
    }
    if (!(error < seedError && error < plan.errorLimit))
        return seed;
    const auto& [c1, c2, d1, d2] = point;
    return {g, g * c1, g * c2, d1, d2};
}

void BiquadFit::begin(const BiquadSection& seed, std::span<const float, kGridSize> wanted) noexcept
{
    std::copy(wanted.begin(), wanted.end(), target.begin());
    point = {seed.b1 / seed.b0, seed.b2 / seed.b0, seed.a1, seed.a2};
    hessian = {};
    for (std::size_t i = 0; i < point.size(); ++i)
        hessian[i][i] = 1.0;
    stepLimit = 100.0 * std::max(4.0, length(point));
}

void BiquadFit::stabilisePoles() noexcept
{
    double& d1 = point[2];
    double& d2 = point[3];
    const double discriminant = d1 * d1 - 4.0 * d2;
    if (discriminant > 0.0) {
        const double root = std::sqrt(discriminant);
        const double p = insideUnitCircle((-d1 + root) / 2.0);
        const double q = insideUnitCircle((-d1 - root) / 2.0);
        d1 = -(p + q);
        d2 = p * q;
    }
    if (std::abs(d2) > 1.0) {
        d1 /= d2;
        d2 = 1.0 / d2;
    }
}

BiquadFit::SquaredMagnitudes BiquadFit::squaredMagnitudes(std::size_t i) const noexcept
{
    const auto& [c1, c2, d1, d2] = point;
    const double nx = c1 * sinw[i] + sin2w[i];
    const double ny = c1 * cosw[i] + cos2w[i] + c2;
    const double dx = d1 * sinw[i] + sin2w[i];
    const double dy = d1 * cosw[i] + cos2w[i] + d2;
    return {nx * nx + ny * ny, dx * dx + dy * dy};
}

/// The squared error at the point, with the magnitudes and the best scale there.
double BiquadFit::evaluate() noexcept
{
    stabilisePoles();
    double energy = 0.0;
    double match = 0.0;
    for (std::size_t i = 0; i < kGridSize; ++i) {
        const auto [numerator, denominator] = squaredMagnitudes(i);
        const double square = numerator / (denominator == 0.0 ? 0.001 : denominator);
        magnitude[i] = std::sqrt(square);
        energy += magnitude[i] * magnitude[i];
        match += target[i] * magnitude[i];
    }
    g = match / (energy <= 0.0 ? 0.0001 : energy);
    double sum = 0.0;
    for (std::size_t i = 0; i < kGridSize; ++i) {
        const double deviation = g * magnitude[i] - target[i];
        sum += deviation * deviation;
    }
    return sum;
}

/// Of the squared error, the scale held.
void BiquadFit::computeGradient() noexcept
{
    const auto& [c1, c2, d1, d2] = point;
    Vector sum{};
    for (std::size_t i = 0; i < kGridSize; ++i) {
        const auto squares = squaredMagnitudes(i);
        const double numerator = nonZero(std::sqrt(squares.numerator));
        const double denominator = nonZero(std::sqrt(squares.denominator));
        const double e = 2.0 * g * (g * magnitude[i] - target[i]);
        const double ofZeros = e / (2.0 * numerator * denominator);
        const double ofPoles = -numerator * e / (2.0 * denominator * denominator * denominator);
        sum[0] += (2.0 * c2 * cosw[i] + 2.0 * cosw[i] + 2.0 * c1) * ofZeros;
        sum[1] += (2.0 * c1 * cosw[i] + 2.0 * cos2w[i] + 2.0 * c2) * ofZeros;
        sum[2] += (2.0 * d2 * cosw[i] + 2.0 * cosw[i] + 2.0 * d1) * ofPoles;
        sum[3] += (2.0 * d1 * cosw[i] + 2.0 * cos2w[i] + 2.0 * d2) * ofPoles;
    }
    gradient = sum;
}

void BiquadFit::chooseDirection() noexcept
{
    for (std::size_t i = 0; i < direction.size(); ++i)
        direction[i] = -dot(hessian[i], gradient);
    const double size = length(direction);
    if (size > stepLimit) {
        for (double& component : direction)
            component *= stepLimit / size;
    }
}

void BiquadFit::moveTo(double lambda) noexcept
{
    for (std::size_t i = 0; i < point.size(); ++i) {
        step[i] = lambda * direction[i];
        point[i] = start[i] + step[i];
    }
}

/// Halves the way along the direction until the error has halved, or has begun to grow again after it had fallen.
/// \return false if there is no such point; then the section stays where it was
bool BiquadFit::searchLine() noexcept
{
    double steepest = 0.0;
    for (std::size_t i = 0; i < point.size(); ++i)
        steepest = std::max(steepest, std::abs(direction[i]) / std::max(std::abs(start[i]), 1.0));
    const double shortest = 1e-8 / steepest;

    double lambdaBefore = 0.0;
    double errorBefore = 0.0;
    for (double lambda = 1.0;; lambda /= 2.0) {
        moveTo(lambda);
        const double trial = evaluate();
        if (!(lambda >= shortest)) {
            point = start;
            return false;
        }
        if (errorBefore != 0.0 && trial > errorBefore && error > errorBefore) {
            moveTo(lambdaBefore);
            return true;
        }
        if (trial <= 0.5 * error)
            return true;
        lambdaBefore = lambda;
        errorBefore = trial;
    }
}

bool BiquadFit::takeStep() noexcept
{
    gradientBefore = gradient;
    start = point;
    chooseDirection();
    const bool moved = searchLine();
    error = evaluate();
    computeGradient();
    updateHessian();
    return moved;
}

void BiquadFit::updateHessian() noexcept
{
    Vector y;
    for (std::size_t i = 0; i < y.size(); ++i)
        y[i] = gradient[i] - gradientBefore[i];
    Vector hy;
    for (std::size_t i = 0; i < hy.size(); ++i)
        hy[i] = dot(hessian[i], y);

    const double a = dot(step, y);
    const double b = dot(y, hy);
    const double ia = 1.0 / (a == 0.0 ? 0.0001 : a);
    const double ib = b == 0.0 ? 10000.0 : 1.0 / b;
    Vector u;
    for (std::size_t i = 0; i < u.size(); ++i)
        u[i] = ia * step[i] - ib * hy[i];
    for (std::size_t i = 0; i < u.size(); ++i) {
        for (std::size_t j = i; j < u.size(); ++j) {
            hessian[i][j] += ia * step[i] * step[j] - ib * hy[i] * hy[j] + b * u[i] * u[j];
            hessian[j][i] = hessian[i][j];
        }
    }
}

} // namespace sorvane::dsp
