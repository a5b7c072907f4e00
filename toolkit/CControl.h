#pragma once

#include "CControlListener.h"
#include "CView.h"

#include <atomic>
#include <mutex>
#include <thread>

namespace sorvane::toolkit {

/// A view that holds one value with a tag, and tells a listener when the user changes it.
///
/// A gesture with the mouse wheel, which has no release, is one edit: it ends 250 ms after the last step, on a thread
/// of its own. Only one control of the process is in such an edit: when another begins one, the first ends at once.
class CControl : public CView {
public:
    /// \param controlListener  may be null; must outlive the control
    CControl(const CRect& viewRect, CControlListener* controlListener, int controlTag)
        : CView(viewRect), listener(controlListener), tag(controlTag)
    {}

    virtual void setValue(float newValue) { value = newValue; }
    [[nodiscard]] virtual float getValue() const { return value; }
    virtual void setMin(float newMin) { vmin = newMin; }
    [[nodiscard]] virtual float getMin() const { return vmin; }
    virtual void setMax(float newMax) { vmax = newMax; }
    [[nodiscard]] virtual float getMax() const { return vmax; }
    virtual void setOldValue(float drawn) { oldValue = drawn; }
    [[nodiscard]] virtual float getOldValue() const { return oldValue; }
    virtual void setDefaultValue(float newDefault) { defaultValue = newDefault; }
    [[nodiscard]] virtual float getDefaultValue() const { return defaultValue; }
    /// Brings the value into its range; one that isn't a number becomes the lowest.
    virtual void bounceValue();
    /// With Control and the left button, and nothing else, goes back to the default: an edit of its own. \return
    /// whether it was so
    virtual bool checkDefaultValue(int buttons);
    virtual void setTag(int newTag) { tag = newTag; }
    [[nodiscard]] virtual int getTag() const { return tag; }
    /// The listener is told of one edit at a time: of the first beginning and the first end. An edit that is open when
    /// the control leaves its window, or is deleted, ends there.
    virtual void beginEdit();
    virtual void endEdit();
    /// Before the value goes to the listener.
    virtual void beginWheelEdit();
    /// After it has gone there.
    virtual void endWheelEdit();
    [[nodiscard]] virtual CControlListener* getListener() const { return listener; }
    virtual void setListener(CControlListener* newListener) { listener = newListener; }
    virtual void setWheelInc(float increment) { wheelInc = increment; }
    [[nodiscard]] virtual float getWheelInc() const { return wheelInc; }

    /// Also when the value isn't the one that was drawn last.
    [[nodiscard]] bool isDirty() const override;
    void setDirty(bool on = true) override;
    void removed() override;
    [[nodiscard]] bool isTypeOf(std::string_view name) const override
    {
        return name == "CControl" || CView::isTypeOf(name);
    }

protected:
    ~CControl() override;
    void beforeDelete() override;

    /// The value's place in its range, 0 to 1.
    [[nodiscard]] float position() const;
    /// Brings the value to a place in its range, and tells the listener when that changes it.
    void moveTo(float newPosition);
    /// An edit of its own that does so. Nothing when the listener, as it begins, takes the control away.
    void editTo(float newPosition);
    /// Tells the listener of the value when it isn't \p before.
    void tellChange(float before);
    /// One wheel step of an edit: the value moves by \p change, within its range. \return true
    bool wheelBy(float change) { return wheelTo(value + change); }
    /// And one to a value.
    bool wheelTo(float newValue);

    CControlListener* listener;
    int tag;
    float oldValue = 1.0F;
    float defaultValue = 0.5F;
    float value = 0.0F;
    float vmin = 0.0F;
    float vmax = 1.0F;
    float wheelInc = 0.1F;

private:
    void awaitWheelEnd();
    /// Waits for the end of its wheel edit.
    void finishWheelEdit();
    void finishEdits();

    std::atomic<bool> editOpen{false};
    std::thread wheelWorker;
    std::recursive_mutex editing;         ///< held during a begin and an end of a wheel edit
    bool wheelWithin = false;             ///< whether the edit that a wheel edit is in isn't its own to end
    std::atomic<bool> inWheelEdit{false}; ///< from beginWheelEdit to the worker's end
    std::atomic<bool> retrigger{false};
    std::atomic<bool> endNow{false};
};

} // namespace sorvane::toolkit
