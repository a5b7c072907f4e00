#include "CControl.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <system_error>

namespace sorvane::toolkit {

namespace {

using Steady = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kWheelEdit{250};

std::atomic<bool> wheelHeld{false};   ///< by the one control of the process that is in a wheel edit
std::atomic<bool> wheelWanted{false}; ///< by another

void sleepStep()
{
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

} // namespace

CControl::~CControl()
{
    finishWheelEdit(); // of one that was begun while it was deleted
}

void CControl::beforeDelete()
{
    finishEdits(); // while its class can be asked still
    CView::beforeDelete();
}

bool CControl::isDirty() const
{
    const bool drawn = oldValue == value || (std::isnan(oldValue) && std::isnan(value));
    return !drawn || CView::isDirty();
}

void CControl::bounceValue()
{
    value = value >= vmin ? std::min(value, vmax) : vmin;
}

bool CControl::checkDefaultValue(int buttons)
{
    if (buttons != (kLButton | kControl))
        return false;
    const float before = value;
    beginEdit();
    if (editOpen) { // else the listener took it away
        setValue(defaultValue);
        tellChange(before);
    }
    endEdit();
    setDirty();
    return true;
}

void CControl::beginEdit()
{
    {
        const std::lock_guard guard(editing);
        if (editOpen.exchange(true)) {
            wheelWithin = true;
            return;
        }
    }
    if (listener != nullptr)
        listener->controlBeginEdit(*this);
}

void CControl::endEdit()
{
    if (!editOpen.exchange(false))
        return;
    if (listener != nullptr)
        listener->controlEndEdit(*this);
}

float CControl::position() const
{
    if (!(vmax > vmin && value > vmin))
        return 0.0F;
    const double lowest = vmin; // ranges may be wider than a float
    return static_cast<float>(std::min((value - lowest) / (vmax - lowest), 1.0));
}

void CControl::moveTo(float newPosition)
{
    const float before = value;
    setValue(std::lerp(vmin, vmax, newPosition)); // which has both ends exactly
    bounceValue();
    tellChange(before);
}

void CControl::editTo(float newPosition)
{
    beginEdit();
    if (editOpen)
        moveTo(newPosition);
    endEdit();
}

void CControl::tellChange(float before)
{
    if (value != before && listener != nullptr)
        listener->valueChanged(*this);
}

bool CControl::wheelTo(float newValue)
{
    const float before = value;
    beginWheelEdit();
    if (editOpen) {
        setValue(newValue);
        bounceValue();
        tellChange(before);
    }
    endWheelEdit();
    setDirty();
    return true;
}

void CControl::beginWheelEdit()
{
    if (std::unique_lock guard(editing); inWheelEdit) {
        retrigger = true;
        if (!editOpen) { // a drag that began meanwhile has ended it
            wheelWithin = false;
            guard.unlock();
            beginEdit();
        }
        return;
    }
    // The control before, if its edit still waits for a further step, gives up waiting.
    while (wheelHeld.exchange(true, std::memory_order_acquire)) {
        wheelWanted = true;
        sleepStep();
    }
    wheelWanted = false;
    if (wheelWorker.joinable()) // of its last edit, and at its end
        wheelWorker.join();
    const std::lock_guard guard(editing);
    inWheelEdit = true;
    retrigger = false;
    wheelWithin = false;
    beginEdit();
}

void CControl::endWheelEdit()
{
    if (!inWheelEdit || wheelWorker.joinable())
        return;
    endNow = false;
    try {
        wheelWorker = std::thread([this] { awaitWheelEnd(); });
    } catch (const std::system_error&) { // the system has no thread to spare
        finishEdits();
    }
}

void CControl::awaitWheelEnd()
{
    for (;;) {
        Steady::time_point end = Steady::now() + kWheelEdit;
        while (Steady::now() < end && !endNow && !wheelWanted) {
            sleepStep();
            if (retrigger.exchange(false))
                end = Steady::now() + kWheelEdit;
        }
        const std::lock_guard guard(editing);
        if (retrigger.exchange(false) && !endNow)
            continue;     // a step came in between
        if (!wheelWithin) // else a drag goes on
            endEdit();
        inWheelEdit = false;
        wheelHeld.store(false, std::memory_order_release);
        return;
    }
}

void CControl::finishWheelEdit()
{
    endNow = true;
    if (wheelWorker.joinable())
        wheelWorker.join();
    if (inWheelEdit.exchange(false)) // one that was begun and never given to the worker
        wheelHeld.store(false, std::memory_order_release);
}

void CControl::finishEdits()
{
    finishWheelEdit();
    endEdit(); // of a press whose release won't come, or of a wheel step that led here
}

void CControl::removed()
{
    finishEdits();
    CView::removed();
}

void CControl::setDirty(bool on)
{
    CView::setDirty(on);
    oldValue = !on ? value : value == -1.0F ? 0.0F : -1.0F;
}

} // namespace sorvane::toolkit
