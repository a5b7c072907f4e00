// What the AAX plug-in file exports and tells a host of itself, as a host finds it.

#include "AAX_Exports.h"
#include "AaxHostInstance.h"
#include "Failure.h"
#include "TestFolder.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <stdexcept>
#include <tuple>

namespace sorvane::test {
namespace {

using tools::AaxLibrary;
using tools::ComponentRecord;

TEST(AaxExports, AreTheSevenEntriesAlone)
{
    std::FILE* const pipe = popen("nm -D --defined-only '" SORVANE_AAX_PLUGIN "' | awk '{print $3}'", "r");
    ASSERT_NE(pipe, nullptr);
    std::set<std::string> names;
    for (char line[256]; std::fgets(line, sizeof line, pipe) != nullptr;)
        names.insert(std::string(line, std::strcspn(line, "\n")));
    EXPECT_EQ(pclose(pipe), 0);
    EXPECT_EQ(names, (std::set<std::string>{"ACFStartup", "ACFShutdown", "ACFGetClassFactory", "ACFGetSDKVersion",
                                            "ACFRegisterPlugin", "ACFRegisterComponent", "ACFCanUnloadNow"}));

    const AaxLibrary library(SORVANE_AAX_PLUGIN);
    auto* factory = reinterpret_cast<aax::ClassFactory*>(&names);
    const auto getFactory =
        reinterpret_cast<aax::Result (*)(aax::ClassFactory**)>(library.symbol("ACFGetClassFactory"));
    EXPECT_EQ(getFactory(&factory), aax::AAX_ERROR_UNIMPLEMENTED);
    EXPECT_EQ(factory, nullptr);
    EXPECT_EQ(getFactory(nullptr), aax::AAX_ERROR_UNIMPLEMENTED);
    EXPECT_THROW(AaxLibrary("/dev/null"), tools::Failure);
    EXPECT_THROW(AaxLibrary("libm.so.6"), tools::Failure); // no file of this folder
}

TEST(AaxDescription, SaysWhatSessionsHold)
{
    const AaxLibrary library(SORVANE_AAX_PLUGIN);
    const auto& package = library.description();
    EXPECT_EQ(package.manufacturer, "Kestrune");
    EXPECT_EQ(package.package, "Sorvane");
    EXPECT_EQ(package.packageVersion, 1U);
    ASSERT_EQ(package.effects.size(), 1U);
    const auto& effect = library.effect();
    EXPECT_EQ(effect.identifier, "com.kestrune.Sorvane.aax");
    EXPECT_EQ(effect.name, "Sorvane");
    EXPECT_EQ(effect.category, 2);
    EXPECT_NE(effect.createParameters, nullptr);
    EXPECT_NE(effect.createGUI, nullptr);
    EXPECT_EQ(effect.resources, (std::vector<std::pair<std::int32_t, std::string>>{{1, "PageTable.xml"}}));
    EXPECT_TRUE(library.traces().empty());

    using Meter = std::tuple<std::int32_t, std::string, std::int32_t, std::int32_t>;
    const std::vector<Meter> expected = {{0x696E6D6C, "LeftIn", 0, 0},  {0x696E6D72, "RightIn", 0, 0},
                                         {0x6F756D6C, "LeftOut", 1, 0}, {0x6F756D72, "RightOut", 1, 0},
                                         {0x67726D31, "GR1", 2, 1},     {0x67726D32, "GR2", 3, 1}};
    std::vector<Meter> meters;
    for (const auto& meter : effect.meters) {
        ASSERT_EQ(meter.properties->values.size(), 2U);
        EXPECT_EQ(meter.properties->values[0].first, 200);
        EXPECT_EQ(meter.properties->values[1].first, 201);
        meters.emplace_back(meter.identifier, meter.name, meter.properties->values[0].second,
                            meter.properties->values[1].second);
    }
    EXPECT_EQ(meters, expected);
}

TEST(AaxDescription, GivesBothComponentsTheirFieldsAndProperties)
{
    const AaxLibrary library(SORVANE_AAX_PLUGIN);
    ASSERT_EQ(library.effect().components.size(), 2U);
    const std::vector<std::pair<std::int32_t, std::int32_t>> properties[] = {
        {{11, 0x4B535452}, {12, 0x536F7276}, {13, 0x52544D4E}, {14, 0x41534D4E}, {51, 1}, {52, 1}, {60, 1}, {116, 1}},
        {{11, 0x4B535452},
         {12, 0x536F7276},
         {13, 0x52545354},
         {14, 0x41535354},
         {51, 0x10002},
         {52, 0x10002},
         {60, 1},
         {116, 1}}};
    const char* const kinds[] = {"audio input",   "audio output", "buffer length",   "sample rate",
                                 "clock",         "MIDI node",    "private block",   "MIDI node",
                                 "private block", "meters",       "side-chain input"};
    for (std::size_t c = 0; c < 2; ++c) {
        const ComponentRecord& component = *library.effect().components[c];
        EXPECT_EQ(component.properties->values, properties[c]) << c;
        EXPECT_NE(component.callback, nullptr);
        const auto& fields = component.fields;
        ASSERT_EQ(fields.size(), std::size(kinds));
        for (std::size_t i = 0; i < fields.size(); ++i) {
            EXPECT_EQ(fields[i].field, static_cast<std::int32_t>(i));
            EXPECT_EQ(fields[i].kind, kinds[i]);
        }
        EXPECT_EQ(std::tie(fields[5].type, fields[5].channelMask, fields[5].name),
                  std::make_tuple(0, 15U, std::string("Sorvane MIDI In")));
        EXPECT_EQ(std::tie(fields[7].type, fields[7].channelMask, fields[7].name),
                  std::make_tuple(3, 65535U, std::string("Transport")));
        EXPECT_EQ(fields[6].bytes, 4);
        EXPECT_EQ(fields[8].bytes, static_cast<std::int32_t>(sizeof(void*)));
        EXPECT_EQ(fields[9].taps.size(), c == 0 ? 5U : 6U);
        EXPECT_EQ(fields[9].taps.front(), 0x696E6D6C);
    }
}

/// A host that fails in one way or the other.
class FailingCollection final : public aax::Collection {
public:
    aax::EffectDescriptor* newEffectDescriptor() override
    {
        if (fault)
            fault();
        return withoutEffect ? nullptr : kept.newEffectDescriptor();
    }
    aax::Result addEffect(const char* identifier, aax::EffectDescriptor* effect) override
    {
        (void)kept.addEffect(identifier, effect);
        return -77;
    }
    aax::Result setManufacturerName(const char* name) override { return kept.setManufacturerName(name); }
    aax::Result addPackageName(const char*) override { return -78; }
    aax::Result setPackageVersion(std::uint32_t version) override { return kept.setPackageVersion(version); }

    void (*fault)() = nullptr;
    bool withoutEffect = false;
    tools::CollectionRecord kept;
};

TEST(AaxDescription, MeetsAHostThatFails)
{
    const AaxLibrary library(SORVANE_AAX_PLUGIN);
    const std::string caught = "AAXRegisterPlugin exception caught: ";
    FailingCollection collection;
    EXPECT_EQ(library.registerWith(&collection), 0); // failed steps are told, and the next ones done
    EXPECT_EQ(collection.kept.packageVersion, 1U);
    EXPECT_EQ(library.traces(), (std::vector<std::string>{"err == AAX_SUCCESS", "err == AAX_SUCCESS"}));

    collection.withoutEffect = true;
    EXPECT_EQ(library.registerWith(&collection), aax::AAX_ERROR_NULL_OBJECT);
    EXPECT_EQ(library.registerWith(nullptr), aax::AAX_ERROR_NULL_OBJECT);
    collection.fault = [] { throw aax::ResultError(-123); };
    EXPECT_EQ(library.registerWith(&collection), -123);
    collection.fault = [] { throw std::runtime_error("full"); };
    EXPECT_EQ(library.registerWith(&collection), -20042);
    EXPECT_EQ(library.traces().back(), caught + "full");
    collection.fault = [] { throw 1; };
    EXPECT_EQ(library.registerWith(&collection), -20042);
    EXPECT_EQ(library.traces().back(), caught + "unknown");
}

std::ptrdiff_t entries(const char* folder)
{
    return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
}

std::size_t residentPages()
{
    std::size_t total = 0;
    std::size_t resident = 0;
    std::ifstream("/proc/self/statm") >> total >> resident;
    return resident;
}

void loadAndUnload()
{
    const AaxLibrary library(SORVANE_AAX_PLUGIN);
    tools::AaxAudioThread audioThread;
    const tools::AaxInstance instance(library, audioThread, 2, 48000.0F);
    EXPECT_FALSE(library.canUnloadNow());
}

TEST(AaxFile, LeavesNothingBehindWhenUnloaded)
{
    constexpr int kCycles = SORVANE_SANITIZED ? 30 : 1000;
    for (int warm = 0; warm < 20; ++warm) // a sanitizer adds a thread of its own
        loadAndUnload();
    const auto threads = entries("/proc/self/task");
    const auto handles = entries("/proc/self/fd");
    const std::size_t pages = residentPages();
    for (int cycle = 0; cycle < kCycles; ++cycle)
        loadAndUnload();
    EXPECT_EQ(entries("/proc/self/task"), threads);
    EXPECT_EQ(entries("/proc/self/fd"), handles);
    if (!SORVANE_SANITIZED) {
        EXPECT_LT(residentPages(), pages + kCycles) << "of 4 KiB, where one instance has 800";
    }

    // Another copy of the file is another library, with a timer and instances of its own.
    const TestFolder folder;
    std::filesystem::copy_file(SORVANE_AAX_PLUGIN, folder / "Other.aaxplugin");
    {
        const AaxLibrary library(SORVANE_AAX_PLUGIN);
        const AaxLibrary other(folder / "Other.aaxplugin");
        tools::AaxAudioThread audioThread;
        std::vector<std::unique_ptr<tools::AaxInstance>> instances;
        for (int i = 0; i < 64; ++i)
            instances.push_back(
                std::make_unique<tools::AaxInstance>(i % 2 == 0 ? library : other, audioThread, 1 + i % 2, 44100.0F));
        EXPECT_FALSE(library.canUnloadNow());
        EXPECT_EQ(entries("/proc/self/task"), threads + 3); // two timers and the audio thread
        instances.clear();
        EXPECT_TRUE(library.canUnloadNow());
        EXPECT_TRUE(other.canUnloadNow());
    }
    EXPECT_EQ(entries("/proc/self/task"), threads);
    EXPECT_EQ(entries("/proc/self/fd"), handles);
}

} // namespace
} // namespace sorvane::test
