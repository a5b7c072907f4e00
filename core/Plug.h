#pragma once

#include "AtomicFlag.h"
#include "Clock.h"
#include "Compressor.h"
#include "EffectOperations.h"
#include "PlugBaseJSON.h"
#include "PlugEd.h"
#include "WaitFreeLock.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

namespace sorvane::core {

/// The effect: parameters, engine, display feeds, over the class chain that every host format drives.
///
/// Threads: block entries on the host's audio thread, one at a time; parameters and banks on any thread; resume and
/// programs on any but the audio thread, also beside a running block, which is then silent. Some 3 MB: never on a
/// stack. Final, since the timer's thread calls it from the end of its constructor on.
class Plug final : public host::PlugBaseJSON, public host::EffectOperations {
public:
    /// What state a new effect has.
    enum class Start : std::uint8_t {
        asUserSaved, ///< the user's default bank, else the factory bank, else the factory values
        factoryValues,
    };

    static constexpr std::uint32_t kOutputRingLength = 8192;

    /// \param callback  the host's, or null
    /// \param start     reads a file unless it is the factory values
    /// \param clock     paces the filter designs; outlives the effect
    explicit Plug(host::HostCallback callback, Start start = Start::asUserSaved,
                  const platform::Clock& clock = platform::Clock::steady());
    ~Plug() override;

    /// Clears all signal state and brings rate and parameters in force. Makes room for blocks of the size that the host
    /// announced, so that they don't allocate.
    void resume() override;

    void beginEdit(std::int32_t tag) override;
    void endEdit(std::int32_t tag) override;
    bool setBypass(bool on) override;
    bool getProductString(char* text) const override;
    [[nodiscard]] std::int32_t getVendorVersion() const override { return 110; }
    /// The latency of what was loaded is the record's from here on.
    std::int32_t setChunk(const void* data, std::int32_t size, bool isPreset) override;
    host::Pointer vendorSpecific(std::int32_t first, host::Pointer second, void* data, float option) override;
    [[nodiscard]] std::int32_t canDo(const char* feature) const override;
    /// Control changes that the user's MIDI map knows move their parameters.
    bool processEvents(const host::Events* events) override;
    [[nodiscard]] std::string getDefaultBankPath() const override { return defaultBankPath; }
    [[nodiscard]] std::int32_t getPlugCategory() const override { return 1; }

    void formatParameter(std::int32_t index, float normal, char* text, std::int32_t flag) const override;
    [[nodiscard]] float getLevelMeter(std::int32_t channel) const override;
    [[nodiscard]] float getReductionMeter(std::int32_t channel) override;
    bool onTimer() override;
    /// Lowest gain of a channel since resume, linear; see DisplayFeeds. Any thread.
    [[nodiscard]] float lowestGain(std::int32_t channel) const;

    void setAutoListenEnabled(bool on) override;
    void armAutoListen(std::int32_t mode) override;
    void applyGlobalPrefs() override;
    void applyUiPrefs() override;
    /// Designs the filters for what was set so far without regard to the limit of one design in 100 ms. Any thread; on
    /// the audio thread it is left to the timer, unless it renders offline.
    void designNow() { updateParameters(true); }
    /// Latency in samples that the next block will have, which the host may not have been told yet. Any thread.
    [[nodiscard]] std::int32_t getLatency() const noexcept { return engine.getLatency(); }
    /// Tells the host when the latency has changed. Never on the audio thread.
    virtual void updateLatency();

    /// See DisplayFeeds. User interface thread.
    [[nodiscard]] virtual const dsp::Relaxed<float>* getDisplayRing(std::int32_t index) const;
    [[nodiscard]] virtual const dsp::Relaxed<std::int32_t>* getStateRing(std::int32_t channel) const;
    [[nodiscard]] virtual std::uint32_t getRingPosition(std::int32_t index) const;
    /// Copies the newest output samples but the block written last.
    /// \param count    0 to kOutputRingLength
    /// \param channel  modulo 2
    virtual void getOutputSamples(double* destination, std::int32_t count, std::int32_t channel) const;

    /// See GraphBands.
    [[nodiscard]] virtual std::int32_t bandParameter(std::int32_t field, std::int32_t band) const;
    [[nodiscard]] virtual float bandValue(std::int32_t field, std::int32_t band) const;
    [[nodiscard]] virtual std::uint32_t bandFeatures(std::int32_t band) const;
    /// The analog curve of the filter behind a band, in hertz, as it was designed last; band modulo 12. Any but the
    /// audio thread.
    [[nodiscard]] virtual dsp::AnalogCascade bandFilter(std::int32_t band, bool ignoreBypass);
    /// Writes what the field's parameter would show for its value; nothing when there is no parameter.
    virtual void bandText(std::int32_t field, std::int32_t band, char* text, std::int32_t flag) const;

protected:
    [[nodiscard]] host::JSONTree buildChunkJson(bool isPreset) override;
    host::JSONTree loadChunkJson(std::string_view text, bool isPreset) override;
    void onChunkParsed(const cJSON* root, bool isPreset) override;
    void updateParameters(bool full) override;
    void processBlock(float** inputs, float** outputs, std::int32_t frames) override;
    void processBlock(double** inputs, double** outputs, std::int32_t frames) override;

private:
    static constexpr std::uint32_t kOutputRingMask = kOutputRingLength - 1;
    static constexpr std::int32_t kNoAutoListen = -1;
    static constexpr std::int32_t kMostPreparedFrames = 65536; ///< room that is made for an announced block size

    template <typename Sample>
    void process(Sample** inputs, Sample** outputs, std::int32_t frames) noexcept;
    template <typename Sample>
    void storeOutput(std::span<Sample* const> outputs, std::int32_t frames) noexcept;
    template <typename Sample>
    void followMeters(std::span<Sample* const> outputs, std::int32_t frames) noexcept;
    void loadDefaultBank();
    void resetFeeds() noexcept;
    [[nodiscard]] bool isDesignDue() noexcept;
    void designFilters() noexcept;

    [[nodiscard]] EngineSettings makeEngineSettings() const noexcept;
    [[nodiscard]] DetectorParameters detectorParameters(std::int32_t twin) const noexcept;
    void setListening(EngineSettings& settings, std::int32_t listenCode) const noexcept;
    [[nodiscard]] ChannelSettings channelSettings(std::size_t channel, std::int32_t listenCode,
                                                  double detectorRateHz) const noexcept;
    [[nodiscard]] std::int32_t listenCode() const noexcept;
    /// Offset of a channel's parameters: channel 1 follows the first channel's while the two are linked.
    [[nodiscard]] std::int32_t twinOffset(std::size_t channel) const noexcept;
    [[nodiscard]] SplitParameters splitParameters(std::int32_t twin) const noexcept;
    [[nodiscard]] SideChainEdge sideChainEdge(std::int32_t first) const noexcept;

    bool isMade = false;               ///< the host may have the record; before that it is told nothing
    const std::string defaultBankPath; ///< as it was when the effect was made
    editor::PlugEd* plugEd = nullptr;  ///< the editor, which the base owns

    dsp::Relaxed<double> meterAttack{1.0};
    dsp::Relaxed<double> meterRelease{1.0};
    std::array<dsp::Relaxed<double>, 2> meterLevel;
    std::array<std::array<dsp::Relaxed<double>, kOutputRingLength>, 2> outputRing;
    std::atomic<std::uint32_t> outputRingPosition{0};

    dsp::Relaxed<std::int32_t> autoListenMode{kNoAutoListen};
    dsp::Relaxed<bool> autoListenEnabled{false};
    dsp::Relaxed<std::int32_t> autoListenSource{0};

    Compressor engine;
    dsp::Relaxed<double> engineRate{44100.0}; ///< of the engine, as resume set it

    platform::WaitFreeLock blockGate;  ///< held while a block runs, and while resume keeps blocks out
    platform::WaitFreeLock updateLock; ///< one publication of settings at a time
    platform::WaitFreeLock designLock; ///< one filter design at a time; taken before the other two
    host::AtomicFlag updateRequested;  ///< some change isn't in the published settings yet
    host::AtomicFlag fullRequested;    ///< and its filter design isn't to be put off
    host::AtomicFlag designPending;    ///< a filter design was put off
    const platform::Clock& designClock;
    std::int64_t lastDesignTick = -1; ///< of 100 ms; guarded by the design lock
};

} // namespace sorvane::core
