// The command-line tool as a user runs it.

#include "AudioFile.h"
#include "Signals.h"
#include "TestFolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

namespace sorvane::test {
namespace {

namespace fs = std::filesystem;

struct Outcome {
    int exitCode;
    std::string text; ///< both streams
};

class Tool : public ::testing::Test {
protected:
    void SetUp() override
    {
        folder = fs::temp_directory_path() / ("sorvane-test-" + std::to_string(getpid()));
        fs::create_directories(folder);
    }
    void TearDown() override { fs::remove_all(folder); }

    [[nodiscard]] std::string path(const std::string& name) const { return (folder / name).string(); }

    /// Runs the tool in the test's folder. \param before  for the shell, such as "umask 027; "
    [[nodiscard]] Outcome run(const std::string& arguments, const std::string& before = "") const
    {
        const std::string command =
            "cd '" + folder.string() + "' && " + before + "'" SORVANE_TOOL "' " + arguments + " 2>&1";
        std::FILE* const pipe = popen(command.c_str(), "r");
        std::string text;
        for (char buffer[4096]; std::fgets(buffer, sizeof buffer, pipe) != nullptr;)
            text += buffer;
        const int status = pclose(pipe);
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, text};
    }

    void writeAudio(const std::string& name, int format, int channels, const Signal& interleaved,
                    int rate = 48000) const
    {
        SF_INFO info{
            .frames = 0, .samplerate = rate, .channels = channels, .format = format, .sections = 0, .seekable = 0};
        const tools::SoundFile file(sf_open(path(name).c_str(), SFM_WRITE, &info));
        ASSERT_NE(file, nullptr) << name;
        sf_writef_double(file.get(), interleaved.data(), static_cast<sf_count_t>(interleaved.size()) / channels);
    }

    [[nodiscard]] Signal readAudio(const std::string& name, SF_INFO* information = nullptr) const
    {
        SF_INFO info{};
        const tools::SoundFile file(sf_open(path(name).c_str(), SFM_READ, &info));
        if (!file)
            return {};
        Signal interleaved(static_cast<std::size_t>(info.frames * info.channels));
        sf_readf_double(file.get(), interleaved.data(), info.frames);
        if (information != nullptr)
            *information = info;
        return interleaved;
    }

    [[nodiscard]] std::vector<std::string> files() const
    {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

    fs::path folder;
};

TEST_F(Tool, RendersEveryFormatAlignedAndAsLongAsItsInput)
{
    struct Case {
        const char* name;
        int format;
        int channels;
        double tolerance; ///< of one step of the format
    };
    for (const Case& c : {Case{"mono16.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, 4e-5},
                          Case{"stereo24.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24, 2, 2e-7},
                          Case{"float.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2, 1e-7},
                          Case{"double.wav", SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 1, 1e-15},
                          Case{"mono16.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 1, 4e-5},
                          Case{"stereo24.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_24, 2, 2e-7},
                          Case{"mono16.AIFF", SF_FORMAT_AIFF | SF_FORMAT_PCM_16, 1, 4e-5},
                          Case{"double.au", SF_FORMAT_AU | SF_FORMAT_DOUBLE, 1, 1e-15},
                          Case{"float.rf64", SF_FORMAT_RF64 | SF_FORMAT_FLOAT, 1, 1e-7},
                          Case{"mono16.w64", SF_FORMAT_W64 | SF_FORMAT_PCM_16, 1, 4e-5},
                          Case{"double.caf", SF_FORMAT_CAF | SF_FORMAT_DOUBLE, 1, 1e-15},
                          Case{"voice.ogg", SF_FORMAT_OGG | SF_FORMAT_VORBIS, 1, 1.0},
                          Case{"voice.mp3", SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III, 1, 1.0}}) {
        const Signal input = noise(static_cast<std::size_t>(5003 * c.channels), 3, 0.5);
        writeAudio(c.name, c.format, c.channels, input);
        writeAudio("in.wav", SF_FORMAT_WAV | SF_FORMAT_DOUBLE, c.channels, input);
        const bool lossy = c.tolerance == 1.0; // from another container, since it would be twice coded
        // Nothing compressed: what comes out is what went in, in its place.
        const Outcome result = run(std::string("render ") + (lossy ? "in.wav" : c.name) + " out-" + c.name +
                                   " --set kRatio=0 --block 333");
        EXPECT_EQ(result.exitCode, 0) << result.text;
        SF_INFO info{};
        const Signal output = readAudio(std::string("out-") + c.name, &info);
        EXPECT_EQ(info.format & (SF_FORMAT_TYPEMASK | SF_FORMAT_SUBMASK), c.format) << c.name;
        EXPECT_LT(peakDifference(output, input), c.tolerance) << c.name;
    }
}

// Files of several batches, which end within the last one or at its end, so that the silence behind them fills another.
TEST_F(Tool, RendersTheSameHoweverTheFileIsCut)
{
    writeAudio("side.wav", SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 1, bursts(20000, 1));
    for (const std::size_t frames : {16384U, 32700U, 40001U}) {
        writeAudio("in.wav", SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 2, bursts(2 * frames, 2));
        const auto rendered = [&](const std::string& block) {
            const Outcome result = run(
                "render in.wav out.wav --sidechain side.wav --set kThreshold=-50 --set kHQSplit=1 --block " + block);
            EXPECT_EQ(result.exitCode, 0) << result.text;
            return readAudio("out.wav");
        };
        const Signal whole = rendered("1000000");
        ASSERT_EQ(whole.size(), 2 * frames);
        EXPECT_LT(peakDifference(rendered("64"), whole), 1e-12) << frames;
    }
}

TEST_F(Tool, OptionsDoWhatTheySay)
{
    const Signal input = noise(6000, 5, 0.9);
    writeAudio("in.wav", SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 1, input);
    const auto rendered = [&](const std::string& options) {
        const Outcome result = run("render in.wav out.wav " + options);
        EXPECT_EQ(result.exitCode, 0) << result.text;
        return readAudio("out.wav");
    };
    const Signal raw = rendered("--raw --set kRatio=0 --set kLookahead=1 --set kSplitBPF=0 --set kLinearPhase=0");
    ASSERT_EQ(raw.size(), 6000U);
    EXPECT_EQ(raw[47], 0.0);
    EXPECT_EQ(raw[48], input[0]);

    // In the order in which they stand, whichever option brings them.
    std::ofstream(path("half.json")) << R"({"kOpTrim": {"value": -6}, "kRatio": {"normal": 0}})";
    EXPECT_NEAR(rendered("--set kOpTrim=6 --params half.json")[0] / input[0], 0.501, 0.001);
    EXPECT_NEAR(rendered("--params half.json --set kOpTrim=+6.0")[0] / input[0], 1.995, 0.001);
    EXPECT_NEAR(rendered("--params half.json --norm kOpTrim=0.75")[0] / input[0], 3.981, 0.001);
    std::ofstream(path("bank.json")) << R"({"kOpTrim": {"value": -6}, "kABBank": {"value": 1}})";
    EXPECT_EQ(rendered("--params bank.json"), rendered("--set kABBank=1")) << "the other bank has a trim of its own";
    EXPECT_EQ(run("render in.wav out.wav --norm kRatio=0 --set kOpTrim=12 --format pcm16").exitCode, 0);
    const Signal clipped = readAudio("out.wav");
    EXPECT_NEAR(*std::max_element(clipped.begin(), clipped.end()), 1.0, 1e-4) << "clipped, not wrapped";

    const Signal wide = rendered("--set kThreshold=-40");
    const Signal narrow = rendered("--set kThreshold=-40 --float");
    EXPECT_GT(peakDifference(wide, narrow), 0.0);
    EXPECT_LT(peakDifference(wide, narrow), 1e-6);

    writeAudio("nothing.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, {});
    EXPECT_EQ(run("render nothing.wav out.wav").exitCode, 0);
    EXPECT_TRUE(readAudio("out.wav").empty());

    const auto list = nlohmann::json::parse(run("params --json").text);
    ASSERT_EQ(list.size(), 92U);
    EXPECT_EQ(list[9]["tag"], "kRatio");
    EXPECT_EQ(list[9]["default"].dump(), "0.6997");
    EXPECT_EQ(list[9]["display"], "3.33:1");
    EXPECT_NE(run("params").text.find("kSplitBPFFreq"), std::string::npos);
}

TEST_F(Tool, StateFilesHoldWhatTheyWereMadeOf)
{
    EXPECT_EQ(run("state make 'My s.sor' --set kThreshold=-30 --norm kExcite=1 --set kRatio=0.5").exitCode, 0);
    EXPECT_EQ(run("state make plain.bnk --plain --set kThreshold=-30 --preset-name 'q\"'").exitCode, 0);
    const std::string shown = run("state show 'My s.sor'").text;
    for (const char* const text :
         {"My s.sor: bank, ", " bytes deflated from ", "program: \"My s\"\n  kThreshold  -30.0dB\n",
          "  kRatio  1:1.33\n", "  kExcite  ON\n", "bank 8: as the program\n"})
        EXPECT_NE(shown.find(text), std::string::npos) << text << " in " << shown;
    EXPECT_EQ(shown.find("settings"), std::string::npos) << "those are an editor's";
    EXPECT_NE(run("state show plain.bnk").text.find("program: \"q\\\"\"\n"), std::string::npos);
    EXPECT_EQ(run("state show plain.bnk --json").text, contents(path("plain.bnk")));
    const auto list = nlohmann::json::parse(run("params --json --state 'My s.sor'").text);
    EXPECT_EQ(list[8]["display"], "-30.0dB");

    std::ofstream(path("odd.sor"))
        << R"({"presets":[{"name":"\u009b2J\u007f","parameters":{"no\u001b":1,"kRatio":0.2}}],)"
        << R"("ab":[{"parameters":{"kExcite":1,"kRatio":0.4}},{}],"settings":{"uimode":1}})";
    const std::string odd = run("state show odd.sor").text;
    for (const char* const text :
         {"program: \"?2J?\"\n", "\"no\\u001b\"  unknown", "  kRatio  1.09:1\n", "bank 1: \n", "  kRatio  1:1.19\n",
          "bank 2: \n  all at their factory values\n", "  \"uimode\"  1\n"})
        EXPECT_NE(odd.find(text), std::string::npos) << text << " in " << odd;
}

TEST_F(Tool, SideChainFitsTheInput)
{
    const Signal left = bursts(6000, 5, 0.9);
    const Signal right = bursts(6000, 8, 0.9);
    const Signal silence(6000, 0.0);
    Signal mean(6000);
    Signal cut(left.begin(), left.begin() + 2000);
    writeAudio("short.wav", SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 1, cut);
    cut.resize(6000);
    for (std::size_t i = 0; i < mean.size(); ++i)
        mean[i] = (left[i] + right[i]) * 0.5;
    const auto write = [&](const char* name, const Signal& channel0, const Signal& channel1) {
        Signal interleaved;
        for (std::size_t i = 0; i < channel0.size(); ++i)
            interleaved.insert(interleaved.end(), {channel0[i], channel1[i]});
        writeAudio(name, SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 2, interleaved);
    };
    write("stereo.wav", left, right);
    write("twice.wav", left, left);
    write("silent.wav", silence, silence);
    for (const auto& [name, signal] : {std::pair{"mono.wav", left}, {"mean.wav", mean}, {"cut.wav", cut}})
        writeAudio(name, SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 1, signal);

    const auto rendered = [&](const std::string& in, const std::string& key) {
        const Outcome result = run("render " + in + " out.wav --set kThreshold=-40 --block 100 --sidechain " + key);
        EXPECT_EQ(result.exitCode, 0) << result.text;
        return readAudio("out.wav");
    };
    EXPECT_LT(peakDifference(rendered("mono.wav", "silent.wav"), left), 1e-15) << "compresses nothing";
    EXPECT_EQ(rendered("stereo.wav", "mono.wav"), rendered("stereo.wav", "twice.wav"));
    EXPECT_EQ(rendered("mono.wav", "stereo.wav"), rendered("mono.wav", "mean.wav"));
    EXPECT_EQ(rendered("mono.wav", "short.wav"), rendered("mono.wav", "cut.wav"));
    EXPECT_GT(peakDifference(rendered("mono.wav", "short.wav"), rendered("mono.wav", "mono.wav")), 0.01);
}

TEST_F(Tool, ReportAgreesWithTheFiles)
{
    Signal input = bursts(12000, 5, 0.9);
    writeAudio("in.wav", SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 2, input);
    // With no split and no mid and side, every sample is the input's times the gain.
    const std::string call = "render in.wav out.wav --set kThreshold=-40 --set kSplitBPF=0 --set kLinearPhase=0 "
                             "--set kStereoMode=0 ";
    EXPECT_EQ(run(call + "--report report.json").exitCode, 0);
    const auto report = nlohmann::json::parse(std::ifstream(path("report.json")));
    EXPECT_EQ(report["input"], "in.wav");
    EXPECT_EQ(report["output"], "out.wav");
    EXPECT_EQ(report["rateHz"], 48000);
    EXPECT_EQ(report["channels"], 2);
    EXPECT_EQ(report["frames"], 6000);
    EXPECT_EQ(report["latencySamples"], 480);
    EXPECT_EQ(report["clipped"], false);
    EXPECT_GT(report["secondsPerSecond"], 0.0);
    Signal output = readAudio("out.wav");
    for (std::size_t c = 0; c < 2; ++c) {
        double lowest = 1.0;
        for (const auto& [name, signal] : {std::pair{"input", &input}, {"output", &output}}) {
            double peak = 0.0;
            double squares = 0.0;
            for (std::size_t i = c; i < signal->size(); i += 2) {
                peak = std::max(peak, std::abs((*signal)[i]));
                squares += (*signal)[i] * (*signal)[i];
                if (std::abs(input[i]) > 1e-6)
                    lowest = std::min(lowest, output[i] / input[i]);
            }
            EXPECT_NEAR(report[std::string(name) + "PeakDb"][c], decibels(peak), 1e-6) << name << c;
            EXPECT_NEAR(report[std::string(name) + "RmsDb"][c], decibels(std::sqrt(squares / 6000)), 1e-6) << name << c;
        }
        EXPECT_NEAR(report["gainReductionDb"][c], -decibels(lowest), 1e-5) << c;
    }
    for (const char* block : {"1", "7", "6000"}) {
        EXPECT_EQ(run(call + "--report report.json --block " + block).exitCode, 0);
        EXPECT_EQ(nlohmann::json::parse(std::ifstream(path("report.json")))["gainReductionDb"],
                  report["gainReductionDb"])
            << block;
    }

    input[1000] = NAN;
    input[1001] = INFINITY;
    writeAudio("in.wav", SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 2, input);
    const std::string text = run(call + "--report -").text;
    const auto broken = nlohmann::json::parse(text.substr(0, text.rfind('}') + 1)); // the summary stands behind it
    EXPECT_EQ(broken["inputNotFinite"], nlohmann::json({1, 1}));
    EXPECT_NEAR(broken["inputRmsDb"][0], report["inputRmsDb"][0], 0.01);
    writeAudio("silence.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, Signal(2000, 0.0));
    EXPECT_EQ(run("render silence.wav out.flac --report report.json").exitCode, 0);
    EXPECT_TRUE(nlohmann::json::parse(std::ifstream(path("report.json")))["outputPeakDb"][1].is_null());
}

TEST_F(Tool, ResponseIsThatOfTheAnalogFilters)
{
    const std::string filters = "--set kSplitType=2 --set kSplitBPFFreq=1000 --set kSplitBPFQ=2 --set kSCHPF=1 "
                                "--set kSCHPFFreq=500 --set kSCHPFSlope=12 --set kIpTrim=12 --set kMuteOutput=1 ";
    for (const char* phase : {"0", "1"}) {
        const Outcome result = run("response --points 64 --set kHQSplit=1 --set kLinearPhase=" + std::string(phase) +
                                   ' ' + filters + "--csv curves.csv --png curves.png");
        EXPECT_EQ(result.exitCode, 0) << result.text;
        std::ifstream csv(path("curves.csv"));
        std::string line;
        std::getline(csv, line);
        EXPECT_EQ(line, "hertz,bandDb,restDb,sideChainDb");
        int rows = 0;
        while (std::getline(csv, line)) {
            double hertz = 0.0;
            double band = 0.0;
            double rest = 0.0;
            double sideChain = 0.0;
            ASSERT_EQ(std::sscanf(line.c_str(), "%lf,%lf,%lf,%lf", &hertz, &band, &rest, &sideChain), 4);
            ++rows;
            if (hertz > 4000.0) // beyond, the bilinear transform bends the digital band away
                continue;
            const double detuning = 2.0 * (hertz / 1000.0 - 1000.0 / hertz); // q (f/F - F/f)
            EXPECT_NEAR(band, -10.0 * std::log10(1.0 + detuning * detuning), 0.25) << hertz;
            const double corner = 500.0 / hertz; // two poles of q 0.707
            EXPECT_NEAR(sideChain, -10.0 * std::log10(1.0 + std::pow(corner, 4.0)), 0.1) << hertz;
        }
        EXPECT_EQ(rows, 64);
    }
    std::string png(8, 0);
    std::ifstream(path("curves.png"), std::ios::binary).read(png.data(), 8);
    EXPECT_EQ(png, "\x89PNG\r\n\x1a\n");
    EXPECT_EQ(run("response --rate 100").exitCode, 2);
    EXPECT_EQ(run("response --set kNothing=1").exitCode, 2);
    EXPECT_EQ(run("response --png nowhere/a.png").exitCode, 4);
    EXPECT_EQ(run("response --csv curves.csv --png ./curves.csv").exitCode, 2);
    EXPECT_NE(run("response --points 2 --csv -").text.find("\n24000.00,"), std::string::npos);
}

TEST_F(Tool, BenchTimesWhatItIsAsked)
{
    const Outcome json = run("bench --json --seconds 0.1 --block 100 --instances 2 --rate 96000 --case mono "
                             "--case default --set kLookahead=0 --set kLinearPhase=0");
    ASSERT_EQ(json.exitCode, 0) << json.text;
    const auto results = nlohmann::json::parse(json.text);
    ASSERT_EQ(results.size(), 2U);
    EXPECT_EQ(results[0]["case"], "default"); // in the order in which they run
    EXPECT_EQ(results[1]["case"], "mono");
    for (const auto& result : results) {
        const double frames = result["blockFrames"].get<double>() * result["instances"].get<double>();
        EXPECT_EQ(frames, 200.0);
        EXPECT_EQ(result["latencySamples"], 0);
        EXPECT_LE(result["medianBlockNs"], result["p99BlockNs"]);
        EXPECT_LE(result["p99BlockNs"], result["worstBlockNs"]);
        EXPECT_LE(result["nsPerFrame"].get<double>() * frames, result["worstBlockNs"].get<double>() * 1.000001);
        EXPECT_NEAR(result["corePercent"].get<double>(), result["nsPerFrame"].get<double>() * 96000.0 / 1e7, 1e-9);
        EXPECT_GT(result["residentKiB"], 100.0);
    }
    EXPECT_EQ(run("bench --case no-such").exitCode, 2);
}

TEST_F(Tool, BadCallsAndFilesAreToldAndLeaveNothing)
{
    const Signal voice = noise(9000, 5, 0.9);
    writeAudio("in.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, voice);
    writeAudio("six.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 6, voice);
    writeAudio("slow.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, voice, 44100);
    writeAudio("float.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 1, voice);
    writeAudio("fast.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, voice, 700000);
    writeAudio("huge.au", SF_FORMAT_AU | SF_FORMAT_PCM_16, 1, voice);
    std::fstream(path("huge.au"), std::ios::binary | std::ios::in | std::ios::out).seekp(8) << "\xff\xff\xff\xff";
    fs::resize_file(path("huge.au"), 5000000000U); // of open length
    fs::copy(path("in.wav"), path("short.wav"));
    fs::resize_file(path("short.wav"), 9000);
    std::ofstream(path("text.wav")) << "Dear diary, today I was a sound file.\n";
    std::ofstream(path("bad.json")) << R"({"kThreshold": {"value": "loud"}})";
    std::ofstream(path("cut.json")) << R"({"kThreshold": {"value": )";
    std::ofstream(path("deep.json")) << std::string(100000, '[');
    std::ofstream(path("typo.json")) << R"({"kTreshold": {"value": 1}})";
    std::ofstream(path("twice.json"))
        << R"({"kRatio": {"value": 1}, "kSplitQ": {"normal": 0}, "kRatio": {"value": 2}})";
    std::ofstream(path("good.json")) << "{}";
    fs::create_hard_link(path("in.wav"), path("in.json"));
    fs::create_symlink("good.json", path("link.json"));
    ASSERT_EQ(mkfifo(path("pipe.wav").c_str(), 0600), 0);
    fs::create_directory(path("folder"));
    const auto before = files();

    struct Case {
        const char* arguments;
        int exitCode;
        const char* text;
    };
    for (const Case& c : std::vector<Case>{
             {"", 2, "A subcommand is required"},
             {"rendre in.wav out.wav", 2, "'rendre': no such command; there are render"},
             {"params >/dev/full", 4, ""},
             {"params --state in.wav", 3, "in.wav: holds no state of this effect"},
             {"render in.wav out.wav --state none.sor", 3, "none.sor: can't be read (No such file"},
             {"state show good.json", 3, "good.json: holds no state of this effect"},
             {"state make /nowhere/x.sor", 4, "/nowhere/x.sor: can't be written"},
             {"state make x.sor --set kABBank=3", 2, "kABBank: all eight banks"},
             {"state make good.json --params good.json", 2, "is the same file as good.json"},
             {"render in.wav", 2, "OUT is required"},
             {"render in.wav out.wave", 2, "out.wave: no such kind of audio file; known are wav, "},
             {"render in.wav -", 2, "name a file"},
             {"render in.wav out.wav --report in.json", 2, "--report: in.json is the same file as in.wav"},
             {"render in.wav out.wav --report ./out.wav", 2, "is the same file as out.wav"},
             {"render in.wav out.wav --params good.json --report link.json", 2, "is the same file as good.json"},
             {"render in.wav out.wav --sidechain float.wav --report ./float.wav", 2, "is the same file as float.wav"},
             {"render fast.wav out.flac", 2, "can't hold a rate of 700000 Hz"},
             {"render huge.au out.aif", 2, "AIFF ends at 4 GiB"},
             {"render in.wav out.ogg --format pcm16", 2, "can't hold pcm16"},
             {"render in.wav out.wav --set kTreshold=-30", 2, "did you mean kThreshold?"},
             {"render in.wav out.wav --set KRATIO=1", 2, "did you mean kRatio?"},
             {"render in.wav out.wav --set kNumPrograms=1", 2, "no such parameter"},
             {"render in.wav out.wav --set kThreshold=-90", 2, "kThreshold: -90 is out of range: -60 to 12 dB"},
             {"render in.wav out.wav --norm kThreshold=1.5", 2, "out of range: 0 to 1"},
             {"render in.wav out.wav --set kThreshold=nan", 2, "out of range"},
             {"render in.wav out.wav --set kThreshold=1e999", 2, "out of range"},
             {"render in.wav out.wav --set kThreshold=-3,5", 2, "'-3,5' is not a number"},
             {"render in.wav out.wav --set kThreshold=+-30", 2, "'+-30' is not a number"},
             {"render in.wav out.wav --set kThreshold=", 2, "'' is not a number"},
             {"render in.wav out.wav --set kThreshold", 2, "expected TAG=VALUE"},
             {"render in.wav out.wav --block 0", 2, "--block"},
             {"render in.wav out.wav --float --double", 2, "excludes"},
             {"render in.wav out.wav --format pcm8", 2, "--format"},
             {"render float.wav out.flac", 2, "can't hold the input's sample format; choose another with --format"},
             {"render missing.wav out.wav", 3, "missing.wav: no such file"},
             {"render folder out.wav", 3, "folder: is a folder"},
             {"render text.wav out.wav", 3, "text.wav: not an audio file that can be read"},
             {"render six.wav out.wav", 3, "six.wav: 6 channels; mono and stereo are supported"},
             {"render short.wav out.wav", 3, "short.wav: cut short: its last 9044 bytes are missing"},
             {"render pipe.wav out.wav", 3, "pipe.wav: not a plain file"},
             {"render in.wav out.wav --sidechain slow.wav", 3, "its rate of 44100 Hz is not the input's of 48000 Hz"},
             {"render in.wav out.wav --params missing.json", 3, "missing.json: can't be read (No such file"},
             {"render in.wav out.wav --params bad.json", 3, "bad.json: kThreshold: expected {\"value\": NUMBER}"},
             {"render in.wav out.wav --params cut.json", 3, "cut.json: parse error at line 1"},
             {"render in.wav out.wav --params deep.json", 3, "deep.json: parse error"},
             {"render in.wav out.wav --params twice.json", 3, "twice.json: 'kRatio' stands twice"},
             {"render in.wav out.wav --params typo.json", 3, "did you mean kThreshold?"},
             {"render in.wav nowhere/out.wav", 4, "nowhere/out.wav: can't be written (no folder"},
             {"render in.wav folder", 4, "folder: can't be written (not a plain file)"},
             {"render in.wav out.wav --report nowhere/report.json", 4, "nowhere/report.json: can't be written"},
         }) {
        const Outcome result = run(c.arguments);
        EXPECT_EQ(result.exitCode, c.exitCode) << c.arguments << '\n' << result.text;
        EXPECT_NE(result.text.find(c.text), std::string::npos) << c.arguments << '\n' << result.text;
        EXPECT_EQ(files(), before) << c.arguments;
    }
}

TEST_F(Tool, KnowsFilesThatAreCutShort)
{
    const Signal voice = noise(20000, 5, 0.9);
    const auto readAll = [&](const std::string& name) {
        tools::AudioReader reader(path(name));
        Signal block(4096);
        std::int64_t frames = 0;
        for (std::int64_t got = 4096; got == 4096; frames += got)
            got = reader.read(block.data(), 4096);
        return frames;
    };
    for (const int format :
         {SF_FORMAT_WAV | SF_FORMAT_PCM_24, SF_FORMAT_WAV | SF_FORMAT_PCM_16 | SF_ENDIAN_BIG,
          SF_FORMAT_RF64 | SF_FORMAT_PCM_16, SF_FORMAT_W64 | SF_FORMAT_PCM_24, SF_FORMAT_AIFF | SF_FORMAT_PCM_24,
          SF_FORMAT_AIFF | SF_FORMAT_FLOAT, SF_FORMAT_AU | SF_FORMAT_PCM_16,
          SF_FORMAT_AU | SF_FORMAT_PCM_16 | SF_ENDIAN_LITTLE, SF_FORMAT_CAF | SF_FORMAT_PCM_16,
          SF_FORMAT_OGG | SF_FORMAT_VORBIS, SF_FORMAT_FLAC | SF_FORMAT_PCM_16}) {
        writeAudio("file", format, 1, voice);
        EXPECT_EQ(readAll("file"), 20000) << std::hex << format;
        const auto size = fs::file_size(path("file"));
        for (const auto left : {size - 1, size * 2 / 3}) {
            fs::resize_file(path("file"), left);
            EXPECT_THROW((void)readAll("file"), tools::Failure) << std::hex << format << std::dec << ' ' << left;
        }
    }
    // As a program leaves it that can't go back.
    for (const char* length : {"\xff\xff\xff\xff", "\xf0\xff\xff\x7f"}) {
        writeAudio("open", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, voice);
        std::fstream(path("open"), std::ios::binary | std::ios::in | std::ios::out).seekp(40) << length;
        EXPECT_EQ(readAll("open"), 20000);
    }
}

TEST_F(Tool, ReplacesAFileOnlyWhenItIsComplete)
{
    const Signal voice = noise(90000, 5, 0.9);
    writeAudio("in.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, voice);
    EXPECT_EQ(run("render in.wav in.wav --set kRatio=0 --set kOpTrim=-6").exitCode, 0) << "a file onto itself";
    EXPECT_NEAR(readAudio("in.wav")[100] / voice[100], 0.501, 0.01);

    const Signal old = readAudio("in.wav");
    fs::permissions(path("in.wav"), fs::perms{0604});
    std::ofstream(path("old.csv")) << "old";
    const auto before = files();
    // A disk that is full: early, and at what a codec writes at its end.
    for (const char* command : {"render in.wav in.wav", "render in.wav out.flac", "render in.wav out.ogg",
                                "render in.wav out.mp3", "response --points 2000 --csv old.csv"}) {
#ifdef __SANITIZE_THREAD__
        break; // its runtime writes a file of its own at the start
#endif
        for (const char* limit : {"ulimit -f 0; ", "ulimit -f 8; "}) {
            const Outcome result = run(command, limit);
            EXPECT_EQ(result.exitCode, 4) << limit << command;
            EXPECT_NE(result.text.find("can't be written (File too large)"), std::string::npos) << result.text;
            EXPECT_EQ(files(), before) << limit << command;
        }
    }
    EXPECT_EQ(peakDifference(readAudio("in.wav"), old), 0.0);
    EXPECT_EQ(fs::file_size(path("old.csv")), 3U);

    fs::create_symlink("in.wav", path("link.wav"));
    fs::create_symlink("new.wav", path("dangling.wav"));
    for (const char* name : {"link.wav", "dangling.wav"}) {
        EXPECT_EQ(run(std::string("render in.wav ") + name + " --set kRatio=0", "umask 027; ").exitCode, 0);
        EXPECT_TRUE(fs::is_symlink(path(name))) << name;
    }
    EXPECT_EQ(fs::status(path("in.wav")).permissions(), fs::perms{0604}) << "kept";
    EXPECT_EQ(fs::status(path("new.wav")).permissions(), fs::perms{0640}) << "as umask says";
}

TEST_F(Tool, InterruptLeavesNoHalfFile)
{
    writeAudio("in.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, Signal(48000 * 300, 0.1));
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        const pid_t child = fork();
        if (child == 0) {
            std::signal(signal, SIG_DFL); // nohup's isn't meant here
            (void)std::freopen("/dev/null", "w", stderr);
            const std::string in = path("in.wav");
            const std::string out = path("out.wav");
            execl(SORVANE_TOOL, SORVANE_TOOL, "render", in.c_str(), out.c_str(), "--block", "64", nullptr);
            _exit(99);
        }
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (files().size() < 2 && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        EXPECT_EQ(files().size(), 2U) << "it is at work";
        kill(child, signal);
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << status;
        EXPECT_EQ(files(), std::vector<std::string>{"in.wav"});
    }
}

} // namespace
} // namespace sorvane::test
