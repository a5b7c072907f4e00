// What hosts read of the LV2 bundle, through the library that most of them read it with.

#include "Effect.h"
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
    /// The values of a property of a port, in order, without what they have in common; "-" for none.
    [[nodiscard]] std::string values(const LilvPlugin* plugin, const LilvPort* port, const std::string& property) const
    {
        std::set<std::string> found;
        LilvNode* const predicate = lilv_new_uri(world.get(), property.c_str());
        LilvNodes* const nodes = lilv_port_get_value(plugin, port, predicate);
        LILV_FOREACH(nodes, i, nodes)
        {
            const std::string text = lilv_node_as_string(lilv_nodes_get(nodes, i));
            found.insert(text.substr(text.find('#') + 1));
        }
        lilv_nodes_free(nodes);
        lilv_node_free(predicate);
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

            LilvNode* const presetClass = lilv_new_uri(world.get(), "http://lv2plug.in/ns/ext/presets#Preset");
            LilvNodes* const nodes = lilv_plugin_get_related(plugin, presetClass);
            LILV_FOREACH(nodes, i, nodes)
            presets.insert(lilv_node_as_uri(lilv_nodes_get(nodes, i)));
            lilv_nodes_free(nodes);
            lilv_node_free(presetClass);

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
