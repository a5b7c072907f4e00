#pragma once

#include "AAX_Description.h"

#include <cstdint>
#include <deque>
#include <string>
#include <utility>
#include <vector>

// What a plug-in tells a host of itself at registration, kept as it was told.

namespace sorvane::tools {

class PropertyRecord final : public aax::PropertyMap {
public:
    aax::Result addProperty(std::int32_t number, std::int32_t value) override
    {
        values.emplace_back(number, value);
        return aax::AAX_SUCCESS;
    }
    /// 0 for one that isn't there.
    [[nodiscard]] std::int32_t value(std::int32_t number) const;

    std::vector<std::pair<std::int32_t, std::int32_t>> values; ///< number and value
};

struct FieldRecord {
    std::int32_t field = -1;
    std::string kind{};
    std::int32_t type = 0; ///< of a MIDI node, as the next two
    std::string name{};
    std::uint32_t channelMask = 0;
    std::int32_t bytes = 0;           ///< of a private block
    std::vector<std::int32_t> taps{}; ///< of meters
};

class ComponentRecord final : public aax::ComponentDescriptor {
public:
    aax::Result addAudioIn(std::int32_t field) override { return add({.field = field, .kind = "audio input"}); }
    aax::Result addAudioOut(std::int32_t field) override { return add({.field = field, .kind = "audio output"}); }
    aax::Result addAudioBufferLength(std::int32_t field) override
    {
        return add({.field = field, .kind = "buffer length"});
    }
    aax::Result addSampleRate(std::int32_t field) override { return add({.field = field, .kind = "sample rate"}); }
    aax::Result addClock(std::int32_t field) override { return add({.field = field, .kind = "clock"}); }
    aax::Result addMidiNode(std::int32_t field, std::int32_t type, const char* name,
                            std::uint32_t channelMask) override;
    aax::Result addPrivateData(std::int32_t field, std::int32_t bytes) override
    {
        return add({.field = field, .kind = "private block", .bytes = bytes});
    }
    aax::Result addMeters(std::int32_t field, const std::int32_t* identifiers, std::int32_t count) override;
    aax::Result addSideChainIn(std::int32_t field) override
    {
        return add({.field = field, .kind = "side-chain input"});
    }
    aax::PropertyMap* newPropertyMap() override { return &propertyMaps.emplace_back(); }
    aax::Result addProcessProcedure(aax::AlgorithmCallback process, aax::PropertyMap* map) override;

    /// Channels of the input; 0 for a component that doesn't tell.
    [[nodiscard]] std::int32_t channels() const;

    std::vector<FieldRecord> fields;
    aax::AlgorithmCallback callback = nullptr;
    const PropertyRecord* properties = nullptr; ///< null until there is a process procedure

private:
    aax::Result add(FieldRecord record);

    std::deque<PropertyRecord> propertyMaps;
};

struct MeterRecord {
    std::int32_t identifier;
    std::string name;
    const PropertyRecord* properties;
};

class EffectRecord : public aax::EffectDescriptor {
public:
    aax::ComponentDescriptor* newComponentDescriptor() override { return &componentRecords.emplace_back(); }
    aax::Result addComponent(aax::ComponentDescriptor* component) override;
    aax::Result addName(const char* effectName) override;
    aax::Result addCategory(std::int32_t effectCategory) override;
    aax::Result addCreateFunction(std::int32_t processPointer, aax::CreateParameters create) override;
    aax::Result addCreateFunction(std::int32_t processPointer, aax::CreateGUI create) override;
    aax::Result addResource(std::int32_t type, const char* resource) override;
    aax::PropertyMap* newPropertyMap() override { return &propertyMaps.emplace_back(); }
    aax::Result addMeterDescription(std::int32_t identifier, const char* meter, aax::PropertyMap* map) override;

    /// The first component for so many channels; null for none.
    [[nodiscard]] const ComponentRecord* componentFor(std::int32_t channels) const;

    std::string identifier;
    std::string name;
    std::int32_t category = 0;
    std::vector<const ComponentRecord*> components;
    aax::CreateParameters createParameters = nullptr;
    aax::CreateGUI createGUI = nullptr;
    std::vector<std::pair<std::int32_t, std::string>> resources;
    std::vector<MeterRecord> meters;

private:
    std::deque<ComponentRecord> componentRecords;
    std::deque<PropertyRecord> propertyMaps;
};

class CollectionRecord : public aax::Collection {
public:
    aax::EffectDescriptor* newEffectDescriptor() override { return &effectRecords.emplace_back(); }
    aax::Result addEffect(const char* identifier, aax::EffectDescriptor* effect) override;
    aax::Result setManufacturerName(const char* name) override;
    aax::Result addPackageName(const char* name) override;
    aax::Result setPackageVersion(std::uint32_t version) override;

    std::vector<const EffectRecord*> effects;
    std::string manufacturer;
    std::string package;
    std::uint32_t packageVersion = 0;

private:
    std::deque<EffectRecord> effectRecords;
};

/// Four characters of a code, a point for each that can't be printed.
[[nodiscard]] std::string fourCharacters(std::int32_t code);

/// Lines for people of all that a plug-in told, whatever it left out.
[[nodiscard]] std::string describe(const CollectionRecord& package);

} // namespace sorvane::tools
