#pragma once

#include "Export.h"

namespace OGL_ZEP6_AE {
namespace detail {

// How the worker captures the whole OpenGL state before a job and restores it after. The state
// layer installs the two functions; until it does, jobs run without the capture.
struct JobStateHooks {
    void* (*capture)() = nullptr;       // reads the current state, returns it
    void (*restore)(void* state) = nullptr;  // applies it again and frees it (may throw)
    void (*discard)(void* state) = nullptr;  // frees it without applying (must not throw)
};
// Exported (though not installed) so the worker benchmark can measure the hand-over alone.
extern ZEP6_API JobStateHooks gJobStateHooks;

// Captures the state when built; Restore() puts it back (its exceptions reach the job's
// handler). A scope left by an exception from the job restores without letting anything
// escape the destructor.
class JobStateScope {
public:
    JobStateScope() : state_(gJobStateHooks.capture ? gJobStateHooks.capture() : nullptr) {}
    ~JobStateScope() {
        if (!state_)
            return;
        try {
            Restore();
        } catch (...) {
            if (state_ && gJobStateHooks.discard)
                gJobStateHooks.discard(state_);
        }
    }
    void Restore() {
        void* state = state_;
        state_ = nullptr;
        if (state && gJobStateHooks.restore)
            gJobStateHooks.restore(state);
    }
    JobStateScope(const JobStateScope&) = delete;
    JobStateScope& operator=(const JobStateScope&) = delete;

private:
    void* state_;
};

// Called each time a job object ends: empties the pixel-memory cache. Installed by the
// resource layer.
extern void (*gJobEndHook)();

} // namespace detail
} // namespace OGL_ZEP6_AE

namespace OGL_ZEP6_AE {
class Thread;
namespace detail {

// Orderly end of the worker: waits until no call uses the worker (calls arriving meanwhile wait
// for the end and then start a new worker), runs lastJob on it when it is running (so that it
// happens with the root context current), stops it, deletes the Thread object and sets sThread
// to null. Must not be called from the worker itself.
void StopAndDeleteWorker(void (*lastJob)());

// The Thread whose worker loop runs on the calling thread; null on every other thread. Lets the
// worker recognise itself without touching sThread's object, which another thread's shutdown
// may be deleting.
Thread* RunningWorker();

} // namespace detail
} // namespace OGL_ZEP6_AE
