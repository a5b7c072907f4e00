// The factory bank and the presets that the build delivers, against the files that they are made of.

#include "PresetFolder.h"
#include "Render.h"
#include "StateFile.h"
#include "TagTable.h"
#include "TestFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace sorvane::test {
namespace {

namespace fs = std::filesystem;

const fs::path kSources = SORVANE_RESOURCES "/presets";
const fs::path kMade = SORVANE_SHARE "/Kestrune/Sorvane";

struct Source {
    std::map<std::string, float> values; ///< by tag name
    std::string purpose;
};

Source readSource(const fs::path& path)
{
    Source source;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        std::string name;
        float value = 0.0F;
        words >> name;
        if (name == "Purpose")
            std::getline(words >> std::ws, source.purpose);
        else if (name.starts_with("k") && words >> value)
            source.values[name] = value;
    }
    return source;
}

/// Files below a folder that have an extension, relative and without it; those in the folder itself left out.
std::vector<std::string> titlesBelow(const fs::path& folder, const std::string& extension)
{
    std::vector<std::string> titles;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        fs::path file = entry.path().lexically_relative(folder);
        if (file.extension() == extension && file.has_parent_path())
            titles.push_back(file.replace_extension().string());
    }
    std::sort(titles.begin(), titles.end());
    return titles;
}

void listMenu(const editor::PresetFolder& menu, const std::string& prefix, std::vector<std::string>& titles)
{
    for (std::int32_t i = 0; i < menu.getCount(); ++i) {
        const auto& entry = menu.getEntry(i);
        if (entry.folder)
            listMenu(*entry.folder, prefix + entry.title + "/", titles);
        else
            titles.push_back(prefix + entry.title);
    }
}

struct Delivered {
    fs::path source;
    fs::path made;
};

std::vector<Delivered> delivered()
{
    std::vector<Delivered> all{{kSources / "Factory Bank.preset", kMade / "Factory Bank.bnk"}};
    for (const std::string& title : titlesBelow(kSources, ".preset"))
        all.push_back({kSources / (title + ".preset"), kMade / "Presets" / (title + ".sor")});
    return all;
}

TEST(PresetContent, TheMenuShowsThePresetOfEachSource)
{
    const auto sources = titlesBelow(kSources, ".preset");
    EXPECT_GE(sources.size(), 16U);
    EXPECT_TRUE(fs::exists(kMade / "Factory Bank.bnk"));
    std::vector<std::string> menu;
    listMenu(*editor::PresetFolder::walk({(kMade / "Presets").string() + "/"}), "", menu);
    EXPECT_EQ(menu, sources) << "no file, no order by number: as bytes sort them";
}

// The second side is as the first in what isn't named for it; what isn't named at all is at its factory value.
TEST(PresetContent, HoldsWhatItsSourceSaysInAllBanks)
{
    const auto& tags = core::TagTable::instance();
    for (const auto& [sourcePath, made] : delivered()) {
        const Source source = readSource(sourcePath);
        EXPECT_FALSE(source.purpose.empty()) << sourcePath;
        for (const auto& [name, value] : source.values)
            EXPECT_TRUE(tags.parameter(name)) << sourcePath << ": " << name;

        const auto plug = std::make_unique<core::Plug>(nullptr, core::Plug::Start::factoryValues);
        tools::loadState(*plug, made.string());
        char name[64] = {};
        plug->getProgramName(name);
        EXPECT_EQ(name, made.stem().string());
        for (std::int32_t bank = 0; bank < host::PlugBase::kNumBanks; ++bank) {
            plug->setParameter(core::kABBank, plug->toNormalised(core::kABBank, static_cast<float>(bank)));
            for (std::int32_t tag = 0; tag < core::kABBank; ++tag) {
                std::string key(tags.name(tag));
                if (key.ends_with('B') && !source.values.contains(key))
                    key.pop_back();
                const auto named = source.values.find(key);
                const float expected =
                    named != source.values.end()
                        ? named->second
                        : static_cast<float>(core::factoryParameters()[static_cast<std::size_t>(tag)].value);
                EXPECT_NEAR(plug->getParameterValue(tag), expected, 1e-5 * std::max(1.0F, std::abs(expected)))
                    << made << ", bank " << bank << ", " << tags.name(tag);
            }
        }
    }
}

TEST(PresetContent, MakesTheSampleNoLouder)
{
    const TestFolder folder;
    const std::atomic<bool> stop{false};
    std::map<std::string, std::string> sounds; // by the samples, to find two of the same
    for (const auto& [source, made] : delivered()) {
        tools::RenderOptions options;
        options.input = SORVANE_RESOURCES "/sample/voice.wav";
        options.output = folder / "out.wav";
        options.format = "float";
        options.state = made.string();
        const auto report = tools::render(options, stop);
        ASSERT_TRUE(report) << made;
        const tools::Level& before = report->before[0];
        const tools::Level& after = report->after[0];
        EXPECT_LT(20.0 * std::log10(after.peak / before.peak), 1.0) << made;
        EXPECT_LT(10.0 * std::log10(after.sumOfSquares / before.sumOfSquares), 1.0) << made;
        EXPECT_GT(10.0 * std::log10(after.sumOfSquares / before.sumOfSquares), -3.0) << made;
        const auto [same, isNew] = sounds.emplace(contents(options.output), made.string());
        EXPECT_TRUE(isNew) << made << " sounds as " << same->second;
    }
}

} // namespace
} // namespace sorvane::test
