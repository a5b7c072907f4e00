#include "AAXWrap_Description.h"

#include "AAXWrap_GUI.h"
#include "AAXWrap_Parameters.h"
#include "AAXWrap_Trace.h"

#include <array>
#include <cstdio>
#include <exception>
#include <span>
#include <string>

namespace sorvane::aax {

namespace {

constexpr const char* kProductName = "Sorvane";
constexpr const char* kManufacturerName = "Kestrune";
constexpr std::uint32_t kPackageVersion = 1;
constexpr std::int32_t kMidiOutPlaceholderBytes = 4;

/// Sessions hold these codes.
struct Component {
    std::int32_t nativeId;
    std::int32_t audioSuiteId;
    std::int32_t stemFormat;
    std::size_t taps;
};
constexpr std::array<Component, 2> kComponents = {{
    {host::fourCharCode("RTMN"), host::fourCharCode("ASMN"), stemMono, 5},
    {host::fourCharCode("RTST"), host::fourCharCode("ASST"), stemStereo, 6},
}};

/// Four characters as they lie in memory, read as a little-endian number.
constexpr std::int32_t storedCode(const char (&text)[5])
{
    return host::fourCharCode({text[3], text[2], text[1], text[0], 0});
}

struct MeterTap {
    std::int32_t identifier;
    const char* name;
    std::int32_t type;
    std::int32_t orientation; ///< 1 grows from the top
};
constexpr std::array<MeterTap, 6> kMeterTaps = {{
    {storedCode("lmni"), "LeftIn", meterInput, 0},
    {storedCode("rmni"), "RightIn", meterInput, 0},
    {storedCode("lmuo"), "LeftOut", meterOutput, 0},
    {storedCode("rmuo"), "RightOut", meterOutput, 0},
    {storedCode("1mrg"), "GR1", meterGainReduction, 1},
    {storedCode("2mrg"), "GR2", meterSecondGainReduction, 1},
}};

/// A step that fails is told, and the next one goes on.
void check(Result result)
{
    if (result != AAX_SUCCESS)
        trace("err == AAX_SUCCESS");
}

void addFields(ComponentDescriptor& descriptor, const Component& component)
{
    std::array<std::int32_t, kMeterTaps.size()> taps{};
    for (std::size_t i = 0; i < taps.size(); ++i)
        taps[i] = kMeterTaps[i].identifier;
    const std::string midiName = std::string(kProductName) + " MIDI In";

    check(descriptor.addAudioIn(fieldAudioInput));
    check(descriptor.addAudioOut(fieldAudioOutput));
    check(descriptor.addAudioBufferLength(fieldBufferLength));
    check(descriptor.addSampleRate(fieldSampleRate));
    check(descriptor.addClock(fieldClock));
    check(descriptor.addMidiNode(fieldMidiIn, midiNodeLocalInput, midiName.c_str(), 15));
    check(descriptor.addPrivateData(fieldMidiOut, kMidiOutPlaceholderBytes));
    check(descriptor.addMidiNode(fieldTransport, midiNodeTransport, "Transport", 65535));
    check(descriptor.addPrivateData(fieldPrivateBlock, sizeof(SAAXWrap_Alg_Context_Private)));
    check(descriptor.addMeters(fieldMeters, taps.data(), static_cast<std::int32_t>(component.taps)));
    check(descriptor.addSideChainIn(fieldSideChainInput));
}

Result describeComponent(EffectDescriptor& effect, const Component& component)
{
    ComponentDescriptor* const descriptor = effect.newComponentDescriptor();
    if (descriptor == nullptr)
        return AAX_ERROR_NULL_OBJECT;
    addFields(*descriptor, component);
    PropertyMap* const properties = descriptor->newPropertyMap();
    if (properties == nullptr) { // a component without its codes is none that a session could name
        check(AAX_ERROR_NULL_OBJECT);
        return AAX_SUCCESS;
    }
    const std::array<std::array<std::int32_t, 2>, 8> values = {{
        {propertyManufacturer, kManufacturerCode},
        {propertyProduct, kProductCode},
        {propertyNativePlugIn, component.nativeId},
        {propertyAudioSuitePlugIn, component.audioSuiteId},
        {propertyInputStemFormat, component.stemFormat},
        {propertyOutputStemFormat, component.stemFormat},
        {propertyCanBypass, 1},
        {propertySideChain, 1},
    }};
    for (const auto& [number, value] : values)
        check(properties->addProperty(number, value));
    check(descriptor->addProcessProcedure(AAXWrap_Parameters::algorithm, properties));
    check(effect.addComponent(descriptor));
    return AAX_SUCCESS;
}

void describeMeters(EffectDescriptor& effect)
{
    for (const MeterTap& tap : kMeterTaps) {
        PropertyMap* const properties = effect.newPropertyMap();
        if (properties == nullptr) {
            check(AAX_ERROR_NULL_OBJECT);
            continue;
        }
        check(properties->addProperty(propertyMeterType, tap.type));
        check(properties->addProperty(propertyMeterOrientation, tap.orientation));
        check(effect.addMeterDescription(tap.identifier, tap.name, properties));
    }
}

Result describeEffect(EffectDescriptor& effect)
{
    check(effect.addName(kProductName));
    check(effect.addCategory(categoryDynamics));
    for (const Component& component : kComponents)
        if (const Result result = describeComponent(effect, component); result != AAX_SUCCESS)
            return result;
    check(effect.addCreateFunction(processPointerParameters, AAXWrap_Parameters::create));
    check(effect.addCreateFunction(processPointerGUI, AAXWrap_GUI::create));
    check(effect.addResource(resourcePageTable, "PageTable.xml"));
    describeMeters(effect);
    return AAX_SUCCESS;
}

Result describePackage(Collection& collection)
{
    EffectDescriptor* const effect = collection.newEffectDescriptor();
    if (effect == nullptr)
        return AAX_ERROR_NULL_OBJECT;
    if (const Result result = describeEffect(*effect); result != AAX_SUCCESS)
        return result;
    check(collection.addEffect(("com.kestrune." + std::string(kProductName) + ".aax").c_str(), effect));
    check(collection.setManufacturerName(kManufacturerName));
    check(collection.addPackageName(kProductName));
    check(collection.setPackageVersion(kPackageVersion));
    return AAX_SUCCESS;
}

void traceException(const char* what)
{
    char text[256];
    std::snprintf(text, sizeof text, "AAXRegisterPlugin exception caught: %s", what);
    trace(text);
}

} // namespace

Result registerPlugin(Collection* collection) noexcept
{
    if (collection == nullptr)
        return AAX_ERROR_NULL_OBJECT;
    try {
        return describePackage(*collection);
    } catch (const ResultError& error) {
        traceException(error.what());
        return error.result();
    } catch (const std::exception& error) {
        traceException(error.what());
    } catch (...) {
        traceException("unknown");
    }
    return AAX_ERROR_UNKNOWN_EXCEPTION;
}

} // namespace sorvane::aax
