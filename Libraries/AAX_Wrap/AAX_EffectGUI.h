#pragma once

#include "AAX_Host.h"

#include <cstdint>

namespace sorvane::aax {

/// An instance's view, which the host makes, calls on its user interface thread and deletes. It may come and go many
/// times while the data model lives.
class EffectGUI {
public:
    EffectGUI() = default;
    virtual ~EffectGUI() = default;
    EffectGUI(const EffectGUI&) = delete;
    EffectGUI& operator=(const EffectGUI&) = delete;

    virtual Result initialize(Controller* controller) = 0;
    virtual Result uninitialize() = 0;
    /// \param container  null takes it away
    virtual Result setViewContainer(ViewContainer* container) = 0;
    virtual Result getViewSize(ViewSize& size) const = 0;
    virtual Result setControlHighlight(const char* identifier, bool on, std::int32_t colour) = 0;
    virtual Result draw() = 0;
    virtual Result timerWakeup() = 0;
    virtual Result parameterUpdated(const char* identifier) = 0;
    virtual Result notificationReceived(std::int32_t code, const void* data, std::uint32_t size) = 0;
};

} // namespace sorvane::aax
