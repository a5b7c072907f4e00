#pragma once

#include "Lv2Ports.h"
#include "Plug.h"
#include "WaitFreeLock.h"

#include <lv2/atom/atom.h>
#include <lv2/core/lv2.h>
#include <lv2/options/options.h>
#include <lv2/state/state.h>
#include <lv2/urid/urid.h>

#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace sorvane::lv2 {

/// One instance behind the LV2 interface: brings ports to the effect and back.
///
/// A port whose value changed is a change of its parameter on the audio thread: the filter design follows within 100
/// ms, of several ports that changed in one run within some 10 ms, and in free-wheeling at once. The first run after
/// activation applies all ports, with their designs, before it processes a sample.
///
/// A state holds what the ports held beside it. After a restore a port that holds the same leaves alone what was
/// restored, a bank that MIDI chose for one; any other is applied. In a running instance it is applied when the host
/// writes it: hosts send a preset's ports some blocks behind its state, and some never do.
///
/// Blocks that are longer than the host announced are processed in parts: no block takes memory.
/// Threads as LV2 has them: run on the audio thread; save, and restore on any other beside it; the rest while no run is
/// in progress. Extensions that the host doesn't bring are done without.
class Lv2Effect {
public:
    /// \param channelCount  1 or 2
    /// \param rateHz        above 0, up to 1 MHz
    Lv2Effect(std::size_t channelCount, double rateHz, const LV2_Feature* const* features);

    /// \param data  of the port; null leaves it unconnected, which is no fault here for any port: a parameter keeps its
    ///              value then
    void connect(std::uint32_t index, void* data) noexcept;
    void activate();
    void deactivate();
    void run(std::uint32_t frames) noexcept;

    LV2_State_Status save(LV2_State_Store_Function store, LV2_State_Handle handle);
    LV2_State_Status restore(LV2_State_Retrieve_Function retrieve, LV2_State_Handle handle);

    /// Option maxBlockLength; a new one is in force from the next activation on.
    std::uint32_t getOptions(LV2_Options_Option* options) const noexcept;
    std::uint32_t setOptions(const LV2_Options_Option* options) noexcept;

private:
    static constexpr std::int32_t kUnannouncedFrames = 4096;
    static constexpr std::int32_t kMostFrames = 65536;

    struct Urids {
        LV2_URID chunk = 0, preset = 0, factoryBank = 0, ports = 0;
        LV2_URID atomChunk = 0, atomString = 0, atomInt = 0, atomSequence = 0, midiEvent = 0, maxBlockLength = 0;
    };

    static host::Pointer answer(host::AEffect* record, std::int32_t opcode, std::int32_t index, host::Pointer value,
                                void* data, float option);

    void mapUrids(const LV2_URID_Map& map);
    void takeFirstPorts();
    void followFreeWheeling();
    void takePorts();
    [[nodiscard]] bool anyPortChanged() const noexcept;
    int applyPorts(bool all);
    bool applyPort(std::size_t tag, float value);
    [[nodiscard]] float normalOf(std::size_t tag, float port) const;
    [[nodiscard]] bool isAgreed(std::size_t tag, float normal) const;
    void takeEvents();
    void process(std::uint32_t frames);
    void processPart(std::size_t first, std::size_t frames);
    void silence(std::size_t frames) noexcept;
    void report();

    /// Normalised values of the ports of parameters; NaN for what isn't known.
    using PortNormals = std::array<float, kParameterPorts>;
    [[nodiscard]] std::string portsText() const;
    [[nodiscard]] PortNormals retrievePorts(LV2_State_Retrieve_Function retrieve, LV2_State_Handle handle) const;
    void agree(const PortNormals& ports) noexcept;

    template <typename T>
    [[nodiscard]] T* connected(PortRole role, std::size_t channel = 0) const noexcept
    {
        return static_cast<T*>(connections[portIndex(channels, role, channel)]);
    }
    [[nodiscard]] float* buffer(std::size_t index) noexcept
    {
        return storage.data() + index * static_cast<std::size_t>(capacity);
    }

    const std::size_t channels;
    Urids urids;
    std::int32_t announcedFrames = kUnannouncedFrames;
    std::int32_t capacity = 0;  ///< frames that fit in a buffer
    std::vector<float> storage; ///< inputs, side-chains and, for outputs that aren't connected, one buffer more
    bool freeWheeling = false;
    bool firstRun = true; ///< since activation
    bool everRan = false;

    std::array<void*, kStereoPorts.size()> connections{};
    std::array<float, kParameterPorts> last; ///< of the ports, as they were read last; NaN where that doesn't count
    platform::WaitFreeLock portsLock;        ///< held while ports are taken, and while a state is saved or restored
    PortNormals agreed{}; ///< that go with the effect's: applied last, or held when what was restored was saved
    std::bitset<kParameterPorts> fromState; ///< the agreed ones that a host's text of the port may be a little off
    bool restored = false;                  ///< the agreed values are those of a restore that came before the first run

    std::unique_ptr<core::Plug> plug; ///< last: its timer may call back
};

} // namespace sorvane::lv2
