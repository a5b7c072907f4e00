#include "SideChainEQ.h"

#include <array>

namespace sorvane::core {

using dsp::FilterType;

namespace {

constexpr std::int32_t kShelfOrder = 2;

void setEdge(dsp::TrimoraEQ& filter, const SideChainEdge& edge, FilterType filterType, FilterType shelfType)
{
    filter.setBypass(!edge.on);
    filter.setType(edge.isShelf ? shelfType : filterType);
    filter.setFrequency(edge.frequencyHz);
    filter.setOrder(edge.isShelf || edge.slope == 0 ? kShelfOrder : edge.slope / 6);
    filter.setGain(edge.isShelf ? edge.gainDb : 0.0F);
}

} // namespace

void SideChainEQ::design(const SideChainEdge& highPass, const SideChainEdge& lowPass,
                         const SideChainPeak& peak) noexcept
{
    setEdge(scLPF, lowPass, FilterType::lowPass, FilterType::highShelf);
    setEdge(scHPF, highPass, FilterType::highPass, FilterType::lowShelf);
    scPeak.setBypass(!peak.on);
    scPeak.setType(FilterType::peak);
    scPeak.setGain(peak.gainDb);
    scPeak.setFrequency(peak.frequencyHz);
    scPeak.setQ(peak.q);
    scLPF.update();
    scHPF.update();
    scPeak.update();
    isDesigned.store(true, std::memory_order_release);
}

void SideChainEQ::setRate(float rateHz) noexcept
{
    for (dsp::TrimoraEQ* filter : {&scLPF, &scHPF, &scPeak})
        filter->setSampleRate(rateHz);
}

void SideChainEQ::reset() noexcept
{
    for (dsp::TrimoraEQ* filter : {&scLPF, &scHPF, &scPeak})
        filter->clearState();
}

void SideChainEQ::beginBlock() noexcept
{
    if (!isDesigned.load(std::memory_order_relaxed))
        return;
    isDesigned.exchange(false, std::memory_order_acquire); // first: a design that ends meanwhile asks anew
    for (dsp::TrimoraEQ* filter : {&scLPF, &scHPF, &scPeak})
        filter->beginBlock();
}

void SideChainEQ::process(std::span<double> samples) noexcept
{
    scLPF.processDouble(samples);
    scHPF.processDouble(samples);
    scPeak.processDouble(samples);
}

void SideChainEQ::processPair(SideChainEQ& first, std::span<double> firstSamples, SideChainEQ& second,
                              std::span<double> secondSamples) noexcept
{
    for (dsp::TrimoraEQ SideChainEQ::*const filter : {&SideChainEQ::scLPF, &SideChainEQ::scHPF, &SideChainEQ::scPeak})
        dsp::DF1Cascade::processTogether(std::array{dsp::DF1Cascade::Lane{&(first.*filter), firstSamples},
                                                    dsp::DF1Cascade::Lane{&(second.*filter), secondSamples}});
}

} // namespace sorvane::core
