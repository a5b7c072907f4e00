// The class chain as a host and an editor use it.

#include "Alerts.h"
#include "Effect.h"
#include "ParameterText.h"
#include "UserFile.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <functional>
#include <stdexcept>

namespace sorvane::test {
namespace {

using namespace core;
using namespace host;

/// An editor that writes down what it is told, and that does what a test wants of it then.
class TestEditor : public AEffEditor {
public:
    bool getRect(const EditorRect**) override { return false; }
    bool open(void*) override { return false; }
    void close() override {}
    void idle() override {}
    void setParameter(std::int32_t index, float value) override
    {
        told.emplace_back(index, value);
        if (onTold)
            onTold(index);
    }

    std::vector<std::pair<std::int32_t, float>> told;
    std::function<void(std::int32_t)> onTold;
};

/// The base alone, with an editor. Writes down its updates.
class BaseWithEditor : public PlugBase {
public:
    BaseWithEditor() : PlugBase(TestHost::callback)
    {
        auto made = std::make_unique<TestEditor>();
        testEditor = made.get();
        setEditor(std::move(made));
        setBankParameter(kABBank);
    }
    using PlugBase::bankAutomation;
    using PlugBase::bankSwitching;
    using PlugBase::inHistoryStep;

    TestEditor* testEditor;
    std::vector<std::pair<bool, bool>> updates; ///< full, and within a switch

protected:
    void updateParameters(bool full) override { updates.emplace_back(full, bankSwitching); }
    void processBlock(float**, float**, std::int32_t) override {}
    void processBlock(double**, double**, std::int32_t) override {}
};

TEST(PlugBase, RecordThatTheHostSees)
{
    const auto plug = makePlug();
    AEffect* const record = plug->getAeffect();
    EXPECT_EQ(record->magic, 0x56737450);
    EXPECT_EQ(record->uniqueID, 0x4B736F72);
    EXPECT_EQ(record->numPrograms, 1);
    EXPECT_EQ(record->numParams, 92);
    EXPECT_EQ(record->numInputs, 4);
    EXPECT_EQ(record->numOutputs, 2);
    EXPECT_EQ(record->version, 1);
    EXPECT_EQ(record->flags, (1 << 3) | (1 << 4) | (1 << 5) | (1 << 12));
    EXPECT_EQ(record->initialDelay, 480 + 1024);
    record->setParameter(record, kThreshold, 0.25F);
    EXPECT_EQ(record->getParameter(record, kThreshold), 0.25F);
    EXPECT_EQ(record->dispatcher(record, 12345, 0, 0, nullptr, 0.0F), 0);

    const auto text = [&](std::int32_t opcode, std::int32_t index = 0) {
        char buffer[256] = "untouched";
        record->dispatcher(record, opcode, index, 0, buffer, 0.0F);
        return std::string(buffer);
    };
    EXPECT_EQ(text(effectGetVendorString), "Kestrune");
    EXPECT_EQ(text(effectGetProductString), "Sorvane");
    EXPECT_EQ(text(effectGetEffectName), "Sorvane");
    EXPECT_EQ(text(effectGetParamName, kThreshold), "Threshold");
    EXPECT_EQ(text(effectGetParamDisplay, kThreshold), "-42.0dB");
    EXPECT_EQ(text(effectGetParamLabel, kThreshold), "");
    EXPECT_EQ(text(effectGetParamName, 92), "");
    EXPECT_EQ(text(effectGetProgramName), "None");
    EXPECT_EQ(text(effectGetProgramNameIndexed, 1), "untouched");
    const auto ask = [&](std::int32_t opcode, std::int32_t index = 0, Pointer value = 0,
                         const char* feature = nullptr) {
        return record->dispatcher(record, opcode, index, value, const_cast<char*>(feature), 0.0F);
    };
    EXPECT_EQ(ask(effectGetVendorVersion), 110);
    EXPECT_EQ(ask(effectGetVstVersion), 2400);
    EXPECT_EQ(ask(effectGetPlugCategory), 1);
    EXPECT_EQ(ask(effectCanBeAutomated, 200), 1);
    EXPECT_EQ(ask(effectCanDo, 0, 0, "bypass"), 1);
    EXPECT_EQ(ask(effectCanDo, 0, 0, "receiveVstMidiEvent"), 1);
    EXPECT_EQ(ask(effectCanDo, 0, 0, "Bypass"), 0);
    EXPECT_EQ(ask(effectCanDo), 0);
    EXPECT_EQ(ask(effectVendorSpecific, fourCharCode("KSTR"), fourCharCode("ctrl")), 1);
    EXPECT_EQ(ask(effectVendorSpecific, fourCharCode("KSTR"), 0), 0);
    int arrangement = 0;
    void* speakers[2] = {&arrangement, &arrangement};
    EXPECT_EQ(record->dispatcher(record, effectGetSpeakerArrangement, 0, reinterpret_cast<Pointer>(&speakers[0]),
                                 &speakers[1], 0.0F),
              0);
    EXPECT_EQ(speakers[0], nullptr);
    EXPECT_EQ(speakers[1], nullptr);
    EXPECT_EQ(ask(effectSetBypass, 0, 1), 1);
    EXPECT_EQ(plug->getParameterValue(kBypass), 1.0F);
}

TEST(PlugBase, PinsAreLabelledAndArranged)
{
    TestHost host;
    const auto plug = makePlug(48000.0F, TestHost::callback);
    PinProperties pin{};
    EXPECT_TRUE(plug->getInputProperties(3, &pin));
    EXPECT_STREQ(pin.label, "Input 4");
    EXPECT_EQ(pin.flags, pinIsActive | pinIsStereo | pinUseSpeaker);
    EXPECT_EQ(pin.arrangementType, speakers40Music);
    EXPECT_FALSE(plug->getInputProperties(4, &pin));
    EXPECT_FALSE(plug->getInputProperties(-1, &pin));
    EXPECT_TRUE(plug->getOutputProperties(1, &pin));
    EXPECT_STREQ(pin.label, "Output 2");
    EXPECT_EQ(pin.arrangementType, speakersStereo);
    EXPECT_FALSE(plug->getOutputProperties(2, &pin));
    for (const auto& [vendor, flags] : {std::pair{"Ableton", 3}, {"Cakewalk, Inc", 3}, {"Abletons", 7}}) {
        host.vendor = vendor;
        EXPECT_TRUE(plug->getInputProperties(0, &pin));
        EXPECT_EQ(pin.flags, flags) << vendor;
    }
}

TEST(PlugBase, ParametersAreGuardedClampedAndStepped)
{
    const auto plug = makePlug();
    plug->setParameter(kThreshold, 0.5F);
    plug->setParameter(kThreshold, NAN);
    EXPECT_EQ(plug->getParameter(kThreshold), 0.5F);
    plug->setParameter(kThreshold, INFINITY);
    EXPECT_EQ(plug->getParameter(kThreshold), 1.0F);
    EXPECT_EQ(plug->getParameterValue(kThreshold), 12.0F);
    plug->setParameter(kThreshold, -INFINITY);
    EXPECT_EQ(plug->getParameterValue(kThreshold), -60.0F);
    for (const std::int32_t index : {-1, 92, 500, -1001, INT32_MAX, INT32_MIN}) {
        plug->setParameter(index, 0.7F);
        EXPECT_EQ(plug->getParameter(index), 0.0F);
        EXPECT_EQ(plug->getParameterValue(index), 0.0F);
        EXPECT_EQ(plug->getParameterScale(index), -1);
        EXPECT_EQ(plug->getParameterMin(index), 0.0F);
        EXPECT_EQ(plug->getParameterMax(index), 1.0F);
        EXPECT_EQ(plug->getParameterSteps(index), 0);
        EXPECT_EQ(plug->snapParameter(index, 0.3F, true), 0.3F);
    }
    EXPECT_EQ(plug->getParameterSteps(kABBank), 8);
    EXPECT_EQ(plug->getParameterSteps(kBypass), 1);
    EXPECT_EQ(plug->getParameterSteps(kThreshold), 0);
    EXPECT_EQ(plug->getParameterSteps(kSplitHPFSlope), 32);
    EXPECT_EQ(plug->getParameterStepSize(kSplitHPFSlope), 6);
    EXPECT_EQ(plug->getParameterDefault(kMakeup), 0.5F);
    EXPECT_FLOAT_EQ(plug->snapParameter(kSplitType, 0.6F, true), 4.0F / 6.0F);
    EXPECT_FLOAT_EQ(plug->snapParameter(kSplitType, 0.6F, false), 3.0F / 7.0F);
}

TEST(PlugBase, ProgramNamesAreCutBetweenCharacters)
{
    const auto plug = makePlug();
    const auto nameOf = [&](const std::string& text) {
        plug->setProgramName(text.c_str());
        char name[256] = {};
        plug->getProgramName(name);
        return std::string(name);
    };
    EXPECT_EQ(nameOf("Voice"), "Voice");
    EXPECT_EQ(nameOf(std::string(64, 'x')), std::string(63, 'x'));
    EXPECT_EQ(nameOf(std::string(62, 'x') + "\u00e9"), std::string(62, 'x'));
    EXPECT_EQ(nameOf(std::string(61, 'x') + "\u00e9y"), std::string(61, 'x') + "\u00e9");
    EXPECT_EQ(nameOf(std::string(60, 'x') + "\U0001F399"), std::string(60, 'x'));
    EXPECT_EQ(nameOf(std::string(100, '\x80')), std::string(63, '?'));
    EXPECT_EQ(nameOf("caf\xe9 \xC3\xA9\xF0\x9F\x8E \xC3"), "caf? \u00e9??? ?") << "what is no UTF-8";
    plug->setProgramNameIndexed("other", 1);
    plug->setProgramName(nullptr);
    char name[64] = "x";
    plug->getProgramName(name);
    EXPECT_STREQ(name, "");
}

TEST(PlugBase, ParameterBankRoad)
{
    TestHost host;
    BaseWithEditor plug;
    const float threshold = plug.getParameter(kThreshold);
    plug.setParameter(kThreshold, 0.9F); // lands in bank A
    EXPECT_EQ(plug.testEditor->told.back(), (std::pair<std::int32_t, float>{kThreshold, 0.9F}));
    plug.setParameter(kNumParams, 1.0F); // no parameter, but the editor may know it
    EXPECT_EQ(plug.testEditor->told.back().first, kNumParams);
    plug.setParameter(markerBankSnapshot, 1.0F); // the history's alone
    EXPECT_EQ(plug.testEditor->told.back().first, kNumParams);
    host.calls.clear();

    plug.setParameter(kABBank, 0.26F); // bank C, snapped
    EXPECT_EQ(plug.getCurrentBank(), 2);
    EXPECT_EQ(plug.getParameter(kABBank), 0.25F);
    EXPECT_EQ(plug.getParameter(kThreshold), threshold) << "a fresh bank is the factory's";
    ASSERT_EQ(host.calls.size(), 273U) << "an edit of each but the bank itself";
    for (std::size_t i = 0; i < host.calls.size(); ++i) {
        EXPECT_EQ(host.calls[i].opcode, (std::array{hostBeginEdit, hostAutomate, hostEndEdit}[i % 3]));
        EXPECT_EQ(host.calls[i].index, static_cast<std::int32_t>(i / 3));
    }
    EXPECT_EQ(plug.testEditor->told.back(), (std::pair<std::int32_t, float>{kABBank, 0.26F}));

    plug.setParameter(kThreshold, 0.1F);
    plug.setParameter(kABBank, 0.0F);
    EXPECT_EQ(plug.getParameter(kThreshold), 0.9F) << "bank A as it was left";
    host.calls.clear();
    plug.setParameter(kABBank, 0.05F); // already selected: an ordinary value
    EXPECT_EQ(plug.getParameter(kABBank), 0.05F);
    EXPECT_TRUE(host.callsOf(hostAutomate).empty());

    plug.setParameter(kSplitType, 0.5F); // not on a step
    plug.copyCurrentToBank(7);
    plug.copyCurrentToBank(8);
    plug.switchBank(-1);
    plug.bankAutomation = false;
    plug.testEditor->told.clear();
    plug.setBankAutomated(7);
    EXPECT_EQ(plug.getCurrentBank(), 7);
    EXPECT_EQ(plug.getParameter(kThreshold), 0.9F);
    EXPECT_FLOAT_EQ(plug.getParameter(kSplitType), 3.0F / 7.0F) << "snapped";
    ASSERT_EQ(host.calls.size(), 1U) << "the bank alone";
    EXPECT_EQ(host.calls[0].index, kABBank);
    EXPECT_EQ(host.calls[0].option, 0.875F);
    EXPECT_EQ(plug.testEditor->told.size(), 91U + 91U + 1U);

    plug.testEditor->onTold = [&](std::int32_t index) { // as another thread may
        if (index == kThreshold && plug.getCurrentBank() == 0)
            plug.switchBank(5);
    };
    plug.switchBank(0);
    EXPECT_EQ(plug.getCurrentBank(), 5);
    EXPECT_EQ(plug.getParameter(kSplitType), plug.getParameterDefault(kSplitType)) << "nothing of bank A came after";
}

TEST(PlugBase, DisplayOfTheBaseIsPlain)
{
    const BaseWithEditor plug;
    const auto text = [&](std::int32_t tag, double value) {
        char buffer[kParameterTextBytes] = {};
        plug.formatParameter(tag, plug.toNormalised(tag, static_cast<float>(value)), buffer, 0);
        return std::string(buffer);
    };
    EXPECT_EQ(text(kBypass, 1), "On");
    EXPECT_EQ(text(kSplitHPFSlope, 48), "48 dB");
    EXPECT_EQ(text(kSplitBPFFreq, 5270), "5.3 kHz");
    EXPECT_EQ(text(kSplitBPFFreq, 440), "440 Hz");
    EXPECT_EQ(text(kThreshold, -18), "-18.00 dB");
    EXPECT_EQ(text(kSoft, 40), "40 %");
    EXPECT_EQ(text(kRelease, 2000), "2000 ms");
    EXPECT_EQ(text(kAttack, 3.15), "3.15 ms");
}

TEST(PlugBase, ProgramIsAppliedAsEdits)
{
    TestHost host;
    const auto plug = makePlug(48000.0F, TestHost::callback);
    plug->setParameter(kSplitType, 0.5F); // not on a step
    host.calls.clear();
    plug->setProgram(1);
    EXPECT_TRUE(host.calls.empty());
    plug->setProgram(0);
    ASSERT_EQ(host.callsOf(hostVendorSpecific).size(), 1U);
    EXPECT_EQ(host.callsOf(hostVendorSpecific)[0].index, fourCharCode("prch"));
    EXPECT_EQ(host.callsOf(hostAutomate).size(), 91U) << "all but the bank";
    EXPECT_EQ(host.callsOf(hostEndEdit).size(), 91U);
    EXPECT_FLOAT_EQ(plug->getParameter(kSplitType), 3.0F / 7.0F) << "snapped";

    BaseWithEditor base;
    host.calls.clear();
    base.bankSwitching = true; // within a chunk that is loaded
    base.setProgram(0);
    EXPECT_EQ(host.callsOf(hostAutomate).size(), 92U) << "the bank too";
    EXPECT_FALSE(base.bankSwitching);
}

TEST(PlugBase, UndoAndRedoMirrorEachOther)
{
    TestHost host;
    const auto plug = makePlug(48000.0F, TestHost::callback);
    const auto edit = [&](std::int32_t tag, float normal) { plug->setNormalWithEdit(tag, normal); };
    const float threshold = plug->getParameter(kThreshold);
    EXPECT_FALSE(plug->canUndo());
    edit(kThreshold, 0.25F);
    edit(kThreshold, 0.75F);
    EXPECT_EQ(host.callsOf(hostBeginEdit).size(), 2U);
    plug->undo();
    EXPECT_EQ(plug->getParameter(kThreshold), 0.25F);
    EXPECT_EQ(host.callsOf(hostAutomate).back().option, 0.25F);
    plug->undo();
    EXPECT_EQ(plug->getParameter(kThreshold), threshold);
    EXPECT_FALSE(plug->canUndo());
    plug->undo();
    plug->redo();
    plug->redo();
    EXPECT_EQ(plug->getParameter(kThreshold), 0.75F);
    EXPECT_FALSE(plug->canRedo());

    plug->undo();
    plug->beginEdit(kRatio); // ends where it began: no step, and what was undone stays
    plug->endEdit(kRatio);
    EXPECT_TRUE(plug->canRedo());
    edit(kRatio, 0.1F);
    EXPECT_FALSE(plug->canRedo());

    plug->clearHistory();
    plug->beginUndoGroup();
    edit(kThreshold, 0.1F);
    edit(kSoft, 0.2F);
    plug->endUndoGroup();
    plug->beginUndoGroup(); // an empty group vanishes
    plug->endUndoGroup();
    plug->undo();
    EXPECT_EQ(plug->getParameter(kThreshold), 0.25F);
    EXPECT_EQ(plug->getParameter(kSoft), plug->getParameterDefault(kSoft));
    EXPECT_FALSE(plug->canUndo());
    plug->redo();
    EXPECT_EQ(plug->getParameter(kThreshold), 0.1F);
    EXPECT_EQ(plug->getParameter(kSoft), 0.2F);
    EXPECT_FALSE(plug->canRedo());

    plug->clearHistory();
    edit(kABBank, 0.375F); // a bank change is a step like any other
    EXPECT_EQ(plug->getCurrentBank(), 3);
    plug->undo();
    EXPECT_EQ(plug->getCurrentBank(), 0);
    plug->redo();
    EXPECT_EQ(plug->getCurrentBank(), 3);
    plug->setValueInGroup(kThreshold, -30.0F);
    EXPECT_NEAR(plug->getParameterValue(kThreshold), -30.0F, 1e-5F);
    plug->beginEdit(markerPresetSnapshot);
    EXPECT_TRUE(plug->canUndo());
    plug->undo(); // only moves the marker when there is no editor
    EXPECT_TRUE(plug->canRedo());

    BaseWithEditor base;
    base.setNormalWithEdit(kSoft, 0.3F);
    base.undo();
    for (const bool within : {true, false}) { // as a host that answers a step with an edit of its own
        base.inHistoryStep = within;
        base.endEdit(kRatio);
        EXPECT_EQ(base.canRedo(), within);
    }
}

TEST(PlugBase, HostIsToldWhatWasSetAndOnlyOfParameters)
{
    TestHost host;
    const auto plug = makePlug(48000.0F, TestHost::callback);
    host.calls.clear();
    const auto told = [&](std::int32_t index, float normal) {
        host.calls.clear();
        plug->setNormalWithEdit(index, normal);
        const auto automated = host.callsOf(hostAutomate);
        return automated.empty() ? -1.0F : automated.back().option;
    };
    EXPECT_EQ(told(kThreshold, 3.0F), 1.0F);
    EXPECT_EQ(told(kThreshold, -INFINITY), 0.0F);
    EXPECT_EQ(told(kABBank, 0.26F), 0.25F);
    EXPECT_EQ(told(kThreshold, NAN), -1.0F);
    for (const std::int32_t tag : {-1, 92, 500, INT32_MIN, static_cast<std::int32_t>(markerPresetSnapshot)}) {
        EXPECT_EQ(told(tag, 0.5F), -1.0F);
        EXPECT_TRUE(host.calls.empty()) << tag;
    }
    for (const std::int32_t bank : {-1, 8, 99, INT32_MAX, INT32_MIN})
        plug->setBankAutomated(bank);
    EXPECT_TRUE(host.calls.empty());
    EXPECT_EQ(plug->getCurrentBank(), 2);

    plug->setNormalInGroup(kSoft, 0.9F);
    host.calls.clear();
    plug->undo();
    plug->redo();
    EXPECT_EQ(host.calls.size(), 6U) << "one edit each, and none of a marker";
    for (const HostCall& call : host.calls)
        EXPECT_EQ(call.index, kSoft);
}

TEST(PlugBase, FailureBehindAnEntryLeavesNothingUnderWay)
{
    TestHost host;
    BaseWithEditor plug;
    AEffect* const record = plug.getAeffect();
    plug.setNormalWithEdit(kSoft, 0.3F);
    plug.testEditor->onTold = [](std::int32_t index) {
        if (index == kSoft)
            throw std::runtime_error("no memory");
    };
    for (const bool bank : {true, false}) {
        plug.updates.clear();
        if (bank)
            EXPECT_NO_THROW(record->setParameter(record, kABBank, 0.375F));
        else
            EXPECT_NO_THROW(record->dispatcher(record, effectSetProgram, 0, 0, nullptr, 0.0F));
        EXPECT_FALSE(plug.bankSwitching);
        EXPECT_EQ(plug.updates, (std::vector{std::pair{true, false}})) << "of what was set until then";
    }
    EXPECT_EQ(plug.getCurrentBank(), 3);
    EXPECT_THROW(plug.undo(), std::runtime_error);
    EXPECT_FALSE(plug.inHistoryStep);
    EXPECT_TRUE(plug.canRedo());
}

TEST(Alerts, FileFailuresWaitUntilTheyAreShown)
{
    using Shown = std::vector<std::pair<std::string, std::string>>;
    Shown shown;
    const auto show = [&](const std::string& title, const std::string& text) { shown.emplace_back(title, text); };
    EXPECT_FALSE(readUserFile(std::array{std::string("/nowhere/a.sor")}, 100));
    EXPECT_FALSE(writeUserFile("/nowhere/b.sor", "text"));
    Alerts::instance().showPending([&](const std::string& title, const std::string& text) {
        show(title, text);
        Alerts::instance().showPending(show); // from within a message box: nothing
        if (shown.size() == 1)
            Alerts::instance().add("late", "comes while others are shown");
    });
    const std::string hint = "\nThis is often due to permissions settings\nYour data has not been ";
    EXPECT_EQ(shown,
              (Shown{{"Kestrune : File Access Error", "Failed to read from file /nowhere/a.sor" + hint + "loaded"},
                     {"Kestrune : File Access Error", "Failed to write to file /nowhere/b.sor" + hint + "saved"}}));
    Alerts::instance().add("later", "stays while a box fails");
    const auto fail = [](const std::string&, const std::string&) { throw std::runtime_error("no window"); };
    EXPECT_THROW(Alerts::instance().showPending(fail), std::runtime_error);
    for (int i = 0; i < 2; ++i) {
        Alerts::instance().showPending(show);
        EXPECT_EQ(shown.size(), 3U);
    }
}

} // namespace
} // namespace sorvane::test
