#pragma once

#include "AAX_Algorithm.h"
#include "AAX_EffectGUI.h"
#include "AAX_EffectParameters.h"

#include <cstdint>

namespace sorvane::aax {

enum PropertyNumber : std::int32_t {
    propertyManufacturer = 11,
    propertyProduct = 12,
    propertyNativePlugIn = 13,
    propertyAudioSuitePlugIn = 14,
    propertyInputStemFormat = 51,
    propertyOutputStemFormat = 52,
    propertyCanBypass = 60,
    propertySideChain = 116,
    propertyMeterType = 200,
    propertyMeterOrientation = 201,
};

enum StemFormat : std::int32_t {
    stemMono = 1,
    stemStereo = 0x10002,
};

/// Channels of a stem format.
[[nodiscard]] constexpr std::int32_t channelCount(std::uint32_t format)
{
    return static_cast<std::int32_t>(format & 0xFFFFU);
}

enum MidiNodeType : std::int32_t {
    midiNodeLocalInput = 0,
    midiNodeTransport = 3,
};

enum MeterType : std::int32_t {
    meterInput = 0,
    meterOutput = 1,
    meterGainReduction = 2,
    meterSecondGainReduction = 3,
};

enum EffectCategory : std::int32_t {
    categoryDynamics = 2,
};

enum ResourceType : std::int32_t {
    resourcePageTable = 1,
};

/// What the host makes instances with.
using CreateParameters = EffectParameters* (*)();
using CreateGUI = EffectGUI* (*)();

/// Places of the create functions in an effect's description.
enum ProcessPointer : std::int32_t {
    processPointerParameters = 0,
    processPointerGUI = 1,
};

// What follows is the host's; it owns all that it hands out. Descriptions happen on one thread, within one call.

class PropertyMap {
public:
    virtual ~PropertyMap() = default;
    virtual Result addProperty(std::int32_t number, std::int32_t value) = 0;
};

/// One algorithm and the fields of its context, in the order in which they are added.
class ComponentDescriptor {
public:
    virtual ~ComponentDescriptor() = default;
    virtual Result addAudioIn(std::int32_t field) = 0;
    virtual Result addAudioOut(std::int32_t field) = 0;
    virtual Result addAudioBufferLength(std::int32_t field) = 0;
    virtual Result addSampleRate(std::int32_t field) = 0;
    virtual Result addClock(std::int32_t field) = 0;
    virtual Result addMidiNode(std::int32_t field, std::int32_t type, const char* name, std::uint32_t channelMask) = 0;
    virtual Result addPrivateData(std::int32_t field, std::int32_t bytes) = 0;
    virtual Result addMeters(std::int32_t field, const std::int32_t* identifiers, std::int32_t count) = 0;
    virtual Result addSideChainIn(std::int32_t field) = 0;
    virtual PropertyMap* newPropertyMap() = 0;
    virtual Result addProcessProcedure(AlgorithmCallback callback, PropertyMap* properties) = 0;
};

class EffectDescriptor {
public:
    virtual ~EffectDescriptor() = default;
    virtual ComponentDescriptor* newComponentDescriptor() = 0;
    virtual Result addComponent(ComponentDescriptor* component) = 0;
    virtual Result addName(const char* name) = 0;
    virtual Result addCategory(std::int32_t category) = 0;
    virtual Result addCreateFunction(std::int32_t processPointer, CreateParameters create) = 0;
    virtual Result addCreateFunction(std::int32_t processPointer, CreateGUI create) = 0;
    virtual Result addResource(std::int32_t type, const char* name) = 0;
    virtual PropertyMap* newPropertyMap() = 0;
    virtual Result addMeterDescription(std::int32_t identifier, const char* name, PropertyMap* properties) = 0;
};

class Collection {
public:
    virtual ~Collection() = default;
    virtual EffectDescriptor* newEffectDescriptor() = 0;
    virtual Result addEffect(const char* identifier, EffectDescriptor* effect) = 0;
    virtual Result setManufacturerName(const char* name) = 0;
    virtual Result addPackageName(const char* name) = 0;
    virtual Result setPackageVersion(std::uint32_t version) = 0;
};

} // namespace sorvane::aax
