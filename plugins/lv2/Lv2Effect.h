#pragma once

#include "AtomicFlag.h"
#include "Lv2Ports.h"
#include "Plug.h"

#include <lv2/atom/atom.h>
#include <lv2/core/lv2.h>
#include <lv2/options/options.h>
#include <lv2/state/state.h>
#include <lv2/urid/urid.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace sorvane::lv2 {

/// One instance behind the LV2 interface: brings ports to the effect and back.
///
/// A port whose value changed is a change of its parameter on the audio thread: the filter design follows within 10 ms,
/// in free-wheeling at once. The first run after activation applies all ports with their designs before it processes a
/// sample. After a restore the ports count again, so that what a host shows is what is heard. Blocks that are longer than
/// the host announced are processed in parts: no block takes memory.
/// Threads as LV2 has them: run on the audio thread; save, and restore on any other beside it; the rest while no run is
/// in progress. Extensions that the host doesn't bring are done without.
class Lv2Effect {
public:
    /// \param channelCount  1 or 2
    /// \param rateHz        above 0, up to 1 MHz
    Lv2Effect(std::size_t channelCount, double rateHz, const LV2_Feature* const* features);

    /// \param data  of the port; null leaves it unconnected, which is no fault here for any port
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
        LV2_URID chunk = 0, preset = 0, factoryBank = 0;
        LV2_URID atomChunk = 0, atomInt = 0, atomSequence = 0, midiEvent = 0, maxBlockLength = 0;
    };

    static host::Pointer answer(host::AEffect* record, std::int32_t opcode, std::int32_t index, host::Pointer value,
                                void* data, float option);

    void mapUrids(const LV2_URID_Map& map);
    void takeFirstPorts();
    void followFreeWheeling();
    void takePorts();
    bool applyPorts(bool differing);
    bool applyPort(std::size_t tag, bool ifDiffering);
    void takeEvents();
    void processPart(std::size_t first, std::size_t frames);
    void silence(std::size_t frames) noexcept;
    void report();
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
    bool firstRun = true;
    host::AtomicFlag restored; ///< the ports are to be compared with what a restore brought

    std::array<float, kParameterPorts> unconnected{}; ///< defaults, where unconnected ports point to
    std::array<const float*, kParameterPorts> controls{};
    std::array<float, kParameterPorts> last{}; ///< values of the ports that were applied last
    const float* freeWheelingPort = nullptr;
    const LV2_Atom_Sequence* midi = nullptr;
    float* latency = nullptr;
    std::array<std::array<float*, 2>, 2> meters{};       ///< levels, reductions
    std::array<std::array<const float*, 2>, 2> inputs{}; ///< main, side-chain
    std::array<float*, 2> outputs{};

    std::unique_ptr<core::Plug> plug; ///< last: its timer may call back
};

} // namespace sorvane::lv2
