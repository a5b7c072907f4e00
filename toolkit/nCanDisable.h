#pragma once

namespace sorvane::toolkit {

/// A control that can be put out of use. Its owner's set also marks it dirty and turns its mouse off: a press on it
/// does nothing then, and goes no further.
class nCanDisable {
public:
    virtual void setDisabled(bool on) = 0;
    [[nodiscard]] bool isDisabled() const { return disabled; }

protected:
    ~nCanDisable() = default;
    bool disabled = false;
};

/// A control that shows when its channel's value stands for a linked pair.
class nCanLink {
public:
    virtual void setLinked(bool on) = 0;
    [[nodiscard]] bool isLinked() const { return linked; }

protected:
    ~nCanLink() = default;
    bool linked = false;
};

/// A control that shows when a MIDI controller moves it, or when one is being learnt.
class nCanMIDILearn {
public:
    virtual void setMapped(bool on) = 0;
    [[nodiscard]] bool isMapped() const { return mapped; }

protected:
    ~nCanMIDILearn() = default;
    bool mapped = false;
};

} // namespace sorvane::toolkit
