#include "Alerts.h"
#include "Bench.h"
#include "OutputFile.h"
#include "ParameterList.h"
#include "ParameterSettings.h"
#include "Render.h"
#include "Response.h"
#include "StateFile.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace sorvane;
using tools::ExitCode;
using tools::Failure;

std::atomic<bool> stopRequested{false};
std::atomic<int> stopSignal{0};
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free);

void requestStop(int signal)
{
    stopSignal = signal;
    stopRequested = true;
}

/// The options that set parameters, as the user typed them.
struct SettingOptions {
    std::vector<std::string> values;
    std::vector<std::string> normals;
    std::vector<std::string> files;
};

struct RenderCall {
    tools::RenderOptions options;
    SettingOptions settings;
    bool doublePrecision = false;
};

struct ResponseCall {
    tools::ResponseOptions options;
    SettingOptions settings;
};

struct StateCall {
    tools::StateOptions options;
    SettingOptions settings;
    std::string file;
    bool json = false;
};

struct BenchCall {
    tools::BenchOptions options;
    SettingOptions settings;
    bool json = false;
};

void addSettings(CLI::App& command, SettingOptions& settings)
{
    command.add_option("--set", settings.values, "TAG=VALUE in the parameter's unit, as in kThreshold=-30")
        ->allow_extra_args(false);
    command.add_option("--norm", settings.normals, "TAG=NORMAL from 0 to 1")->allow_extra_args(false);
    command.add_option("--params", settings.files, R"(JSON file, as in {"kThreshold": {"value": -30}})")
        ->allow_extra_args(false);
}

void addStateFile(CLI::App& command, std::string& file)
{
    command.add_option("--state", file, "Preset or bank file to start from, wherever it stands among the settings");
}

CLI::App* addRender(CLI::App& app, RenderCall& call)
{
    CLI::App* const command = app.add_subcommand("render", "Render an audio file through the effect");
    command->add_option("IN", call.options.input, "Mono or stereo audio file")->required();
    command->add_option("OUT", call.options.output, "File to write; its extension chooses the container")->required();
    addSettings(*command, call.settings);
    addStateFile(*command, call.options.state);
    command->add_option("--sidechain", call.options.sideChain,
                        "Audio file for the external side-chain; also sets kExtSC=1");
    command->add_option("--block", call.options.blockFrames, "Frames a block")
        ->check(CLI::Range(1, 1 << 20))
        ->capture_default_str();
    auto* const single = command->add_flag("--float", call.options.singlePrecision, "Drive the 32-bit entry");
    command->add_flag("--double", call.doublePrecision, "Drive the 64-bit entry (default)")->excludes(single);
    command->add_flag("--raw", call.options.raw, "Leave the latency in: exactly what the effect gave");
    command->add_option("--format", call.options.format, "Sample format of the output")
        ->check(CLI::IsMember({"KEEP", "float", "double", "pcm16", "pcm24"}))
        ->capture_default_str();
    command->add_option("--report", call.options.report, "JSON file for what was measured; - is standard output");
    return command;
}

CLI::App* addResponse(CLI::App& app, ResponseCall& call)
{
    CLI::App* const command = app.add_subcommand("response", "Measure band, rest and side-chain EQ over frequency");
    addSettings(*command, call.settings);
    command->add_option("--rate", call.options.rateHz, "Sample rate in Hz")
        ->check(CLI::Range(8000.0, 768000.0))
        ->capture_default_str();
    command->add_option("--points", call.options.points, "Frequencies from 20 Hz to half the rate")
        ->check(CLI::Range(2, 100000))
        ->capture_default_str();
    command->add_option("--channel", call.options.channel, "Whose filters: 1 or 2")
        ->check(CLI::Range(1, 2))
        ->capture_default_str();
    command->add_option("--csv", call.options.csv, "File for a table; - or naming no file is standard output");
    command->add_option("--png", call.options.png, "File for a picture");
    return command;
}

/// `state show` and `state make`.
CLI::App* addState(CLI::App& app, StateCall& call)
{
    CLI::App* const command = app.add_subcommand("state", "Look into preset and bank files, and make them");
    command->require_subcommand(1);
    CLI::App* const show = command->add_subcommand("show", "Tell what a preset or bank file holds");
    show->add_option("FILE", call.file, "Preset (.sor), bank (.bnk) or any other chunk")->required();
    show->add_flag("--json", call.json, "Its text as it stands");
    CLI::App* const make = command->add_subcommand("make", "Write a file that a host's user can load");
    make->add_option("OUT", call.options.output, "File to write, as in \"Soft Voice.sor\"")->required();
    addSettings(*make, call.settings);
    make->add_option("--preset-name", call.options.presetName, "Name of the program; that of the file when not given");
    make->add_flag("--plain", call.options.plain, "Text that can be read and compared, instead of deflated");
    return command;
}

CLI::App* addBench(CLI::App& app, BenchCall& call)
{
    CLI::App* const command = app.add_subcommand("bench", "Time the effect");
    addSettings(*command, call.settings);
    command->add_option("--case", call.options.cases, "What to time; may be repeated; all when not given")
        ->check(CLI::IsMember(tools::benchCaseNames()))
        ->allow_extra_args(false);
    command->add_option("--seconds", call.options.seconds, "Audio a pass, of which there are 7")
        ->check(CLI::Range(0.1, 3600.0))
        ->capture_default_str();
    command->add_option("--block", call.options.blockFrames, "Frames a block")
        ->check(CLI::Range(1, 1 << 16))
        ->capture_default_str();
    command->add_option("--rate", call.options.rateHz, "Sample rate in Hz")
        ->check(CLI::Range(8000.0, 768000.0))
        ->capture_default_str();
    command->add_option("--instances", call.options.instances, "Instances that run in turn, block by block")
        ->check(CLI::Range(1, 1024))
        ->capture_default_str();
    command->add_flag("--json", call.json, "As JSON");
    return command;
}

/// Settings in the order in which they were typed, whichever option brought them.
std::vector<tools::ParameterSetting> settingsInOrder(const CLI::App& command, const SettingOptions& call)
{
    std::vector<tools::ParameterSetting> settings;
    std::map<std::string, std::size_t> used;
    for (const CLI::Option* option : command.parse_order()) {
        const std::string name = option->get_name();
        const std::size_t next = used[name]++;
        if (name == "--set")
            settings.push_back(tools::parseSetting(call.values[next], false));
        else if (name == "--norm")
            settings.push_back(tools::parseSetting(call.normals[next], true));
        else if (name == "--params")
            for (const tools::ParameterSetting& setting : tools::readSettings(call.files[next]))
                settings.push_back(setting);
    }
    return settings;
}

/// What a command writes beside its output must not take the place of a file that it uses.
void refuseSameFile(const std::string& path, const std::string& option, const std::vector<std::string>& others)
{
    const auto same = std::find_if(others.begin(), others.end(), [&](const std::string& other) {
        return !path.empty() && path != "-" && !other.empty() && tools::isSameFile(path, other);
    });
    if (same != others.end())
        throw Failure(ExitCode::usage, option + ": " + path + " is the same file as " + *same);
}

/// From here on a signal only asks for the end, so that no half-written file stays.
void catchSignals()
{
    struct sigaction stopping {};
    stopping.sa_handler = requestStop; // with no SA_RESTART: what waits gives up
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGXCPU, SIGPIPE}) {
        struct sigaction old {};
        sigaction(signal, nullptr, &old);
        if (old.sa_handler != SIG_IGN) // as nohup wants it
            sigaction(signal, &stopping, nullptr);
    }
    std::signal(SIGXFSZ, SIG_IGN); // a full disk is an error of the write
}

/// Ends the tool by the signal that asked for it, so that a script sees it.
int endBySignal()
{
    std::signal(stopSignal, SIG_DFL);
    std::raise(stopSignal);
    return 128 + stopSignal; // the first process of a container isn't ended by it
}

int runRender(const CLI::App& command, RenderCall& call)
{
    std::vector<std::string> used = call.settings.files;
    used.insert(used.end(), {call.options.sideChain, call.options.state});
    refuseSameFile(call.options.output, "OUT", used);
    used.insert(used.end(), {call.options.input, call.options.output});
    refuseSameFile(call.options.report, "--report", used);
    call.options.settings = settingsInOrder(command, call.settings);
    catchSignals();
    const auto report = tools::render(call.options, stopRequested);
    if (!report) {
        std::cerr << "sorvane: stopped; nothing was written\n";
        return endBySignal();
    }
    if (!call.options.report.empty())
        tools::writeReport(*report, call.options);
    (call.options.report == "-" ? std::cerr : std::cout) << tools::summary(*report, call.options);
    return static_cast<int>(ExitCode::done);
}

int runResponse(const CLI::App& command, ResponseCall& call)
{
    const std::string& png = call.options.png;
    const std::string csv = call.options.csv.empty() && png.empty() ? "-" : call.options.csv;
    refuseSameFile(csv, "--csv", call.settings.files);
    refuseSameFile(png, "--png", call.settings.files);
    refuseSameFile(png, "--png", {csv});
    for (const std::string& path : {csv, png})
        if (!path.empty())
            tools::requireWritable(path);
    call.options.settings = settingsInOrder(command, call.settings);
    const tools::Response response = tools::measureResponse(call.options);
    catchSignals();
    if (!csv.empty())
        tools::writeFile(csv, tools::responseCsv(response));
    if (!png.empty())
        tools::writeFile(png, tools::responsePng(response));
    return stopRequested ? endBySignal() : static_cast<int>(ExitCode::done);
}

int runBench(const CLI::App& command, BenchCall& call)
{
    call.options.settings = settingsInOrder(command, call.settings);
    const auto results = tools::runBench(call.options);
    std::cout << (call.json ? tools::benchJson(results) : tools::benchTable(results));
    return static_cast<int>(ExitCode::done);
}

/// The parser itself says only that a command is missing.
void requireKnownCommand(const CLI::App& app, const std::string& word)
{
    std::string known;
    for (const CLI::App* command : app.get_subcommands({})) {
        if (command->get_name() == word)
            return;
        known += (known.empty() ? "" : ", ") + command->get_name();
    }
    throw Failure(ExitCode::usage, "'" + word + "': no such command; there are " + known);
}

int runState(const CLI::App& command, StateCall& call)
{
    if (command.got_subcommand("show")) {
        tools::showState(call.file, call.json, std::cout);
        return static_cast<int>(ExitCode::done);
    }
    refuseSameFile(call.options.output, "OUT", call.settings.files);
    call.options.settings = settingsInOrder(*command.get_subcommand("make"), call.settings);
    tools::makeState(call.options);
    return static_cast<int>(ExitCode::done);
}

int run(int argc, char** argv)
{
    CLI::App app("Sorvane: a band-split dynamics processor for taming sibilance", "sorvane");
    app.require_subcommand(1);
    RenderCall call;
    const CLI::App* const render = addRender(app, call);
    ResponseCall responseCall;
    const CLI::App* const response = addResponse(app, responseCall);
    StateCall stateCall;
    const CLI::App* const state = addState(app, stateCall);
    BenchCall benchCall;
    const CLI::App* const bench = addBench(app, benchCall);
    CLI::App* const params = app.add_subcommand("params", "List the effect's parameters");
    bool json = false;
    params->add_flag("--json", json, "As JSON");
    std::string stateFile;
    addStateFile(*params, stateFile);

    if (argc > 1 && argv[1][0] != '-')
        requireKnownCommand(app, argv[1]);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? static_cast<int>(ExitCode::done) : static_cast<int>(ExitCode::usage);
    }
    if (render->parsed())
        return runRender(*render, call);
    if (response->parsed())
        return runResponse(*response, responseCall);
    if (state->parsed())
        return runState(*state, stateCall);
    if (bench->parsed())
        return runBench(*bench, benchCall);
    const auto plug = std::make_unique<core::Plug>(nullptr, core::Plug::Start::factoryValues);
    if (!stateFile.empty())
        tools::loadState(*plug, stateFile);
    tools::listParameters(*plug, json, std::cout);
    return static_cast<int>(ExitCode::done);
}

} // namespace

int main(int argc, char** argv)
{
    int exitCode = static_cast<int>(ExitCode::done);
    try {
        exitCode = run(argc, argv);
        if (!std::cout.flush() && exitCode == static_cast<int>(ExitCode::done))
            throw Failure(ExitCode::output, "standard output can't be written");
    } catch (const Failure& failure) {
        std::fprintf(stderr, "sorvane: %s\n", failure.what());
        exitCode = static_cast<int>(failure.exitCode());
    } catch (const std::exception& error) { // no memory, say
        std::fprintf(stderr, "sorvane: %s\n", error.what());
        exitCode = static_cast<int>(ExitCode::output);
    }
    host::Alerts::instance().showPending([](const std::string& title, const std::string& text) {
        std::fprintf(stderr, "%s\n%s\n", title.c_str(), text.c_str());
    });
    return exitCode;
}
