#pragma once

#include "Effect.h"
#include "Lv2Ports.h"
#include "Parameters.h"
#include "Signals.h"
#include "Store.h"

#include <lv2/atom/atom.h>
#include <lv2/buf-size/buf-size.h>
#include <lv2/core/lv2.h>
#include <lv2/midi/midi.h>
#include <lv2/options/options.h>
#include <lv2/state/state.h>
#include <lv2/urid/urid.h>

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace sorvane::test {

/// The library of the bundle that was built, as a host loads it.
class Lv2Library {
public:
    explicit Lv2Library(const char* path = kPath) : handle(::dlopen(path, RTLD_NOW | RTLD_LOCAL))
    {
        if (handle != nullptr)
            entry = reinterpret_cast<LV2_Descriptor_Function>(::dlsym(handle, "lv2_descriptor"));
    }
    ~Lv2Library()
    {
        if (handle != nullptr)
            ::dlclose(handle);
    }
    Lv2Library(const Lv2Library&) = delete;
    Lv2Library& operator=(const Lv2Library&) = delete;

    [[nodiscard]] const LV2_Descriptor* descriptor(std::size_t channels) const
    {
        return entry != nullptr ? entry(channels == 2 ? 0 : 1) : nullptr;
    }
    [[nodiscard]] static bool isLoaded()
    {
        void* const found = ::dlopen(kPath, RTLD_NOW | RTLD_NOLOAD);
        if (found != nullptr)
            ::dlclose(found);
        return found != nullptr;
    }

    static constexpr const char* kPath = SORVANE_LV2_BUNDLE "/Sorvane.so";
    LV2_Descriptor_Function entry = nullptr;

private:
    void* handle;
};

/// Numbers for URIs, one set for the process.
class Lv2Urids {
public:
    static LV2_URID of(const char* uri)
    {
        const std::lock_guard lock(all().mutex);
        return all().numbers.try_emplace(uri, static_cast<LV2_URID>(all().numbers.size()) + 1).first->second;
    }
    static std::string uriOf(LV2_URID number)
    {
        const std::lock_guard lock(all().mutex);
        for (const auto& [uri, found] : all().numbers)
            if (found == number)
                return uri;
        return {};
    }
    static inline LV2_URID_Map map{nullptr, [](LV2_URID_Map_Handle, const char* uri) { return of(uri); }};

private:
    static Lv2Urids& all()
    {
        static Lv2Urids urids;
        return urids;
    }

    std::mutex mutex;
    std::map<std::string, LV2_URID> numbers;
};

/// A text, which is passed over, and a control change of the main volume (7), which a user's map may lead somewhere.
struct MidiSequence {
    LV2_Atom_Sequence head{
        {sizeof(LV2_Atom_Sequence_Body) + 2 * (sizeof(LV2_Atom_Event) + 8), Lv2Urids::of(LV2_ATOM__Sequence)}, {0, 0}};
    LV2_Atom_Event text{{0}, {5, Lv2Urids::of(LV2_ATOM__String)}};
    std::array<std::uint8_t, 8> words{'n', 'o', 'n', 'e', 0};
    LV2_Atom_Event event{{3}, {3, Lv2Urids::of(LV2_MIDI__MidiEvent)}};
    std::array<std::uint8_t, 8> bytes{0xB0, 7, 127};
};

/// The user's map while it lives: controller 7 leads to \p tag.
class MainVolumeMoves {
public:
    explicit MainVolumeMoves(std::int32_t tag) { write(tag); }
    ~MainVolumeMoves() { write(-1); }
    MainVolumeMoves(const MainVolumeMoves&) = delete;
    MainVolumeMoves& operator=(const MainVolumeMoves&) = delete;

private:
    static void write(std::int32_t tag)
    {
        std::string map = "[-1";
        for (int controller = 1; controller < 128; ++controller)
            map.append(",").append(std::to_string(controller == 7 ? tag : -1));
        (void)platform::Store::user().write("MIDIMap", map.append("]"));
    }
};

/// A state as a host keeps it: properties with their bytes.
using Lv2State = std::map<LV2_URID, std::string>;

/// An instance with all its ports connected to memory of ours but the side-chain and the MIDI input.
class Lv2Instance {
public:
    static constexpr std::size_t kFrames = 8192;

    Lv2Instance(const Lv2Library& library, std::size_t channelCount, double rateHz = 48000.0,
                std::int32_t maxBlockLength = 4096)
        : channels(channelCount), descriptor(library.descriptor(channels)), announced(maxBlockLength)
    {
        const std::array<LV2_Options_Option, 2> options = {
            LV2_Options_Option{LV2_OPTIONS_INSTANCE, 0, Lv2Urids::of(LV2_BUF_SIZE__maxBlockLength), sizeof announced,
                               Lv2Urids::of(LV2_ATOM__Int), &announced},
            LV2_Options_Option{}};
        const LV2_Feature mapFeature{LV2_URID__map, &Lv2Urids::map};
        const LV2_Feature optionsFeature{LV2_OPTIONS__options, const_cast<LV2_Options_Option*>(options.data())};
        const std::array<const LV2_Feature*, 3> features = {&mapFeature, &optionsFeature, nullptr};
        handle = descriptor->instantiate(descriptor, rateHz, SORVANE_LV2_BUNDLE, features.data());
        const auto ports = lv2::portsOf(channels);
        controls.resize(ports.size());
        buffers.resize(ports.size());
        for (std::uint32_t index = 0; index < ports.size(); ++index) {
            if (index < lv2::kParameterPorts)
                controls[index] = core::factoryParameters()[index].value;
            if (ports[index].role >= lv2::PortRole::input)
                buffers[index].resize(kFrames);
            if (ports[index].role != lv2::PortRole::midi && ports[index].role != lv2::PortRole::sideChain)
                connect(index, buffers[index].empty() ? &controls[index] : buffers[index].data());
        }
        controls[core::kBypass] = 1.0F; // "enabled"
        state = static_cast<const LV2_State_Interface*>(descriptor->extension_data(LV2_STATE__interface));
    }
    ~Lv2Instance()
    {
        if (isActive)
            descriptor->deactivate(handle);
        descriptor->cleanup(handle);
    }
    Lv2Instance(const Lv2Instance&) = delete;
    Lv2Instance& operator=(const Lv2Instance&) = delete;

    void connect(std::uint32_t index, void* data) const { descriptor->connect_port(handle, index, data); }
    void activate()
    {
        descriptor->activate(handle);
        isActive = true;
    }
    void run(std::size_t frames) const { descriptor->run(handle, static_cast<std::uint32_t>(frames)); }
    /// A run that comes with MIDI, and one without.
    void runWith(MidiSequence& midi) const
    {
        connect(port(lv2::PortRole::midi), &midi);
        run(64);
        connect(port(lv2::PortRole::midi), nullptr);
        run(64);
    }

    [[nodiscard]] std::uint32_t port(lv2::PortRole role, std::int32_t number = 0) const
    {
        const auto ports = lv2::portsOf(channels);
        const auto found = std::find_if(ports.begin(), ports.end(), [&](const lv2::Port& candidate) {
            return candidate.role == role && candidate.number == number;
        });
        return static_cast<std::uint32_t>(found - ports.begin());
    }
    float& control(lv2::PortRole role, std::int32_t number = 0) { return controls[port(role, number)]; }
    std::vector<float>& buffer(lv2::PortRole role, std::size_t channel)
    {
        return buffers[port(role, static_cast<std::int32_t>(channel))];
    }
    void connectSideChain()
    {
        for (std::size_t c = 0; c < channels; ++c)
            connect(port(lv2::PortRole::sideChain, static_cast<std::int32_t>(c)),
                    buffer(lv2::PortRole::sideChain, c).data());
    }

    [[nodiscard]] Lv2State save() const
    {
        Lv2State saved;
        const auto store = [](LV2_State_Handle to, std::uint32_t key, const void* value, std::size_t size,
                              std::uint32_t, std::uint32_t) {
            (*static_cast<Lv2State*>(to))[key].assign(static_cast<const char*>(value), size);
            return LV2_STATE_SUCCESS;
        };
        (void)state->save(handle, store, &saved, 0, nullptr);
        return saved;
    }
    LV2_State_Status restore(const Lv2State& saved) const
    {
        const auto retrieve = [](LV2_State_Handle from, std::uint32_t key, std::size_t* size, std::uint32_t* type,
                                 std::uint32_t* flags) -> const void* {
            const auto& properties = *static_cast<const Lv2State*>(from);
            const auto found = properties.find(key);
            if (found == properties.end())
                return nullptr;
            *size = found->second.size();
            *type = Lv2Urids::of(key == Lv2Urids::of(lv2::kPortsUri) ? LV2_ATOM__String : LV2_ATOM__Chunk);
            *flags = LV2_STATE_IS_POD;
            return found->second.data();
        };
        return state->restore(handle, retrieve, const_cast<Lv2State*>(&saved), 0, nullptr);
    }

    const std::size_t channels;
    const LV2_Descriptor* descriptor;
    LV2_Handle handle = nullptr;
    const LV2_State_Interface* state = nullptr;
    std::vector<float> controls; ///< by the ports' indices
    std::vector<std::vector<float>> buffers;

private:
    std::int32_t announced;
    bool isActive = false;
};

/// An effect as the instance's state says.
inline std::unique_ptr<core::Plug> loaded(const Lv2Instance& instance)
{
    auto plug = makePlug();
    const std::string chunk = instance.save()[Lv2Urids::of(lv2::kChunkUri)];
    EXPECT_FALSE(chunk.empty());
    plug->setChunk(chunk.data(), static_cast<std::int32_t>(chunk.size()), false);
    return plug;
}

} // namespace sorvane::test
