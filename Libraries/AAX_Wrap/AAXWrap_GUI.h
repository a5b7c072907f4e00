#pragma once

#include "AAXWrap_Parameters.h"
#include "AAX_EffectGUI.h"
#include "iVSTFrameCallbackInterface.h"

namespace sorvane::aax {

/// The host's view of one instance, which drives the effect's own editor. User interface thread. An instance has one
/// editor: the view that is initialized last has it, and gives it up when the data model ends.
///
/// The editor has no window yet: it opens nothing and has no rectangle, and getViewSize answers that it has none.
class AAXWrap_GUI : public EffectGUI, public host::iVSTFrameCallbackInterface {
public:
    AAXWrap_GUI() noexcept;
    ~AAXWrap_GUI() override;

    /// Null when there is no memory.
    static EffectGUI* create() noexcept;
    static std::int32_t instanceCount() noexcept;

    Result initialize(Controller* controller) override;
    Result uninitialize() override;
    Result setViewContainer(ViewContainer* viewContainer) override;
    Result getViewSize(ViewSize& size) const override;
    Result setControlHighlight(const char* identifier, bool on, std::int32_t colour) override;
    // The editor gets its values from the effect and runs on the process-wide timer.
    Result draw() override { return AAX_SUCCESS; }
    Result timerWakeup() override { return AAX_SUCCESS; }
    Result parameterUpdated(const char*) override { return AAX_SUCCESS; }
    Result notificationReceived(std::int32_t, const void*, std::uint32_t) override { return AAX_SUCCESS; }

    /// The frame knows its controls, the host doesn't.
    bool getControlTagAt(float, float, std::int32_t&) override { return false; }
    bool frameMessage(std::int32_t message, std::int32_t tag, bool isSecondaryButton) override;

private:
    [[nodiscard]] bool offerClick(std::int32_t tag, bool isSecondaryButton);
    [[nodiscard]] bool passSizeOn();
    void openEditor(ViewContainer& viewContainer);
    void closeEditor();

    host::AEffEditor* editor = nullptr; ///< the effect's
    ViewContainer* container = nullptr;
    AAXWrap_Parameters* parameters = nullptr;
};

} // namespace sorvane::aax
