#pragma once

#include <cstddef>
#include <cstdint>

namespace sorvane::host {

struct AEffect;

/// A number of up to pointer size that travels through the dispatchers.
using Pointer = std::intptr_t;

/// The host's side of the interface: the effect calls it with a HostOpcode.
using HostCallback = Pointer (*)(AEffect* effect, std::int32_t opcode, std::int32_t index, Pointer value, void* data,
                                 float option);

/// Four characters as a code, the first one in the top byte.
[[nodiscard]] constexpr std::int32_t fourCharCode(const char (&text)[5])
{
    std::uint32_t code = 0;
    for (int i = 0; i < 4; ++i)
        code = code << 8 | static_cast<unsigned char>(text[i]);
    return static_cast<std::int32_t>(code);
}

/// The plain record through which a host sees a VST 2.4 effect: the layout is fixed by the interface.
struct AEffect {
    std::int32_t magic; ///< "VstP"
    Pointer (*dispatcher)(AEffect*, std::int32_t opcode, std::int32_t index, Pointer value, void* data, float option);
    void (*process)(AEffect*, float** inputs, float** outputs, std::int32_t frames); ///< deprecated: replaces too
    void (*setParameter)(AEffect*, std::int32_t index, float normal);
    float (*getParameter)(AEffect*, std::int32_t index);
    std::int32_t numPrograms;
    std::int32_t numParams;
    std::int32_t numInputs;
    std::int32_t numOutputs;
    std::int32_t flags; ///< EffectFlag bits
    Pointer hostReserved1;
    Pointer hostReserved2;
    std::int32_t initialDelay;  ///< latency in samples
    std::int32_t realQualities; ///< unused
    std::int32_t offQualities;  ///< unused
    float ioRatio;              ///< unused, 1
    void* object;               ///< the AudioEffect
    void* user;                 ///< the host's
    std::int32_t uniqueID;
    std::int32_t version;
    void (*processReplacing)(AEffect*, float** inputs, float** outputs, std::int32_t frames);
    void (*processDoubleReplacing)(AEffect*, double** inputs, double** outputs, std::int32_t frames);
    char future[56];
};

enum EffectFlag : std::int32_t {
    effectHasEditor = 1 << 0,
    effectCanMono = 1 << 3, ///< deprecated
    effectCanReplacing = 1 << 4,
    effectProgramChunks = 1 << 5,
    effectCanDoubleReplacing = 1 << 12,
};

/// What a host asks of an effect through its dispatcher. Numbers as in the public interface, where they run from 0 to
/// 79; those that are left out are answered 0, which says for each that the effect has nothing of the kind.
enum EffectOpcode : std::int32_t {
    effectOpen = 0,
    effectClose = 1, ///< through the record, the last call: the effect and the record end with it
    effectSetProgram = 2,
    effectGetProgram = 3,
    effectSetProgramName = 4,
    effectGetProgramName = 5,
    effectGetParamLabel = 6,
    effectGetParamDisplay = 7,
    effectGetParamName = 8,
    effectSetSampleRate = 10,
    effectSetBlockSize = 11,
    effectMainsChanged = 12,
    effectEditGetRect = 13,
    effectEditOpen = 14,
    effectEditClose = 15,
    effectEditIdle = 19,
    effectIdentify = 22, ///< deprecated
    effectGetChunk = 23,
    effectSetChunk = 24,
    effectProcessEvents = 25,
    effectCanBeAutomated = 26,
    effectGetProgramNameIndexed = 29,
    effectGetInputProperties = 33,
    effectGetOutputProperties = 34,
    effectGetPlugCategory = 35,
    effectSetBlockSizeAndRate = 43, ///< deprecated
    effectSetBypass = 44,
    effectGetEffectName = 45,
    effectGetVendorString = 47,
    effectGetProductString = 48,
    effectGetVendorVersion = 49,
    effectVendorSpecific = 50,
    effectCanDo = 51,
    effectGetParameterProperties = 56,
    effectKeysRequired = 57, ///< deprecated; 0 when it wants the keyboard
    effectGetVstVersion = 58,
    effectGetSpeakerArrangement = 69,
    effectSetProcessPrecision = 77,
};

/// What the effect asks of its host.
enum HostOpcode : std::int32_t {
    hostAutomate = 0,
    hostVersion = 1, ///< of the interface; asked with no record before there is one
    hostIOChanged = 13,
    hostProcessLevel = 23,
    hostVendorString = 32,
    hostProductString = 33,
    hostVendorSpecific = 35,
    hostBeginEdit = 43,
    hostEndEdit = 44,
};

/// Answers to hostProcessLevel.
enum ProcessLevel : std::int32_t {
    processLevelUnknown = 0,
    processLevelUser = 1,
    processLevelRealtime = 2,
    processLevelPrefetch = 3,
    processLevelOffline = 4,
};

/// Sample types that effectSetProcessPrecision names.
enum ProcessPrecision : std::int32_t {
    precision32 = 0,
    precision64 = 1,
};

enum PinFlag : std::int32_t {
    pinIsActive = 1 << 0,
    pinIsStereo = 1 << 1,
    pinUseSpeaker = 1 << 2,
};

enum SpeakerArrangementType : std::int32_t {
    speakersMono = 0,
    speakersStereo = 1,
    speakers30Music = 7,
    speakers40Music = 11,
};

/// The most characters of a program's name that hosts have room for, and a 0.
inline constexpr std::size_t kMostProgramNameBytes = 24;

/// One audio pin, as the two pin queries fill it.
struct PinProperties {
    char label[64];
    std::int32_t flags; ///< PinFlag bits
    std::int32_t arrangementType;
    char shortLabel[8];
    char future[48];
};

enum ParameterFlag : std::int32_t {
    parameterIsSwitch = 1 << 0,
    parameterUsesFloatStep = 1 << 2,
};

/// How a host's own controls should move a parameter. Steps are parts of the normalised range.
struct ParameterProperties {
    float stepFloat;
    float smallStepFloat;
    float largeStepFloat;
    char label[64];     ///< the parameter's name
    std::int32_t flags; ///< ParameterFlag bits; what the fields behind them hold counts with other bits only
    std::int32_t minInteger;
    std::int32_t maxInteger;
    std::int32_t stepInteger;
    std::int32_t largeStepInteger;
    char shortLabel[8];
    std::int16_t displayIndex;
    std::int16_t category;
    std::int16_t numParametersInCategory;
    std::int16_t reserved;
    char categoryLabel[24];
    char future[16];
};

/// Speakers of one direction; only ever passed by pointer here.
struct SpeakerArrangement;

enum EventType : std::int32_t {
    eventMidi = 1,
};

/// What all kinds of event begin with.
struct Event {
    std::int32_t type;     ///< EventType
    std::int32_t byteSize; ///< of what follows this field
    std::int32_t deltaFrames;
    std::int32_t flags;
};

struct MidiEvent {
    Event head;
    std::int32_t noteLength;
    std::int32_t noteOffset;
    std::uint8_t midiData[4]; ///< status and up to two data bytes
    std::int8_t detune;
    std::uint8_t noteOffVelocity;
    std::uint8_t reserved1;
    std::uint8_t reserved2;
};

/// Events of one block, in the order of time; the list is as long as numEvents says.
struct Events {
    std::int32_t numEvents;
    Pointer reserved;
    Event* events[2];
};

/// An editor window's rectangle in pixels.
struct EditorRect {
    std::int16_t top;
    std::int16_t left;
    std::int16_t bottom;
    std::int16_t right;
};

} // namespace sorvane::host
