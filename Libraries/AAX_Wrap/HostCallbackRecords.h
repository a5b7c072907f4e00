#pragma once

#include "AEffect.h"

#include <cstdint>

// What a host answers and takes in the public interface beyond what the effect asks for today.

namespace sorvane::aax {

enum HostCallbackOpcode : std::int32_t {
    hostGetTime = 7,
    hostProcessEvents = 8,
};

enum TimeInfoFlag : std::int32_t {
    timeIsPlaying = 1 << 1,
    timeIsLooping = 1 << 2,
    timeNanosecondsValid = 1 << 8,
    timeMusicalPositionValid = 1 << 9,
    timeTempoValid = 1 << 10,
    timeCycleValid = 1 << 12,
    timeSignatureValid = 1 << 13,
};

/// Where the host's transport stands at the start of a block.
struct TimeInfo {
    double samplePosition;
    double sampleRate;
    double nanoSeconds;
    double musicalPosition; ///< in quarter notes, as the two ends of the cycle
    double tempo;           ///< in beats a minute
    double barStart;        ///< never filled
    double cycleStart;
    double cycleEnd;
    std::int32_t timeSignatureNumerator;
    std::int32_t timeSignatureDenominator;
    std::int32_t smpteOffset;
    std::int32_t smpteFrameRate;
    std::int32_t samplesToNextClock;
    std::int32_t flags; ///< TimeInfoFlag bits
};

inline constexpr std::int32_t kEventSysex = 6;

/// A system exclusive message of any length, in place of a MIDI event.
struct SysexEvent {
    host::Event head;
    std::int32_t dumpBytes;
    host::Pointer reserved1;
    char* sysexDump;
    host::Pointer reserved2;
};

} // namespace sorvane::aax
