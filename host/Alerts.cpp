#include "Alerts.h"

#include <cstddef>
#include <new>

namespace sorvane::host {

Alerts& Alerts::instance()
{
    static Alerts alerts;
    return alerts;
}

void Alerts::add(const std::string& title, const std::string& text) noexcept
{
    try {
        const Guard guard(*this);
        queue.push_back({title, text});
    } catch (const std::bad_alloc&) { // a message is no reason to end somebody's session
    }
}

void Alerts::showPending(const std::function<void(const std::string& title, const std::string& text)>& show)
{
    if (showing.testAndSet())
        return;
    std::vector<Alert> pending;
    {
        const Guard guard(*this);
        pending = queue;
    }
    for (const Alert& alert : pending)
        show(alert.title, alert.text);
    {
        const Guard guard(*this);
        queue.erase(queue.begin(), queue.begin() + static_cast<std::ptrdiff_t>(pending.size()));
    }
    showing.testAndClear();
}

} // namespace sorvane::host
