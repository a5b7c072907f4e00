// Undo, banks, link and presets together: a random walk beside a model that keeps whole states.

#include "EditedEffect.h"

#include <gtest/gtest.h>

#include <malloc.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <map>
#include <random>

namespace sorvane::test {
namespace {

using namespace core;

constexpr int kBanks = 8;

/// All that undo may bring back. The slot of the bank parameter stands for nothing: `bank` does.
struct State {
    std::array<std::array<float, kNumParams>, kBanks> banks{};
    int bank = 0;
    std::string name = "None";
    int lastBank = 1;
    int linkPage = 0;
    int readout = 0; // of a display preference

    [[nodiscard]] float& value(std::int32_t tag)
    {
        return banks[static_cast<std::size_t>(bank)][static_cast<std::size_t>(tag)];
    }
};

/// Where the user is in the preset menus.
struct Place {
    std::string folder;
    int index = 0;
};

/// One step of a history: the whole state on its other side, and which part of it counts.
struct Step {
    bool isLoad = false;
    bool isBankChange = false;
    std::vector<std::int32_t> tags;
    State state;
    Place place;
};

/// What the editor ought to do, in the plainest way.
struct Model {
    State now;
    Place place;
    std::vector<Step> undo;
    std::vector<Step> redo;
    std::uint32_t visited = 1;

    /// Notes an edit that has happened; one that changed nothing is none.
    void edited(const State& before)
    {
        Step step;
        step.isBankChange = now.bank != before.bank;
        for (std::int32_t tag = 0; tag < kABBank && !step.isBankChange; ++tag)
            if (State(before).value(tag) != now.value(tag))
                step.tags.push_back(tag);
        if (!step.isBankChange && step.tags.empty())
            return;
        step.state = before;
        undo.push_back(step);
        redo.clear();
    }
    void loaded(const State& before, const Place& from)
    {
        Step step;
        step.isLoad = true;
        step.state = before;
        step.place = from;
        undo.push_back(step);
        redo.clear();
    }
    void step(bool isRedo)
    {
        auto& source = isRedo ? redo : undo;
        if (source.empty())
            return;
        Step step = source.back();
        source.pop_back();
        const State before = now;
        const Place from = place;
        if (step.isLoad) {
            now = step.state;
            if (!step.place.folder.empty())
                place = step.place;
            step.place = from;
        } else if (step.isBankChange) {
            now.bank = step.state.bank;
        } else {
            for (const std::int32_t tag : step.tags)
                now.value(tag) = step.state.value(tag);
        }
        step.state = before;
        (isRedo ? undo : redo).push_back(step);
    }
    void toggleBank(int mode)
    {
        const State before = now;
        int bank = now.lastBank;
        if (mode == 1) {
            visited |= 1U << static_cast<unsigned>(now.bank);
            for (bank = (now.bank + 1) % kBanks; (visited >> static_cast<unsigned>(bank) & 1U) == 0;)
                bank = (bank + 1) % kBanks;
        }
        now.bank = bank;
        edited(before);
        now.lastBank = before.bank;
    }
    void chooseBank(int bank)
    {
        const State before = now;
        visited |= 1U << static_cast<unsigned>(bank);
        now.bank = bank;
        edited(before);
        now.lastBank = before.bank;
    }
    void copyChannel(bool toSecond)
    {
        for (std::int32_t tag = 1; tag <= 37; ++tag)
            (toSecond ? now.value(tag + 37) : now.value(tag)) = toSecond ? now.value(tag) : now.value(tag + 37);
    }
    void setLinkPage(int page)
    {
        const State before = now;
        const float linked = page == 0 ? 1.0F : 0.0F;
        if (now.value(kLinked) != linked) {
            now.value(kLinked) = linked;
            if (page != 0)
                copyChannel(true);
        }
        edited(before);
        now.linkPage = page;
    }
    /// A file of a state, loaded for its program alone: into the bank in use, and then on to the bank that the file
    /// was saved in.
    void loadProgram(const State& file)
    {
        const auto banks = now.banks;
        const int bank = now.bank;
        now = file;
        now.banks = banks;
        now.banks[static_cast<std::size_t>(bank)] = file.banks[static_cast<std::size_t>(file.bank)];
    }
};

class Walk {
public:
    explicit Walk(unsigned seed) : random(seed), effect(folder / "user")
    {
        // Every value is one that stepped parameters keep and that a chunk holds exactly.
        for (int bank = kBanks - 1; bank >= 0; --bank)
            effect.switchBank(bank);
        effect.setProgram(0);
        readInto(model.now);
        std::filesystem::create_directories(folder / "user/Presets/Vox");
        for (const char* const name :
             {"Presets/1 a.sor", "Presets/2 b.sor", "Presets/Vox/c.sor", "Presets/Vox/d.sor", "whole.SorvaneBank"})
            save(folder / ("user/" + std::string(name)));
        effect.ed->doIdleStuff();
        model.place = {folder / "user/Presets/", 0};
        presets = {{model.place.folder, {"1 a", "2 b"}}, {folder / "user/Presets/Vox/", {"c", "d"}}};
    }

    /// \return what differs; empty if nothing
    std::string run(int operations)
    {
        for (int i = 0; i < operations; ++i) {
            const int operation = pick(20);
            operate(operation);
            effect.ed->doIdleStuff();
            const std::string apart = compare();
            if (!apart.empty())
                return "operation " + std::to_string(i) + " of kind " + std::to_string(operation) + ": " + apart;
            // What a host is given now has all of it.
            const std::string saved = effect.copyChunk(false);
            effect.markChunkDirty();
            if (effect.copyChunk(false) != saved)
                return "operation " + std::to_string(i) + " of kind " + std::to_string(operation) +
                       ": saved is an old state";
        }
        return {};
    }

private:
    int pick(int count) { return static_cast<int>(random() % static_cast<unsigned>(count)); }
    float pickValue(std::int32_t tag)
    {
        for (;;) {
            float value = static_cast<float>(pick(17)) / 16.0F;
            for (int i = 0; i < 8; ++i) {
                const float kept = effect.toNormalised(tag, effect.fromNormalised(tag, value));
                if (kept == value && (value == 0.0F || value > 0.01F))
                    return value;
                value = kept;
            }
        }
    }
    void drag(std::int32_t tag, const std::vector<float>& values)
    {
        for (const float value : values)
            effect.setParameterAutomated(tag, value);
    }
    void press(std::int32_t tag, int value = 1) { effect.ed->valueChanged(tag, static_cast<float>(value)); }

    void operate(int operation)
    {
        const State before = model.now;
        switch (operation) {
        case 0:
        case 1:
        case 2: { // one parameter, now and then back to where it was
            const std::int32_t tag = pick(kABBank);
            const float value = pick(4) == 0 ? model.now.value(tag) : pickValue(tag);
            effect.ed->beginEdit(tag);
            drag(tag, {pickValue(tag), pickValue(tag), value});
            effect.ed->endEdit(tag);
            model.now.value(tag) = value;
            model.edited(before);
            break;
        }
        case 3: { // a handle that moves two
            const std::int32_t first = pick(40);
            const std::int32_t second = 40 + pick(40);
            const float a = pick(2) == 0 ? model.now.value(first) : pickValue(first);
            const float b = pick(2) == 0 ? model.now.value(second) : pickValue(second);
            effect.beginUndoGroup();
            effect.ed->beginEdit(first);
            effect.ed->beginEdit(second);
            drag(first, {pickValue(first), a});
            drag(second, {b});
            effect.ed->endEdit(first);
            effect.ed->endEdit(second);
            effect.endUndoGroup();
            model.now.value(first) = a;
            model.now.value(second) = b;
            model.edited(before);
            break;
        }
        case 4: {
            const int bank = pick(kBanks);
            press(kGUIABMenu, bank);
            model.chooseBank(bank);
            break;
        }
        case 5: {
            const int mode = pick(3);
            effect.ed->abToggleMode = mode;
            press(kGUIABMenuAlt);
            if (mode != 2)
                model.toggleBank(mode);
            break;
        }
        case 6: {
            const int bank = pick(kBanks);
            press(kGUICopyTo, bank);
            model.now.banks[static_cast<std::size_t>(bank)] = model.now.banks[static_cast<std::size_t>(model.now.bank)];
            break;
        }
        case 7: {
            const int page = pick(3);
            press(kGUILinkPage, page);
            model.setLinkPage(page);
            break;
        }
        case 8: {
            const int item = pick(3);
            press(kGUILinkageMenu, item);
            if (item == 0) {
                model.setLinkPage(0);
            } else {
                model.copyChannel(item == 1);
                model.edited(before);
            }
            break;
        }
        case 9: { // the host automates: nothing to undo
            const std::int32_t tag = pick(kNumParams);
            const float value = pickValue(tag);
            effect.setParameter(tag, value);
            if (tag == kABBank)
                model.now.bank = std::min(static_cast<int>(value * 8.0F), kBanks - 1);
            else
                model.now.value(tag) = value;
            break;
        }
        case 10:
            model.now.name = "name " + std::to_string(pick(100));
            effect.ed->setPresetName(model.now.name.c_str());
            effect.ed->rebuildPresetMenu();
            break;
        case 11:
            model.now.readout = pick(4);
            effect.ed->getUIPrefs().setUISetting("Graph", "Readout", model.now.readout);
            press(kGUIUIPrefsChange);
            break;
        case 12:
            if (pick(8) == 0) { // slow, since it waits for the disk
                auto file = files.begin();
                std::advance(file, pick(static_cast<int>(files.size())));
                save(std::string(file->first));
            }
            break;
        case 13: { // from the menus, or one step on
            const bool isNext = pick(3) == 0;
            const Place from = model.place;
            auto menu = isNext ? presets.find(from.folder) : presets.begin();
            if (!isNext)
                std::advance(menu, pick(2));
            model.place = {menu->first, isNext ? from.index + 1 : pick(2)};
            if (isNext)
                press(kGUIPresetNext);
            else
                effect.ed->choosePreset(menu->first, model.place.index);
            if (model.place.index > 1) { // a sub-folder, or the end
                model.place.index = std::min(model.place.index, menu->first.ends_with("Vox/") ? 1 : 2);
                break;
            }
            const std::string& title = menu->second[static_cast<std::size_t>(model.place.index)];
            model.now = files.at(menu->first + title + ".sor");
            model.now.name = title;
            model.loaded(before, from);
            break;
        }
        case 14: {
            auto file = files.begin();
            std::advance(file, pick(static_cast<int>(files.size())));
            effect.ed->dialog.answers = {file->first};
            press(kGUILoad);
            if (file->first.ends_with("Bank"))
                model.now = file->second;
            else
                model.loadProgram(file->second);
            model.now.name = std::filesystem::path(file->first).stem();
            model.loaded(before, {});
            break;
        }
        case 15:
        case 16:
        case 17:
            for (int i = pick(6); i >= 0; --i) {
                press(kGUIUndo);
                model.step(false);
            }
            break;
        default:
            for (int i = pick(6); i >= 0; --i) {
                press(kGUIRedo);
                model.step(true);
            }
            break;
        }
    }

    void save(const std::string& path)
    {
        effect.ed->dialog.answers = {path};
        press(kGUISave);
        if (path.ends_with(".sor"))
            model.now.name = std::filesystem::path(path).stem();
        files[path] = model.now;
    }

    void readInto(State& state) const
    {
        for (std::size_t bank = 0; bank < kBanks; ++bank)
            for (std::size_t tag = 0; tag < kABBank; ++tag)
                state.banks[bank][tag] = effect.bankValue(bank, tag);
    }

    [[nodiscard]] std::string compare()
    {
        State real;
        readInto(real);
        for (std::size_t bank = 0; bank < kBanks; ++bank)
            for (std::size_t tag = 0; tag < kABBank; ++tag)
                if (std::abs(real.banks[bank][tag] - model.now.banks[bank][tag]) > 1.0e-6F)
                    return "bank " + std::to_string(bank) + " tag " + std::to_string(tag) + ": " +
                           std::to_string(real.banks[bank][tag]) + ", not " +
                           std::to_string(model.now.banks[bank][tag]);
        for (std::int32_t tag = 0; tag < kABBank; ++tag)
            if (effect.getParameter(tag) != model.now.value(tag) ||
                effect.programValue(static_cast<std::size_t>(tag)) != model.now.value(tag))
                return "tag " + std::to_string(tag) + " in use";
        const auto& ed = *effect.ed;
        const auto differs = [](const std::string& what, auto is, auto ought) {
            std::ostringstream text;
            if (is != ought)
                text << what << ' ' << is << ", not " << ought << "; ";
            return text.str();
        };
        return differs("bank", effect.getCurrentBank(), model.now.bank) +
               differs("name", effect.programName(), model.now.name) +
               differs("last bank", ed.getLastBank(), model.now.lastBank) +
               differs("link page", ed.getLinkPage(), model.now.linkPage) +
               differs("readout", ed.getUISetting("Graph", "Readout"), model.now.readout) +
               differs("undo", ed.getButtons().undo.load(), !model.undo.empty()) +
               differs("redo", ed.getButtons().redo.load(), !model.redo.empty()) +
               differs("folder", ed.getFolderMenu()->getPath(), model.place.folder) +
               differs("preset", ed.getPresetIndex(), model.place.index);
    }

    TestFolder folder;
    std::mt19937 random;
    EditedEffect effect;
    Model model;
    std::map<std::string, State> files;
    std::map<std::string, std::vector<std::string>> presets;
};

/// SORVANE_WALK sets how many operations are walked.
TEST(EditorWalk, IsNeverApartFromWholeStates)
{
    constexpr int kOperationsEach = 2000;                   // the model keeps a whole state for each
    const char* const wanted = std::getenv("SORVANE_WALK"); // NOLINT(concurrency-mt-unsafe)
    const int walks = wanted != nullptr ? std::max(std::atoi(wanted) / kOperationsEach, 1) : 1;
    for (int walk = 0; walk < walks; ++walk) {
        Walk made(static_cast<unsigned>(walk));
        ASSERT_EQ(made.run(kOperationsEach), "") << "walk " << walk;
    }
}

TEST(EditorWalk, TenThousandDragsAreSmall)
{
    TestFolder folder;
    EditedEffect effect(folder / "user");
    const auto before = mallinfo2().uordblks;
    for (int drag = 0; drag < 10000; ++drag) {
        const std::int32_t tag = drag % kABBank;
        effect.ed->beginEdit(tag);
        for (int step = 0; step < 20; ++step)
            effect.setParameterAutomated(tag, static_cast<float>((drag * 31 + step) % 997) / 997.0F);
        effect.ed->endEdit(tag);
    }
    EXPECT_LT(mallinfo2().uordblks - before, 2U << 20U);
    RecordProperty("bytes", std::to_string(mallinfo2().uordblks - before));
    int steps = 0;
    for (; effect.canUndo(); ++steps)
        effect.ed->valueChanged(kGUIUndo, 1.0F);
    EXPECT_GT(steps, 9900); // but for drags that end where they began
}

/// Cases with figures that the walk doesn't name.
TEST(EditorWalk, LinkAndListen)
{
    TestFolder folder;
    EditedEffect effect(folder / "user");
    editor::PlugEd& ed = *effect.ed;
    ASSERT_EQ(effect.getParameter(kLinked), 1.0F);
    effect.setParameter(kThreshold, 0.25F);
    ed.valueChanged(kGUILinkPage, 2.0F);
    EXPECT_EQ(effect.getParameter(kLinked), 0.0F);
    EXPECT_EQ(effect.getParameter(kThresholdB), 0.25F);
    EXPECT_EQ(effect.autoListenEnds, 1);
    ed.valueChanged(kGUIUndo, 1.0F);
    EXPECT_EQ(effect.getParameter(kLinked), 1.0F);
    EXPECT_EQ(effect.getParameter(kThresholdB), effect.getParameterDefault(kThresholdB));
    EXPECT_FALSE(effect.canUndo());
    for (const float value : {NAN, -1.0F, 3.0F, INFINITY, 1.0e30F}) {
        ed.valueChanged(kGUILinkPage, value);
        ed.valueChanged(kGUILinkageMenu, value);
        ed.valueChanged(kGUIABMenu, value == 3.0F ? 8.0F : value);
        ed.valueChanged(kGUICopyTo, value == 3.0F ? 8.0F : value);
        ed.valueChanged(kGUIListen, value == 3.0F ? 5.0F : value);
    }
    EXPECT_EQ(ed.getLinkPage(), 2);
    EXPECT_EQ(effect.getCurrentBank(), 0);
    EXPECT_FALSE(effect.canUndo());

    const auto listening = [&] { return static_cast<int>(effect.getParameterValue(kListen)); };
    ed.valueChanged(kGUIListen, 4.0F);
    EXPECT_EQ(listening(), 4);
    ed.valueChanged(kGUIListen, 4.0F); // once more is off
    EXPECT_EQ(listening(), 2);
    ed.valueChanged(kGUIListenAlt, 1.0F); // the two last
    EXPECT_EQ(listening(), 4);
    ed.valueChanged(kListen, 1.0F);
    ed.valueChanged(kGUIListenAlt, 1.0F);
    EXPECT_EQ(listening(), 4);
    ed.valueChanged(kGUIUndo, 1.0F);
    EXPECT_EQ(listening(), 1);
}

} // namespace
} // namespace sorvane::test
