#pragma once

#include "AEffect.h"
#include "iVSTFrameCallbackInterface.h"

#include <cstdint>

namespace sorvane::host {

/// An effect's editor as the effect and the host see it. It lives as long as its effect, which owns it; its window
/// exists only between open and close.
class AEffEditor {
public:
    AEffEditor() = default;
    virtual ~AEffEditor() = default;
    AEffEditor(const AEffEditor&) = delete;
    AEffEditor& operator=(const AEffEditor&) = delete;

    /// \param rect  is pointed at the editor's rectangle, which it owns. \return false when there is none
    virtual bool getRect(const EditorRect** rect) = 0;
    /// Opens the window in the host's parent. User interface thread, as close and idle.
    virtual bool open(void* parent) = 0;
    virtual void close() = 0;
    /// Drains what came from other threads and draws. Every 10 ms, window or not.
    virtual void idle() = 0;
    /// Notes a value of a parameter or marker; never touches a view. Any thread, the audio thread too.
    virtual void setParameter(std::int32_t index, float value) = 0;

    /// Marks a control in one of the host's colours, or takes the mark away. User interface thread. An editor without a
    /// window has no control to mark.
    virtual void setControlHighlight(std::int32_t, bool, std::int32_t) {}
    /// \param callback  outlives the open window, or is taken back with null before it ends. User interface thread
    void setFrameCallback(iVSTFrameCallbackInterface* callback) noexcept { frameCallback = callback; }

protected:
    iVSTFrameCallbackInterface* frameCallback = nullptr;
};

} // namespace sorvane::host
