#include "PlugBase.h"

#include "AudioThreadScope.h"
#include "ParameterText.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string_view>

namespace sorvane::host {

using core::FixedText;
using core::isParameter;
using core::ParamRecord;
using core::ScaleType;

namespace {

constexpr float kMostRateHz = 1.0e6F;

SpeakerArrangementType inputArrangement(std::int32_t pins)
{
    switch (pins) {
    case 1:
        return speakersMono;
    case 3:
        return speakers30Music;
    case 4:
        return speakers40Music;
    default:
        return speakersStereo;
    }
}

void setLabel(PinProperties& properties, std::string_view stem, std::int32_t index)
{
    FixedText().add(stem).add(index + 1).copyTo(properties.label);
}

} // namespace

PlugBase::PlugBase(HostCallback callback)
    : AudioEffectX(callback, core::kNumPrograms, core::kNumParams), paramTable(core::factoryParameters()),
      staticParams(&core::factoryParameters()), channelNames{{0, "Left", "Mid"}, {1, "Right", "Side"}}
{
    setPins(2, 2);
    setFlag(effectCanMono, true);
    setFlag(effectCanDoubleReplacing, true);
    char product[256] = {};
    callHost(hostProductString, 0, 0, product);
    sideChainAtZero = std::string_view(product, strnlen(product, sizeof product)).starts_with("WaveLab");
}

Pointer PlugBase::dispatcher(std::int32_t opcode, std::int32_t index, Pointer value, void* data, float option)
{
    if (opcode == effectEditIdle)
        return 0; // the process-wide timer drives the editor
    return AudioEffectX::dispatcher(opcode, index, value, data, option);
}

void PlugBase::setSampleRate(float rateHz)
{
    if (!(rateHz > 0.0F && rateHz <= kMostRateHz))
        return;
    AudioEffectX::setSampleRate(rateHz);
    updateParameters(false);
}

template <typename Sample>
void PlugBase::process(Sample** inputs, Sample** outputs, std::int32_t frames)
{
    const platform::AudioThreadScope audioThread;
    updateProcessLevel();
    processBlock(inputs, outputs, frames);
    sampleCount = sampleCount + static_cast<std::uint32_t>(std::max(frames, 0));
}

void PlugBase::processReplacing(float** inputs, float** outputs, std::int32_t frames)
{
    process(inputs, outputs, frames);
}

void PlugBase::processDoubleReplacing(double** inputs, double** outputs, std::int32_t frames)
{
    process(inputs, outputs, frames);
}

void PlugBase::updateProcessLevel()
{
    const bool now = callHost(hostProcessLevel) == processLevelOffline;
    if (now == offline)
        return;
    offline = now;
    onOfflineChanged(now);
}

void PlugBase::setParameter(std::int32_t index, float normal)
{
    if (std::isnan(normal))
        return;
    normal = std::clamp(normal, 0.0F, 1.0F);

    const bool selectsBank = index == bankParam && isParameter(index);
    if (selectsBank && !bankSwitching) {
        const auto bank = static_cast<std::int32_t>(fromNormalised(index, normal));
        if (bank != currentBank) {
            switchBank(bank);
            if (editor)
                editor->setParameter(index, normal);
            return;
        }
    }
    if (isParameter(index)) {
        storeParameter(index, normal);
        if (!bankSwitching.loadInOrder()) // else one update follows for all of them
            updateParameters(false);
    }
    if (editor && index >= 0 && (!bankSwitching || index != bankParam)) // below 0 are markers of the history
        editor->setParameter(index, normal);
}

/// Writes a value everywhere that holds it. When two threads set one parameter at once, whichever writes last looks
/// again, so that value and normal end as a pair.
void PlugBase::storeParameter(std::int32_t index, float normal)
{
    const auto slot = static_cast<std::size_t>(index);
    ParamRecord& record = paramTable[slot];
    record.normal.storeInOrder(normal);
    do {
        normal = record.normal.loadInOrder();
        currentProgram().values[slot] = normal;
        banks[static_cast<std::size_t>(currentBank.load())].values[slot] = normal;
        record.value.storeInOrder(fromNormalised(index, normal));
    } while (record.normal.loadInOrder() != normal);
}

float PlugBase::getParameter(std::int32_t index) const
{
    return isParameter(index) ? parameter(index).normal.load() : 0.0F;
}

void PlugBase::setParameterAutomated(std::int32_t index, float normal)
{
    setParameter(index, normal);
    if (isParameter(index) && !std::isnan(normal))
        callHost(hostAutomate, index, 0, nullptr, getParameter(index));
}

/// What a stepped parameter makes of a normalised value; a continuous one gives it back within rounding.
float PlugBase::snapped(std::int32_t index, float normal) const
{
    return toNormalised(index, fromNormalised(index, normal));
}

/// Sets a parameter as a user's edit would, but without a step of undo.
void PlugBase::applyWithEdit(std::int32_t index, float normal)
{
    callHost(hostBeginEdit, index);
    setParameterAutomated(index, normal);
    callHost(hostEndEdit, index);
}

void PlugBase::setProgram(std::int32_t program)
{
    if (program < 0 || program >= core::kNumPrograms)
        return;
    const bool wasSwitching = bankSwitching;
    const Switching switching(*this);
    curProgram = program;
    callHost(hostVendorSpecific, fourCharCode("prch"), program);
    for (std::int32_t index = 0; index < core::kNumParams; ++index) {
        if (index == bankParam && !wasSwitching)
            continue;
        auto& stored = currentProgram().values[static_cast<std::size_t>(index)];
        stored = snapped(index, stored);
        applyWithEdit(index, stored);
    }
}

void PlugBase::setProgramName(const char* name)
{
    setProgramNameIndexed(name, curProgram);
}

void PlugBase::getProgramName(char* name) const
{
    (void)getProgramNameIndexed(curProgram, name);
}

void PlugBase::setProgramNameIndexed(const char* name, std::int32_t index)
{
    if (index >= 0 && index < core::kNumPrograms)
        programs[static_cast<std::size_t>(index)].setName(name);
}

bool PlugBase::getProgramNameIndexed(std::int32_t index, char* name) const
{
    if (index < 0 || index >= core::kNumPrograms)
        return false;
    FixedText().add(programs[static_cast<std::size_t>(index)].getName()).copyTo(name);
    return true;
}

void PlugBase::getParameterDisplay(std::int32_t index, char* text) const
{
    getParameterText(index, text, 0);
}

void PlugBase::getParameterName(std::int32_t index, char* name) const
{
    if (isParameter(index))
        FixedText().add(parameter(index).name.data()).copyTo(name);
}

bool PlugBase::getParameterProperties(std::int32_t index, ParameterProperties* properties) const
{
    if (!isParameter(index))
        return false;
    *properties = {};
    getParameterName(index, properties->label);
    const core::ParamRecord& described = parameter(index);
    if (described.scale == core::ScaleType::onOff) {
        properties->flags = parameterIsSwitch;
    } else if (described.scale == core::ScaleType::enumeration) {
        const float step = 1.0F / (described.max - described.min + 1.0F);
        properties->flags = parameterUsesFloatStep;
        properties->stepFloat = step;
        properties->smallStepFloat = step;
        properties->largeStepFloat = step;
    }
    return true;
}

bool PlugBase::getInputProperties(std::int32_t index, PinProperties* properties) const
{
    if (index < 0 || index >= cEffect.numInputs)
        return false;
    *properties = {};
    setLabel(*properties, "Input ", index);
    properties->flags = pinIsActive | pinUseSpeaker | (cEffect.numOutputs == 2 ? pinIsStereo : 0);
    properties->arrangementType = inputArrangement(cEffect.numInputs);

    // These two lay the pins out wrongly when an arrangement is named.
    char vendor[256] = {};
    callHost(hostVendorString, 0, 0, vendor);
    const std::string_view host(vendor, strnlen(vendor, sizeof vendor));
    if (host == "Ableton" || host == "Cakewalk, Inc")
        properties->flags &= ~pinUseSpeaker;
    return true;
}

bool PlugBase::getOutputProperties(std::int32_t index, PinProperties* properties) const
{
    if (index < 0 || index >= cEffect.numOutputs)
        return false;
    *properties = {};
    setLabel(*properties, "Output ", index);
    properties->flags = pinIsActive | pinUseSpeaker | (cEffect.numOutputs == 2 ? pinIsStereo : 0);
    properties->arrangementType = cEffect.numOutputs == 1 ? speakersMono : speakersStereo;
    return true;
}

bool PlugBase::getVendorString(char* text) const
{
    FixedText().add("Kestrune").copyTo(text);
    return true;
}

void PlugBase::setPins(std::int32_t inputs, std::int32_t outputs)
{
    cEffect.numInputs = inputs;
    cEffect.numOutputs = outputs;
}

float PlugBase::getParameterDefault(std::int32_t index) const
{
    return isParameter(index) ? (*staticParams)[static_cast<std::size_t>(index)].normal.load() : 0.0F;
}

float PlugBase::toNormalised(std::int32_t index, float value) const
{
    if (!isParameter(index))
        return 0.0F;
    const ParamRecord& record = parameter(index);
    return core::valueToNormal(value, record.min, record.max, record.scale);
}

float PlugBase::fromNormalised(std::int32_t index, float normal) const
{
    if (!isParameter(index))
        return 0.0F;
    const ParamRecord& record = parameter(index);
    return core::normalToValue(normal, record.min, record.max, record.scale);
}

float PlugBase::getParameterValue(std::int32_t index) const
{
    return isParameter(index) ? parameter(index).value.load() : 0.0F;
}

void PlugBase::getParameterText(std::int32_t index, char* text, std::int32_t flag) const
{
    if (isParameter(index))
        formatParameter(index, parameter(index).normal, text, flag);
}

void PlugBase::formatParameter(std::int32_t index, float normal, char* text, std::int32_t) const
{
    if (!isParameter(index))
        return;
    const ParamRecord& record = parameter(index);
    const double value = fromNormalised(index, normal);
    const std::string_view unit = record.unit.data();
    FixedText made;
    switch (record.scale) {
    case ScaleType::onOff:
        made.add(value < 0.5 ? "Off" : "On");
        break;
    case ScaleType::enumeration:
    case ScaleType::slope:
    case ScaleType::octaveSlope:
        made.add(static_cast<std::int32_t>(value)).add(" ").add(unit);
        break;
    default:
        if (unit == "Hz" && std::abs(value) > 1000.0)
            made.add(value / 1000.0, 1).add(" kHz");
        else if (unit == "Hz" || unit == "%")
            made.add(value, 0).add(" ").add(unit);
        else
            made.add(value, unit == "dB" || std::abs(value) < 999.995 ? 2 : 0).add(" ").add(unit);
        break;
    }
    made.copyTo(text);
}

std::int32_t PlugBase::getParameterScale(std::int32_t index) const
{
    return isParameter(index) ? static_cast<std::int32_t>(parameter(index).scale) : -1;
}

float PlugBase::getParameterMin(std::int32_t index) const
{
    return isParameter(index) ? parameter(index).min : 0.0F;
}

float PlugBase::getParameterMax(std::int32_t index) const
{
    return isParameter(index) ? parameter(index).max : 1.0F;
}

std::int32_t PlugBase::getParameterSteps(std::int32_t index) const
{
    if (!isParameter(index))
        return 0;
    const ParamRecord& record = parameter(index);
    const auto span = static_cast<std::int32_t>(record.max - record.min);
    switch (record.scale) {
    case ScaleType::onOff:
        return 1;
    case ScaleType::enumeration:
    case ScaleType::powerOfTwo:
    case ScaleType::wholeNumber:
        return span + 1;
    case ScaleType::octaveSlope:
    case ScaleType::slope:
        return span / getParameterStepSize(index) + 1;
    default:
        return 0;
    }
}

std::int32_t PlugBase::getParameterStepSize(std::int32_t index) const
{
    switch (static_cast<ScaleType>(getParameterScale(index))) {
    case ScaleType::octaveSlope:
        return 12;
    case ScaleType::slope:
        return 6;
    default:
        return 1;
    }
}

float PlugBase::snapParameter(std::int32_t index, float x, bool toFraction) const
{
    switch (static_cast<ScaleType>(getParameterScale(index))) {
    case ScaleType::enumeration:
    case ScaleType::slope:
    case ScaleType::octaveSlope:
        break;
    default:
        return x;
    }
    const double low = getParameterMin(index);
    const double range = getParameterMax(index) - low;
    if (toFraction)
        return static_cast<float>((fromNormalised(index, x) - low) / range);
    return toNormalised(index, static_cast<float>(std::floor(range * x + low)));
}

std::uint32_t PlugBase::getParameterFlags(std::int32_t index) const
{
    return isParameter(index) ? parameter(index).flags : 0;
}

} // namespace sorvane::host
