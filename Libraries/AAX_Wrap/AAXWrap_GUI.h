#pragma once

#include "AAXWrap_Parameters.h"
#include "AAX_EffectGUI.h"

namespace sorvane::aax {

/// The host's view of one instance, which drives the effect's own editor. User interface thread. It ends before the data
/// model does, or is uninitialized before.
///
/// The editor has no window yet: it opens nothing and has no rectangle, and getViewSize answers that it has none.
class AAXWrap_GUI : public EffectGUI {
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

private:
    void closeEditor();

    host::AEffEditor* editor = nullptr; ///< the effect's
    ViewContainer* container = nullptr;
    AAXWrap_Parameters* parameters = nullptr;
};

} // namespace sorvane::aax
