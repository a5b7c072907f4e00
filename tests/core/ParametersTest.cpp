#include "Parameters.h"
#include "Effect.h"
#include "GraphBands.h"
#include "ParameterText.h"
#include "TagTable.h"

#include <gtest/gtest.h>

#include <clocale>
#include <locale>

namespace sorvane::test {
namespace {

using namespace core;

TEST(TagTable, TellsParametersFromOtherNames)
{
    const TagTable& table = TagTable::instance();
    EXPECT_EQ(table.number("kbypass"), std::nullopt);
    EXPECT_EQ(table.name(499), "");
    // Shares the number of kIpTrim, and must not be taken for it.
    EXPECT_EQ(table.number("kNumPrograms"), 1);
    EXPECT_EQ(table.name(1), "kIpTrim");
    EXPECT_EQ(table.parameter("kNumPrograms"), std::nullopt);
    EXPECT_EQ(table.parameter("kGUIGraph"), std::nullopt);
    EXPECT_EQ(table.parameter("kABBank"), 91);
}

TEST(TagTable, ParsesBlanksAndNumbersAnywhere)
{
    const TagTable table(" a,\n\tb =7 , c=3,,d ");
    EXPECT_EQ(table.size(), 4U);
    EXPECT_EQ(table.number("a"), 0);
    EXPECT_EQ(table.number("b"), 7);
    EXPECT_EQ(table.number("c"), 3);
    EXPECT_EQ(table.number("d"), 4);
}

TEST(Scales, HandWorkedPoints)
{
    using enum ScaleType;
    EXPECT_EQ(normalToValue(0.5F, 0, 16, fourthPower), 1.0F);
    EXPECT_EQ(valueToNormal(1.0F, 0, 16, fourthPower), 0.5F);
    EXPECT_EQ(normalToValue(3.0F / 7.0F, 0, 6, enumeration), 3.0F);
    EXPECT_EQ(normalToValue(0.999F, 0, 1, onOff), 0.0F);
    EXPECT_EQ(normalToValue(1.0F, 0, 1, onOff), 1.0F);
    EXPECT_EQ(normalToValue(valueToNormal(96, 6, 192, slope), 6, 192, slope), 96.0F);
    EXPECT_EQ(normalToValue(0.25F, -60, 12, linear), -42.0F);
    EXPECT_FLOAT_EQ(normalToValue(0.5F, 20, 20480, exponential), 640.0F);
    EXPECT_EQ(normalToValue(0.5F, 0, 2, square), 0.5F);
    EXPECT_EQ(normalToValue(0.5F, 0, 8, cubic), 1.0F);
    EXPECT_EQ(normalToValue(0.25F, 0, 8, centredCubic), 3.5F);
    EXPECT_EQ(valueToNormal(3.5F, 0, 8, centredCubic), 0.25F);
    EXPECT_EQ(normalToValue(0.5F, 1, 16, powerOfTwo), 4.0F);
    EXPECT_EQ(normalToValue(0.5F, 0, 48, octaveSlope), 24.0F);
    EXPECT_EQ(normalToValue(0.49F, 0, 10, wholeNumber), 4.0F);
    EXPECT_EQ(normalToValue(0.5F, 3, 4, static_cast<ScaleType>(99)), 3.0F);
    EXPECT_EQ(valueToNormal(3.5F, 3, 4, static_cast<ScaleType>(99)), 0.0F);
}

TEST(Scales, StayInRangeForAnyInput)
{
    for (std::int32_t type = 0; type <= 12; ++type) {
        const auto scale = static_cast<ScaleType>(type);
        for (const float x : {-INFINITY, -1.0F, 0.0F, 1e-30F, 0.5F, 1.0F, 2.0F, INFINITY, NAN}) {
            const float value = normalToValue(x, 6, 192, scale);
            EXPECT_TRUE(value >= 6 && value <= 192) << type << ' ' << x;
            const float normal = valueToNormal(x * 100, 6, 192, scale);
            EXPECT_TRUE(normal >= 0 && normal <= 1) << type << ' ' << x;
            EXPECT_EQ(valueToNormal(x, 3, 3, scale), 0.0F) << type << ' ' << x;
        }
    }
}

TEST(Parameters, EveryValueSurvivesTheWayToNormalAndBack)
{
    for (const ParamRecord& parameter : factoryParameters()) {
        for (int step = 0; step <= 200; ++step) {
            const float value =
                normalToValue(static_cast<float>(step) / 200.0F, parameter.min, parameter.max, parameter.scale);
            const float normal = valueToNormal(value, parameter.min, parameter.max, parameter.scale);
            const float again = normalToValue(normal, parameter.min, parameter.max, parameter.scale);
            const float tolerance = 1e-5F * std::max(std::abs(value), 1e-2F * (parameter.max - parameter.min));
            EXPECT_NEAR(again, value, tolerance) << parameter.name.data();
        }
    }
}

struct CommaDecimal : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

TEST(ParameterText, ReadsAsUsersKnowItWhateverTheLocale)
{
    struct Case {
        std::int32_t tag;
        double value;
        const char* text;
    };
    const std::vector<Case> cases = {
        {kBalance, 0.05, "0dB"},
        {kBalance, 100, "L -infdB"},
        {kBalance, -50, "R -6.0dB"},
        {kBalance, 50, "L -6.0dB"},
        {kRatio, 1, "Inf:1"},
        {kRatio, 1.5, "-2.00:1"},
        {kRatio, 0.6997, "3.33:1"},
        {kRatio, 0, "1.00:1"},
        {kMakeup, 0, "-inf"},
        {kMakeup, 1, "0.0dB"},
        {kMakeup, 16, "24.1dB"},
        {kDryGainB, 0.5, "-6.0dB"},
        {kListen, 3, "3SC/Split/Out/Pass/Diff"},
        {kSplitType, 6, "6"},
        {kSCHPFType, 1, "1HPF/Shelf"},
        {kLinked, 1, "ON"},
        {kBypass, 0, "OFF"},
        {kSplitHPFSlope, 96, "96dB"},
        {kSplitBPFFreq, 440, "440Hz"},
        {kSplitBPFFreq, 5270, "5.3kHz"},
        {kThreshold, -18, "-18.0dB"},
        {kSoft, 40, "40%"},
        {kAttack, 3.15, "3.15ms"},
        {kRelAvg, 2000, "2000ms"},
        {kSplitBPFQ, 0.81, "0.81"},
    };
    const std::locale before = std::locale::global(std::locale(std::locale(), new CommaDecimal));
    std::setlocale(LC_ALL, "de_DE.UTF-8"); // where it is installed
    const auto plug = makePlug();
    for (const Case& c : cases) {
        char text[kParameterTextBytes] = {};
        plug->formatParameter(c.tag, plug->toNormalised(c.tag, static_cast<float>(c.value)), text, 0);
        EXPECT_STREQ(text, c.text) << TagTable::instance().name(c.tag);
    }
    setValues(*plug, {{kExcite, 1}});
    char text[kParameterTextBytes] = {};
    plug->formatParameter(kRatio, 1.0F, text, 0);
    EXPECT_STREQ(text, "1:Inf");
    plug->formatParameter(kRatio, plug->toNormalised(kRatio, 1.0F), text, 0);
    EXPECT_STREQ(text, "1:2.00");
    plug->formatParameter(kRatioB, 1.0F, text, 0); // its own channel isn't upward
    EXPECT_STREQ(text, "-1.00:1");
    plug->formatParameter(92, 0.5F, text, 0);
    EXPECT_STREQ(text, "-1.00:1") << "an index out of range writes nothing";
    std::setlocale(LC_ALL, "C");
    std::locale::global(before);
}

TEST(GraphBands, TextOfAField)
{
    const auto plug = makePlug();
    char text[kParameterTextBytes] = {};
    plug->bandText(bandFrequency, 3, text, 0);
    EXPECT_STREQ(text, "5.3kHz");
    plug->bandText(bandRole, 3, text, 0);
    EXPECT_STREQ(text, "5.3kHz") << "a field without a parameter writes nothing";
}

} // namespace
} // namespace sorvane::test
