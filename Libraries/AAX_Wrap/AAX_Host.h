#pragma once

#include "AAX_Result.h"

#include <cstdint>

namespace sorvane::aax {

class EffectParameters;

/// Services of the host that outlive all instances, from ACFStartup to ACFShutdown.
class HostServices {
public:
    virtual ~HostServices() = default;
    /// A line for the host's log. Any thread but the audio thread.
    virtual void trace(std::uint32_t priority, const char* text) = 0;
};

/// Takes what the effect does to parameters itself. The host answers a requested value by the data model's
/// updateParameterNormalizedValue, on the data model's thread. Any thread, the audio thread too.
class AutomationDelegate {
public:
    virtual ~AutomationDelegate() = default;
    virtual Result postSetValueRequest(const char* identifier, double normal) = 0;
    virtual Result postTouchRequest(const char* identifier) = 0;
    virtual Result postReleaseRequest(const char* identifier) = 0;
};

/// The host's side of one instance. Outlives its data model and its view.
class Controller {
public:
    virtual ~Controller() = default;
    virtual Result getSampleRate(float& rateHz) const = 0;
    /// Channels in the low 16 bits.
    virtual Result getInputStemFormat(std::uint32_t& format) const = 0;
    /// Any thread but the audio thread.
    virtual Result setSignalLatency(std::int32_t samples) = 0;
    /// May be null.
    virtual AutomationDelegate* automationDelegate() = 0;
    /// The instance's data model, for its view; null while there is none.
    virtual EffectParameters* dataModel() = 0;
};

enum ViewContainerType : std::int32_t {
    viewContainerNativeWindow = 3,
};

struct ViewSize {
    float height; ///< in pixels
    float width;
};

enum Modifier : std::uint32_t {
    modifierSecondaryButton = 16,
};

/// The host's window round the view. User interface thread.
class ViewContainer {
public:
    virtual ~ViewContainer() = default;
    virtual std::int32_t getType() const = 0;
    virtual void* getWindow() = 0;
    /// The keys that are held, as bits of the host's.
    virtual Result getModifiers(std::uint32_t& modifiers) = 0;
    /// Offers the host a click on a parameter's control, which it takes with AAX_SUCCESS.
    virtual Result handleParameterMouseDown(const char* identifier, std::uint32_t modifiers) = 0;
    virtual Result handleParameterMouseUp(const char* identifier, std::uint32_t modifiers) = 0;
    /// The view has this size now.
    virtual Result setViewSize(const ViewSize& size) = 0;
};

} // namespace sorvane::aax
