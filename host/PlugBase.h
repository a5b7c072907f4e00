#pragma once

#include "AudioEffectX.h"
#include "Parameters.h"
#include "Program.h"
#include "Relaxed.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace sorvane::host {

/// One step of the undo history: a parameter and its normalised value before the edit, or a marker.
struct UndoEntry {
    std::int32_t tag;
    float value;
};

/// Tags of UndoEntry that are no parameters.
enum HistoryMarker : std::int32_t {
    markerGroupBegin = -1000,
    markerGroupEnd = -1001,
    markerPresetSnapshot = -1002,
    markerBankSnapshot = -1003,
};

/// What a channel is called in left/right and in mid/side operation.
struct ChannelName {
    std::int32_t channel;
    std::string leftRight;
    std::string midSide;
};

/// An effect's parameters, its program, eight A/B banks and undo history, over the public interface.
///
/// Values may be set and read on any thread, the audio thread included: each is one relaxed atomic. Everything that
/// takes an index guards it: outside 0 to 91 it reads as a neutral value and writes nothing. The undo history belongs
/// to the user interface thread.
class PlugBase : public AudioEffectX {
public:
    static constexpr std::int32_t kNumBanks = 8;

    explicit PlugBase(HostCallback callback);

    Pointer dispatcher(std::int32_t opcode, std::int32_t index, Pointer value, void* data, float option) override;
    /// A rate that isn't above 0 and at most 1 MHz changes nothing.
    void setSampleRate(float rateHz) override;
    void processReplacing(float** inputs, float** outputs, std::int32_t frames) override;
    void processDoubleReplacing(double** inputs, double** outputs, std::int32_t frames) override;

    /// \param normal  clamped to 0..1; NaN changes nothing. Never allocates.
    void setParameter(std::int32_t index, float normal) override;
    [[nodiscard]] float getParameter(std::int32_t index) const override;
    /// Tells the host what the parameter stands at then; nothing of NaN or of a tag that is no parameter.
    void setParameterAutomated(std::int32_t index, float normal) override;
    void setProgram(std::int32_t program) override;
    void setProgramName(const char* name) override;
    void getProgramName(char* name) const override;
    void getParameterDisplay(std::int32_t index, char* text) const override;
    void getParameterName(std::int32_t index, char* name) const override;
    /// Tells of switches and of the steps of lists; all else moves freely.
    bool getParameterProperties(std::int32_t index, ParameterProperties* properties) const override;
    bool getProgramNameIndexed(std::int32_t index, char* name) const override;
    bool getInputProperties(std::int32_t index, PinProperties* properties) const override;
    bool getOutputProperties(std::int32_t index, PinProperties* properties) const override;
    bool getEffectName(char* name) const override { return getProductString(name); }
    bool getVendorString(char* text) const override;

    [[nodiscard]] virtual float getParameterDefault(std::int32_t index) const;
    virtual void setProgramNameIndexed(const char* name, std::int32_t index);
    [[nodiscard]] virtual float toNormalised(std::int32_t index, float value) const;
    [[nodiscard]] virtual float fromNormalised(std::int32_t index, float normal) const;
    [[nodiscard]] virtual float getParameterValue(std::int32_t index) const;
    /// Texts go to a buffer of at least core::kParameterTextBytes.
    virtual void getParameterText(std::int32_t index, char* text, std::int32_t flag) const;
    virtual void formatParameter(std::int32_t index, float normal, char* text, std::int32_t flag) const;
    [[nodiscard]] virtual std::int32_t getParameterScale(std::int32_t index) const;
    [[nodiscard]] virtual float getParameterMin(std::int32_t index) const;
    [[nodiscard]] virtual float getParameterMax(std::int32_t index) const;
    /// \return 0 for a continuous parameter, 1 for a switch, else the number of values
    [[nodiscard]] virtual std::int32_t getParameterSteps(std::int32_t index) const;
    [[nodiscard]] virtual std::int32_t getParameterStepSize(std::int32_t index) const;
    /// For stepped parameters: the fraction of the range that a normalised value stands at, or the normalised value of
    /// a fraction; any other gives \p x.
    [[nodiscard]] virtual float snapParameter(std::int32_t index, float x, bool toFraction) const;
    [[nodiscard]] virtual std::uint32_t getParameterFlags(std::int32_t index) const;

    /// Where a new effect's state is saved and read from; empty for an effect that has no such place.
    [[nodiscard]] virtual std::string getDefaultBankPath() const { return {}; }

    /// Applies an A/B bank. Any thread, the audio thread too, where the filter design is left to the timer. A bank that
    /// isn't 0 to 7 changes nothing, as with the two below.
    virtual void switchBank(std::int32_t bank);
    virtual void copyCurrentToBank(std::int32_t bank);
    [[nodiscard]] virtual std::int32_t getCurrentBank() const { return currentBank; }
    virtual void setBankParameter(std::int32_t tag) { bankParam = tag; }
    virtual void setBankAutomated(std::int32_t bank);

    /// Brackets an edit: one pair makes one step of undo, unless the value comes back to where it was. The host is told
    /// of parameters only, here and in undo: markers and tags of the editor's are no index of its.
    void beginEdit(std::int32_t tag) override;
    void endEdit(std::int32_t tag) override;
    virtual void setValueWithEdit(std::int32_t index, float value);
    virtual void setValueInGroup(std::int32_t index, float value);
    virtual void setNormalWithEdit(std::int32_t index, float normal);
    virtual void setNormalInGroup(std::int32_t index, float normal);
    /// Makes one step of undo of all that is edited until endUndoGroup.
    virtual void beginUndoGroup();
    virtual void endUndoGroup();
    virtual void undo() { historyStep(false); }
    virtual void redo() { historyStep(true); }
    [[nodiscard]] virtual bool canUndo() const { return !undoStack.empty(); }
    [[nodiscard]] virtual bool canRedo() const { return !redoStack.empty(); }
    virtual void clearHistory();

    /// Level of an output channel for meters, linear. Any thread.
    [[nodiscard]] virtual float getLevelMeter(std::int32_t) const { return 0.0F; }
    /// Lowest gain since the last call, linear. One reader.
    [[nodiscard]] virtual float getReductionMeter(std::int32_t) { return 1.0F; }

    virtual void setChannelNames(std::vector<ChannelName> names) { channelNames = std::move(names); }
    [[nodiscard]] const std::vector<ChannelName>& getChannelNames() const { return channelNames; }

    /// Every 10 ms on the process-wide timer's thread.
    /// \return whether the latency changed, which the host is then told
    virtual bool onTimer() { return false; }

protected:
    /// Asks the host whether it renders offline. At the start of every block and in resume.
    virtual void updateProcessLevel();
    /// Called when rendering offline begins or ends.
    virtual void onOfflineChanged(bool) {}
    /// Brings what the parameters say into the engine. \param full  also what may be put off
    virtual void updateParameters(bool) {}
    virtual void historyStep(bool isRedo);

    /// One block of 32-bit samples; the output is always replaced. Audio thread.
    virtual void processBlock(float** inputs, float** outputs, std::int32_t frames) = 0;
    virtual void processBlock(double** inputs, double** outputs, std::int32_t frames) = 0;

    void setPins(std::int32_t inputs, std::int32_t outputs);
    /// The bank parameter says which bank is in force, whatever was written into it meanwhile; the host is told if not.
    void keepBankParameter();

    /// Applies a program, a bank or a chunk: the values that are set in its scope reach the engine with one update at
    /// its end, also when that comes by an exception.
    class Switching {
    public:
        explicit Switching(PlugBase& plugBase) : base(plugBase) { base.bankSwitching = true; }
        ~Switching()
        {
            base.bankSwitching.storeInOrder(false);
            base.updateParameters(true);
        }
        Switching(const Switching&) = delete;
        Switching& operator=(const Switching&) = delete;

    private:
        PlugBase& base;
    };

    [[nodiscard]] core::ParamRecord& parameter(std::int32_t tag) { return paramTable[static_cast<std::size_t>(tag)]; }
    [[nodiscard]] const core::ParamRecord& parameter(std::int32_t tag) const
    {
        return paramTable[static_cast<std::size_t>(tag)];
    }
    [[nodiscard]] Program& currentProgram() { return programs[static_cast<std::size_t>(curProgram.load())]; }

    std::array<Program, core::kNumPrograms> programs;
    core::ParamTable paramTable;
    std::array<Program, kNumBanks> banks;
    dsp::Relaxed<std::int32_t> currentBank{0};
    const core::ParamTable* staticParams;
    dsp::Relaxed<bool> bankSwitching{false}; ///< a program, bank or chunk is being applied
    std::int32_t bankParam = -1;             ///< the parameter that selects the bank
    dsp::Relaxed<bool> bankAutomation{true}; ///< the host is told every value of a bank that is switched to
    dsp::Relaxed<bool> inHistoryStep{false};
    dsp::Relaxed<std::uint32_t> sampleCount{0}; ///< frames processed; wraps
    std::vector<UndoEntry> undoStack;
    std::vector<UndoEntry> redoStack;
    std::vector<ChannelName> channelNames;
    dsp::Relaxed<bool> offline{false};
    bool sideChainAtZero = false; ///< a host that has no side-chain pins

private:
    template <typename Sample>
    void process(Sample** inputs, Sample** outputs, std::int32_t frames);
    void storeParameter(std::int32_t index, float normal);
    void storeBankParameter(std::int32_t bank);
    void applyWithEdit(std::int32_t index, float normal);
    [[nodiscard]] float snapped(std::int32_t index, float normal) const;
    [[nodiscard]] float historyValue(std::int32_t tag) const;
};

} // namespace sorvane::host
