#pragma once

#include <cstdint>

namespace sorvane::core {

// The one source of all tag numbers, as the text of an enumeration: it makes the enumerators below and, as a string,
// what TagTable parses, so that the two can't drift apart. Numbers 0 to 91 are the host's parameters, 500 to 580 are
// tags of the editor. Hosts, chunks and scripts hold these names and numbers: never reorder them.
// clang-format off
#define SORVANE_TAGS \
    kBypass, kIpTrim, kMakeup, kDryGain, kOpTrim, kMuteComp, kMuteDry, kMuteOutput, kThreshold, kRatio, kExcite, \
    kSoft, kCeil, kAttack, kRelease, kRelAvg, kRelease2, kHold, kSplitBPF, kSplitBPFFreq, kSplitBPFQ, kSplitHPFSlope, \
    kSplitLPFSlope, kSplitType, kSCHPF, kSCHPFFreq, kSCHPFSlope, kSCHPFType, kSCHPFGain, kSCPeak, kSCPeakGain, \
    kSCPeakFreq, kSCPeakQ, kSCLPF, kSCLPFFreq, kSCLPFSlope, kSCLPFType, kSCLPFGain, kIpTrimB, kMakeupB, kDryGainB, \
    kOpTrimB, kMuteCompB, kMuteDryB, kMuteOutputB, kThresholdB, kRatioB, kExciteB, kSoftB, kCeilB, kAttackB, \
    kReleaseB, kRelAvgB, kRelease2B, kHoldB, kSplitBPFB, kSplitBPFFreqB, kSplitBPFQB, kSplitHPFSlopeB, \
    kSplitLPFSlopeB, kSplitTypeB, kSCHPFB, kSCHPFFreqB, kSCHPFSlopeB, kSCHPFTypeB, kSCHPFGainB, kSCPeakB, \
    kSCPeakGainB, kSCPeakFreqB, kSCPeakQB, kSCLPFB, kSCLPFFreqB, kSCLPFSlopeB, kSCLPFTypeB, kSCLPFGainB, kLinked, \
    kSCSource, kMode, kSmoothing, kOverSample, kDryType, kStereoMode, kStereoLink, kLookahead, kListen, kBalance, \
    kLinearPhase, kNoiseDetector, kExtSC, kHQOversample, kHQSplit, kABBank, kNumParams, \
    kGUIGraph=500, kGUIGraph2, kGUILinkToMaster, kGUIHPFLink, kGUIPrePost, kGUIABSwitch, kGUIMeterA, kGUIMeterA2, \
    kGUIMeterB, kGUIMeterAL, kGUIMeterAR, kGUIMeterA2L, kGUIMeterA2R, kGUIMeterBL, kGUIMeterBR, kGUIMeterOut, \
    kGUIMeterOutL, kGUIMeterOutR, kGUIMeterZoom, kGUILinkPage, kGUISetup, kGUIMode, kGUIModeBig, kGUIInputMode, \
    kGUIAbout, kGUIPhaseBothA, kGUIPhaseBothB, kGUISetupPage, kGUIPrefsChange, kGUIUIPrefsChange, kGUIGraphPrefs, \
    kGUIListenAlt, kGUIListen, kGUIMixer, kGUIResize, kGUIShowExtraListens, kGUIPresetPage, kGUIABMenu, \
    kGUIABMenuAlt, kGUICopyTo, kGUIPresetBox, kGUIPresetPrev, kGUIPresetMenu, kGUIPresetNext, kGUIPresetName, \
    kGUISave, kGUILoad, kGUIStopGraphs, kGUIDisableTooltips, kGUITooltips, kGUIBox1, kGUIBox2, kGUIBox3, kGUIBox4, \
    kGUIBox5, kGUIBox6, kGUIBox7, kGUIUndo, kGUIRedo, kGUIInstancesChanged, kGUIInstanceName, kGUIGoFullscreen, \
    kGUIFullScreenGraph, kGUIFullScreenGraphPrefs, kGUIFullScreenClose, kGUIFullScreenPickScreen, kGUITopControls, \
    kGUIBottomControls, kGUILinkageMenu, kGUIFade1, kGUIFade2, kGUIBSource, kGUIReleaseLED1, kGUIReleaseLED2, \
    kGUIReleaseLED1A, kGUIReleaseLED2A, kGUIReleaseLED1B, kGUIReleaseLED2B, kGUISelectToggle, kGUISelectOnly, \
    kGUIMIDILearn, \
    kNumPrograms=1
// clang-format on

enum Tag : std::int32_t { SORVANE_TAGS };

/// A tag of the first channel (kIpTrim to kSCLPFGain) plus this is its twin of the second.
inline constexpr std::int32_t kTwinOffset = kIpTrimB - kIpTrim;

static_assert(kNumParams == 92 && kTwinOffset == 37 && kGUIMIDILearn == 580);

/// Whether \p index names a parameter of the host.
[[nodiscard]] constexpr bool isParameter(std::int32_t index) noexcept
{
    return index >= 0 && index < kNumParams;
}

} // namespace sorvane::core
