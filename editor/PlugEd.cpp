#include "PlugEd.h"

#include "GlobalPrefs.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace sorvane::editor {

using namespace core;

namespace {

enum LinkPage : std::int32_t { bothChannels = 0, firstChannel = 1, secondChannel = 2 };
enum LinkageItem : std::int32_t { relink = 0, copyToSecond = 1, copyToFirst = 2 };

constexpr std::int32_t kListenOutput = 2; // listening is off
constexpr std::int32_t kListenCount = 5;
constexpr std::size_t kMostFolderBytes = 4096; // no path is longer

std::int32_t rounded(float value)
{
    return std::isfinite(value) ? static_cast<std::int32_t>(std::clamp(value, -1.0F, 1000.0F)) : -1;
}

} // namespace

void PlugEd::valueChanged(std::int32_t tag, float value)
{
    switch (tag) {
    case kSplitType:
    case kSplitTypeB:
    case kStereoMode:
        setFromPlainValue(tag, value);
        break;
    case kListen:
        lastListen = static_cast<std::int32_t>(effect.getParameterValue(kListen));
        queue(kGUIListen, value);
        setFromPlainValue(tag, value);
        break;
    case kGUIListen: {
        const std::int32_t choice = rounded(value);
        listen(choice == static_cast<std::int32_t>(effect.getParameterValue(kListen)) ? kListenOutput : choice);
        break;
    }
    case kGUIListenAlt: {
        const auto current = static_cast<std::int32_t>(effect.getParameterValue(kListen));
        listen(listenMode == 1 ? (current + 1) % kListenCount : lastListen.load());
        break;
    }
    case kGUILinkPage:
        setLinkPage(rounded(value));
        break;
    case kGUILinkageMenu:
        chooseLinkage(rounded(value));
        break;
    case kGUIFullScreenGraphPrefs:
        applyGraphPrefs();
        break;
    default:
        FlagEd::valueChanged(tag, value);
        break;
    }
    effect.markChunkDirty();
}

void PlugEd::endEdit(std::int32_t tag)
{
    FlagEd::endEdit(tag);
    if (tag == kSplitBPFFreq || tag == kSplitBPFFreqB)
        operations.setAutoListenEnabled(false);
}

void PlugEd::setFromPlainValue(std::int32_t tag, float value)
{
    effect.setParameterAutomated(tag, effect.toNormalised(tag, value));
}

void PlugEd::listen(std::int32_t choice)
{
    if (choice < 0 || choice >= kListenCount)
        return;
    lastListen = static_cast<std::int32_t>(effect.getParameterValue(kListen));
    queue(kGUIListen, static_cast<float>(choice));
    beginEdit(kListen);
    setFromPlainValue(kListen, static_cast<float>(choice));
    endEdit(kListen);
}

/// Shows both channels or one of them; the first time that one is chosen it starts as a copy of the other.
void PlugEd::setLinkPage(std::int32_t page)
{
    if (page < bothChannels || page > secondChannel)
        return;
    linkPage = page;
    const bool linked = page == bothChannels;
    if ((effect.getParameterValue(kLinked) != 0.0F) != linked) {
        effect.beginUndoGroup();
        beginEdit(kLinked);
        effect.setParameterAutomated(kLinked, linked ? 1.0F : 0.0F);
        endEdit(kLinked);
        if (!linked)
            copyChannel(true);
        effect.endUndoGroup();
        updateUndoButtons();
    }
    showPages();
}

void PlugEd::chooseLinkage(std::int32_t item)
{
    if (item == relink)
        setLinkPage(bothChannels);
    if (item != copyToSecond && item != copyToFirst)
        return;
    effect.beginUndoGroup();
    copyChannel(item == copyToSecond);
    effect.endUndoGroup();
    updateUndoButtons();
}

void PlugEd::copyChannel(bool toSecond)
{
    for (std::int32_t first = kIpTrim; first <= kSCLPFGain; ++first) {
        const std::int32_t second = first + kTwinOffset;
        const std::int32_t target = toSecond ? second : first;
        beginEdit(target);
        effect.setParameterAutomated(target, effect.getParameter(toSecond ? first : second));
        endEdit(target);
    }
}

void PlugEd::showPages()
{
    queue(kGUILinkageMenu, static_cast<float>(linkPage));
    queue(kGUILinkPage, static_cast<float>(linkPage));
}

void PlugEd::applyPreferences()
{
    const state::GlobalPrefs& prefs = state::GlobalPrefs::instance();
    abToggleMode = prefs.getGlobalPref("A/B Toggle");
    listenMode = prefs.getGlobalPref("Listen Toggle");
}

void PlugEd::applyGraphPrefs()
{
    operations.applyUiPrefs();
    effect.markChunkDirty();
}

void PlugEd::saveSettings(cJSON* root) const
{
    cJSON* const settings = cJSON_AddObjectToObject(root, "settings");
    cJSON_AddNumberToObject(settings, "uimode", uiMode);
    cJSON_AddNumberToObject(settings, "currentAB", effect.getCurrentBank());
    cJSON_AddNumberToObject(settings, "lastAB", lastBank);
    cJSON_AddNumberToObject(settings, "lastListen", lastListen);
    cJSON_AddNumberToObject(settings, "linkPage", linkPage);
    cJSON_AddNumberToObject(settings, "zoomState", zoomState);
    cJSON_AddNumberToObject(settings, "freeWidth", freeWidth);
    cJSON_AddNumberToObject(settings, "lastPreset", presetIndex);
    cJSON_AddStringToObject(settings, "lastPresetFolder", getLastPresetFolder().c_str());
    if (host::JSONTree tree = uiPrefs.copy())
        if (cJSON_AddItemToObject(root, "uiprefs", tree.get()) != 0)
            (void)tree.release(); // is the root's now
}

void PlugEd::loadSettings(const cJSON* root)
{
    if (const cJSON* const settings = cJSON_GetObjectItem(root, "settings"); cJSON_IsObject(settings)) {
        loadNumbers(settings);
        const char* const folder = host::textMember(settings, "lastPresetFolder");
        const std::string_view text = folder != nullptr ? folder : "";
        if (folder != nullptr && text.size() <= kMostFolderBytes && text != getLastPresetFolder()) {
            setLastPresetFolder(text);
            presetRescan = true;
        }
    }
    if (const cJSON* const tree = cJSON_GetObjectItem(root, "uiprefs")) {
        uiPrefs.merge(tree);
        applyGraphPrefs();
    }
}

void PlugEd::chooseBankOf(const cJSON* root)
{
    const cJSON* const bank = cJSON_GetObjectItem(cJSON_GetObjectItem(root, "settings"), "currentAB");
    if (cJSON_IsNumber(bank) && std::isfinite(bank->valuedouble))
        effect.switchBank(bank->valueint);
}

void PlugEd::loadNumbers(const cJSON* settings)
{
    struct Range {
        std::int32_t low;
        std::int32_t high;
    };
    const auto load = [&](const char* key, Range range, auto take) {
        const cJSON* const number = cJSON_GetObjectItem(settings, key);
        if (cJSON_IsNumber(number) && std::isfinite(number->valuedouble))
            take(std::clamp(number->valueint, range.low, range.high));
    };
    const auto into = [](dsp::Relaxed<std::int32_t>& field) { return [&field](std::int32_t value) { field = value; }; };
    load("uimode", {0, 1}, into(uiMode));
    load("currentAB", {-1, host::PlugBase::kNumBanks}, [this](std::int32_t bank) {
        effect.switchBank(bank); // none but its own
        showBank(effect.getCurrentBank());
    });
    load("lastAB", {0, host::PlugBase::kNumBanks - 1}, into(lastBank));
    load("lastListen", {0, kListenCount - 1}, into(lastListen));
    load("linkPage", {bothChannels, secondChannel}, [this](std::int32_t page) {
        linkPage = page;
        showPages();
    });
    load("zoomState", {0, 1}, into(zoomState));
    load("freeWidth", {728, 1456}, into(freeWidth));
    load("lastPreset", {-1, 1000000}, into(presetIndex));
}

} // namespace sorvane::editor
