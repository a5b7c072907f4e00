#pragma once

#include "PlugEd.h"
#include "StateEffect.h"
#include "TestFolder.h"

#include <deque>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace sorvane::test {

/// Answers what it was told to, then cancels.
class TestDialog final : public editor::FileDialog {
public:
    void choose(const Question& question, Chosen chosen) override
    {
        asked.push_back(question);
        if (answers.empty())
            return;
        const std::string path = answers.front();
        answers.pop_front();
        chosen(path);
    }

    std::deque<std::string> answers;
    std::vector<Question> asked;
};

/// The editor over preset folders of the test's own.
class TestEd final : public editor::PlugEd {
public:
    TestEd(host::PlugBaseJSON& owner, host::EffectOperations& ownerOperations, std::vector<std::string> presetPlaces)
        : PlugEd(owner, ownerOperations), places(std::move(presetPlaces))
    {
        setFileDialog(&dialog);
        rebuildPresetMenu();
    }

    void setParameterFromIdle(std::int32_t tag, float value) override
    {
        drained.emplace_back(tag, value);
        PlugEd::setParameterFromIdle(tag, value);
    }

    using PlugEd::abToggleMode;
    using PlugEd::doIdleStuff;
    using PlugEd::freeWidth;
    using PlugEd::lastListen;
    using PlugEd::uiMode;
    using PlugEd::zoomState;

    std::vector<std::pair<std::int32_t, float>> drained;
    TestDialog dialog;

protected:
    [[nodiscard]] std::vector<std::string> presetRoots() const override { return places; }

private:
    std::vector<std::string> places;
};

/// An effect without sound that has an editor, with its presets and default bank in a folder of the test's.
class EditedEffect final : public StateEffect, public host::EffectOperations {
public:
    explicit EditedEffect(const std::string& userFolder, const std::string& packageFolder = "/nowhere")
        : bankPath(userFolder + "/Deep/Default Bank.bnk")
    {
        auto made = std::make_unique<TestEd>(
            *this, *this, std::vector<std::string>{userFolder + "/Presets/", packageFolder + "/Presets/"});
        ed = made.get();
        setEditor(std::move(made));
    }

    [[nodiscard]] std::string getDefaultBankPath() const override { return bankPath; }
    void setAutoListenEnabled(bool on) override { autoListenEnds += on ? 0 : 1; }
    void armAutoListen(std::int32_t) override {}
    void applyGlobalPrefs() override { ed->applyPreferences(); }
    void applyUiPrefs() override { ++uiPrefsApplied; }

    TestEd* ed = nullptr;
    std::string bankPath;
    int autoListenEnds = 0;
    int uiPrefsApplied = 0;

protected:
    host::JSONTree buildChunkJson(bool isPreset) override
    {
        host::JSONTree root = StateEffect::buildChunkJson(isPreset);
        ed->saveSettings(root.get());
        return root;
    }
    host::JSONTree loadChunkJson(std::string_view text, bool isPreset) override
    {
        host::JSONTree root = StateEffect::loadChunkJson(text, isPreset);
        ed->loadSettings(root.get());
        return root;
    }
};

} // namespace sorvane::test
