#include "Alerts.h"

#include <cstddef>
#include <new>
#include <utility>

namespace sorvane::host {

Alerts& Alerts::instance()
{
    alignas(Alerts) static std::byte storage[sizeof(Alerts)]; // never destroyed: the timer runs until the very end
    static Alerts& alerts = *new (storage) Alerts();
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
    const struct Scope {
        ~Scope() { flag.testAndClear(); }
        AtomicFlag& flag;
    } scope{showing};
    for (std::size_t left = count(); left > 0; --left) {
        const Alert alert = takeFirst();
        show(alert.title, alert.text);
    }
}

std::size_t Alerts::count()
{
    const Guard guard(*this);
    return queue.size();
}

Alerts::Alert Alerts::takeFirst()
{
    const Guard guard(*this);
    Alert first = std::move(queue.front());
    queue.erase(queue.begin());
    return first;
}

} // namespace sorvane::host
