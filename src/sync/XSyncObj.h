#pragma once

#include "Export.h"

#include <atomic>
#include <cstdint>

namespace ZEP6_AE {

// The wrappers exist twice with the same fields, operations and behaviour: once here for the
// library's own use, and once as the twins of OGL_ZEP6_AE (SyncObj, SyncMutex, SyncEvent,
// SyncThread) for the plug-ins. One template serves both; Kind tells them apart (0: these, 1:
// the twins). The only difference: the twins' thread start routine lets an exception out of
// Process() end the process instead of catching it.

// Base of the wrappers over kernel synchronisation objects. It owns one handle (null when there
// is no object) and closes it when it goes. Waiting on the handle is the common "lock"; what a
// successful wait means depends on the object (a mutex is then owned, an event was signalled).
// Wrappers are not copyable: a copy would close the same handle twice.
template <int Kind> class ZEP6_API BasicSyncObj {
public:
    BasicSyncObj();
    virtual ~BasicSyncObj();

    BasicSyncObj(const BasicSyncObj&) = delete;
    BasicSyncObj& operator=(const BasicSyncObj&) = delete;

    // Waits without a practical limit (0x7FFFFFFF ms, about 24.8 days) when `wait` is true,
    // otherwise polls. Returns whether the object was obtained.
    virtual bool Lock(bool wait);
    // Waits at most `milliseconds` for the object. False when there is no handle, when the
    // time runs out and when the wait fails.
    virtual bool LockWaitMilliSec(long milliseconds);
    // Gives back what Lock obtained; nothing for objects that are not owned (events, threads).
    virtual void Unlock();

protected:
    void* handle_;
};

// A mutex, unowned at construction. The thread that owns it may lock it again; every successful
// Lock needs one Unlock. An Unlock by a thread that does not own it does nothing.
template <int Kind> class ZEP6_API BasicSyncMutex : public BasicSyncObj<Kind> {
public:
    BasicSyncMutex();
    void Unlock() override;
};

// An event with a flag beside it. The flag carries the state the two sides agree on; the event
// wakes the waiting side. WaitForEvent therefore needs both: the wait to succeed and the flag to
// be set. An auto-reset event releases one waiter per SetEvent and a successful wait consumes
// the signal (not the flag); a manual-reset event stays signalled until ResetEvent.
template <int Kind> class ZEP6_API BasicSyncEvent : public BasicSyncObj<Kind> {
public:
    explicit BasicSyncEvent(bool autoReset = true);
    ~BasicSyncEvent() override;

    // Sets the flag, then signals the event.
    void SetEvent();
    // Clears the flag, then resets the event.
    void ResetEvent();
    // Waits at most `milliseconds`; true only when the wait succeeded and the flag is set.
    bool WaitForEvent(long milliseconds);

private:
    std::atomic<bool> signalled_;
};

// A thread that runs Process() once per StartThread. The identifier is 0 while no thread runs;
// it is published before the thread starts, so IsThread() holds from the first line of
// Process(), and goes back to 0 as the last thing the thread does with this object. The object
// must outlive its thread.
template <int Kind> class ZEP6_API BasicSyncThread : public BasicSyncObj<Kind> {
public:
    BasicSyncThread();
    ~BasicSyncThread() override;

    // The thread's work; its result becomes the thread's exit code (1 or 0).
    virtual bool Process() = 0;

    // Starts a thread when none runs; does nothing while one runs.
    void StartThread();
    // Runs Process(), catching every exception; sets the identifier back to 0 in either case.
    // Returns Process()'s result, false after an exception.
    bool InternalProcess();
    // Whether the caller is this object's thread.
    bool IsThread() const;
    // Whether a thread runs (the identifier is not 0).
    bool IsRunning() const;
    // Kept for callers that name their threads; threads are not named.
    static void SetThreadName(const char* name, unsigned long threadId);

private:
    static unsigned ThreadStart(void* self);

    std::atomic<std::uint64_t> threadId_;
};

// The start routines differ by kind (defined with the class members).
template <> unsigned BasicSyncThread<0>::ThreadStart(void* self);
template <> unsigned BasicSyncThread<1>::ThreadStart(void* self);

extern template class BasicSyncObj<0>;
extern template class BasicSyncMutex<0>;
extern template class BasicSyncEvent<0>;
extern template class BasicSyncThread<0>;
extern template class BasicSyncObj<1>;
extern template class BasicSyncMutex<1>;
extern template class BasicSyncEvent<1>;
extern template class BasicSyncThread<1>;

using XSyncObj = BasicSyncObj<0>;
using XSyncMutex = BasicSyncMutex<0>;
using XSyncEvent = BasicSyncEvent<0>;
using XSyncThread = BasicSyncThread<0>;

} // namespace ZEP6_AE
