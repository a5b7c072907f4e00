#include "AaxHostRender.h"
#include "Failure.h"

#include <CLI/CLI.hpp>

#include <exception>
#include <iostream>
#include <string>

namespace {

using namespace sorvane;
using tools::ExitCode;
using tools::Failure;

int fail(const std::string& text, ExitCode code)
{
    std::cerr << "sorvane-aax-host: " << text << '\n';
    return static_cast<int>(code);
}

int run(int count, char** arguments)
{
    CLI::App app("Loads an AAX plug-in file as a host does.", "sorvane-aax-host");
    tools::AaxRenderOptions options;
    std::string settings;
    std::string events;
    app.add_option("FILE", options.plugin, "the plug-in, a .aaxplugin file")->required();
    app.require_subcommand(1);
    const auto* const describe = app.add_subcommand("describe", "Say what the plug-in tells of itself");
    auto* const render = app.add_subcommand("render", "Play an audio file through an instance");
    render->add_option("IN", options.input, "mono or stereo audio file")->required();
    render->add_option("OUT", options.output, "file to write, in the format of IN")->required();
    render->add_option("--params", settings, R"(JSON file, such as {"kThreshold": {"value": -30}})");
    render->add_option("--sidechain", options.sideChain, "audio file for the external side-chain, which it turns on");
    render->add_option("--events", events,
                       R"(JSON file of what happens when, such as [{"at": 1.5, "set": {"kRatio": {"normal": 0.7}}},
{"at": 2, "bypass": true}, {"at": 2.5, "midi": [[176, 20, 64]], "tempo": 90, "playing": false, "offline": false}])");
    render->add_option("--block", options.blockFrames, "frames a block")->check(CLI::Range(1, 1 << 20));
    try {
        app.parse(count, arguments);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : static_cast<int>(ExitCode::usage);
    }
    if (describe->parsed()) {
        std::cout << tools::describeAax(options.plugin);
        return 0;
    }
    if (!settings.empty())
        options.settings = tools::readSettings(settings);
    if (!events.empty())
        options.events = tools::readEvents(events);
    std::cout << tools::renderThroughAax(options);
    return 0;
}

} // namespace

int main(int count, char** arguments)
{
    try {
        return run(count, arguments);
    } catch (const Failure& failure) {
        return fail(failure.what(), failure.exitCode());
    } catch (const std::exception& error) {
        return fail(error.what(), ExitCode::input);
    }
}
