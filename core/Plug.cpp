#include "Plug.h"

#include "AudioThreadScope.h"
#include "Files.h"
#include "GlobalPrefs.h"
#include "GraphBands.h"
#include "InstallPath.h"
#include "InstanceTimer.h"
#include "MIDIMap.h"
#include "MeterBallistics.h"
#include "ParameterText.h"
#include "Resources.h"
#include "Vector.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <string_view>
#include <type_traits>

namespace sorvane::core {

namespace {

/// What a frequency parameter listens to while it is held; none for any other tag.
constexpr std::int32_t listenModeOf(std::int32_t tag)
{
    switch (tag) {
    case kSCHPFFreq:
    case kSCPeakFreq:
    case kSCLPFFreq:
        return 0;
    case kSplitBPFFreq:
        return 1;
    case kSCHPFFreqB:
    case kSCPeakFreqB:
    case kSCLPFFreqB:
        return 2;
    case kSplitBPFFreqB:
        return 3;
    default:
        return -1;
    }
}

/// Zeroes what isn't a number, which would stay in every recursive state for good. Looks first: there hardly ever is
/// any.
template <typename Sample>
void sanitise(Sample* samples, std::int32_t frames)
{
    if (samples == nullptr)
        return;
    using Bits = std::conditional_t<sizeof(Sample) == sizeof(float), std::uint32_t, std::uint64_t>;
    Bits any = 0;
    for (std::int32_t i = 0; i < frames; ++i)
        any |= std::bit_cast<Bits>(samples[i] * Sample(0)); // zero but for its sign
    if ((any << 1U) == 0)
        return;
    for (std::int32_t i = 0; i < frames; ++i)
        if (samples[i] * Sample(0) != Sample(0))
            samples[i] = Sample(0);
}

template <typename Sample>
void scale(Sample* samples, std::int32_t frames, double gain)
{
    if (samples == nullptr || gain == 1.0)
        return;
    for (std::int32_t i = 0; i < frames; ++i)
        samples[i] = static_cast<Sample>(samples[i] * gain);
}

template <typename Sample>
void silence(std::span<Sample* const> outputs, std::int32_t frames)
{
    for (Sample* const output : outputs)
        if (output != nullptr)
            std::fill_n(output, frames, Sample(0));
}

/// Zeros where there is no channel.
template <typename Sample>
void copySamples(const Sample* samples, std::int32_t first, std::span<double> destination)
{
    if (samples == nullptr)
        return std::fill(destination.begin(), destination.end(), 0.0);
    for (std::size_t i = 0; i < destination.size(); ++i)
        destination[i] = static_cast<double>(samples[static_cast<std::size_t>(first) + i]);
}

void encodeMidSide(std::span<double> left, std::span<double> right)
{
    for (std::size_t i = 0; i < left.size(); ++i) {
        const double mid = (left[i] + right[i]) * 0.5;
        right[i] = (left[i] - right[i]) * 0.5;
        left[i] = mid;
    }
}

/// A meter's envelopes after some samples: one follows the level up at once, and down by a part of the distance a
/// sample.
///
/// A sample takes an envelope e to the larger of its level and release level + (1 - release) e, which is of the form
/// max(a, b + c e), and so are many samples in turn. Fast because stretches of the samples are brought to that form
/// side by side, where the envelope itself would wait for each sample.
dsp::Pair followPeaks(std::span<const double> first, std::span<const double> second, double release,
                      dsp::Pair envelope) noexcept
{
    constexpr std::size_t kStretches = 4;
    const double kept = 1.0 - release;
    const std::size_t length = first.size() / kStretches;
    std::array<dsp::Pair, kStretches> a{};
    std::array<dsp::Pair, kStretches> b{};
    double c = 1.0;
    for (std::size_t i = 0; i < length; ++i) {
        for (std::size_t s = 0; s < kStretches; ++s) {
            const dsp::Pair level{std::abs(first[s * length + i]), std::abs(second[s * length + i])};
            const dsp::Pair fallen = release * level + kept * a[s];
            a[s] = level > fallen ? level : fallen;
            b[s] = release * level + kept * b[s];
        }
        c *= kept;
    }
    for (std::size_t s = 0; s < kStretches; ++s) {
        const dsp::Pair fallen = b[s] + c * envelope;
        envelope = a[s] > fallen ? a[s] : fallen;
    }
    for (std::size_t i = kStretches * length; i < first.size(); ++i) {
        const dsp::Pair level{std::abs(first[i]), std::abs(second[i])};
        const dsp::Pair fallen = release * level + kept * envelope;
        envelope = level > fallen ? level : fallen;
    }
    return envelope;
}

/// The same for one that takes time on the way up too.
dsp::Pair followLevels(std::span<const double> first, std::span<const double> second, double attack, double release,
                       dsp::Pair envelope) noexcept
{
    for (std::size_t i = 0; i < first.size(); ++i) {
        const dsp::Pair level{std::abs(first[i]), std::abs(second[i])};
        // envelope + c (level - envelope), laid out so that the envelope is waited for as little as can be
        const dsp::Pair risen = attack * level + (1.0 - attack) * envelope;
        const dsp::Pair fallen = release * level + (1.0 - release) * envelope;
        envelope = level > envelope ? risen : fallen;
    }
    return envelope;
}

} // namespace

Plug::Plug(host::HostCallback callback, Start start, const platform::Clock& clock)
    : PlugBaseJSON(callback), defaultBankPath(state::defaultBankPath()), designClock(clock)
{
    setPins(4, 2);
    cEffect.uniqueID = host::fourCharCode("Ksor");
    bankParam = kABBank;
    chunkCacheable = true;
    auto newEditor = std::make_unique<editor::PlugEd>(*this, *this);
    plugEd = newEditor.get();
    setEditor(std::move(newEditor));
    setFlag(host::effectHasEditor, false); // it has no window yet that a host could open
    state::GlobalPrefs::instance().initGlobalPrefs(platform::resource("json", "defaults"));
    (void)state::MIDIMap::instance(); // read here, so that the audio thread finds it made
    Plug::applyGlobalPrefs();
    Plug::applyUiPrefs();
    if (start == Start::asUserSaved) {
        audioMaster = nullptr; // what a start sets is no edit
        loadDefaultBank();
        audioMaster = callback;
    }
    Plug::resume();
    isMade = true;
    host::InstanceTimer::instance().add(*this);
}

Plug::~Plug()
{
    host::InstanceTimer::instance().remove(*this); // first: the timer's thread calls the editor
    editor.reset();
    state::MIDIMap::instance().savePending();
}

/// The user's default bank, else one that a package brought, else the factory bank of either.
void Plug::loadDefaultBank()
{
    std::vector<std::string> folders = state::packageFolders();
    if (const std::string users = state::installFolder(); !users.empty())
        folders.insert(folders.begin(), users);
    for (const char* const name : {"/Default Bank.bnk", "/Factory Bank.bnk"})
        for (const std::string& folder : folders)
            if (const auto chunk = platform::readFile(folder + name, host::kMostChunkBytes)) {
                PlugBaseJSON::setChunk(chunk->data(), static_cast<std::int32_t>(chunk->size()), false);
                return;
            }
}

void Plug::resume()
{
    updateProcessLevel();
    applyGlobalPrefs();

    // So that no block runs on what is cleared here, and no update designs for the rate that was.
    designLock.lock();
    blockGate.lock();
    autoListenMode = kNoAutoListen;
    engine.reset();
    resetFeeds();
    engineRate = static_cast<double>(getSampleRate());
    engine.setRate(engineRate);
    // A larger block is met when it comes, if it ever does; without the memory it is silent.
    (void)engine.prepare(std::min(getBlockSize(), kMostPreparedFrames));
    updateLock.lock();
    engine.publish(makeEngineSettings());
    updateLock.unlock();
    lastDesignTick = designClock.milliseconds() * 10 / 1000;
    designFilters();
    engine.takeSettings(); // so that the latency that is reported now is that of the first block
    blockGate.unlock();
    designLock.unlock();

    if (updateRequested.isSet()) // by a thread that couldn't wait meanwhile
        updateParameters(false);
    updateLatency();
}

void Plug::resetFeeds() noexcept
{
    for (auto& level : meterLevel)
        level = 0.0;
    for (auto& ring : outputRing)
        for (auto& sample : ring)
            sample = 0.0;
    outputRingPosition = 0;
}

void Plug::applyGlobalPrefs()
{
    constexpr std::array kCompressionLevels = {0, 1, 5, 9};
    const auto& prefs = state::GlobalPrefs::instance();
    const MeterCoefficients coefficients = meterCoefficients(prefs.getGlobalPref("Meter Ballistic"), getSampleRate());
    meterAttack = coefficients.attack;
    meterRelease = coefficients.release;
    bankAutomation = prefs.getGlobalPref("A/B Automation") != 0;
    setCompressionLevel(kCompressionLevels[static_cast<std::size_t>(prefs.getGlobalPref("Save Compression")) & 3U]);
    plugEd->applyPreferences();
}

void Plug::applyUiPrefs()
{
    autoListenSource = plugEd->getUISetting("Graph", "Autolisten");
    updateParameters(false);
}

std::int32_t Plug::setChunk(const void* data, std::int32_t size, bool isPreset)
{
    const std::int32_t answer = PlugBaseJSON::setChunk(data, size, isPreset);
    updateLatency();
    return answer;
}

host::JSONTree Plug::buildChunkJson(bool isPreset)
{
    host::JSONTree root = PlugBaseJSON::buildChunkJson(isPreset);
    if (root)
        plugEd->saveSettings(root.get());
    return root;
}

/// The program of a preset belongs into the bank that the preset was saved in: the editor's state, which is applied
/// last, chooses that bank, and what it holds then is what sounds.
void Plug::onChunkParsed(const cJSON* root, bool isPreset)
{
    if (isPreset)
        plugEd->chooseBankOf(root);
}

host::JSONTree Plug::loadChunkJson(std::string_view text, bool isPreset)
{
    host::JSONTree root = PlugBaseJSON::loadChunkJson(text, isPreset);
    plugEd->loadSettings(root.get());
    return root;
}

bool Plug::onTimer()
{
    if (!bankSwitching.loadInOrder() && (designPending.isSet() || updateRequested.isSet()))
        updateParameters(false); // what is half applied has an update of its own at its end
    engine.split().collect();
    state::MIDIMap::instance().savePending();
    return setInitialDelay(engine.getLatency());
}

void Plug::updateLatency()
{
    if (setInitialDelay(engine.getLatency()) && isMade)
        callHost(host::hostIOChanged);
}

void Plug::setAutoListenEnabled(bool on)
{
    autoListenEnabled = on;
}

void Plug::armAutoListen(std::int32_t mode)
{
    autoListenMode = mode;
    autoListenEnabled = true;
}

void Plug::beginEdit(std::int32_t tag)
{
    const std::int32_t mode = listenModeOf(tag);
    if (autoListenEnabled && autoListenMode == kNoAutoListen && mode != kNoAutoListen) {
        autoListenMode = mode;
        updateParameters(false);
    }
    PlugBaseJSON::beginEdit(tag);
}

void Plug::endEdit(std::int32_t tag)
{
    const std::int32_t mode = listenModeOf(tag);
    if (autoListenEnabled && mode != kNoAutoListen && mode == autoListenMode) {
        autoListenMode = kNoAutoListen;
        if (editor)
            editor->setParameter(tag, getParameter(tag));
    }
    PlugBaseJSON::endEdit(tag);
}

bool Plug::setBypass(bool on)
{
    setParameter(kBypass, on ? 1.0F : 0.0F);
    return true;
}

bool Plug::getProductString(char* text) const
{
    FixedText().add("Sorvane").copyTo(text);
    return true;
}

host::Pointer Plug::vendorSpecific(std::int32_t first, host::Pointer second, void*, float)
{
    return first == host::fourCharCode("KSTR") && second == host::fourCharCode("ctrl") ? 1 : 0;
}

std::int32_t Plug::canDo(const char* feature) const
{
    const std::string_view asked(feature, strnlen(feature, 32)); // longer than any that is known
    return asked == "bypass" || asked == "receiveVstEvents" || asked == "receiveVstMidiEvent" ? 1 : 0;
}

bool Plug::processEvents(const host::Events* events)
{
    const platform::AudioThreadScope audioThread;
    state::MIDIMap::instance().processMidi(events, *this);
    return true;
}

void Plug::formatParameter(std::int32_t index, float normal, char* text, std::int32_t) const
{
    if (!isParameter(index))
        return;
    const bool upward = isOn(parameter(index == kRatioB ? kExciteB : kExcite));
    parameterText(index, fromNormalised(index, normal), parameter(index), upward).copyTo(text);
}

float Plug::getLevelMeter(std::int32_t channel) const
{
    return static_cast<float>(meterLevel[channel == 0 ? 0 : 1].load());
}

float Plug::getReductionMeter(std::int32_t channel)
{
    return engine.displayFeeds().reductionMeter(channel);
}

float Plug::lowestGain(std::int32_t channel) const
{
    return engine.displayFeeds().lowestGain(channel);
}

const dsp::Relaxed<float>* Plug::getDisplayRing(std::int32_t index) const
{
    return engine.displayFeeds().displayRing(index);
}

const dsp::Relaxed<std::int32_t>* Plug::getStateRing(std::int32_t channel) const
{
    return engine.displayFeeds().stateRing(channel);
}

std::uint32_t Plug::getRingPosition(std::int32_t index) const
{
    return engine.displayFeeds().ringPosition(index);
}

void Plug::getOutputSamples(double* destination, std::int32_t count, std::int32_t channel) const
{
    const auto& ring = outputRing[static_cast<std::uint32_t>(channel) & 1U];
    const auto wanted = static_cast<std::uint32_t>(std::clamp<std::int32_t>(count, 0, kOutputRingLength));
    const std::uint32_t start = outputRingPosition.load(std::memory_order_acquire) - wanted;
    for (std::uint32_t i = 0; i < wanted; ++i)
        destination[i] = ring[(start + i) & kOutputRingMask];
}

std::int32_t Plug::bandParameter(std::int32_t field, std::int32_t band) const
{
    return core::bandParameter(field, band);
}

float Plug::bandValue(std::int32_t field, std::int32_t band) const
{
    return core::bandValue(field, band, paramTable);
}

std::uint32_t Plug::bandFeatures(std::int32_t band) const
{
    return core::bandFeatures(band, paramTable);
}

dsp::AnalogCascade Plug::bandFilter(std::int32_t band, bool ignoreBypass)
{
    // Bands 8 to 11 are the two edges that bands 3 and 7 have no place for.
    const auto index = static_cast<std::size_t>(((band % 12) + 12) % 12);
    const std::size_t channel = index < 8 ? index / 4 : (index - 8) / 2;
    const SideChainEQ& eq = engine.sideChainEQ(channel);
    const auto edge = index < 8        ? BandSplit::Edge::highPass
                      : index % 2 == 0 ? BandSplit::Edge::lowPass
                                       : BandSplit::Edge::bandPass;
    const std::array<const dsp::EQ*, 4> filters = {&eq.scHPF, &eq.scLPF, &eq.scPeak,
                                                   &engine.split().filter(channel, edge)};
    designLock.lock(); // filters are set and designed under it
    const dsp::AnalogCascade curve = filters[index < 8 ? index % 4 : 3]->design(ignoreBypass);
    designLock.unlock();
    return curve;
}

void Plug::bandText(std::int32_t field, std::int32_t band, char* text, std::int32_t flag) const
{
    const std::int32_t tag = bandParameter(field, band);
    if (isParameter(tag))
        formatParameter(tag, toNormalised(tag, bandValue(field, band)), text, flag);
}

void Plug::processBlock(float** inputs, float** outputs, std::int32_t frames)
{
    process(inputs, outputs, frames);
}

void Plug::processBlock(double** inputs, double** outputs, std::int32_t frames)
{
    process(inputs, outputs, frames);
}

template <typename Sample>
void Plug::process(Sample** inputs, Sample** outputs, std::int32_t frames) noexcept
{
    if (outputs == nullptr || frames < 0)
        return;

    // A mono instance has no second output: one main channel, and behind it at most one side-chain input.
    const bool mono = outputs[1] == nullptr;
    const std::int32_t channels = mono ? 1 : 2;
    const std::int32_t sideChains = sideChainAtZero ? 0 : channels;
    const std::span<Sample* const> outs(outputs, static_cast<std::size_t>(channels));
    std::array<Sample*, 4> ins{};
    if (inputs != nullptr)
        std::copy_n(inputs, channels + sideChains, ins.begin());

    if (!blockGate.tryLock())
        return silence(outs, frames); // a resume on another thread is clearing what this block would run on
    engine.takeSettings();
    outputRingPosition.store((outputRingPosition.load(std::memory_order_relaxed) + static_cast<std::uint32_t>(frames)) &
                                 kOutputRingMask,
                             std::memory_order_release);
    for (Sample* const input : ins)
        sanitise(input, frames);
    if (!engine.processCore(ins.data(), outputs, frames, channels, sideChains))
        silence(outs, frames);
    if (channels == 2) {
        scale(outputs[0], frames, engine.settings().balanceLeft);
        scale(outputs[1], frames, engine.settings().balanceRight);
    }
    storeOutput(outs, frames);
    followMeters(outs, frames);
    blockGate.unlock();
}

/// The block goes behind the position that readers see: they never read the one that is being written.
template <typename Sample>
void Plug::storeOutput(std::span<Sample* const> outputs, std::int32_t frames) noexcept
{
    const std::uint32_t position = outputRingPosition.load(std::memory_order_relaxed);
    for (std::size_t c = 0; c < outputs.size(); ++c) {
        const Sample* const output = outputs[c];
        auto& ring = outputRing[c];
        for (std::uint32_t i = 0; i < static_cast<std::uint32_t>(frames); ++i)
            ring[(position + i) & kOutputRingMask] = output != nullptr ? static_cast<double>(output[i]) : 0.0;
    }
}

template <typename Sample>
void Plug::followMeters(std::span<Sample* const> outputs, std::int32_t frames) noexcept
{
    constexpr std::int32_t kPiece = 64;
    const bool midSide = engine.settings().midSide;
    const double attack = meterAttack;
    const double release = meterRelease;
    std::array<double, kPiece> firstRoom;
    std::array<double, kPiece> secondRoom;
    dsp::Pair envelope{meterLevel[0], meterLevel[1]};
    for (std::int32_t done = 0; done < frames; done += kPiece) {
        const auto count = static_cast<std::size_t>(std::min(kPiece, frames - done));
        const auto first = std::span(firstRoom).first(count);
        const auto second = std::span(secondRoom).first(count);
        copySamples(outputs[0], done, first);
        copySamples(outputs.size() == 2 ? outputs[1] : nullptr, done, second);
        if (midSide)
            encodeMidSide(first, second);
        envelope = attack == 1.0 ? followPeaks(first, second, release, envelope)
                                 : followLevels(first, second, attack, release, envelope);
        envelope = envelope + 1.0 - 1.0; // drops what is too small beside unity, long before it can become denormal
    }
    meterLevel[0] = envelope[0];
    meterLevel[1] = envelope[1];
}

} // namespace sorvane::core
