// What hosts read of the LV2 bundle, through the library that most of them read it with.

#include "Lv2Host.h"
#include "TagTable.h"
#include "TestFolder.h"

#include <gtest/gtest.h>
#include <lilv/lilv.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <string>

namespace sorvane::test {
namespace {

using namespace core;

const std::string kLv2 = "http://lv2plug.in/ns/lv2core#";
const std::string kUnits = "http://lv2plug.in/ns/extensions/units#";

class Lv2Bundle : public ::testing::Test {
public:
    Lv2Bundle() : world(lilv_world_new(), &lilv_world_free)
    {
        lilv_world_load_bundle(world.get(), uri("file://" SORVANE_LV2_BUNDLE "/").get());
        for (const std::size_t which : {0U, 1U})
            plugins[which] = lilv_plugins_get_by_uri(lilv_world_get_all_plugins(world.get()),
                                                     uri(which == 1 ? lv2::kStereoUri : lv2::kMonoUri).get());
    }

    using Node = std::unique_ptr<LilvNode, decltype(&lilv_node_free)>;
    [[nodiscard]] Node uri(const std::string& text) const
    {
        return {lilv_new_uri(world.get(), text.c_str()), &lilv_node_free};
    }
    [[nodiscard]] const LilvPort* portOf(const LilvPlugin* plugin, const std::string& symbol) const
    {
        const Node node(lilv_new_string(world.get(), symbol.c_str()), &lilv_node_free);
        return lilv_plugin_get_port_by_symbol(plugin, node.get());
    }
    /// The values of a property of a port, in order, without what they have in common; "-" for none.
    [[nodiscard]] std::string values(const LilvPlugin* plugin, const LilvPort* port, const std::string& property) const
    {
        std::set<std::string> found;
        LilvNodes* const nodes = lilv_port_get_value(plugin, port, uri(property).get());
        LILV_FOREACH(nodes, i, nodes)
        {
            const std::string text = lilv_node_as_string(lilv_nodes_get(nodes, i));
            found.insert(text.substr(text.find('#') + 1));
        }
        lilv_nodes_free(nodes);
        std::string line;
        for (const std::string& value : found)
            line += (line.empty() ? "" : ",") + value;
        return line.empty() ? "-" : line;
    }
    /// What is published for ever, a line each.
    [[nodiscard]] std::string described() const
    {
        std::set<std::string> presets;
        std::set<std::string> keys;
        std::string ports;
        const Lv2Library library;
        for (const std::size_t which : {1U, 0U}) {
            const LilvPlugin* const plugin = plugins[which];
            const std::string name = which == 1 ? "stereo" : "mono";
            ports += "\n" + name + ' ' + lilv_node_as_uri(lilv_plugin_get_uri(plugin)) + '\n';
            for (std::uint32_t index = 0; index < lilv_plugin_get_num_ports(plugin); ++index)
                ports += name + ' ' + std::to_string(index) + describedPort(plugin, index) + '\n';

            presets.merge(presetsOf(plugin));
            const Lv2Instance instance(library, which + 1);
            for (const auto& property : instance.save())
                keys.insert(std::string("saved ") + Lv2Urids::uriOf(property.first));
            const auto ask = [](LV2_State_Handle to, std::uint32_t key, std::size_t*, std::uint32_t*,
                                std::uint32_t*) -> const void* {
                static_cast<std::set<std::string>*>(to)->insert(std::string("restored ") + Lv2Urids::uriOf(key));
                return nullptr;
            };
            (void)instance.state->restore(instance.handle, ask, &keys, 0, nullptr);
        }
        std::string text;
        for (const auto* const lines : {&keys, &presets})
            for (const std::string& line : *lines)
                text += line + '\n';
        return text + ports;
    }
    [[nodiscard]] std::set<std::string> presetsOf(const LilvPlugin* plugin) const
    {
        std::set<std::string> uris;
        LilvNodes* const nodes = lilv_plugin_get_related(plugin, uri("http://lv2plug.in/ns/ext/presets#Preset").get());
        LILV_FOREACH(nodes, i, nodes)
        {
            uris.insert(lilv_node_as_uri(lilv_nodes_get(nodes, i)));
        }
        lilv_nodes_free(nodes);
        return uris;
    }
    /// Loads the state with that URI as hosts do: what belongs to the instance first, then the ports.
    /// \return its label, and the number of ports
    std::pair<std::string, int> restore(Lv2Instance& instance, const std::string& text) const
    {
        const Node node = uri(text);
        lilv_world_load_resource(world.get(), node.get());
        LilvState* const state = lilv_state_new_from_world(world.get(), &Lv2Urids::map, node.get());
        struct Target {
            const Lv2Bundle& test;
            Lv2Instance& instance;
            int count;
        } target{*this, instance, 0};
        const auto setPort = [](const char* symbol, void* data, const void* value, std::uint32_t, std::uint32_t) {
            auto& [test, to, count] = *static_cast<Target*>(data);
            const LilvPlugin* const plugin = test.plugins[to.channels - 1];
            std::memcpy(&to.controls.at(lilv_port_get_index(plugin, test.portOf(plugin, symbol))), value,
                        sizeof(float));
            ++count;
        };
        LilvInstance own{instance.descriptor, instance.handle, nullptr};
        lilv_state_restore(state, &own, setPort, &target, 0, nullptr);
        const char* const label = lilv_state_get_label(state);
        std::pair<std::string, int> result{label != nullptr ? label : "", target.count};
        lilv_state_free(state);
        lilv_world_unload_resource(world.get(), node.get());
        return result;
    }
    /// Its symbol, classes, minimum, maximum, default, designation, properties, unit and group.
    [[nodiscard]] std::string describedPort(const LilvPlugin* plugin, std::uint32_t index) const
    {
        const LilvPort* const port = lilv_plugin_get_port_by_index(plugin, index);
        std::string line = std::string(" ") + lilv_node_as_string(lilv_port_get_symbol(plugin, port)) + ' ' +
                           values(plugin, port, "http://www.w3.org/1999/02/22-rdf-syntax-ns#type");
        for (const char* const limit : {"minimum", "maximum", "default"})
            line += ' ' + values(plugin, port, kLv2 + limit);
        for (const std::string& property : {kLv2 + "designation", kLv2 + "portProperty", kUnits + "unit",
                                            std::string("http://lv2plug.in/ns/ext/port-groups#group")})
            line += ' ' + values(plugin, port, property);
        return line;
    }

    std::unique_ptr<LilvWorld, decltype(&lilv_world_free)> world;
    std::array<const LilvPlugin*, 2> plugins{};
};

/// Sessions and scripts hold all of it: the list grows, by ports at the ends of theirs, and nothing in it ever changes.
TEST_F(Lv2Bundle, StaysAsItWasPublished)
{
    EXPECT_EQ(described(), contents(SORVANE_LV2_PUBLISHED));
}

TEST_F(Lv2Bundle, NamesTheValuesOfEnumerations)
{
    using Labels = std::map<float, std::string>;
    const Labels types = {{0, "Coincident BPF"},  {1, "Butterworth BPF"}, {2, "EE BPF"},         {3, "Coincident LPF"},
                          {4, "Butterworth LPF"}, {5, "Coincident HPF"},  {6, "Butterworth HPF"}};
    const Labels slopes = {{6, "6dB"}, {12, "12dB"}, {18, "18dB"}, {24, "24dB"}};
    const std::map<std::string, Labels> expected = {
        {"kListen", {{0, "S/C EQ"}, {1, "Split-band"}, {2, "Output"}, {3, "Pass-band"}, {4, "Difference"}}},
        {"kSplitType", types},
        {"kSplitTypeB", types},
        {"kSCHPFTypeB", {{0, "HPF"}, {1, "Shelf"}}},
        {"kSCLPFType", {{0, "LPF"}, {1, "Shelf"}}},
        {"kSCSource", {{0, "Input"}, {1, "Split"}}},
        {"kSCLPFSlopeB", slopes},
        {"kThreshold", {}}};
    for (const LilvPlugin* const plugin : plugins)
        for (const auto& [symbol, labels] : expected) {
            Labels found;
            LilvScalePoints* const points = lilv_port_get_scale_points(plugin, portOf(plugin, symbol));
            LILV_FOREACH(scale_points, i, points)
            {
                const LilvScalePoint* const point = lilv_scale_points_get(points, i);
                found[lilv_node_as_float(lilv_scale_point_get_value(point))] =
                    lilv_node_as_string(lilv_scale_point_get_label(point));
            }
            lilv_scale_points_free(points);
            EXPECT_EQ(found, labels) << symbol;
        }
}

/// Every preset that is installed is there, and by its ports and its state alike brings what the file holds. What ports
/// can't hold starts with the factory bank, wherever the bundle was put.
TEST_F(Lv2Bundle, PresetsAndDefaultStateAreTheirFiles)
{
    std::map<std::string, std::filesystem::path> files; // by the preset's label
    for (const auto& entry : std::filesystem::recursive_directory_iterator(SORVANE_SHARE "/Kestrune/Sorvane"))
        if (entry.is_regular_file())
            files[entry.path().stem().string()] = entry.path();
    const auto fileOf = [&](const std::string& label) {
        auto plug = makePlug();
        const std::string chunk = contents(files[label].string());
        plug->setChunk(chunk.data(), static_cast<std::int32_t>(chunk.size()), label != "Factory Bank");
        return plug;
    };
    const auto expectSame = [](const Plug& got, const Plug& expected, const std::string& what) {
        for (std::int32_t tag = 0; tag < kABBank; ++tag)
            EXPECT_EQ(got.getParameter(tag), expected.getParameter(tag))
                << what << ' ' << TagTable::instance().name(tag);
        char names[2][64] = {};
        got.getProgramName(names[0]);
        expected.getProgramName(names[1]);
        EXPECT_STREQ(names[0], names[1]) << what;
    };
    const Lv2Library library;
    for (const std::size_t channels : {1U, 2U}) {
        const LilvPlugin* const plugin = plugins[channels - 1];
        const auto presets = presetsOf(plugin);
        EXPECT_EQ(presets.size(), files.size());
        for (const std::string& preset : presets) {
            Lv2Instance instance(library, channels);
            instance.activate();
            instance.run(64); // a running one, as when a user picks a preset
            const auto [label, count] = restore(instance, preset);
            EXPECT_EQ(count, kABBank) << preset;
            ASSERT_TRUE(files.contains(label)) << preset;
            instance.run(64);
            expectSame(*loaded(instance), *fileOf(label), preset);
        }
        Lv2Instance instance(library, channels);
        (void)restore(instance, lilv_node_as_uri(lilv_plugin_get_uri(plugin)));
        instance.activate();
        instance.run(64);
        const auto got = loaded(instance);
        const auto factory = fileOf("Factory Bank");
        EXPECT_FLOAT_EQ(got->getParameterValue(kThreshold), -18.0F) << "the ports' own default";
        for (Plug* const plug : {got.get(), factory.get()})
            plug->switchBank(5);
        expectSame(*got, *factory, "default state");
    }
}

} // namespace
} // namespace sorvane::test
