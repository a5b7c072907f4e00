// What hosts read of the LV2 bundle, through the library that most of them read it with.

#include "Effect.h"
#include "Lv2Host.h"
#include "TagTable.h"
#include "TestFolder.h"

#include <gtest/gtest.h>
#include <lilv/lilv.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <set>
#include <sstream>

namespace sorvane::test {
namespace {

using namespace core;

const std::string kLv2 = "http://lv2plug.in/ns/lv2core#";
const std::string kUnits = "http://lv2plug.in/ns/extensions/units#";
const std::string kPortProps = "http://lv2plug.in/ns/ext/port-props#";
const std::string kGroups = "http://lv2plug.in/ns/ext/port-groups#";
const std::string kOwn = "urn:kestrune:sorvane#";

class Lv2Bundle : public ::testing::Test {
public:
    Lv2Bundle() : world(lilv_world_new(), &lilv_world_free)
    {
        LilvNode* const folder = lilv_new_file_uri(world.get(), nullptr, SORVANE_LV2_BUNDLE "/");
        lilv_world_load_bundle(world.get(), folder);
        lilv_node_free(folder);
        for (const std::size_t channels : {2U, 1U}) {
            LilvNode* const uri = lilv_new_uri(world.get(), channels == 2 ? lv2::kStereoUri : lv2::kMonoUri);
            plugins[channels - 1] = lilv_plugins_get_by_uri(lilv_world_get_all_plugins(world.get()), uri);
            lilv_node_free(uri);
        }
    }

    [[nodiscard]] const LilvPort* portOf(const LilvPlugin* plugin, const std::string& symbol) const
    {
        LilvNode* const node = lilv_new_string(world.get(), symbol.c_str());
        const LilvPort* const port = lilv_plugin_get_port_by_symbol(plugin, node);
        lilv_node_free(node);
        return port;
    }
    /// The values of a property of a port's, in order, without what they have in common.
    [[nodiscard]] std::set<std::string> values(const LilvPlugin* plugin, const std::string& symbol,
                                               const std::string& property) const
    {
        std::set<std::string> found;
        LilvNode* const predicate = lilv_new_uri(world.get(), property.c_str());
        LilvNodes* const nodes = lilv_port_get_value(plugin, portOf(plugin, symbol), predicate);
        LILV_FOREACH(nodes, i, nodes)
        {
            const std::string text = lilv_node_as_string(lilv_nodes_get(nodes, i));
            found.insert(text.substr(text.find('#') + 1));
        }
        lilv_nodes_free(nodes);
        lilv_node_free(predicate);
        return found;
    }

    std::unique_ptr<LilvWorld, decltype(&lilv_world_free)> world;
    std::array<const LilvPlugin*, 2> plugins{};
};

/// Sessions and scripts hold them: the list may grow at its ends, and nothing else.
TEST_F(Lv2Bundle, PortsStayAsTheyWerePublished)
{
    std::istringstream published(contents(SORVANE_LV2_PORTS));
    std::string name;
    std::uint32_t index = 0;
    std::string symbol;
    std::array<std::uint32_t, 2> counts{};
    while (published >> name >> index >> symbol) {
        const std::size_t which = name == "stereo" ? 1 : 0;
        ++counts[which];
        ASSERT_NE(plugins[which], nullptr);
        const LilvPort* const port = lilv_plugin_get_port_by_index(plugins[which], index);
        ASSERT_NE(port, nullptr) << name << ' ' << index;
        EXPECT_EQ(lilv_node_as_string(lilv_port_get_symbol(plugins[which], port)), symbol) << name << ' ' << index;
    }
    for (const std::size_t which : {0U, 1U})
        EXPECT_EQ(lilv_plugin_get_num_ports(plugins[which]), counts[which]) << "a new port belongs in the list";
}

TEST_F(Lv2Bundle, DescribesParametersAsTheTableDoes)
{
    for (const LilvPlugin* const plugin : plugins) {
        for (std::int32_t tag = 0; tag < kNumParams; ++tag) {
            const std::string symbol(TagTable::instance().name(tag));
            const LilvPort* const port = portOf(plugin, symbol);
            if (tag == kBypass || tag == kABBank) {
                EXPECT_EQ(port, nullptr) << symbol;
                continue;
            }
            ASSERT_NE(port, nullptr) << symbol;
            std::array<LilvNode*, 3> range{};
            lilv_port_get_range(plugin, port, &range[0], &range[1], &range[2]);
            const ParamRecord& record = factoryParameters()[static_cast<std::size_t>(tag)];
            EXPECT_EQ(lilv_node_as_float(range[0]), record.value) << symbol;
            EXPECT_EQ(lilv_node_as_float(range[1]), record.min) << symbol;
            EXPECT_EQ(lilv_node_as_float(range[2]), record.max) << symbol;
            for (LilvNode* const node : range)
                lilv_node_free(node);
        }
        struct Case {
            std::string symbol;
            std::string property;
            std::set<std::string> expected;
        };
        for (const auto& [symbol, property, expected] : {
                 Case{"kAttack", kLv2 + "portProperty", {"logarithmic"}},
                 Case{"kMode", kLv2 + "portProperty", {"toggled"}},
                 Case{"kSCSource", kLv2 + "portProperty", {"toggled"}},
                 Case{"kSplitType", kLv2 + "portProperty", {"integer", "enumeration"}},
                 Case{"kSCLPFSlopeB", kLv2 + "portProperty", {"integer", "enumeration"}},
                 Case{"kThreshold", kLv2 + "portProperty", {}},
                 Case{"kThreshold", kUnits + "unit", {"db"}},
                 Case{"kMakeup", kUnits + "unit", {"coef"}},
                 Case{"kSplitHPFSlope", kUnits + "unit", {"decibelsPerOctave"}},
                 Case{"kHold", kUnits + "unit", {"ms"}},
                 Case{"kSplitBPFFreqB", kUnits + "unit", {"hz"}},
                 Case{"kBalance", kUnits + "unit", {"pc"}},
                 Case{"kRatio", kUnits + "unit", {}},
                 Case{"kSCLPFGain", kGroups + "group", {"firstChannel"}},
                 Case{"kIpTrimB", kGroups + "group", {"secondChannel"}},
                 Case{"kLinked", kGroups + "group", {"global"}},
                 Case{"enabled", kLv2 + "designation", {"enabled"}},
                 Case{"freeWheeling", kLv2 + "designation", {"freeWheeling"}},
                 Case{"latency", kLv2 + "designation", {"latency"}},
                 Case{"latency", kLv2 + "portProperty", {"reportsLatency", "integer", "notOnGUI"}},
                 Case{"sideChain1", kLv2 + "portProperty", {"isSideChain", "connectionOptional"}},
                 Case{"midiIn", kLv2 + "portProperty", {"connectionOptional"}},
             })
            EXPECT_EQ(values(plugin, symbol, property), expected) << symbol << ' ' << property;
        // The texts are those of the effect, one for each value.
        const auto plug = makePlug();
        for (const auto& [symbol, tag, count] : {std::tuple{"kListen", kListen, 5U},
                                                 {"kSplitHPFSlope", kSplitHPFSlope, 32U},
                                                 {"kSCHPFType", kSCHPFType, 2U}}) {
            LilvScalePoints* const points = lilv_port_get_scale_points(plugin, portOf(plugin, symbol));
            EXPECT_EQ(lilv_scale_points_size(points), count) << symbol;
            LILV_FOREACH(scale_points, i, points)
            {
                const LilvScalePoint* const point = lilv_scale_points_get(points, i);
                char text[64] = {};
                const float value = lilv_node_as_float(lilv_scale_point_get_value(point));
                plug->formatParameter(tag, plug->toNormalised(tag, value), text, 0);
                EXPECT_STREQ(lilv_node_as_string(lilv_scale_point_get_label(point)), text) << symbol << ' ' << value;
            }
            lilv_scale_points_free(points);
        }
    }
}

/// Every preset that is installed is there, and by its ports and its state alike brings what the file holds.
TEST_F(Lv2Bundle, PresetsAreTheirFiles)
{
    std::map<std::string, std::filesystem::path> files; // by the preset's label
    for (const auto& entry : std::filesystem::recursive_directory_iterator(SORVANE_SHARE "/Kestrune/Sorvane"))
        if (entry.is_regular_file())
            files[entry.path().stem().string()] = entry.path();
    const Lv2Library library;
    for (const std::size_t channels : {1U, 2U}) {
        LilvNode* const presetClass = lilv_new_uri(world.get(), "http://lv2plug.in/ns/ext/presets#Preset");
        LilvNodes* const presets = lilv_plugin_get_related(plugins[channels - 1], presetClass);
        EXPECT_EQ(lilv_nodes_size(presets), files.size());
        LILV_FOREACH(nodes, i, presets)
        {
            const LilvNode* const uri = lilv_nodes_get(presets, i);
            lilv_world_load_resource(world.get(), uri);
            LilvState* const state = lilv_state_new_from_world(world.get(), &Lv2Urids::map, uri);
            ASSERT_NE(state, nullptr) << lilv_node_as_uri(uri);
            const std::string label = lilv_state_get_label(state);
            ASSERT_TRUE(files.contains(label)) << label;

            Lv2Instance instance(library, channels);
            instance.activate();
            instance.run(64); // a running one, as when a user picks a preset
            LilvInstance own{instance.descriptor, instance.handle, nullptr};
            struct Target {
                Lv2Bundle* test;
                Lv2Instance* instance;
                int count;
            } target{this, &instance, 0};
            const auto setPort = [](const char* symbol, void* data, const void* value, std::uint32_t, std::uint32_t) {
                auto& [test, to, count] = *static_cast<Target*>(data);
                const LilvPlugin* const plugin = test->plugins[to->channels - 1];
                const LilvPort* const port = test->portOf(plugin, symbol);
                ASSERT_NE(port, nullptr) << symbol;
                std::memcpy(&to->controls[lilv_port_get_index(plugin, port)], value, sizeof(float));
                ++count;
            };
            lilv_state_restore(state, &own, setPort, &target, 0, nullptr);
            EXPECT_EQ(target.count, kABBank) << label;
            instance.run(64);

            const auto expected = makePlug();
            const std::string chunk = contents(files[label].string());
            const bool isPreset = label != "Factory Bank";
            expected->setChunk(chunk.data(), static_cast<std::int32_t>(chunk.size()), isPreset);
            const auto got = makePlug();
            const std::string saved = instance.save()[Lv2Urids::of(lv2::kChunkUri)];
            got->setChunk(saved.data(), static_cast<std::int32_t>(saved.size()), false);
            for (std::int32_t tag = 0; tag < kABBank; ++tag)
                EXPECT_EQ(got->getParameter(tag), expected->getParameter(tag))
                    << label << ' ' << TagTable::instance().name(tag);
            char names[2][64] = {};
            got->getProgramName(names[0]);
            expected->getProgramName(names[1]);
            EXPECT_STREQ(names[0], names[1]) << label;
            lilv_state_free(state);
            lilv_world_unload_resource(world.get(), uri);
        }
        lilv_nodes_free(presets);
        lilv_node_free(presetClass);
    }
}

/// What ports can't hold starts with the factory bank wherever the bundle was put.
TEST_F(Lv2Bundle, DefaultStateIsTheFactoryBank)
{
    const Lv2Library library;
    const auto factory = makePlug();
    const std::string chunk = contents(SORVANE_SHARE "/Kestrune/Sorvane/Factory Bank.bnk");
    factory->setChunk(chunk.data(), static_cast<std::int32_t>(chunk.size()), false);
    factory->switchBank(5);
    for (const std::size_t channels : {1U, 2U}) {
        const LilvPlugin* const plugin = plugins[channels - 1];
        (void)lilv_plugin_get_num_ports(plugin); // reads its files
        LilvState* const state = lilv_state_new_from_world(world.get(), &Lv2Urids::map, lilv_plugin_get_uri(plugin));
        ASSERT_NE(state, nullptr);
        Lv2Instance instance(library, channels);
        LilvInstance own{instance.descriptor, instance.handle, nullptr};
        lilv_state_restore(state, &own, nullptr, nullptr, 0, nullptr);
        lilv_state_free(state);
        instance.activate();
        instance.run(64);
        const auto got = makePlug();
        const std::string saved = instance.save()[Lv2Urids::of(lv2::kChunkUri)];
        got->setChunk(saved.data(), static_cast<std::int32_t>(saved.size()), false);
        EXPECT_FLOAT_EQ(got->getParameterValue(kThreshold), -18.0F) << "the ports' own default";
        got->switchBank(5);
        for (std::int32_t tag = 0; tag < kABBank; ++tag)
            EXPECT_EQ(got->getParameter(tag), factory->getParameter(tag)) << tag;
    }
}

} // namespace
} // namespace sorvane::test
