// Presets on disk as the editor walks, loads and saves them.

#include "Alerts.h"
#include "AudioThreadScope.h"
#include "EditedEffect.h"

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>

namespace sorvane::test {
namespace {

using namespace core;
using editor::PresetFolder;

/// The menu as lines: files by their titles, sub-folders with their content in brackets.
std::string shown(const PresetFolder& folder)
{
    std::string text;
    for (std::int32_t i = 0; i < folder.getCount(); ++i) {
        const PresetFolder::Entry& entry = folder.getEntry(i);
        if (!text.empty())
            text += ", ";
        text += entry.title;
        if (entry.folder)
            text += '(' + shown(*entry.folder) + ')';
    }
    return text;
}

std::vector<std::string> takeAlerts()
{
    std::vector<std::string> texts;
    host::Alerts::instance().showPending(
        [&](const std::string& title, const std::string& text) { texts.push_back(title + ": " + text); });
    return texts;
}

class Presets : public testing::Test {
protected:
    Presets() { takeAlerts(); }

    /// Stores the state of an effect with that threshold as a preset of the user's, or elsewhere.
    void make(const std::string& name, float threshold, const std::string& root = "user")
    {
        const std::filesystem::path path = folder.path / root / "Presets" / name;
        std::filesystem::create_directories(path.parent_path());
        StateEffect effect;
        effect.setParameter(kThreshold, threshold);
        makeFile(path.string(), effect.copyChunk(false));
    }
    [[nodiscard]] std::string root() const { return folder / "user/Presets/"; }
    [[nodiscard]] std::unique_ptr<EditedEffect> open() const
    {
        return std::make_unique<EditedEffect>(folder / "user", folder / "package");
    }
    static void press(EditedEffect& effect, std::int32_t tag)
    {
        effect.ed->valueChanged(tag, 1.0F);
        effect.ed->valueChanged(tag, 0.0F);
    }
    [[nodiscard]] static std::string place(const EditedEffect& effect)
    {
        const PresetFolder* const menu = effect.ed->getFolderMenu();
        const auto& buttons = effect.ed->getButtons();
        return (menu != nullptr ? std::filesystem::path(menu->getPath()).parent_path().filename().string() : "") + " " +
               std::to_string(effect.ed->getPresetIndex()) + (buttons.presetPrev ? " prev" : "") +
               (buttons.presetNext ? " next" : "") + " " + effect.programName();
    }

    TestFolder folder;
};

TEST_F(Presets, AreListedInOrderFromTheUserAndThePackage)
{
    const PresetFolder* const none = open()->ed->getPresetMenu();
    ASSERT_NE(none, nullptr);
    for (const char* const name : {"10 B.sor", "2 C.sor", "1 A.sor", "-.sor", "a.b.sor", ".hidden.sor", "loud.SOR",
                                   "text.txt", "sor", "\xC3\xA9.sor", "-3 minus.sor", "99999999999999999999 x.sor"})
        make(name, 0.5F);
    make("Vox/2 Soft.sor", 0.5F);
    make("Vox/10 Hard.sor", 0.5F);
    make("9 More.old/x.sor", 0.5F);
    std::filesystem::create_directories(root() + "Empty.sor");
    make("1 A.sor", 0.1F, "package");
    make("3 P.sor", 0.1F, "package");
    make("Vox/2 Soft.sor", 0.1F, "package");
    make("Vox/1 Package.sor", 0.1F, "package");
    make("Only/in package.sor", 0.1F, "package");
    make("Shared/s.sor", 0.1F, "package");
    std::filesystem::create_directory_symlink(folder / "package/Presets/Shared", root() + "Shared");
    const auto effect = open();
    EXPECT_EQ(shown(*effect->ed->getPresetMenu()), "-3 minus, -, a.b, \xC3\xA9, 1 A, 2 C, 3 P, 10 B, "
                                                   "99999999999999999999 x, Empty(), Only(in package), Shared(s), "
                                                   "Vox(1 Package, 2 Soft, 10 Hard), 9 More(x)");
    effect->ed->choosePreset(root() + "Vox/", 1);
    EXPECT_FLOAT_EQ(effect->getParameter(kThreshold), 0.5F); // the user's hides the package's
    effect->ed->choosePreset(root() + "Only/", 0);
    EXPECT_FLOAT_EQ(effect->getParameter(kThreshold), 0.1F);
    EXPECT_EQ(place(*effect), "Only 0 in package");
    std::filesystem::remove(root() + "Vox/2 Soft.sor"); // while it is listed: the package's comes to light
    effect->setParameter(kThreshold, 0.9F);
    effect->ed->choosePreset(root() + "Vox/", 1);
    EXPECT_FLOAT_EQ(effect->getParameter(kThreshold), 0.1F);
    EXPECT_TRUE(takeAlerts().empty());
}

TEST_F(Presets, StepsStayInTheirFolder)
{
    for (const auto& [name, threshold] : {std::pair{"a.sor", 0.1F}, {"b.sor", 0.2F}, {"Vox/c.sor", 0.3F}})
        make(name, threshold);
    const auto effect = open();
    EXPECT_EQ(place(*effect), "Presets 0 next None");
    press(*effect, kGUIPresetNext);
    EXPECT_EQ(place(*effect), "Presets 1 prev b"); // what follows is a folder
    press(*effect, kGUIPresetNext);
    EXPECT_EQ(place(*effect), "Presets 2 prev b");
    press(*effect, kGUIPresetPrev);
    press(*effect, kGUIPresetPrev);
    EXPECT_EQ(place(*effect), "Presets 0 next a");
    effect->setParameter(kThreshold, 0.9F);
    press(*effect, kGUIPresetPrev);
    EXPECT_EQ(place(*effect), "Presets 0 next a");
    EXPECT_FLOAT_EQ(effect->getParameter(kThreshold), 0.9F);
    effect->ed->choosePreset(root() + "Vox/", 0);
    press(*effect, kGUIPresetNext);
    EXPECT_EQ(place(*effect), "Vox 0 c");
    EXPECT_FLOAT_EQ(effect->getParameter(kThreshold), 0.3F);
    effect->ed->choosePreset("/elsewhere/", 0);
    effect->ed->choosePreset(root(), INT32_MAX);
    EXPECT_EQ(place(*effect), "Presets 2 prev c");
    effect->ed->choosePreset(root(), INT32_MIN);
    EXPECT_EQ(place(*effect), "Presets 0 next c");
    // A host's session says where its user was; the menu finds the place, or begins anew if it has gone.
    effect->ed->choosePreset(root() + "Vox/", 0);
    const std::string session = effect->copyChunk(false);
    const auto later = open();
    later->load(session);
    later->ed->doIdleStuff();
    EXPECT_EQ(place(*later), "Vox 0 c");
    std::filesystem::remove_all(root() + "Vox");
    later->ed->rebuildPresetMenu();
    EXPECT_EQ(place(*later), " 0 next c");
    press(*later, kGUIPresetNext);
    EXPECT_EQ(place(*later), "Presets 0 next a");
}

TEST_F(Presets, LoadingIsUndoneWithItsPlace)
{
    for (const auto& [name, threshold] : {std::pair{"a.sor", 0.1F}, {"Vox/b.sor", 0.2F}, {"Vox/c.sor", 0.3F}})
        make(name, threshold);
    const auto effect = open();
    effect->ed->choosePreset(root(), 0);
    effect->ed->choosePreset(root() + "Vox/", 0);
    press(*effect, kGUIPresetNext);
    const std::vector<std::pair<std::string, float>> states{{"Presets 0 None", effect->getParameterDefault(kThreshold)},
                                                            {"Presets 0 a", 0.1F},
                                                            {"Vox 0 next b", 0.2F},
                                                            {"Vox 1 prev c", 0.3F}};
    for (int round = 0; round < 2; ++round) {
        for (int i = 3; i >= 0; --i) {
            EXPECT_EQ(place(*effect), states[static_cast<std::size_t>(i)].first);
            EXPECT_FLOAT_EQ(effect->getParameter(kThreshold), states[static_cast<std::size_t>(i)].second);
            EXPECT_EQ(effect->ed->getButtons().undo, i > 0);
            press(*effect, kGUIUndo);
        }
        for (int i = 0; i < 4; ++i) {
            EXPECT_EQ(place(*effect), states[static_cast<std::size_t>(i)].first);
            EXPECT_EQ(effect->ed->getButtons().redo, i < 3);
            press(*effect, kGUIRedo);
        }
    }
    EXPECT_FALSE(effect->ed->getButtons().redo);
    { // a host may say any tag on the audio thread; there it means nothing
        const platform::AudioThreadScope audioThread;
        effect->setParameter(host::markerBankSnapshot, 0.0F);
    }
    EXPECT_EQ(place(*effect), states[3].first);
    // An edit after an undo ends the redo of a load for good, and what it kept.
    press(*effect, kGUIUndo);
    effect->ed->beginEdit(kRatio);
    effect->setParameterAutomated(kRatio, 0.25F);
    effect->ed->endEdit(kRatio);
    press(*effect, kGUIRedo);
    EXPECT_EQ(place(*effect), "Vox 0 next b");
    press(*effect, kGUIUndo);
    press(*effect, kGUIUndo);
    EXPECT_EQ(place(*effect), "Presets 0 a");
}

TEST_F(Presets, SavingKeepsBanksAndTheDialogReplacesTheProgramAlone)
{
    const auto effect = open();
    TestDialog& dialog = effect->ed->dialog;
    effect->setBankValue(5, kRatio, 0.75F);
    effect->setParameter(kThreshold, 0.25F);
    effect->ed->setPresetName("In/Out");
    dialog.answers = {root() + "Loud one.sor", folder / "all.SorvaneBank"};
    press(*effect, kGUISave);
    EXPECT_EQ(dialog.asked[0].startPath, root() + "In-Out.sor");
    EXPECT_EQ(dialog.asked[0].title, "Choose destination filename");
    EXPECT_TRUE(dialog.asked[0].saving);
    EXPECT_EQ(effect->programName(), "Loud one");
    press(*effect, kGUISave); // a name of another kind leaves the program's alone
    EXPECT_EQ(effect->programName(), "Loud one");
    press(*effect, kGUISave); // cancelled
    effect->ed->doIdleStuff();
    EXPECT_EQ(shown(*effect->ed->getPresetMenu()), "Loud one");

    const auto other = open();
    other->ed->dialog.answers = {root() + "Loud one.sor", folder / "all.SorvaneBank"};
    other->setParameter(kRatio, 0.5F);
    press(*other, kGUILoad);
    EXPECT_EQ(other->ed->dialog.asked[0].title, "Select preset file");
    EXPECT_EQ(other->ed->dialog.asked[0].extension, "sor");
    EXPECT_EQ(other->getParameter(kThreshold), 0.25F);
    EXPECT_EQ(other->getParameter(kRatio), other->getParameterDefault(kRatio));
    EXPECT_EQ(other->bankValue(5, kRatio), other->getParameterDefault(kRatio));
    EXPECT_EQ(other->programName(), "Loud one");
    press(*other, kGUIUndo);
    EXPECT_EQ(other->getParameter(kRatio), 0.5F);
    EXPECT_EQ(other->programName(), "None");
    press(*other, kGUILoad);
    EXPECT_EQ(other->bankValue(5, kRatio), 0.75F);
    EXPECT_EQ(other->programName(), "all");
    press(*other, kGUIUndo);
    EXPECT_NE(other->bankValue(5, kRatio), 0.75F);
    other->ed->choosePreset(root(), 0);
    EXPECT_EQ(other->bankValue(5, kRatio), 0.75F);
}

TEST_F(Presets, FilesThatChangeWhileListedLoseNothing)
{
    for (const char* const name : {"a.sor", "b.sor", "c.sor", "d.sor", "e.sor"})
        make(name, 0.5F);
    const auto effect = open();
    effect->setParameter(kThreshold, 0.75F);
    std::filesystem::remove(root() + "a.sor");
    std::filesystem::remove(root() + "b.sor");
    std::filesystem::create_directory(root() + "b.sor");
    std::filesystem::remove(root() + "c.sor");
    std::filesystem::create_symlink(root() + "c.sor", root() + "c.sor");
    std::filesystem::resize_file(root() + "d.sor", host::kMostChunkBytes + 1);
    makeFile(root() + "e.sor", "no chunk");
    for (std::int32_t i = 0; i < 4; ++i) {
        effect->ed->choosePreset(root(), i);
        const auto alerts = takeAlerts();
        ASSERT_EQ(alerts.size(), 1U) << i;
        EXPECT_EQ(alerts[0], "Kestrune : File Access Error: Failed to read from file " + root() +
                                 std::string(1, static_cast<char>('a' + i)) +
                                 ".sor\nThis is often due to permissions settings\nYour data has not been loaded");
        EXPECT_FALSE(effect->canUndo());
        EXPECT_EQ(effect->programName(), "None");
    }
    effect->ed->choosePreset(root(), 4); // is read, but holds nothing
    EXPECT_FLOAT_EQ(effect->getParameter(kThreshold), 0.75F);
    EXPECT_EQ(effect->programName(), "e");
    effect->ed->dialog.answers = {root() + "no/such folder.sor"};
    press(*effect, kGUISave);
    const auto alerts = takeAlerts();
    ASSERT_EQ(alerts.size(), 1U);
    EXPECT_NE(alerts[0].find("Failed to write to file"), std::string::npos);
    EXPECT_NE(alerts[0].find("has not been saved"), std::string::npos);
}

TEST_F(Presets, LinksInACircleEnd)
{
    make("a.sor", 0.5F);
    for (const char* const name : {"one", "two", "three", "four"})
        std::filesystem::create_directory_symlink(root(), root() + name);
    const auto effect = open();
    EXPECT_EQ(shown(*effect->ed->getPresetMenu()), "a, four(), one(), three(), two()");
}

TEST_F(Presets, ALargeFolderOpensAtOnce)
{
    std::filesystem::create_directories(root());
    for (int i = 0; i < 10000; ++i)
        makeFile(root() + std::to_string(i * 7919 % 10000) + " preset.sor", "");
    const auto effect = open();
    const auto start = std::chrono::steady_clock::now();
    effect->ed->rebuildPresetMenu();
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
    RecordProperty("milliseconds", std::to_string(took.count()));
    const PresetFolder& menu = *effect->ed->getPresetMenu();
    ASSERT_EQ(menu.getCount(), 10000);
    for (std::int32_t i = 0; i < 10000; ++i)
        ASSERT_EQ(menu.getEntry(i).title, std::to_string(i) + " preset");
}

} // namespace
} // namespace sorvane::test
