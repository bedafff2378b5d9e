#pragma once

#include "Export.h"
#include "sync/XSyncObj.h"

#include <atomic>
#include <cstddef>

namespace OGL_ZEP6_AE {

// The GL worker thread: the one thread that does the library's OpenGL work, with the root
// context current while a job runs. Host threads hand it one job at a time with Execute() and
// wait for the result; the message of a failed job is kept for ErrorMessage().
class ZEP6_API Thread : public ZEP6_AE::XSyncThread {
public:
    Thread();
    // Closes the handles; it does not stop the worker, so Finalize() comes first.
    ~Thread() override;

    // Runs function(data) on the worker thread and returns its result. Called from the worker
    // itself (a job calling a marshalled function), the function runs at once.
    bool Execute(bool (*function)(void*), void* data);

    // The message of the last job: valid until the next job ends.
    const char* ErrorMessage();

    // Stops the worker thread and waits until it has left (and released its context).
    void Finalize();

    // The worker loop.
    bool Process() override;

private:
    // Runs the pending job on the worker, with the OpenGL state captured around it.
    void ThreadExecute();
    void SetMessage(const char* text);

    ZEP6_AE::XSyncMutex callLock_;
    ZEP6_AE::XSyncEvent request_;
    ZEP6_AE::XSyncEvent done_;
    ZEP6_AE::XSyncEvent stop_;
    bool (*function_)(void*);
    void* data_;
    bool result_;
    const char* message_;
    // The message is copied here: an exception's text may not outlive the exception.
    char messageBuffer_[4096];
};

// A pointer whose every read and write is atomic, used like the plain pointer it stands for
// (tested, dereferenced, assigned).
template <class T> class AtomicPointer {
public:
    constexpr AtomicPointer(T* pointer = nullptr) noexcept : pointer_(pointer) {}
    AtomicPointer(const AtomicPointer&) = delete;
    AtomicPointer& operator=(const AtomicPointer&) = delete;

    AtomicPointer& operator=(T* pointer) noexcept {
        pointer_.store(pointer);
        return *this;
    }
    operator T*() const noexcept { return pointer_.load(); }
    T* operator->() const noexcept { return pointer_.load(); }

private:
    std::atomic<T*> pointer_;
};

// The one worker thread of the process: created on first use, null before and after shutdown.
// Host threads test it while another host thread's first call creates the worker, hence atomic.
// Use it only from inside a call that keeps the worker alive (Shared::ThreadQueue does): the
// last StaticList::Decrement() deletes it.
extern ZEP6_API AtomicPointer<Thread> sThread;

} // namespace OGL_ZEP6_AE
