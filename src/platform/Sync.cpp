#include "platform/Sync.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <unordered_map>

namespace OGL_ZEP6_AE {
namespace platform {

namespace {

using Clock = std::chrono::steady_clock;

// Identifiers are handed out from one counter, so they are unique for the life of the process
// and 0 never names a thread. Both are constant-initialised: static objects of other files may
// make threads or ask for identifiers while they are constructed.
std::atomic<std::uint64_t> gLastThreadId{0};
thread_local std::uint64_t tThreadId = 0;

bool IsUnlimited(long milliseconds) {
    return milliseconds < 0 || milliseconds >= 0xFFFFFFFFL;
}

Clock::time_point DeadlineAfter(long milliseconds) {
    return Clock::now() + std::chrono::milliseconds(milliseconds);
}

// Waits on `cv` until `ready()` holds or the limit runs out; returns ready().
template <class Ready>
bool WaitUntilReady(std::condition_variable& cv, std::unique_lock<std::mutex>& lock, long milliseconds,
                    Ready ready) {
    if (IsUnlimited(milliseconds)) {
        cv.wait(lock, ready);
        return true;
    }
    return cv.wait_until(lock, DeadlineAfter(milliseconds), ready);
}

enum class Kind { Mutex, Event, Thread };

struct KernelObject {
    explicit KernelObject(Kind k) : kind(k) {}
    virtual ~KernelObject() = default;
    const Kind kind;
};

// A mutex that its owner may take again, built like the events below on a mutex and a
// condition variable, so that a waiter wakes as soon as the owner lets go and a timed wait needs
// nothing beyond a condition-variable wait. Keeping the owner here also lets a release by a
// thread that does not own the mutex be refused instead of corrupting it. A mutex whose owner
// ends without releasing it stays taken.
struct MutexObject final : KernelObject {
    MutexObject() : KernelObject(Kind::Mutex) {}
    std::mutex lock;
    std::condition_variable released;
    std::uint64_t owner = 0;
    unsigned long depth = 0;
};

// An auto-reset event hands a signal directly to one thread that is already waiting (a grant),
// and stays signalled only when nobody waits, so each signal releases exactly one thread even
// when several signals follow each other faster than the waiters wake up. A manual-reset event
// counts its signals, so a thread that was waiting when the event was set is released even if
// the event is reset again before the thread wakes up.
struct EventObject final : KernelObject {
    explicit EventObject(bool manual) : KernelObject(Kind::Event), manualReset(manual) {}
    const bool manualReset;
    std::mutex lock;
    std::condition_variable changed;
    bool signalled = false;
    std::uint64_t generation = 0; // manual reset: times the event went to signalled
    int waiters = 0;              // auto reset: threads waiting
    int grants = 0;               // auto reset: signals given to waiting threads, not yet taken
};

struct ThreadObject final : KernelObject {
    ThreadObject() : KernelObject(Kind::Thread) {}
    std::mutex lock;
    std::condition_variable ended;
    bool finished = false;
    unsigned exitCode = 0;
};

struct HandleTable {
    std::mutex lock;
    std::unordered_map<std::uintptr_t, std::shared_ptr<KernelObject>> objects;
    std::uintptr_t last = 0;
};

// Never destroyed: static wrappers of other files close their handles during exit, after the
// statics of this file would have gone.
HandleTable& Table() {
    static HandleTable* table = new HandleTable;
    return *table;
}

Handle Register(std::shared_ptr<KernelObject> object) {
    HandleTable& table = Table();
    std::lock_guard<std::mutex> guard(table.lock);
    // Steps of 4 keep handle values away from small integers that could be mistaken for them.
    table.last += 4;
    table.objects.emplace(table.last, std::move(object));
    return reinterpret_cast<Handle>(table.last);
}

std::shared_ptr<KernelObject> Find(Handle handle) {
    HandleTable& table = Table();
    std::lock_guard<std::mutex> guard(table.lock);
    auto it = table.objects.find(reinterpret_cast<std::uintptr_t>(handle));
    return it == table.objects.end() ? nullptr : it->second;
}

template <class T> std::shared_ptr<T> FindAs(Handle handle, Kind kind) {
    std::shared_ptr<KernelObject> object = Find(handle);
    if (!object || object->kind != kind)
        return nullptr;
    return std::static_pointer_cast<T>(object);
}

WaitResult WaitMutex(MutexObject& m, long milliseconds) {
    const std::uint64_t self = CurrentThreadId();
    std::unique_lock<std::mutex> lock(m.lock);
    if (m.owner == self) {
        ++m.depth;
        return WaitResult::Signalled;
    }
    if (m.owner != 0 &&
        (milliseconds == 0 || !WaitUntilReady(m.released, lock, milliseconds, [&] { return m.owner == 0; })))
        return WaitResult::Timeout;
    m.owner = self;
    m.depth = 1;
    return WaitResult::Signalled;
}

WaitResult WaitEvent(EventObject& e, long milliseconds) {
    std::unique_lock<std::mutex> lock(e.lock);
    if (e.signalled) {
        if (!e.manualReset)
            e.signalled = false;
        return WaitResult::Signalled;
    }
    if (milliseconds == 0)
        return WaitResult::Timeout;
    if (e.manualReset) {
        const std::uint64_t seen = e.generation;
        const bool released = WaitUntilReady(e.changed, lock, milliseconds,
                                             [&] { return e.signalled || e.generation != seen; });
        return released ? WaitResult::Signalled : WaitResult::Timeout;
    }
    ++e.waiters;
    const bool granted = WaitUntilReady(e.changed, lock, milliseconds, [&] { return e.grants > 0; });
    --e.waiters;
    if (!granted)
        return WaitResult::Timeout;
    --e.grants;
    return WaitResult::Signalled;
}

WaitResult WaitThread(ThreadObject& t, long milliseconds) {
    std::unique_lock<std::mutex> lock(t.lock);
    if (t.finished)
        return WaitResult::Signalled;
    if (milliseconds == 0)
        return WaitResult::Timeout;
    return WaitUntilReady(t.ended, lock, milliseconds, [&] { return t.finished; }) ? WaitResult::Signalled
                                                                                   : WaitResult::Timeout;
}

} // namespace

Handle CreateMutexHandle() {
    return Register(std::make_shared<MutexObject>());
}

Handle CreateEventHandle(bool manualReset) {
    return Register(std::make_shared<EventObject>(manualReset));
}

WaitResult WaitHandle(Handle handle, long milliseconds) {
    std::shared_ptr<KernelObject> object = Find(handle);
    if (!object)
        return WaitResult::Failed;
    switch (object->kind) {
    case Kind::Mutex:
        return WaitMutex(static_cast<MutexObject&>(*object), milliseconds);
    case Kind::Event:
        return WaitEvent(static_cast<EventObject&>(*object), milliseconds);
    case Kind::Thread:
        return WaitThread(static_cast<ThreadObject&>(*object), milliseconds);
    }
    return WaitResult::Failed;
}

bool ReleaseMutexHandle(Handle handle) {
    std::shared_ptr<MutexObject> m = FindAs<MutexObject>(handle, Kind::Mutex);
    if (!m)
        return false;
    std::lock_guard<std::mutex> guard(m->lock);
    if (m->owner != CurrentThreadId())
        return false;
    if (--m->depth == 0) {
        m->owner = 0;
        m->released.notify_one();
    }
    return true;
}

bool SetEventHandle(Handle handle) {
    std::shared_ptr<EventObject> e = FindAs<EventObject>(handle, Kind::Event);
    if (!e)
        return false;
    std::lock_guard<std::mutex> guard(e->lock);
    if (e->manualReset) {
        if (!e->signalled) {
            e->signalled = true;
            ++e->generation;
            e->changed.notify_all();
        }
    } else if (e->grants < e->waiters) {
        ++e->grants;
        e->changed.notify_one();
    } else {
        e->signalled = true;
    }
    return true;
}

bool ResetEventHandle(Handle handle) {
    std::shared_ptr<EventObject> e = FindAs<EventObject>(handle, Kind::Event);
    if (!e)
        return false;
    std::lock_guard<std::mutex> guard(e->lock);
    e->signalled = false;
    return true;
}

bool CloseHandle(Handle handle) {
    std::shared_ptr<KernelObject> object;
    {
        HandleTable& table = Table();
        std::lock_guard<std::mutex> guard(table.lock);
        auto it = table.objects.find(reinterpret_cast<std::uintptr_t>(handle));
        if (it == table.objects.end())
            return false;
        object = std::move(it->second);
        table.objects.erase(it);
    }
    // The object itself goes here, outside the table lock, unless a wait still holds it.
    return true;
}

std::uint64_t NewThreadId() {
    return gLastThreadId.fetch_add(1) + 1;
}

std::uint64_t CurrentThreadId() {
    if (tThreadId == 0)
        tThreadId = NewThreadId();
    return tThreadId;
}

// The thread is detached at once: nothing has to join it, so a thread whose handle was closed
// early (the usual case) still leaves nothing behind when its entry returns. The thread keeps
// its own reference to the object, which records the end for waiters on the handle.
Handle StartThread(ThreadEntry entry, void* arg, std::uint64_t threadId) {
    if (!entry || threadId == 0)
        return nullptr;
    auto object = std::make_shared<ThreadObject>();
    Handle handle = Register(object);
    try {
        std::thread([object, entry, arg, threadId] {
            tThreadId = threadId;
            const unsigned exitCode = entry(arg);
            std::lock_guard<std::mutex> guard(object->lock);
            object->exitCode = exitCode;
            object->finished = true;
            object->ended.notify_all();
        }).detach();
    } catch (const std::system_error&) {
        CloseHandle(handle);
        return nullptr;
    }
    return handle;
}

bool ThreadExitCode(Handle handle, unsigned* exitCode) {
    std::shared_ptr<ThreadObject> t = FindAs<ThreadObject>(handle, Kind::Thread);
    if (!t)
        return false;
    std::lock_guard<std::mutex> guard(t->lock);
    if (!t->finished)
        return false;
    if (exitCode)
        *exitCode = t->exitCode;
    return true;
}

} // namespace platform
} // namespace OGL_ZEP6_AE
