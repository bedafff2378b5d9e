#pragma once

// Kernel-style synchronisation objects for the synchronisation layer: mutexes, events and
// threads behind opaque handles, with the waiting rules of a kernel object (a wait either sees
// the object signalled, runs out of time, or fails on a handle that is not valid).
//
// A handle names an entry of one process-wide table; it is never a pointer into the object.
// Operations on a closed, null or foreign handle therefore fail instead of touching freed
// memory, and an object stays alive for as long as an operation on it is in progress, even when
// another thread closes its handle meanwhile. Handle values are never reused.

#include <cstdint>

namespace OGL_ZEP6_AE {
namespace platform {

using Handle = void*;

enum class WaitResult { Signalled, Timeout, Failed };

// A wait limit below 0 or of 0xFFFFFFFF ms or more means no limit.
constexpr long kWaitForever = -1;

// An unowned mutex. Its owner may take it again; each take needs one release.
Handle CreateMutexHandle();

// An event, not signalled. A manual-reset event stays signalled until reset and releases every
// waiter; an auto-reset event releases exactly one waiter per signal, and a wait that succeeds
// consumes the signal.
Handle CreateEventHandle(bool manualReset);

// Waits at most `milliseconds` for the object: a mutex is then owned by the caller, an
// auto-reset event has given its signal to the caller, a thread has finished. Returns as soon as
// the object is signalled. 0 polls.
WaitResult WaitHandle(Handle handle, long milliseconds);

// Gives up one take of the mutex. Fails (and changes nothing) when the caller does not own it.
bool ReleaseMutexHandle(Handle handle);

// Signals an event; setting an event that is already signalled changes nothing.
bool SetEventHandle(Handle handle);

// Puts an event back to not signalled.
bool ResetEventHandle(Handle handle);

// Closes the handle. The object goes when no operation on it is in progress any more; a thread
// keeps running (its handle is only a way to wait for it).
bool CloseHandle(Handle handle);

// A thread's start routine; its result becomes the thread's exit code.
using ThreadEntry = unsigned (*)(void*);

// A new thread identifier: process-unique, never 0, never reused.
std::uint64_t NewThreadId();

// The calling thread's identifier. Threads started with StartThread have the identifier they
// were started with; any other thread gets a new one on its first call.
std::uint64_t CurrentThreadId();

// Starts a thread that runs entry(arg) with the identifier `threadId` (from NewThreadId), so
// that the caller can publish the identifier before the thread runs. The thread is detached: it
// releases everything it holds when its entry returns, whether or not its handle is still open.
// Waiting on the handle waits for the entry to return. Returns null when no thread could be made.
Handle StartThread(ThreadEntry entry, void* arg, std::uint64_t threadId);

// The value entry returned, once the thread has finished; false while it runs or for a handle
// that is not a thread.
bool ThreadExitCode(Handle handle, unsigned* exitCode);

} // namespace platform
} // namespace OGL_ZEP6_AE
