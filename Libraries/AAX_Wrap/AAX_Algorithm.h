#pragma once

#include "AAX_Result.h"

#include <cstdint>

namespace sorvane::aax {

class AAXWrap_Parameters;

/// Where the host's transport stands. Audio thread. What isn't known answers an error and leaves its argument.
class Transport {
public:
    virtual ~Transport() = default;
    /// In beats a minute.
    virtual Result tempo(double& beatsPerMinute) const = 0;
    virtual Result meter(std::int32_t& numerator, std::int32_t& denominator) const = 0;
    virtual Result isPlaying(bool& playing) const = 0;
    /// Start and end in ticks, 960000 to a quarter note.
    virtual Result loop(bool& looping, std::int64_t& startTicks, std::int64_t& endTicks) const = 0;
    virtual Result tickPosition(std::int64_t& ticks) const = 0;
    virtual Result sampleLocation(std::int64_t& samples) const = 0;
};

/// One MIDI message, or a part of a long one.
struct MidiPacket {
    std::uint32_t timeStamp; ///< in samples from the start of the block
    std::uint32_t length;    ///< bytes used, up to 4
    std::uint8_t data[4];
    bool isImmediate; ///< played live, with no place in time
};

/// What a MIDI field of the context leads to.
class MidiNode {
public:
    virtual ~MidiNode() = default;
    /// \param packets  is pointed at the block's, in the order of time, valid until the callback returns
    /// \return how many
    virtual std::uint32_t packets(const MidiPacket*& packets) = 0;
    /// Null for a node that isn't the transport's.
    virtual Transport* transport() = 0;
};

/// Private block of field 8, kept by the host between blocks: how the callback finds its instance.
struct SAAXWrap_Alg_Context_Private {
    AAXWrap_Parameters* parameters;
};

/// What the algorithm callback gets of one instance: the eleven fields of the component's description, by position.
struct AlgorithmContext {
    float** audioInput;
    float** audioOutput;
    std::int32_t* bufferLength; ///< frames
    float* sampleRate;          ///< in hertz
    std::int64_t* clock;
    MidiNode* midiIn;
    void* midiOut; ///< a block without content: there is no MIDI output, and the field keeps the numbering
    MidiNode* transport;
    SAAXWrap_Alg_Context_Private* privateBlock;
    float* meters;                ///< one value a tap, linear
    std::int32_t* sideChainInput; ///< place of the side-chain in audioInput; 0 for none
};

enum ContextField : std::int32_t {
    fieldAudioInput,
    fieldAudioOutput,
    fieldBufferLength,
    fieldSampleRate,
    fieldClock,
    fieldMidiIn,
    fieldMidiOut,
    fieldTransport,
    fieldPrivateBlock,
    fieldMeters,
    fieldSideChainInput,
    numContextFields,
};

static_assert(sizeof(AlgorithmContext) == numContextFields * sizeof(void*), "fields are read by position");

/// The real-time entry: works through the contexts from \p begin to \p end. Audio thread.
using AlgorithmCallback = void (*)(AlgorithmContext* const* begin, AlgorithmContext* const* end);

} // namespace sorvane::aax
