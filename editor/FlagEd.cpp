#include "FlagEd.h"

#include "AudioThreadScope.h"
#include "Resources.h"

#include <cmath>

namespace sorvane::editor {

namespace {

constexpr std::int32_t kNumBanks = host::PlugBase::kNumBanks;

/// A menu's value as the index of its item; -1 for what can't be one.
std::int32_t toIndex(float value)
{
    constexpr float kMostItems = 1.0e6F;
    return value >= 0.0F && value < kMostItems ? static_cast<std::int32_t>(value) : -1;
}

} // namespace

FlagEd::FlagEd(host::PlugBaseJSON& owner, host::EffectOperations& ownerOperations)
    : VGEditor(owner), operations(ownerOperations), uiPrefs(platform::resource("json", "uisettings")),
      visitedBanks(1U << static_cast<std::uint32_t>(owner.getCurrentBank()))
{}

void FlagEd::setParameter(std::int32_t tag, float value)
{
    const bool isMarker = tag == host::markerPresetSnapshot || tag == host::markerBankSnapshot;
    if (!isMarker)
        pending.post(tag, value);
    else if (!platform::AudioThreadScope::active()) // a host may say any tag there
        undoStep(value != 0.0F);
}

void FlagEd::valueChanged(std::int32_t tag, float value)
{
    switch (tag) {
    case core::kGUIMeterZoom:
        zoomState = value != 0.0F ? 1 : 0;
        break;
    case core::kGUIPrefsChange:
        operations.applyGlobalPrefs();
        break;
    case core::kGUIUIPrefsChange:
        applyGraphPrefs();
        break;
    case core::kGUIABMenu:
        chooseBank(toIndex(value));
        break;
    case core::kGUIABMenuAlt:
        toggleBank();
        break;
    case core::kGUICopyTo:
        effect.copyCurrentToBank(toIndex(value));
        break;
    case core::kGUIPresetPrev:
    case core::kGUIPresetNext:
        if (value != 0.0F)
            stepPreset(tag == core::kGUIPresetNext ? 1 : -1);
        break;
    case core::kGUISave:
    case core::kGUILoad:
        if (value == 1.0F) {
            const std::string extension(PresetFolder::kExtension);
            tag == core::kGUISave ? savePreset(extension, false) : loadPreset(extension);
        }
        break;
    case core::kGUIUndo:
    case core::kGUIRedo:
        if (value != 0.0F)
            tag == core::kGUIUndo ? effect.undo() : effect.redo();
        updateUndoButtons();
        break;
    default:
        VGEditor::valueChanged(tag, value);
        break;
    }
}

void FlagEd::endEdit(std::int32_t tag)
{
    VGEditor::endEdit(tag);
    if (!effect.canRedo())
        redo.clear(); // the edit has emptied the effect's half of it
    updateUndoButtons();
}

void FlagEd::chooseBank(std::int32_t bank)
{
    if (bank < 0 || bank >= kNumBanks)
        return;
    visitedBanks |= 1U << static_cast<std::uint32_t>(bank);
    const std::int32_t current = effect.getCurrentBank();
    sendBank(bank);
    lastBank = current;
}

/// Goes to the bank used before, or to the next one of those that were used since the window opened.
void FlagEd::toggleBank()
{
    enum Mode : std::int32_t { lastTwo = 0, visited = 1, midiLearn = 2 };
    if (abToggleMode == midiLearn)
        return;
    const std::int32_t current = effect.getCurrentBank();
    std::int32_t bank = lastBank;
    if (abToggleMode == visited) {
        visitedBanks |= 1U << static_cast<std::uint32_t>(current);
        bank = current;
        do
            bank = (bank + 1) % kNumBanks;
        while ((visitedBanks >> static_cast<std::uint32_t>(bank) & 1U) == 0);
    }
    sendBank(bank);
    showBank(bank);
    lastBank = current;
}

void FlagEd::sendBank(std::int32_t bank)
{
    beginEdit(core::kABBank);
    effect.setParameterAutomated(core::kABBank, effect.toNormalised(core::kABBank, static_cast<float>(bank)));
    endEdit(core::kABBank);
}

void FlagEd::updateUndoButtons()
{
    buttons.undo = effect.canUndo();
    buttons.redo = effect.canRedo();
}

void FlagEd::undoStep(bool isRedo)
{
    std::vector<StateSnapshot>& source = isRedo ? redo : undo;
    if (source.empty())
        return;
    const StateSnapshot snapshot = std::move(source.back());
    source.pop_back();
    pushSnapshot(isRedo ? undo : redo, presetIndex, folderMenu != nullptr ? folderMenu->getPath() : "");
    loadInPlace(snapshot.data, false);
    if (presetMenu && !snapshot.folderPath.empty()) {
        setPresetPlace(presetMenu->find(snapshot.folderPath), snapshot.presetIndex);
        updatePresetButtons();
    }
}

bool FlagEd::pushSnapshot(std::vector<StateSnapshot>& list, std::int32_t index, const std::string& folderPath)
{
    try {
        StateSnapshot snapshot{index, folderPath, effect.copyChunk(false)};
        if (snapshot.data.empty())
            return false;
        list.push_back(std::move(snapshot));
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

void FlagEd::doIdleStuff()
{
    if (presetRescan) {
        presetRescan = false;
        rebuildPresetMenu();
    }
    pending.drain([this](std::int32_t tag, float value) { setParameterFromIdle(tag, value); });
}

void FlagEd::setParameterFromIdle(std::int32_t tag, float)
{
    if (core::isParameter(tag))
        updateUndoButtons();
}

std::string FlagEd::getLastPresetFolder() const
{
    const std::lock_guard lock(settingsLock);
    return lastPresetFolder;
}

void FlagEd::setLastPresetFolder(std::string_view path)
{
    const std::lock_guard lock(settingsLock);
    lastPresetFolder = path;
}

} // namespace sorvane::editor
