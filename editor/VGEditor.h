#pragma once

#include "AEffEditor.h"
#include "PlugBaseJSON.h"

#include <cstdint>

namespace sorvane::editor {

/// The generic level of the editor: values of controls on their way to the effect. It has no window yet, so there is
/// none to open.
class VGEditor : public host::AEffEditor {
public:
    /// \param owner  owns the editor
    explicit VGEditor(host::PlugBaseJSON& owner) : effect(owner) {}

    bool getRect(const host::EditorRect** rect) override
    {
        *rect = nullptr;
        return false;
    }
    bool open(void*) override { return false; }
    void close() override {}
    void idle() override {}

    /// What the user did to a control: its tag and value. User interface thread, as beginEdit and endEdit, which
    /// bracket a gesture.
    virtual void valueChanged(std::int32_t tag, float value) { effect.setParameterAutomated(tag, value); }
    virtual void beginEdit(std::int32_t tag) { effect.beginEdit(tag); }
    virtual void endEdit(std::int32_t tag) { effect.endEdit(tag); }

protected:
    host::PlugBaseJSON& effect;
};

} // namespace sorvane::editor
