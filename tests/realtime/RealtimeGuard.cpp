#include "RealtimeGuard.h"

#include <dlfcn.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/prctl.h>
#include <ucontext.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

#ifndef PR_SET_SYSCALL_USER_DISPATCH
#define PR_SET_SYSCALL_USER_DISPATCH 59
#define PR_SYS_DISPATCH_ON 1
#endif

extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* __libc_memalign(std::size_t, std::size_t);
void __libc_free(void*);
}

namespace sorvane::test {
namespace {

constexpr char kAllow = 0;
constexpr char kBlock = 1;

[[gnu::tls_model("initial-exec")]] thread_local bool watched = false;
[[gnu::tls_model("initial-exec")]] thread_local char selector = kAllow;
[[gnu::tls_model("initial-exec")]] thread_local RealtimeGuard::Counts counts;
bool systemCallsSeen = false;

void noteAllocation()
{
    counts.allocations += watched ? 1 : 0;
}
void noteLock()
{
    counts.locks += watched ? 1 : 0;
}

/// A system call of a watched thread: it is counted, and then made after all, from where it was refused.
void onSystemCall(int, siginfo_t*, void* context)
{
    ++counts.systemCalls;
    selector = kAllow;
#ifdef __x86_64__
    auto& registers = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
    registers[REG_RIP] -= 2; // the length of the instruction
    registers[REG_RAX] = static_cast<ucontext_t*>(context)->uc_mcontext.gregs[REG_RAX];
#else
    (void)context;
#endif
}

} // namespace

RealtimeGuard::RealtimeGuard()
{
    static const bool handled = [] {
        struct sigaction action {};
        action.sa_sigaction = onSystemCall;
        action.sa_flags = SA_SIGINFO | SA_NODEFER;
        return sigaction(SIGSYS, &action, nullptr) == 0;
    }();
    selector = kAllow;
    systemCallsSeen = handled && prctl(PR_SET_SYSCALL_USER_DISPATCH, PR_SYS_DISPATCH_ON, 0L, 0L, &selector) == 0;
    counts = {};
    watched = true;
    selector = systemCallsSeen ? kBlock : kAllow;
}

RealtimeGuard::~RealtimeGuard()
{
    selector = kAllow;
    watched = false;
    if (systemCallsSeen)
        prctl(PR_SET_SYSCALL_USER_DISPATCH, 0L, 0L, 0L, 0L);
}

RealtimeGuard::Pause::Pause()
{
    selector = kAllow;
    watched = false;
}

RealtimeGuard::Pause::~Pause()
{
    watched = true;
    selector = systemCallsSeen ? kBlock : kAllow;
}

bool RealtimeGuard::seesSystemCalls()
{
    return systemCallsSeen;
}

RealtimeGuard::Counts RealtimeGuard::take()
{
    const Counts taken = counts;
    counts = {};
    if (watched && systemCallsSeen)
        selector = kBlock;
    return taken;
}

} // namespace sorvane::test

using sorvane::test::noteAllocation;
using sorvane::test::noteLock;

namespace {

template <typename Function>
Function next(const char* name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" {

void* malloc(std::size_t size)
{
    noteAllocation();
    return __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size)
{
    noteAllocation();
    return __libc_calloc(count, size);
}
void* realloc(void* memory, std::size_t size)
{
    noteAllocation();
    return __libc_realloc(memory, size);
}
void* aligned_alloc(std::size_t alignment, std::size_t size)
{
    noteAllocation();
    return __libc_memalign(alignment, size);
}
int posix_memalign(void** memory, std::size_t alignment, std::size_t size)
{
    noteAllocation();
    *memory = __libc_memalign(alignment, size);
    return *memory != nullptr ? 0 : ENOMEM;
}
void free(void* memory)
{
    if (memory != nullptr)
        noteAllocation();
    __libc_free(memory);
}

int pthread_mutex_lock(pthread_mutex_t* mutex)
{
    noteLock();
    static const auto real = next<int (*)(pthread_mutex_t*)>("pthread_mutex_lock");
    return real(mutex);
}
int pthread_rwlock_rdlock(pthread_rwlock_t* lock)
{
    noteLock();
    static const auto real = next<int (*)(pthread_rwlock_t*)>("pthread_rwlock_rdlock");
    return real(lock);
}
int pthread_rwlock_wrlock(pthread_rwlock_t* lock)
{
    noteLock();
    static const auto real = next<int (*)(pthread_rwlock_t*)>("pthread_rwlock_wrlock");
    return real(lock);
}
int pthread_spin_lock(pthread_spinlock_t* lock)
{
    noteLock();
    static const auto real = next<int (*)(pthread_spinlock_t*)>("pthread_spin_lock");
    return real(lock);
}
int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex)
{
    noteLock();
    static const auto real = next<int (*)(pthread_cond_t*, pthread_mutex_t*)>("pthread_cond_wait");
    return real(condition, mutex);
}
int sem_wait(sem_t* semaphore)
{
    noteLock();
    static const auto real = next<int (*)(sem_t*)>("sem_wait");
    return real(semaphore);
}

} // extern "C"
