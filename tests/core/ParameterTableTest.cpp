// What hosts, stored sessions and the editor hold of the parameters, written out: a number, name or range that moves
// breaks them.

#include "Effect.h"
#include "GraphBands.h"
#include "Parameters.h"
#include "TagTable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <string_view>

namespace sorvane::test {
namespace {

using namespace core;

struct Row {
    std::string_view tag;
    std::string_view name;
    std::string_view unit;
    float min;
    float max;
    float factory;
    std::int32_t scale;
};

// clang-format off
constexpr std::array<Row, 92> kRows = {{
    {"kBypass", "Bypass", "On/Off", 0, 1, 0, 6},
    {"kIpTrim", "Ip Trim", "dB", -24, 24, 0, 0},
    {"kMakeup", "Makeup", "dB", 0, 16, 1, 11},
    {"kDryGain", "Dry Gain", "dB", 0, 16, 1, 11},
    {"kOpTrim", "Op Trim", "dB", -24, 24, 0, 0},
    {"kMuteComp", "MuteComp", "On/Off", 0, 1, 0, 6},
    {"kMuteDry", "MuteDry", "On/Off", 0, 1, 0, 6},
    {"kMuteOutput", "MuteOp", "On/Off", 0, 1, 0, 6},
    {"kThreshold", "Threshold", "dB", -60, 12, -18, 0},
    {"kRatio", "Ratio", "", 0, 2, 0.6997F, 2},
    {"kExcite", "Upward", "On/Off", 0, 1, 0, 6},
    {"kSoft", "Knee", "%", 0, 100, 40, 0},
    {"kCeil", "Ceil", "dB", 0, 48, 48, 0},
    {"kAttack", "Attack", "ms", 0.02F, 200, 3.15F, 1},
    {"kRelease", "Release", "ms", 10, 2000, 200, 1},
    {"kRelAvg", "RMS", "ms", 20, 4000, 50, 1},
    {"kRelease2", "Rel Fast", "ms", 10, 2000, 20, 1},
    {"kHold", "Hold", "ms", 0, 100, 0.8F, 0},
    {"kSplitBPF", "BPF", "On/Off", 0, 1, 1, 6},
    {"kSplitBPFFreq", "Frequency", "Hz", 20, 22000, 5270, 1},
    {"kSplitBPFQ", "BPFQ", "", 0.1F, 50, 0.81F, 1},
    {"kSplitHPFSlope", "HPFSlope", "dB", 6, 192, 96, 5},
    {"kSplitLPFSlope", "LPFSlope", "dB", 6, 192, 96, 5},
    {"kSplitType", "SplitType", "", 0, 6, 0, 4},
    {"kSCHPF", "SCHPF", "On/Off", 0, 1, 0, 6},
    {"kSCHPFFreq", "SCHPFFreq", "Hz", 20, 22000, 850, 1},
    {"kSCHPFSlope", "SCHPFSlope", "dB", 6, 24, 24, 5},
    {"kSCHPFType", "SCHPFType", "HPF/Shelf", 0, 1, 0, 4},
    {"kSCHPFGain", "SCHPFGain", "dB", -24, 24, 0, 0},
    {"kSCPeak", "SCEQPeak", "On/Off", 0, 1, 0, 6},
    {"kSCPeakGain", "SCEQGain", "dB", -24, 24, 0, 0},
    {"kSCPeakFreq", "SCEQFreq", "Hz", 20, 22000, 6000, 1},
    {"kSCPeakQ", "SCEQQ", "", 0.1F, 20, 0.8F, 1},
    {"kSCLPF", "SCLPF", "On/Off", 0, 1, 0, 6},
    {"kSCLPFFreq", "SCLPFFreq", "Hz", 20, 22000, 22000, 1},
    {"kSCLPFSlope", "SCLPFSlope", "dB", 6, 24, 12, 5},
    {"kSCLPFType", "SCLPFType", "LPF/Shelf", 0, 1, 0, 4},
    {"kSCLPFGain", "SCLPFGain", "dB", -24, 24, 0, 0},
    {"kIpTrimB", "Ip Trim 2", "dB", -24, 24, 0, 0},
    {"kMakeupB", "Makeup 2", "dB", 0, 16, 1, 11},
    {"kDryGainB", "Dry Gain 2", "dB", 0, 16, 1, 11},
    {"kOpTrimB", "Op Trim 2", "dB", -24, 24, 0, 0},
    {"kMuteCompB", "MuteComp 2", "On/Off", 0, 1, 0, 6},
    {"kMuteDryB", "MuteDry 2", "On/Off", 0, 1, 0, 6},
    {"kMuteOutputB", "MuteOp 2", "On/Off", 0, 1, 0, 6},
    {"kThresholdB", "Thresh 2", "dB", -60, 12, -18, 0},
    {"kRatioB", "Ratio 2", "", 0, 2, 0.6997F, 2},
    {"kExciteB", "Upward 2", "On/Off", 0, 1, 0, 6},
    {"kSoftB", "Soft 2", "%", 0, 100, 40, 0},
    {"kCeilB", "Ceil 2", "dB", 0, 48, 48, 0},
    {"kAttackB", "Attack 2", "ms", 0.02F, 200, 3.15F, 1},
    {"kReleaseB", "Release 2", "ms", 10, 2000, 200, 1},
    {"kRelAvgB", "RMS 2", "ms", 20, 4000, 50, 1},
    {"kRelease2B", "Rel Fast 2", "ms", 10, 2000, 20, 1},
    {"kHoldB", "Hold 2", "ms", 0, 100, 0.8F, 0},
    {"kSplitBPFB", "BPF 2", "On/Off", 0, 1, 1, 6},
    {"kSplitBPFFreqB", "Freq 2", "Hz", 20, 22000, 5270, 1},
    {"kSplitBPFQB", "BPFQ 2", "", 0.1F, 50, 0.81F, 1},
    {"kSplitHPFSlopeB", "HPFSlope 2", "dB", 6, 192, 96, 5},
    {"kSplitLPFSlopeB", "LPFSlope 2", "dB", 6, 192, 96, 5},
    {"kSplitTypeB", "SplitType 2", "", 0, 6, 0, 4},
    {"kSCHPFB", "SCHPF 2", "On/Off", 0, 1, 0, 6},
    {"kSCHPFFreqB", "SCHPFFreq 2", "Hz", 20, 22000, 850, 1},
    {"kSCHPFSlopeB", "SCHPFSlope 2", "dB", 6, 24, 24, 5},
    {"kSCHPFTypeB", "SCHPFType 2", "HPF/Shelf", 0, 1, 0, 4},
    {"kSCHPFGainB", "SCHPFGain 2", "dB", -24, 24, 0, 0},
    {"kSCPeakB", "SCEQPeak 2", "On/Off", 0, 1, 0, 6},
    {"kSCPeakGainB", "SCEQGain 2", "dB", -24, 24, 0, 0},
    {"kSCPeakFreqB", "SCEQFreq 2", "Hz", 20, 22000, 6000, 1},
    {"kSCPeakQB", "SCEQQ 2", "", 0.1F, 20, 0.8F, 1},
    {"kSCLPFB", "SCLPF 2", "On/Off", 0, 1, 0, 6},
    {"kSCLPFFreqB", "SCLPFFreq 2", "Hz", 20, 22000, 22000, 1},
    {"kSCLPFSlopeB", "SCLPFSlope 2", "dB", 6, 24, 12, 5},
    {"kSCLPFTypeB", "SCLPFType 2", "LPF/Shelf", 0, 1, 0, 4},
    {"kSCLPFGainB", "SCLPFGain 2", "dB", -24, 24, 0, 0},
    {"kLinked", "Linked", "On/Off", 0, 1, 1, 6},
    {"kSCSource", "Sidechain", "Wide/Split", 0, 1, 1, 6},
    {"kMode", "Dual Mode", "On/Off", 0, 1, 1, 6},
    {"kSmoothing", "Smoothing", "On/Off", 0, 1, 0, 6},
    {"kOverSample", "Oversample", "On/Off", 0, 1, 0, 6},
    {"kDryType", "Parallel", "On/Off", 0, 1, 0, 6},
    {"kStereoMode", "MS", "On/Off", 0, 1, 1, 6},
    {"kStereoLink", "StereoLink", "%", 0, 100, 0, 0},
    {"kLookahead", "Lookahead", "ms", 0, 100, 10, 0},
    {"kListen", "Listen", "SC/Split/Out/Pass/Diff", 0, 4, 2, 4},
    {"kBalance", "Balance", "%", -100, 100, 0, 0},
    {"kLinearPhase", "Linear Phase", "On/Off", 0, 1, 1, 6},
    {"kNoiseDetector", "Detector", "%", 0, 100, 0, 0},
    {"kExtSC", "Ext SC", "On/Off", 0, 1, 0, 6},
    {"kHQOversample", "HQ Oversample", "On/Off", 0, 1, 0, 6},
    {"kHQSplit", "HQ Split", "On/Off", 0, 1, 0, 6},
    {"kABBank", "A/B", "", 0, 7, 0, 4},
}};

/// Numbers 500 upward.
constexpr std::array<std::string_view, 81> kEditorTags = {
    "kGUIGraph", "kGUIGraph2", "kGUILinkToMaster", "kGUIHPFLink", "kGUIPrePost", "kGUIABSwitch", "kGUIMeterA",
    "kGUIMeterA2", "kGUIMeterB", "kGUIMeterAL", "kGUIMeterAR", "kGUIMeterA2L", "kGUIMeterA2R", "kGUIMeterBL",
    "kGUIMeterBR", "kGUIMeterOut", "kGUIMeterOutL", "kGUIMeterOutR", "kGUIMeterZoom", "kGUILinkPage", "kGUISetup",
    "kGUIMode", "kGUIModeBig", "kGUIInputMode", "kGUIAbout", "kGUIPhaseBothA", "kGUIPhaseBothB", "kGUISetupPage",
    "kGUIPrefsChange", "kGUIUIPrefsChange", "kGUIGraphPrefs", "kGUIListenAlt", "kGUIListen", "kGUIMixer",
    "kGUIResize", "kGUIShowExtraListens", "kGUIPresetPage", "kGUIABMenu", "kGUIABMenuAlt", "kGUICopyTo",
    "kGUIPresetBox", "kGUIPresetPrev", "kGUIPresetMenu", "kGUIPresetNext", "kGUIPresetName", "kGUISave", "kGUILoad",
    "kGUIStopGraphs", "kGUIDisableTooltips", "kGUITooltips", "kGUIBox1", "kGUIBox2", "kGUIBox3", "kGUIBox4",
    "kGUIBox5", "kGUIBox6", "kGUIBox7", "kGUIUndo", "kGUIRedo", "kGUIInstancesChanged", "kGUIInstanceName",
    "kGUIGoFullscreen", "kGUIFullScreenGraph", "kGUIFullScreenGraphPrefs", "kGUIFullScreenClose",
    "kGUIFullScreenPickScreen", "kGUITopControls", "kGUIBottomControls", "kGUILinkageMenu", "kGUIFade1", "kGUIFade2",
    "kGUIBSource", "kGUIReleaseLED1", "kGUIReleaseLED2", "kGUIReleaseLED1A", "kGUIReleaseLED2A", "kGUIReleaseLED1B",
    "kGUIReleaseLED2B", "kGUISelectToggle", "kGUISelectOnly", "kGUIMIDILearn",
};
// clang-format on

TEST(ParameterTable, EveryRowIsWhatSessionsHold)
{
    const TagTable& tags = TagTable::instance();
    ASSERT_EQ(factoryParameters().size(), kRows.size());
    for (std::size_t i = 0; i < kRows.size(); ++i) {
        const Row& row = kRows[i];
        const auto number = static_cast<std::int32_t>(i);
        EXPECT_EQ(tags.name(number), row.tag);
        EXPECT_EQ(tags.number(row.tag), number) << row.tag;
        EXPECT_EQ(tags.parameter(row.tag), number) << row.tag;

        const ParamRecord& record = factoryParameters()[i];
        EXPECT_EQ(std::string_view(record.name.data()), row.name) << row.tag;
        EXPECT_EQ(std::string_view(record.unit.data()), row.unit) << row.tag;
        EXPECT_EQ(record.min, row.min) << row.tag;
        EXPECT_EQ(record.max, row.max) << row.tag;
        EXPECT_EQ(record.value.load(), row.factory) << row.tag;
        EXPECT_EQ(static_cast<std::int32_t>(record.scale), row.scale) << row.tag;
        EXPECT_EQ(record.flags, 0U) << row.tag;
        // The default is the value as written; what the host holds follows from it.
        EXPECT_NEAR(normalToValue(record.normal, row.min, row.max, record.scale), row.factory,
                    1e-5F * std::max(1.0F, std::abs(row.factory)))
            << row.tag;
    }
}

TEST(ParameterTable, EveryEditorTagHasItsNumber)
{
    const TagTable& tags = TagTable::instance();
    for (std::size_t i = 0; i < kEditorTags.size(); ++i) {
        const auto number = static_cast<std::int32_t>(500 + i);
        EXPECT_EQ(tags.name(number), kEditorTags[i]);
        EXPECT_EQ(tags.number(kEditorTags[i]), number) << kEditorTags[i];
        EXPECT_EQ(tags.parameter(kEditorTags[i]), std::nullopt) << kEditorTags[i];
    }
    EXPECT_EQ(tags.number("kNumParams"), 92);
    EXPECT_EQ(tags.number("kNumPrograms"), 1);
    EXPECT_EQ(tags.size(), kRows.size() + kEditorTags.size() + 2);
}

/// The parameter behind each field of a band; no name for none.
struct BandRow {
    std::string_view enable, shape, gain, frequency, q, lowPassSlope, slope;
};

// clang-format off
constexpr std::array<BandRow, 12> kBandRows = {{
    {"kSCHPF", "kSCHPFType", "kSCHPFGain", "kSCHPFFreq", "", "", "kSCHPFSlope"},
    {"kSCLPF", "kSCLPFType", "kSCLPFGain", "kSCLPFFreq", "", "", "kSCLPFSlope"},
    {"kSCPeak", "", "kSCPeakGain", "kSCPeakFreq", "kSCPeakQ", "", ""},
    {"kSplitBPF", "kSplitType", "", "kSplitBPFFreq", "kSplitBPFQ", "kSplitLPFSlope", "kSplitHPFSlope"},
    {"kSCHPFB", "kSCHPFTypeB", "kSCHPFGainB", "kSCHPFFreqB", "", "", "kSCHPFSlopeB"},
    {"kSCLPFB", "kSCLPFTypeB", "kSCLPFGainB", "kSCLPFFreqB", "", "", "kSCLPFSlopeB"},
    {"kSCPeakB", "", "kSCPeakGainB", "kSCPeakFreqB", "kSCPeakQB", "", ""},
    {"kSplitBPFB", "kSplitTypeB", "", "kSplitBPFFreqB", "kSplitBPFQB", "kSplitLPFSlopeB", "kSplitHPFSlopeB"},
    {"kSplitBPF", "", "", "kSplitBPFFreq", "kSplitBPFQ", "kSplitLPFSlope", "kSplitHPFSlope"},
    {"kSplitBPF", "", "", "kSplitBPFFreq", "kSplitBPFQ", "kSplitLPFSlope", "kSplitHPFSlope"},
    {"kSplitBPFB", "", "", "kSplitBPFFreqB", "kSplitBPFQB", "kSplitLPFSlopeB", "kSplitHPFSlopeB"},
    {"kSplitBPFB", "", "", "kSplitBPFFreqB", "kSplitBPFQB", "kSplitLPFSlopeB", "kSplitHPFSlopeB"},
}};
// clang-format on

std::array<std::string_view, 10> fieldsOf(const BandRow& row)
{
    return {row.enable, "", row.shape, "", row.gain, row.frequency, row.q, row.lowPassSlope, row.slope, ""};
}

TEST(ParameterTable, EveryFieldOfEveryBandNamesItsParameter)
{
    for (std::int32_t band = 0; band < 12; ++band) {
        for (std::int32_t field = 0; field < 10; ++field) {
            const std::string_view tag =
                fieldsOf(kBandRows[static_cast<std::size_t>(band)])[static_cast<std::size_t>(field)];
            const std::int32_t expected = tag.empty() ? -1 : TagTable::instance().number(tag).value();
            // Both indices wrap, below zero too.
            for (const std::int32_t turns : {-2, 0, 1, 5})
                EXPECT_EQ(bandParameter(field + 10 * turns, band - 12 * turns), expected) << field << ' ' << band;
        }
    }
}

/// What a band's field reads as where it isn't the value of its parameter.
std::optional<float> fixedValue(std::int32_t field, std::int32_t band)
{
    static constexpr std::array<float, 12> kRoles = {64, 64, 64, 128, 16, 16, 16, 32, 128, 128, 32, 32};
    static constexpr std::array<float, 12> kShapes = {1, 6, 3, 7, 1, 6,
                                                      3, 7, 7, 7, 7, 7}; // with neither shelf nor type
    switch (field) {
    case 1:
        return kRoles[static_cast<std::size_t>(band)];
    case 2:
        return kShapes[static_cast<std::size_t>(band)];
    case 6:
        if (band < 8 && band % 4 < 2)
            return 0.707F;
        break;
    default:
        break;
    }
    return std::nullopt;
}

TEST(ParameterTable, EveryFieldOfEveryBandHasItsValue)
{
    // Each parameter at a value of its own, so that none can stand for another. The types keep their first value.
    ParamTable table = factoryParameters();
    for (std::size_t i = 0; i < table.size(); ++i)
        table[i].value = 1000.0F + static_cast<float>(i);
    for (const Tag type : {kSCHPFType, kSCLPFType, kSplitType, kSCHPFTypeB, kSCLPFTypeB, kSplitTypeB})
        table[static_cast<std::size_t>(type)].value = 0.0F;
    for (std::int32_t band = 0; band < 12; ++band) {
        const auto tags = fieldsOf(kBandRows[static_cast<std::size_t>(band)]);
        for (std::int32_t field = 0; field < 10; ++field) {
            const std::string_view tag = tags[static_cast<std::size_t>(field)];
            const float own =
                tag.empty() ? 0.0F
                            : table[static_cast<std::size_t>(TagTable::instance().number(tag).value())].value.load();
            for (const std::int32_t turns : {-1, 0, 3})
                EXPECT_EQ(bandValue(field - 10 * turns, band + 12 * turns, table),
                          fixedValue(field, band).value_or(own))
                    << field << ' ' << band;
        }
    }
}

TEST(ParameterTable, ShapesAndFeaturesFollowTheTypesOfTheirOwnChannel)
{
    constexpr std::array<float, 7> kSplitShapes = {7, 7, 7, 6, 6, 1, 1};
    constexpr std::array<std::uint32_t, 7> kSplitFeatures = {2 + 4 + 8 + 16, 2 + 4 + 8 + 16, 2 + 4, 2 + 8,
                                                             2 + 8,          2 + 16,         2 + 16};
    for (const std::int32_t first : {0, 4}) {
        const std::int32_t twin = first == 0 ? 0 : 37;
        ParamTable table = factoryParameters();
        const auto set = [&](std::int32_t tag, float value) {
            table[static_cast<std::size_t>(tag + twin)].value = value;
        };
        for (std::int32_t type = 0; type < 7; ++type) {
            const auto expected = static_cast<std::size_t>(type);
            set(kSplitType, static_cast<float>(type));
            EXPECT_EQ(bandValue(bandShape, first + 3, table), kSplitShapes[expected]) << type;
            EXPECT_EQ(bandValue(bandSplitType, first + 3, table), static_cast<float>(type));
            EXPECT_EQ(bandFeatures(first + 3, table), kSplitFeatures[expected]) << type;
            EXPECT_EQ(bandFeatures(7 - first, table), kSplitFeatures[0]) << "the other channel's stays";
        }
        for (const bool shelf : {false, true}) {
            set(kSCHPFType, shelf ? 1.0F : 0.0F);
            set(kSCLPFType, shelf ? 1.0F : 0.0F);
            EXPECT_EQ(bandValue(bandShape, first, table), shelf ? 2.0F : 1.0F);
            EXPECT_EQ(bandValue(bandShape, first + 1, table), shelf ? 5.0F : 6.0F);
            for (const std::int32_t band : {first, first + 1}) {
                EXPECT_EQ(bandFeatures(band, table), shelf ? 2U + 1U : 2U + 16U) << band;
                EXPECT_EQ(bandFeatures(band + 12, table), bandFeatures(band, table)) << band;
                EXPECT_EQ(bandFeatures((band + 4) % 8, table), 2U + 16U) << "the other channel's stays";
            }
        }
        EXPECT_EQ(bandFeatures(first + 2, table), 2U + 1U + 4U);
    }
    for (std::int32_t band = 8; band < 12; ++band)
        EXPECT_EQ(bandFeatures(band, factoryParameters()), 2U) << band;
}

} // namespace
} // namespace sorvane::test
