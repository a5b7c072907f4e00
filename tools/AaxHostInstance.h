#pragma once

#include "AaxHostLibrary.h"

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace sorvane::tools {

/// A thread of the host's own for audio, which takes one piece of work after the other.
class AaxAudioThread {
public:
    AaxAudioThread();
    ~AaxAudioThread();
    AaxAudioThread(const AaxAudioThread&) = delete;
    AaxAudioThread& operator=(const AaxAudioThread&) = delete;

    /// Does the work on the audio thread and waits for it.
    void run(const std::function<void()>& work);

private:
    std::mutex lock;
    std::condition_variable changed;
    const std::function<void()>* next = nullptr;
    bool ends = false;
    std::thread thread;
};

/// A transport that a test or a render sets before each block.
struct AaxTransport final : public aax::Transport {
    aax::Result tempo(double& bpm) const override;
    aax::Result meter(std::int32_t& numerator, std::int32_t& denominator) const override;
    aax::Result isPlaying(bool& isOn) const override;
    aax::Result loop(bool& isOn, std::int64_t& start, std::int64_t& end) const override;
    aax::Result tickPosition(std::int64_t& position) const override;
    aax::Result sampleLocation(std::int64_t& location) const override;
    /// Moves to a place in the song, in samples.
    void moveTo(std::int64_t location, double rateHz);

    double beatsPerMinute = 120.0;
    std::int32_t beats = 4;
    std::int32_t beatUnit = 4;
    bool playing = false;
    bool looping = false;
    std::int64_t loopStart = 0; ///< in ticks, as the next two
    std::int64_t loopEnd = 0;
    std::int64_t ticks = 0;
    std::int64_t samples = 0;
};

struct AaxSavedChunk {
    std::int32_t chunkId;
    std::string name;
    std::vector<std::byte> bytes;
};

/// One instance of a plug-in, as a host holds it: model, algorithm context and automation.
///
/// The thread that makes it is the data model's. process hands the block to the audio thread that was given.
class AaxInstance final : private aax::Controller, private aax::AutomationDelegate {
public:
    /// \param channels  1 or 2. Throws Failure (input) when the plug-in has no such component or gives no instance.
    AaxInstance(const AaxLibrary& library, AaxAudioThread& thread, std::int32_t channels, float rateHz);
    ~AaxInstance() override;
    AaxInstance(const AaxInstance&) = delete;
    AaxInstance& operator=(const AaxInstance&) = delete;

    [[nodiscard]] aax::EffectParameters& model() { return *parameters; }
    /// For the view, which has its own life.
    [[nodiscard]] aax::Controller& controller() { return *this; }
    [[nodiscard]] std::int32_t latency() const { return signalLatency; }

    /// Moves a parameter as the user of the host's own controls does, or its automation: the value goes out as a
    /// request and comes back as an update.
    void automate(std::int32_t index, double normal);
    /// Turns the bypass of the host's own.
    void setBypass(bool on);
    /// Brings in what automation asked for since the last time.
    void deliverAutomation();
    [[nodiscard]] double value(std::int32_t index) const;
    void notify(const char (&code)[5], const void* data = nullptr, std::uint32_t size = 0);

    [[nodiscard]] std::vector<AaxSavedChunk> save();
    void restore(const std::vector<AaxSavedChunk>& chunks);

    /// Runs one block on the audio thread. The arrays of the host's pass as they stand.
    /// \param sideChain  place of the side-chain in the inputs; 0 for none
    void process(float** inputs, float** outputs, std::int32_t frames, std::int32_t sideChain);

    AaxTransport transport;
    std::vector<aax::MidiPacket> midi; ///< of the next block
    std::array<float, 6> meters{};
    /// What came from the effect: 't' a touch, 's' a value, 'r' a release, each with the identifier.
    [[nodiscard]] std::vector<std::string> automationLog();

private:
    struct Request {
        std::string identifier;
        double normal;
    };
    struct InputNode final : public aax::MidiNode {
        explicit InputNode(std::vector<aax::MidiPacket>& list) : source(list) {}
        std::uint32_t packets(const aax::MidiPacket*& list) override;
        aax::Transport* transport() override { return nullptr; }
        std::vector<aax::MidiPacket>& source;
    };
    struct TransportNode final : public aax::MidiNode {
        explicit TransportNode(aax::Transport& t) : source(t) {}
        std::uint32_t packets(const aax::MidiPacket*&) override { return 0; }
        aax::Transport* transport() override { return &source; }
        aax::Transport& source;
    };

    aax::Result getSampleRate(float& hertz) const override;
    aax::Result getInputStemFormat(std::uint32_t& format) const override;
    aax::Result setSignalLatency(std::int32_t samples) override;
    aax::AutomationDelegate* automationDelegate() override { return this; }
    aax::EffectParameters* dataModel() override { return parameters.get(); }
    aax::Result postSetValueRequest(const char* identifier, double normal) override;
    aax::Result postTouchRequest(const char* identifier) override;
    aax::Result postReleaseRequest(const char* identifier) override;
    void resetPrivateBlocks();
    [[nodiscard]] std::string identifier(std::int32_t index) const;

    const ComponentRecord* component;
    AaxAudioThread& audioThread;
    float rate;
    std::int64_t clock = 0;
    InputNode midiNode{midi};
    TransportNode transportNode{transport};
    std::uint32_t midiOutBlock = 0;
    aax::SAAXWrap_Alg_Context_Private privateBlock{};
    std::atomic<std::int32_t> signalLatency{-1};
    std::mutex requestLock; // a host with deadlines would take them over without one
    std::vector<Request> requests;
    std::vector<std::string> log;
    std::unique_ptr<aax::EffectParameters> parameters; // last: its end may still call the rest
};

} // namespace sorvane::tools
