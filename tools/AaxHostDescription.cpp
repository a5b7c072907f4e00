#include "AaxHostDescription.h"

#include <algorithm>

namespace sorvane::tools {

using aax::AAX_ERROR_NULL_OBJECT;
using aax::AAX_SUCCESS;
using aax::Result;

namespace {

Result keep(std::string& kept, const char* text)
{
    if (text == nullptr)
        return AAX_ERROR_NULL_OBJECT;
    kept = text;
    return AAX_SUCCESS;
}

} // namespace

Result PropertyRecord::addProperty(std::int32_t number, std::int32_t value)
{
    values.emplace_back(number, value);
    return AAX_SUCCESS;
}

FieldRecord& ComponentRecord::add(std::int32_t field, const char* kind)
{
    FieldRecord& record = fields.emplace_back();
    record.field = field;
    record.kind = kind;
    return record;
}

Result ComponentRecord::addAudioIn(std::int32_t field)
{
    add(field, "audio input");
    return AAX_SUCCESS;
}

Result ComponentRecord::addAudioOut(std::int32_t field)
{
    add(field, "audio output");
    return AAX_SUCCESS;
}

Result ComponentRecord::addAudioBufferLength(std::int32_t field)
{
    add(field, "buffer length");
    return AAX_SUCCESS;
}

Result ComponentRecord::addSampleRate(std::int32_t field)
{
    add(field, "sample rate");
    return AAX_SUCCESS;
}

Result ComponentRecord::addClock(std::int32_t field)
{
    add(field, "clock");
    return AAX_SUCCESS;
}

Result ComponentRecord::addMidiNode(std::int32_t field, std::int32_t type, const char* name, std::uint32_t channelMask)
{
    if (name == nullptr)
        return AAX_ERROR_NULL_OBJECT;
    FieldRecord& record = add(field, "MIDI node");
    record.type = type;
    record.name = name;
    record.channelMask = channelMask;
    return AAX_SUCCESS;
}

Result ComponentRecord::addPrivateData(std::int32_t field, std::int32_t bytes)
{
    add(field, "private block").bytes = bytes;
    return AAX_SUCCESS;
}

Result ComponentRecord::addMeters(std::int32_t field, const std::int32_t* identifiers, std::int32_t count)
{
    add(field, "meters").taps.assign(identifiers, identifiers + count);
    return AAX_SUCCESS;
}

Result ComponentRecord::addSideChainIn(std::int32_t field)
{
    add(field, "side-chain input");
    return AAX_SUCCESS;
}

Result ComponentRecord::addProcessProcedure(aax::AlgorithmCallback process, aax::PropertyMap* map)
{
    if (process == nullptr || map == nullptr)
        return AAX_ERROR_NULL_OBJECT;
    callback = process;
    properties = static_cast<PropertyRecord*>(map);
    return AAX_SUCCESS;
}

std::int32_t ComponentRecord::property(std::int32_t number) const
{
    if (properties != nullptr)
        for (const auto& [key, value] : properties->values)
            if (key == number)
                return value;
    return 0;
}

Result EffectRecord::addComponent(aax::ComponentDescriptor* component)
{
    if (component == nullptr)
        return AAX_ERROR_NULL_OBJECT;
    components.push_back(static_cast<ComponentRecord*>(component));
    return AAX_SUCCESS;
}

Result EffectRecord::addName(const char* effectName)
{
    return keep(name, effectName);
}

Result EffectRecord::addCategory(std::int32_t effectCategory)
{
    category = effectCategory;
    return AAX_SUCCESS;
}

Result EffectRecord::addCreateFunction(std::int32_t processPointer, aax::CreateParameters create)
{
    if (processPointer != aax::processPointerParameters)
        return aax::AAX_ERROR_INVALID_VALUE;
    createParameters = create;
    return AAX_SUCCESS;
}

Result EffectRecord::addCreateFunction(std::int32_t processPointer, aax::CreateGUI create)
{
    if (processPointer != aax::processPointerGUI)
        return aax::AAX_ERROR_INVALID_VALUE;
    createGUI = create;
    return AAX_SUCCESS;
}

Result EffectRecord::addResource(std::int32_t type, const char* resource)
{
    if (resource == nullptr)
        return AAX_ERROR_NULL_OBJECT;
    resources.emplace_back(type, resource);
    return AAX_SUCCESS;
}

Result EffectRecord::addMeterDescription(std::int32_t meterIdentifier, const char* meter, aax::PropertyMap* map)
{
    if (meter == nullptr || map == nullptr)
        return AAX_ERROR_NULL_OBJECT;
    meters.push_back({meterIdentifier, meter, static_cast<PropertyRecord*>(map)});
    return AAX_SUCCESS;
}

const ComponentRecord* EffectRecord::componentFor(std::int32_t channels) const
{
    const auto found = std::find_if(components.begin(), components.end(), [&](const ComponentRecord* component) {
        return aax::channelCount(static_cast<std::uint32_t>(component->property(aax::propertyInputStemFormat))) ==
               channels;
    });
    return found == components.end() ? nullptr : *found;
}

Result CollectionRecord::addEffect(const char* identifier, aax::EffectDescriptor* effect)
{
    if (effect == nullptr)
        return AAX_ERROR_NULL_OBJECT;
    auto* const record = static_cast<EffectRecord*>(effect);
    effects.push_back(record);
    return keep(record->identifier, identifier);
}

Result CollectionRecord::setManufacturerName(const char* name)
{
    return keep(manufacturer, name);
}

Result CollectionRecord::addPackageName(const char* name)
{
    return keep(package, name);
}

Result CollectionRecord::setPackageVersion(std::uint32_t version)
{
    packageVersion = version;
    return AAX_SUCCESS;
}

} // namespace sorvane::tools
