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
#include <optional>
#include <set>
#include <stdexcept>

namespace sorvane::test {
namespace {

using tools::AaxLibrary;

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

/// All that sessions and hosts keep: codes, stem formats, the eleven fields in their places, the meters.
std::string componentText(const std::string& channels, const std::string& codes, const std::string& stem,
                          const std::string& lastTap)
{
    return "component of " + channels + R"( channels
  property   11  0x4B535452  KSTR
  property   12  0x536F7276  Sorv
)" + codes +
           "  property   51  " + stem + "  ....\n  property   52  " + stem + R"(  ....
  property   60  0x00000001  ....
  property  116  0x00000001  ....
  field  0  audio input
  field  1  audio output
  field  2  buffer length
  field  3  sample rate
  field  4  clock
  field  5  MIDI node "Sorvane MIDI In", type 0, channels 15
  field  6  private block of 4 bytes
  field  7  MIDI node "Transport", type 3, channels 65535
  field  8  private block of 8 bytes
  field  9  meters inml inmr ouml oumr grm1)" +
           lastTap + "\n  field 10  side-chain input\n";
}
const std::string kDescription =
    R"(package Sorvane version 1 of Kestrune
effect com.kestrune.Sorvane.aax "Sorvane", category 2
resource 1 PageTable.xml
meter inml LeftIn, type 0, orientation 0
meter inmr RightIn, type 0, orientation 0
meter ouml LeftOut, type 1, orientation 0
meter oumr RightOut, type 1, orientation 0
meter grm1 GR1, type 2, orientation 1
meter grm2 GR2, type 3, orientation 1
)" + componentText("1", "  property   13  0x52544D4E  RTMN\n  property   14  0x41534D4E  ASMN\n", "0x00000001", "") +
    componentText("2", "  property   13  0x52545354  RTST\n  property   14  0x41535354  ASST\n", "0x00010002", " grm2");

TEST(AaxDescription, SaysWhatSessionsHold)
{
    const AaxLibrary library(SORVANE_AAX_PLUGIN);
    EXPECT_EQ(tools::describe(library.description()), kDescription);
    EXPECT_TRUE(library.traces().empty());

    // A description that lacks what others have is shown with what it has.
    tools::CollectionRecord odd;
    EXPECT_EQ(odd.addEffect(nullptr, odd.newEffectDescriptor()), aax::AAX_ERROR_NULL_OBJECT);
    aax::EffectDescriptor& effect = *odd.newEffectDescriptor();
    EXPECT_EQ(odd.addEffect("odd", &effect), 0);
    EXPECT_EQ(effect.addMeterDescription(1, "Level", effect.newPropertyMap()), 0);
    aax::ComponentDescriptor& component = *effect.newComponentDescriptor();
    EXPECT_EQ(component.addMeters(0, nullptr, 2), aax::AAX_ERROR_NULL_OBJECT);
    EXPECT_EQ(component.addMeters(0, nullptr, -1), aax::AAX_ERROR_NULL_OBJECT);
    EXPECT_EQ(effect.addComponent(&component), 0);
    EXPECT_EQ(tools::describe(odd), "package  version 0 of \neffect odd \"\", category 0\nmeter .... Level, type 0, "
                                    "orientation 0\ncomponent of 0 channels\n  no process procedure\n");
}

class ComponentlessEffect final : public tools::EffectRecord {
public:
    aax::ComponentDescriptor* newComponentDescriptor() override { return nullptr; }
};

/// A host that fails in one way or the other.
class FailingCollection final : public tools::CollectionRecord {
public:
    aax::EffectDescriptor* newEffectDescriptor() override
    {
        if (fault)
            fault();
        return effect ? *effect : CollectionRecord::newEffectDescriptor();
    }
    aax::Result addEffect(const char* identifier, aax::EffectDescriptor* added) override
    {
        return CollectionRecord::addEffect(identifier, added) - 77;
    }
    aax::Result addPackageName(const char*) override { return -78; }

    void (*fault)() = nullptr;
    std::optional<aax::EffectDescriptor*> effect; ///< in place of one of the collection's
};

TEST(AaxDescription, MeetsAHostThatFails)
{
    const AaxLibrary library(SORVANE_AAX_PLUGIN);
    const std::string caught = "AAXRegisterPlugin exception caught: ";
    FailingCollection collection;
    EXPECT_EQ(library.registerWith(&collection), 0); // failed steps are told, and the next ones done
    EXPECT_EQ(collection.packageVersion, 1U);
    EXPECT_EQ(library.traces(), (std::vector<std::string>{"err == AAX_SUCCESS", "err == AAX_SUCCESS"}));

    ComponentlessEffect componentless;
    for (aax::EffectDescriptor* const effect : std::initializer_list<aax::EffectDescriptor*>{&componentless, nullptr}) {
        collection.effect = effect;
        EXPECT_EQ(library.registerWith(&collection), aax::AAX_ERROR_NULL_OBJECT);
    }
    EXPECT_EQ(collection.effects.size(), 1U); // the first time's
    collection.fault = [] { throw aax::ResultError(-123); };
    EXPECT_EQ(library.registerWith(nullptr), aax::AAX_ERROR_NULL_OBJECT);
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
