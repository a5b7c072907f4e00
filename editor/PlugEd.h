#pragma once

#include "FlagEd.h"

#include <cjson/cJSON.h>

#include <cstdint>

namespace sorvane::editor {

/// This product's level of the editor: its channel link, what is listened to, and the state that it adds to chunks.
class PlugEd : public FlagEd {
public:
    using FlagEd::FlagEd;

    void valueChanged(std::int32_t tag, float value) override;
    void endEdit(std::int32_t tag) override;
    void applyPreferences() override;
    void applyGraphPrefs() override;

    /// Adds the members "settings" and "uiprefs" to a chunk's root. Any thread but the audio thread, as loadSettings.
    void saveSettings(cJSON* root) const;
    /// Takes both from a chunk's root; what is missing, of another type or not finite leaves its part as it is, and a
    /// number beyond a setting's range counts as the nearest one within. Null does nothing.
    void loadSettings(const cJSON* root);
    /// Switches to the bank that a chunk's "settings" name, if they do.
    void chooseBankOf(const cJSON* root);

private:
    void setLinkPage(std::int32_t page);
    void chooseLinkage(std::int32_t item);
    void copyChannel(bool toSecond);
    void showPages();
    void setFromPlainValue(std::int32_t tag, float value);
    void listen(std::int32_t choice);
    void loadNumbers(const cJSON* settings);

    dsp::Relaxed<std::int32_t> listenMode{0};
};

} // namespace sorvane::editor
