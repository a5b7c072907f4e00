#include "LinearPhaseFIR.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <utility>
#include <vector>

namespace sorvane::dsp {

LinearPhaseFIR::LinearPhaseFIR() : inUse(std::make_unique<Pair>(kLength)) {}

LinearPhaseFIR::~LinearPhaseFIR()
{
    delete pending.load(std::memory_order_acquire);
    freeChain(replaced.load(std::memory_order_acquire));
}

void LinearPhaseFIR::freeChain(Pair* first) noexcept
{
    while (first != nullptr) {
        const std::unique_ptr<Pair> pair(first);
        first = pair->next;
    }
}

bool LinearPhaseFIR::load(int length, const std::array<std::span<const double>, kChannels>& magnitudes) noexcept
{
    try {
        std::unique_ptr<Pair> made = preparePair(length, magnitudes);
        delete pending.exchange(made.release(), std::memory_order_acq_rel);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

std::unique_ptr<LinearPhaseFIR::Pair>
LinearPhaseFIR::preparePair(int length, const std::array<std::span<const double>, kChannels>& magnitudes)
{
    std::unique_ptr<Pair> pair(replaced.exchange(nullptr, std::memory_order_acquire));
    if (pair)
        freeChain(std::exchange(pair->next, nullptr));
    if (!pair || pair->length() != length) {
        pair.reset(); // its memory may be what is missing
        pair = std::make_unique<Pair>(length);
    }
    if (!design || design->length() != length)
        design = std::make_unique<const LinearPhaseDesign>(length);

    std::vector<double> taps(static_cast<std::size_t>(length));
    for (std::size_t channel = 0; channel < kChannels; ++channel) {
        FIRConvolver& convolver = pair->channels[channel];
        convolver.clear();
        if (channel > 0 && std::ranges::equal(magnitudes[channel], magnitudes[0])) {
            convolver.shareTaps(pair->channels[0]);
            continue;
        }
        design->design(magnitudes[channel], taps);
        convolver.load(taps);
    }
    return pair;
}

void LinearPhaseFIR::collect() noexcept
{
    freeChain(replaced.exchange(nullptr, std::memory_order_acquire));
}

void LinearPhaseFIR::acceptPending() noexcept
{
    if (pending.load(std::memory_order_relaxed) == nullptr)
        return;
    std::unique_ptr<Pair> fresh(pending.exchange(nullptr, std::memory_order_acquire));
    if (fresh->length() == inUse->length())
        for (std::size_t channel = 0; channel < kChannels; ++channel)
            fresh->channels[channel].continueFrom(inUse->channels[channel]);
    lengthInUse = fresh->length();
    inUse.swap(fresh);
    Pair* const old = fresh.release();
    old->next = replaced.load(std::memory_order_relaxed);
    // Fails only when the others have emptied the chain meanwhile, which then stays empty.
    while (!replaced.compare_exchange_weak(old->next, old, std::memory_order_release, std::memory_order_relaxed)) {
    }
}

void LinearPhaseFIR::process(std::span<const std::span<double>> samples) noexcept
{
    const std::array lanes{FIRConvolver::Lane{inUse->channels[0], samples.front()},
                           FIRConvolver::Lane{inUse->channels[1], samples.back()}};
    FIRConvolver::processTogether(std::span(lanes).first(samples.size()));
}

void LinearPhaseFIR::clear() noexcept
{
    for (FIRConvolver& channel : inUse->channels)
        channel.clear();
}

} // namespace sorvane::dsp
