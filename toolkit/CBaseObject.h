#pragma once

#include <atomic>
#include <utility>

namespace sorvane::toolkit {

/// What an object answers to a message.
enum class CMessageResult { unknown, notified };

/// Messages that objects send each other. They are told apart by address, so that each stands here once.
inline constexpr char kMsgCheckIfViewContainer[] = "kMsgCheckIfViewContainer";
inline constexpr char kMsgNewFocusView[] = "kMsgNewFocusView";
inline constexpr char kMsgOldFocusView[] = "kMsgOldFocusView";
inline constexpr char kMsgLooseFocus[] = "LooseFocus";

/// The root of what is shared by count: it begins with one use and deletes itself at the last forget.
class CBaseObject {
public:
    CBaseObject() = default;
    CBaseObject(const CBaseObject&) = delete;
    CBaseObject& operator=(const CBaseObject&) = delete;

    /// Any thread.
    void remember() const noexcept { uses.fetch_add(1, std::memory_order_relaxed); }
    void forget() const noexcept
    {
        if (uses.fetch_sub(1, std::memory_order_acq_rel) != 1)
            return;
        uses.store(1, std::memory_order_relaxed); // so that a use that comes and goes meanwhile isn't the last again
        const_cast<CBaseObject*>(this)->beforeDelete();
        delete this;
    }
    [[nodiscard]] int useCount() const noexcept { return uses.load(std::memory_order_relaxed); }

    /// \param message  one of the constants above
    virtual CMessageResult notify(CBaseObject* /*sender*/, const char* /*message*/) { return CMessageResult::unknown; }

protected:
    virtual ~CBaseObject() = default;
    /// The last use has gone, and all of the object is there still.
    virtual void beforeDelete() {}

private:
    mutable std::atomic<int> uses{1};
};

/// One use of a counted object.
template <typename T>
class Shared {
public:
    Shared() = default;
    /// Takes over the use that the object begins with.
    static Shared adopt(T* object)
    {
        Shared shared;
        shared.object = object;
        return shared;
    }
    /// Adds a use; null stays null.
    explicit Shared(T* used) : object(used)
    {
        if (object != nullptr)
            object->remember();
    }
    Shared(const Shared& other) : Shared(other.object) {}
    Shared(Shared&& other) noexcept : object(std::exchange(other.object, nullptr)) {}
    Shared& operator=(Shared other) noexcept
    {
        std::swap(object, other.object);
        return *this;
    }
    ~Shared()
    {
        if (object != nullptr)
            object->forget(); // NOLINT(clang-analyzer-cplusplus.NewDelete): it doesn't follow the count
    }

    [[nodiscard]] T* get() const { return object; }
    T* operator->() const { return object; }
    T& operator*() const { return *object; }
    explicit operator bool() const { return object != nullptr; }

private:
    T* object = nullptr;
};

} // namespace sorvane::toolkit
