// The A/B banks and the undo history of PlugBase.

#include "PlugBase.h"

#include <algorithm>

namespace sorvane::host {

namespace {

bool isSnapshot(std::int32_t tag)
{
    return tag == markerPresetSnapshot || tag == markerBankSnapshot;
}

} // namespace

void PlugBase::switchBank(std::int32_t bank)
{
    if (bank < 0 || bank >= kNumBanks)
        return;
    const Switching switching(*this);
    currentBank = bank;
    storeBankParameter(bank); // also when an editor or a chunk chooses it, so that the host reads it
    Program& target = banks[static_cast<std::size_t>(bank)];
    for (std::int32_t index = 0; index < core::kNumParams; ++index) {
        auto& stored = target.values[static_cast<std::size_t>(index)];
        stored = snapped(index, stored);
    }
    for (std::int32_t index = 0; index < core::kNumParams; ++index) {
        if (currentBank != bank)
            break; // another thread, or the host when it was told, chose one meanwhile: this one's values are another's
        if (index == bankParam)
            continue;
        const float normal = target.values[static_cast<std::size_t>(index)];
        if (bankAutomation)
            applyWithEdit(index, normal);
        else
            setParameter(index, normal);
    }
    if (editor)
        for (std::int32_t index = 0; index < core::kNumParams; ++index)
            if (index != bankParam)
                editor->setParameter(index, getParameter(index));
}

/// Also into the program, which a session saves and tells the host of when it is loaded.
void PlugBase::storeBankParameter(std::int32_t bank)
{
    if (!core::isParameter(bankParam))
        return;
    core::ParamRecord& record = parameter(bankParam);
    record.value = static_cast<float>(bank);
    record.normal = toNormalised(bankParam, record.value);
    currentProgram().values[static_cast<std::size_t>(bankParam)] = record.normal;
}

void PlugBase::keepBankParameter()
{
    const std::int32_t bank = currentBank;
    const bool isTold = getParameterValue(bankParam) == static_cast<float>(bank);
    storeBankParameter(bank);
    if (!isTold && core::isParameter(bankParam))
        callHost(hostAutomate, bankParam, 0, nullptr, getParameter(bankParam));
}

void PlugBase::copyCurrentToBank(std::int32_t bank)
{
    if (bank < 0 || bank >= kNumBanks)
        return;
    for (std::size_t i = 0; i < paramTable.size(); ++i)
        banks[static_cast<std::size_t>(bank)].values[i] = paramTable[i].normal;
}

void PlugBase::setBankAutomated(std::int32_t bank)
{
    if (bank >= 0 && bank < kNumBanks)
        setParameterAutomated(bankParam, toNormalised(bankParam, static_cast<float>(bank)));
}

/// What a history entry for the tag holds: the value as it stands.
float PlugBase::historyValue(std::int32_t tag) const
{
    if (!core::isParameter(tag))
        return 0.0F;
    return tag == bankParam ? toNormalised(tag, static_cast<float>(currentBank)) : getParameter(tag);
}

void PlugBase::beginEdit(std::int32_t tag)
{
    if (isSnapshot(tag) || core::isParameter(tag))
        undoStack.push_back({tag, historyValue(tag)});
    if (core::isParameter(tag))
        callHost(hostBeginEdit, tag);
}

void PlugBase::endEdit(std::int32_t tag)
{
    if (isSnapshot(tag)) {
        redoStack.clear();
    } else if (core::isParameter(tag)) {
        const auto last = std::find_if(undoStack.rbegin(), undoStack.rend(),
                                       [&](const UndoEntry& entry) { return entry.tag == tag; });
        if (last != undoStack.rend() && last->value == getParameter(tag))
            undoStack.erase(std::next(last).base()); // nothing changed: no step
        else if (!inHistoryStep)
            redoStack.clear();
    }
    updateParameters(true);
    if (core::isParameter(tag))
        callHost(hostEndEdit, tag);
}

void PlugBase::setValueWithEdit(std::int32_t index, float value)
{
    setNormalWithEdit(index, toNormalised(index, value));
}

void PlugBase::setValueInGroup(std::int32_t index, float value)
{
    setNormalInGroup(index, toNormalised(index, value));
}

void PlugBase::setNormalWithEdit(std::int32_t index, float normal)
{
    beginEdit(index);
    setParameterAutomated(index, normal);
    endEdit(index);
}

void PlugBase::setNormalInGroup(std::int32_t index, float normal)
{
    beginUndoGroup();
    setNormalWithEdit(index, normal);
    endUndoGroup();
}

void PlugBase::beginUndoGroup()
{
    undoStack.push_back({markerGroupBegin, 0.0F});
}

void PlugBase::endUndoGroup()
{
    if (!undoStack.empty() && undoStack.back().tag == markerGroupBegin)
        undoStack.pop_back();
    else
        undoStack.push_back({markerGroupEnd, 0.0F});
}

void PlugBase::clearHistory()
{
    undoStack.clear();
    redoStack.clear();
}

/// Takes back or repeats the last step, or the last group of them, leaving its reverse on the other stack.
void PlugBase::historyStep(bool isRedo)
{
    std::vector<UndoEntry>& source = isRedo ? redoStack : undoStack;
    std::vector<UndoEntry>& target = isRedo ? undoStack : redoStack;
    const std::int32_t groupOpens = isRedo ? markerGroupBegin : markerGroupEnd;
    const std::int32_t groupCloses = isRedo ? markerGroupEnd : markerGroupBegin;

    inHistoryStep = true;
    const struct Scope {
        ~Scope() { flag = false; }
        dsp::Relaxed<bool>& flag;
    } scope{inHistoryStep};
    bool grouped = false;
    while (!source.empty()) {
        const UndoEntry entry = source.back();
        const UndoEntry reverse{entry.tag, historyValue(entry.tag)};
        target.push_back(reverse); // first: it may find no memory
        source.pop_back();

        if (core::isParameter(entry.tag))
            applyWithEdit(entry.tag, entry.value);
        else if (editor && isSnapshot(entry.tag))
            editor->setParameter(entry.tag, isRedo ? 1.0F : 0.0F);

        if (entry.tag == groupOpens)
            grouped = true;
        else if (entry.tag == groupCloses)
            grouped = false;
        if (!grouped)
            break;
    }
}

} // namespace sorvane::host
