#include "LinearPhaseFIR.h"

#include "AudioThreadScope.h"

#include <cassert>
#include <cstddef>
#include <new>
#include <vector>

namespace sorvane::dsp {

LinearPhaseFIR::LinearPhaseFIR() : inUse(std::make_unique<Pair>(kLength)) {}

LinearPhaseFIR::~LinearPhaseFIR()
{
    delete pending.load(std::memory_order_acquire);
    delete replaced.load(std::memory_order_acquire);
}

bool LinearPhaseFIR::load(int length, const std::array<std::span<const double>, kChannels>& magnitudes) noexcept
{
    assert(!platform::AudioThreadScope::active());
    try {
        pending.store(preparePair(length, magnitudes).release(), std::memory_order_release);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

std::unique_ptr<LinearPhaseFIR::Pair>
LinearPhaseFIR::preparePair(int length, const std::array<std::span<const double>, kChannels>& magnitudes)
{
    std::unique_ptr<Pair> pair(pending.exchange(nullptr, std::memory_order_acquire));
    std::unique_ptr<Pair> returned(replaced.exchange(nullptr, std::memory_order_acquire));
    if (!pair || pair->length() != length)
        pair = std::move(returned);
    if (!pair || pair->length() != length) {
        pair.reset(); // its memory may be what is missing
        pair = std::make_unique<Pair>(length);
    }
    if (!design || design->length() != length)
        design = std::make_unique<LinearPhaseDesign>(length);

    std::vector<double> taps(static_cast<std::size_t>(length));
    for (std::size_t channel = 0; channel < kChannels; ++channel) {
        design->design(magnitudes[channel], taps);
        pair->channels[channel].clear();
        pair->channels[channel].load(taps);
    }
    return pair;
}

void LinearPhaseFIR::collect() noexcept
{
    assert(!platform::AudioThreadScope::active());
    delete replaced.exchange(nullptr, std::memory_order_acquire);
}

void LinearPhaseFIR::acceptPending() noexcept
{
    if (pending.load(std::memory_order_relaxed) == nullptr)
        return;
    std::unique_ptr<Pair> fresh(pending.exchange(nullptr, std::memory_order_acquire));
    if (!fresh) // the parameter thread took it back just now
        return;
    if (fresh->length() == inUse->length())
        for (std::size_t channel = 0; channel < kChannels; ++channel)
            fresh->channels[channel].continueFrom(inUse->channels[channel]);
    lengthInUse = fresh->length();
    inUse.swap(fresh);
    replaced.store(fresh.release(), std::memory_order_release);
}

void LinearPhaseFIR::clear() noexcept
{
    for (FIRConvolver& channel : inUse->channels)
        channel.clear();
}

} // namespace sorvane::dsp
