#include "AaxHostDescription.h"

#include <algorithm>
#include <iomanip>
#include <sstream>

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

void print(std::ostream& text, const ComponentRecord& component)
{
    text << "component of " << component.channels() << " channels\n";
    if (component.properties == nullptr)
        text << "  no process procedure\n";
    else
        for (const auto& [number, value] : component.properties->values)
            text << "  property " << std::setw(4) << number << "  0x" << std::hex << std::uppercase << std::setfill('0')
                 << std::setw(8) << value << std::dec << std::setfill(' ') << "  " << fourCharacters(value) << '\n';
    for (const FieldRecord& field : component.fields) {
        text << "  field " << std::setw(2) << field.field << "  " << field.kind;
        if (!field.name.empty())
            text << " \"" << field.name << "\", type " << field.type << ", channels " << field.channelMask;
        if (field.bytes > 0)
            text << " of " << field.bytes << " bytes";
        for (const std::int32_t tap : field.taps)
            text << ' ' << fourCharacters(tap);
        text << '\n';
    }
}

} // namespace

std::int32_t PropertyRecord::value(std::int32_t number) const
{
    const auto found =
        std::find_if(values.begin(), values.end(), [&](const auto& entry) { return entry.first == number; });
    return found == values.end() ? 0 : found->second;
}

Result ComponentRecord::add(FieldRecord record)
{
    fields.push_back(std::move(record));
    return AAX_SUCCESS;
}

Result ComponentRecord::addMidiNode(std::int32_t field, std::int32_t type, const char* name, std::uint32_t channelMask)
{
    if (name == nullptr)
        return AAX_ERROR_NULL_OBJECT;
    return add({.field = field, .kind = "MIDI node", .type = type, .name = name, .channelMask = channelMask});
}

Result ComponentRecord::addMeters(std::int32_t field, const std::int32_t* identifiers, std::int32_t count)
{
    if (count < 0 || (identifiers == nullptr && count > 0))
        return AAX_ERROR_NULL_OBJECT;
    return add({.field = field, .kind = "meters", .taps = {identifiers, identifiers + count}});
}

Result ComponentRecord::addProcessProcedure(aax::AlgorithmCallback process, aax::PropertyMap* map)
{
    if (process == nullptr || map == nullptr)
        return AAX_ERROR_NULL_OBJECT;
    callback = process;
    properties = static_cast<PropertyRecord*>(map);
    return AAX_SUCCESS;
}

std::int32_t ComponentRecord::channels() const
{
    return properties == nullptr
               ? 0
               : aax::channelCount(static_cast<std::uint32_t>(properties->value(aax::propertyInputStemFormat)));
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
        return component->channels() == channels;
    });
    return found == components.end() ? nullptr : *found;
}

Result CollectionRecord::addEffect(const char* identifier, aax::EffectDescriptor* effect)
{
    if (effect == nullptr || identifier == nullptr)
        return AAX_ERROR_NULL_OBJECT;
    auto* const record = static_cast<EffectRecord*>(effect);
    record->identifier = identifier;
    effects.push_back(record);
    return AAX_SUCCESS;
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

std::string fourCharacters(std::int32_t code)
{
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        const char c = static_cast<char>(static_cast<std::uint32_t>(code) >> shift & 0xFFU);
        text += c >= ' ' && c < 127 ? c : '.';
    }
    return text;
}

std::string describe(const CollectionRecord& package)
{
    std::ostringstream text;
    text << "package " << package.package << " version " << package.packageVersion << " of " << package.manufacturer
         << '\n';
    for (const EffectRecord* const effect : package.effects) {
        text << "effect " << effect->identifier << " \"" << effect->name << "\", category " << effect->category << '\n';
        for (const auto& [type, name] : effect->resources)
            text << "resource " << type << ' ' << name << '\n';
        for (const MeterRecord& meter : effect->meters)
            text << "meter " << fourCharacters(meter.identifier) << ' ' << meter.name << ", type "
                 << meter.properties->value(aax::propertyMeterType) << ", orientation "
                 << meter.properties->value(aax::propertyMeterOrientation) << '\n';
        for (const ComponentRecord* const component : effect->components)
            print(text, *component);
    }
    return text.str();
}

} // namespace sorvane::tools
