#pragma once

#include "AAX_Algorithm.h"
#include "EffectParametersBase.h"
#include "HostCallbackRecords.h"
#include "MidiOutQueue.h"
#include "Plug.h"
#include "WaitFreeLock.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>

namespace sorvane::aax {

class AAXWrap_GUI;

/// The host's data model of one instance, which owns the effect and stands as its VST 2.4 host.
///
/// Threads: the algorithm callback on the audio thread; all else on the host's data model thread, but for what the
/// effect asks its host, which comes from any thread. The end waits for a report of the latency that the timer's thread
/// has under way: the host must neither end an instance in setSignalLatency nor hold a lock then that it takes there.
class AAXWrap_Parameters : public EffectParametersBase {
public:
    /// Field of the private block that leads to the instance.
    static constexpr std::int32_t kPrivateField = fieldPrivateBlock;
    static constexpr const char* kMasterBypassId = "MasterBypassID";

    AAXWrap_Parameters();
    ~AAXWrap_Parameters() override;

    /// Null when there is no memory.
    static EffectParameters* create() noexcept;
    /// Instances that live in this library.
    static std::int32_t instanceCount() noexcept;

    /// The real-time entry of all instances.
    static void algorithm(AlgorithmContext* const* begin, AlgorithmContext* const* end) noexcept;

    Result initialize(Controller* newController) override;
    Result notificationReceived(std::int32_t code, const void* data, std::uint32_t size) override;
    Result updateParameterNormalizedValue(const char* identifier, double normal) override;
    Result resetPrivateData(std::int32_t field, void* data, std::uint32_t size) override;
    [[nodiscard]] std::int32_t getNumberOfChunks() const override { return 2; }
    Result getChunkIDFromIndex(std::int32_t index, std::int32_t& chunkId) const override;
    Result getChunkSize(std::int32_t chunkId, std::int32_t& size) override;
    Result getChunk(std::int32_t chunkId, Chunk& chunk) override;
    Result setChunk(std::int32_t chunkId, const Chunk& chunk) override;

    [[nodiscard]] core::Plug& getEffect() noexcept { return *effect; }
    /// Takes the editor from the view that had it. User interface thread, as the next.
    void giveEditorTo(AAXWrap_GUI& newView);
    void takeEditorBackFrom(const AAXWrap_GUI& oldView) noexcept;

protected:
    Result effectInit() override;
    /// Hook for the name of the track that the instance stands on: ASCII, up to 127 characters.
    virtual void trackNameChanged(const char*) {}
    /// Hook for a product with a MIDI output, which gets what its effect sent. Audio thread, at the end of a block.
    virtual void sendMidi(const MidiPacket&) noexcept {}

private:
    static constexpr std::size_t kMostInputs = 16;
    static constexpr std::size_t kMostOutputs = 8;

    static void reportLatencyOf(host::AEffect& record);
    static host::Pointer hostCallback(host::AEffect* record, std::int32_t opcode, std::int32_t index,
                                      host::Pointer value, void* data, float option);
    host::Pointer answer(std::int32_t opcode, std::int32_t index, void* data, float option);

    void setAutomatedValue(HostParameter& parameter, double normal);
    [[nodiscard]] AutomationDelegate* delegateForEdits() const noexcept;

    void buildParameters();
    [[nodiscard]] std::unique_ptr<HostParameter> makeParameter(std::int32_t index) const;
    [[nodiscard]] double defaultOf(std::int32_t index) const;
    void bringToEffect(std::int32_t index, const HostParameter& parameter);
    [[nodiscard]] float toEffect(std::int32_t index, const HostParameter& parameter) const;
    [[nodiscard]] double toHost(std::int32_t index, float normal) const;
    [[nodiscard]] std::int32_t signalLatency() const noexcept;
    void reportLatency() noexcept;
    Result readEffectChunk(Chunk& chunk);
    void setTrackName(const char* name, std::uint32_t size);

    void process(const AlgorithmContext& context) noexcept;
    void followTransport(const AlgorithmContext& context);
    void takeMidi(const AlgorithmContext& context);
    void passThrough(const AlgorithmContext& context) const noexcept;
    void run(const AlgorithmContext& context) noexcept;
    void silence(const AlgorithmContext& context) const noexcept;
    void clearMeters(const AlgorithmContext& context) const noexcept;
    void queueEvents(const host::Events& events) noexcept;
    void deliverEvents() noexcept;

    std::unique_ptr<core::Plug> effect;
    AAXWrap_GUI* view = nullptr;      ///< that has the editor
    std::int32_t reportsUnderWay = 0; ///< of the latency, that the effect asked for; guarded by reportLock
    const HostParameter* masterBypass = nullptr;
    dsp::Relaxed<bool> bypassActive{false};
    bool midiAccepted = false;
    std::string hostChunk;                  ///< made by a size query, for the read that follows; empty when none does
    std::atomic<std::thread::id> restoring; ///< thread that restores the control state
    dsp::Relaxed<bool> offlineMode{false};
    dsp::Relaxed<std::int32_t> channels{2}; ///< of the stem
    TimeInfo timeInfo{};                    ///< of the block in progress

    platform::WaitFreeLock queueLock; ///< guards the two queues; only ever tried
    MidiOutQueue<256> midiOutQueue;
    MidiOutQueue<1024> sysexOutQueue;
};

} // namespace sorvane::aax
