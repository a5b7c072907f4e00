#pragma once

#include "EffectOperations.h"
#include "FileDialog.h"
#include "PendingValues.h"
#include "PresetFolder.h"
#include "UIPrefs.h"
#include "VGEditor.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace sorvane::editor {

/// The maker's level of the editor: presets, A/B banks, undo of loads, display preferences.
///
/// All on the user interface thread, but for setParameter and what says otherwise.
class FlagEd : public VGEditor {
public:
    static constexpr std::string_view kBankExtension = "SorvaneBank";

    /// Which buttons the user may press. Any thread.
    struct ButtonStates {
        dsp::Relaxed<bool> undo{false};
        dsp::Relaxed<bool> redo{false};
        dsp::Relaxed<bool> presetPrev{false};
        dsp::Relaxed<bool> presetNext{false};
    };

    FlagEd(host::PlugBaseJSON& owner, host::EffectOperations& ownerOperations);

    void setParameter(std::int32_t tag, float value) override;
    void valueChanged(std::int32_t tag, float value) override;
    void endEdit(std::int32_t tag) override;

    /// \param dialog  outlives the editor; null cancels whatever is asked
    void setFileDialog(FileDialog* dialog) { fileDialog = dialog; }

    /// Lists the preset folders anew, and finds the user's place in them again.
    void rebuildPresetMenu();
    /// Null before it was listed.
    [[nodiscard]] const PresetFolder* getPresetMenu() const { return presetMenu.get(); }
    /// The folder that next and previous walk; null before the first use.
    [[nodiscard]] const PresetFolder* getFolderMenu() const { return folderMenu; }
    [[nodiscard]] std::int32_t getPresetIndex() const { return presetIndex; }
    /// What a choice from the menus does.
    /// \param menu  the path of the folder whose menu it came from
    void choosePreset(std::string_view menu, std::int32_t index);
    /// Loads the file at the preset index of the folder menu, which may then be undone.
    void selectPreset();
    /// Asks for a file and saves the state there. \param isPreset  the program alone
    void savePreset(const std::string& extension, bool isPreset);
    /// Asks for a file and loads it: a bank wholly, of any other its first program.
    void loadPreset(const std::string& extension);
    void setPresetName(const char* name);

    [[nodiscard]] const ButtonStates& getButtons() const { return buttons; }
    [[nodiscard]] std::int32_t getLastBank() const { return lastBank; }
    [[nodiscard]] std::int32_t getLinkPage() const { return linkPage; }

    /// \return the index of a display preference's option, 0 when absent. Any thread but the audio thread
    [[nodiscard]] std::int32_t getUISetting(const char* section, const char* key) const
    {
        return uiPrefs.getUISetting(section, key);
    }
    [[nodiscard]] UIPrefs& getUIPrefs() { return uiPrefs; }

    /// Brings the user's preferences in force. Any thread but the audio thread, as applyGraphPrefs.
    virtual void applyPreferences() = 0;
    /// Brings the instance's display preferences in force.
    virtual void applyGraphPrefs() = 0;

protected:
    /// The state before a load, and where the user was in the preset menus.
    struct StateSnapshot {
        std::int32_t presetIndex; ///< -1 for none
        std::string folderPath;
        std::string data; ///< a bank chunk
    };

    /// The user's preset root and those of packages.
    [[nodiscard]] virtual std::vector<std::string> presetRoots() const;
    /// One pass of the editor's tick.
    virtual void doIdleStuff();
    /// A value has come back from the effect, or from the editor itself.
    virtual void setParameterFromIdle(std::int32_t tag, float value);
    void queue(std::int32_t tag, float value) { pending.post(tag, value); }
    /// Restores the state before the last load, or after it.
    virtual void undoStep(bool isRedo);
    virtual void updatePresetButtons();
    virtual void updateUndoButtons();
    /// Shows a bank that was chosen otherwise than by the bank menu. Any thread but the audio thread.
    void showBank(std::int32_t bank) { queue(core::kGUIABMenu, static_cast<float>(bank)); }

    [[nodiscard]] std::string getLastPresetFolder() const;
    void setLastPresetFolder(std::string_view path);

    host::EffectOperations& operations;
    dsp::Relaxed<std::int32_t> uiMode{0};
    dsp::Relaxed<std::int32_t> lastBank{1};
    dsp::Relaxed<std::int32_t> abToggleMode{0};
    dsp::Relaxed<std::int32_t> linkPage{0};
    dsp::Relaxed<std::int32_t> zoomState{0};
    dsp::Relaxed<std::int32_t> lastListen{2};
    dsp::Relaxed<std::int32_t> freeWidth{728};
    dsp::Relaxed<std::int32_t> presetIndex{0};
    dsp::Relaxed<bool> presetRescan{false};
    dsp::Relaxed<bool> presetNameDirty{false};
    UIPrefs uiPrefs;

private:
    void chooseBank(std::int32_t bank);
    void toggleBank();
    void sendBank(std::int32_t bank);
    void stepPreset(std::int32_t step);
    /// Moves within the folder menu as far as it goes. \return the file there; null when there is nothing to load
    [[nodiscard]] const PresetFolder::Entry* moveToEntry();
    void setPresetPlace(PresetFolder* menu, std::int32_t index);
    /// Loads a chunk but leaves the user's place in the menus as it is, whatever place the chunk holds.
    void loadInPlace(const std::string& chunk, bool isPreset);
    /// Keeps the state as it is. \return false without memory
    bool pushSnapshot(std::vector<StateSnapshot>& list, std::int32_t index, const std::string& folderPath);
    /// Ends a load: the one step of undo that it makes, when what was there before could be kept.
    void markLoad(std::int32_t marker, bool isKept);
    void savePresetTo(const std::string& path, const std::string& extension, bool isPreset);
    void loadPresetFrom(const std::string& path);
    void setProgramNameFromFile(const std::string& path, std::string_view extension);

    FileDialog* fileDialog = nullptr;
    std::unique_ptr<PresetFolder> presetMenu;
    PresetFolder* folderMenu = nullptr; ///< these two in presetMenu
    PresetFolder* previousFolderMenu = nullptr;
    std::int32_t previousPresetIndex = 0;
    std::uint32_t visitedBanks;
    PendingValues pending;
    ButtonStates buttons;
    std::vector<StateSnapshot> undo; ///< one for each marker in the effect's history, in its order
    std::vector<StateSnapshot> redo;
    mutable std::mutex settingsLock; ///< guards the text below
    std::string lastPresetFolder;
};

} // namespace sorvane::editor
