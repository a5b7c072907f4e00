// The command-line tool as a user runs it.

#include "AudioFile.h"
#include "Signals.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
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

    /// Runs the tool in the test's folder.
    [[nodiscard]] Outcome run(const std::string& arguments) const
    {
        const std::string command = "cd '" + folder.string() + "' && '" SORVANE_TOOL "' " + arguments + " 2>&1";
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
                          Case{"stereo24.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_24, 2, 2e-7}}) {
        const Signal input = noise(static_cast<std::size_t>(5003 * c.channels), 3, 0.5);
        writeAudio(c.name, c.format, c.channels, input);
        // Nothing compressed: what comes out is what went in, in its place.
        const Outcome result = run(std::string("render ") + c.name + " out-" + c.name + " --set kRatio=0 --block 333");
        EXPECT_EQ(result.exitCode, 0) << result.text;
        SF_INFO info{};
        const Signal output = readAudio(std::string("out-") + c.name, &info);
        EXPECT_EQ(info.format, c.format) << c.name;
        EXPECT_LT(peakDifference(output, input), c.tolerance) << c.name;
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
    EXPECT_EQ(run("render in.wav out.wav --norm kRatio=0 --set kOpTrim=12 --format pcm16").exitCode, 0);
    const Signal clipped = readAudio("out.wav");
    EXPECT_NEAR(*std::max_element(clipped.begin(), clipped.end()), 1.0, 1e-4) << "clipped, not wrapped";

    const Signal wide = rendered("--set kThreshold=-40");
    const Signal narrow = rendered("--set kThreshold=-40 --float");
    EXPECT_GT(peakDifference(wide, narrow), 0.0);
    EXPECT_LT(peakDifference(wide, narrow), 1e-6);

    writeAudio("key.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2, Signal(2000, 0.0));
    EXPECT_LT(peakDifference(rendered("--set kThreshold=-40 --sidechain key.wav"), input), 1e-15)
        << "a silent side-chain compresses nothing";

    EXPECT_EQ(run("render in.wav out.wav --report report.json --set kThreshold=-40").exitCode, 0);
    const auto report = nlohmann::json::parse(std::ifstream(path("report.json")));
    EXPECT_EQ(report["rateHz"], 48000);
    EXPECT_EQ(report["channels"], 1);
    EXPECT_EQ(report["frames"], 6000);
    EXPECT_EQ(report["latencySamples"], 480 + 1024);
    EXPECT_GT(report["gainReductionDb"][0], 5.0);
    EXPECT_NEAR(report["inputPeakDb"][0], decibels(0.9), 0.01);

    writeAudio("silence.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, Signal(2000, 0.0));
    EXPECT_EQ(run("render silence.wav out.flac --report report.json").exitCode, 0);
    EXPECT_TRUE(nlohmann::json::parse(std::ifstream(path("report.json")))["outputPeakDb"][1].is_null());
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
    EXPECT_EQ(run("response --csv nowhere/a.csv").exitCode, 4);
    EXPECT_EQ(run("response --png nowhere/a.png").exitCode, 4);
}

TEST_F(Tool, BadCallsAndFilesAreToldAndLeaveNothing)
{
    const Signal voice = noise(9000, 5, 0.9);
    writeAudio("in.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, voice);
    writeAudio("six.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 6, voice);
    writeAudio("slow.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, voice, 44100);
    writeAudio("float.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 1, voice);
    writeAudio("short.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 1, voice);
    fs::copy(path("in.wav"), path("short.wav"));
    fs::resize_file(path("short.wav"), 9000);
    fs::resize_file(path("short.flac"), 9000);
    std::ofstream(path("text.wav")) << "Dear diary, today I was a sound file.\n";
    std::ofstream(path("bad.json")) << R"({"kThreshold": {"value": "loud"}})";
    std::ofstream(path("cut.json")) << R"({"kThreshold": {"value": )";
    std::ofstream(path("deep.json")) << std::string(100000, '[');
    std::ofstream(path("typo.json")) << R"({"kTreshold": {"value": 1}})";
    fs::create_directory(path("folder"));
    const auto before = files();

    struct Case {
        const char* arguments;
        int exitCode;
        const char* text;
    };
    for (const Case& c : std::vector<Case>{
             {"", 2, "A subcommand is required"},
             {"render in.wav", 2, "OUT is required"},
             {"render in.wav out.wav --set kTreshold=-30", 2, "did you mean kThreshold?"},
             {"render in.wav out.wav --set KRATIO=1", 2, "did you mean kRatio?"},
             {"render in.wav out.wav --set kNumPrograms=1", 2, "no such parameter"},
             {"render in.wav out.wav --set kThreshold=-90", 2, "kThreshold: -90 is out of range: -60 to 12 dB"},
             {"render in.wav out.wav --norm kThreshold=1.5", 2, "out of range: 0 to 1"},
             {"render in.wav out.wav --set kThreshold=nan", 2, "out of range"},
             {"render in.wav out.wav --set kThreshold=1e999", 2, "out of range"},
             {"render in.wav out.wav --set kThreshold=-3,5", 2, "'-3,5' is not a number"},
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
             {"render short.flac out.wav", 3, "short.flac: c"},
             {"render in.wav out.wav --sidechain slow.wav", 3, "its rate of 44100 Hz is not the input's of 48000 Hz"},
             {"render in.wav out.wav --params missing.json", 3, "Failed to read from file missing.json"},
             {"render in.wav out.wav --params bad.json", 3, "bad.json: kThreshold: expected {\"value\": NUMBER}"},
             {"render in.wav out.wav --params cut.json", 3, "cut.json: parse error at line 1"},
             {"render in.wav out.wav --params deep.json", 3, "deep.json: parse error"},
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

TEST_F(Tool, ReplacesAFileOnlyWhenItIsComplete)
{
    const Signal voice = noise(90000, 5, 0.9);
    writeAudio("in.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, voice);
    EXPECT_EQ(run("render in.wav in.wav --set kRatio=0 --set kOpTrim=-6").exitCode, 0) << "a file onto itself";
    EXPECT_NEAR(readAudio("in.wav")[100] / voice[100], 0.501, 0.01);

    const Signal old = readAudio("in.wav");
    fs::permissions(path("in.wav"), fs::perms::owner_read | fs::perms::owner_write);
    const std::string limited = "render in.wav in.wav; "; // a disk that is full after 64 KiB
    const std::string command = "cd '" + folder.string() + "' && (ulimit -f 64; '" SORVANE_TOOL "' " + limited + ")";
    const int status = std::system((command + " 2>/dev/null").c_str());
    EXPECT_EQ(WEXITSTATUS(status), 4);
    EXPECT_EQ(peakDifference(readAudio("in.wav"), old), 0.0);
    EXPECT_EQ(files(), std::vector<std::string>{"in.wav"});

    fs::create_symlink("in.wav", path("link.wav"));
    EXPECT_EQ(run("render in.wav link.wav --set kRatio=0").exitCode, 0);
    EXPECT_TRUE(fs::is_symlink(path("link.wav")));
    EXPECT_EQ(fs::status(path("in.wav")).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(Tool, InterruptLeavesNoHalfFile)
{
    writeAudio("in.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, Signal(48000 * 300, 0.1));
    for (const int signal : {SIGINT, SIGTERM}) {
        const pid_t child = fork();
        if (child == 0) {
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
