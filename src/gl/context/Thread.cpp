#include "gl/context/Thread.h"

#include "gl/context/RootContext.h"
#include "gl/context/ThreadHooksPrivate.h"
#include "platform/Egl.h"
#include "sync/StLock.h"

#include <chrono>
#include <cstring>
#include <exception>
#include <thread>

namespace OGL_ZEP6_AE {

AtomicPointer<Thread> sThread;

namespace {
// The Thread object whose worker loop runs on the calling thread, null on every other thread.
thread_local Thread* tRunningWorker = nullptr;
} // namespace

namespace detail {
JobStateHooks gJobStateHooks;

Thread* RunningWorker() { return tRunningWorker; }
} // namespace detail

namespace {

// How long one wait of either side lasts before it looks at the other conditions again. A
// signalled event ends a wait at once; the slice only bounds how long an idle worker sleeps
// before it looks at its stop request.
constexpr long kWaitSliceMs = 4;

const char kUnknownError[] = "Unknown error.";

// Waking a thread that sleeps on an event costs tens of microseconds on an idle machine, more
// than a whole short job. Both sides therefore poll their event for a moment first: the caller
// while its job runs, the worker right after a job, when the next request tends to follow at
// once. Past this moment they sleep as usual.
constexpr auto kPollBeforeSleep = std::chrono::microseconds(50);

bool PollEvent(ZEP6_AE::XSyncEvent& event) {
    const auto until = std::chrono::steady_clock::now() + kPollBeforeSleep;
    do {
        if (event.WaitForEvent(0))
            return true;
        std::this_thread::yield();
    } while (std::chrono::steady_clock::now() < until);
    return false;
}

} // namespace

Thread::Thread()
    : request_(true), done_(true), stop_(true), function_(nullptr), data_(nullptr), result_(false),
      message_(kUnknownError) {
    messageBuffer_[0] = '\0';
    request_.ResetEvent();
    done_.ResetEvent();
    stop_.ResetEvent();
}

Thread::~Thread() = default;

void Thread::SetMessage(const char* text) {
    if (!text) {
        message_ = kUnknownError;
        return;
    }
    std::strncpy(messageBuffer_, text, sizeof(messageBuffer_) - 1);
    messageBuffer_[sizeof(messageBuffer_) - 1] = '\0';
    message_ = messageBuffer_;
}

const char* Thread::ErrorMessage() { return message_; }

bool Thread::Execute(bool (*function)(void*), void* data) {
    if (IsThread()) {
        result_ = function ? function(data) : false;
        return result_;
    }

    ZEP6_AE::StLock lock(callLock_, 0x7FFFFFFF);
    StartThread();

    function_ = function;
    data_ = data;
    result_ = false;
    done_.ResetEvent();
    request_.SetEvent();

    if (!PollEvent(done_)) {
        while (!done_.WaitForEvent(kWaitSliceMs)) {
            if (!IsRunning())
                break;
        }
    }
    done_.ResetEvent();
    return result_;
}

void Thread::Finalize() {
    if (!IsRunning())
        return;
    done_.ResetEvent();
    stop_.SetEvent();
    while (!done_.WaitForEvent(kWaitSliceMs)) {
        if (!IsRunning())
            break;
    }
    done_.ResetEvent();
    // The worker signals "done" just before it returns; its last touch of this object is
    // clearing the thread identifier. Wait for that, so the object can be deleted at once.
    while (IsRunning())
        done_.WaitForEvent(1);
    stop_.ResetEvent();
}

bool Thread::Process() {
    tRunningWorker = this;
    RootContext guard;
    bool justWorked = false;
    for (;;) {
        if (stop_.WaitForEvent(0))
            break;
        const bool requested = (justWorked && PollEvent(request_)) || request_.WaitForEvent(kWaitSliceMs);
        justWorked = false;
        if (!requested)
            continue;
        justWorked = true;

        {
            // The previous binding (normally none) comes back before the caller is released,
            // so the root context is never left current on the worker between jobs.
            PushOpenGLContext previous;
            if (RootContext::Select()) {
                ThreadExecute();
            } else {
                SetMessage("OpenGL context failure.");
                result_ = false;
                function_ = nullptr;
                data_ = nullptr;
            }
        }
        request_.ResetEvent();
        done_.SetEvent();
    }

    RootContext::Finalize();
    platform::ReleaseThread();
    tRunningWorker = nullptr;
    done_.SetEvent();
    return false;
}

void Thread::ThreadExecute() {
    result_ = false;
    message_ = kUnknownError;
    if (!function_) {
        SetMessage("Internal error: missing function.");
        return;
    }
    if (!data_) {
        function_ = nullptr;
        SetMessage("Internal error: missing data.");
        return;
    }

    try {
        // The whole OpenGL state is captured before the job and restored after it, so that
        // nothing a job changes leaks into the next one.
        detail::JobStateScope state;
        bool (*function)(void*) = function_;
        void* data = data_;
        function_ = nullptr;
        data_ = nullptr;
        result_ = function(data);
        state.Restore();
    } catch (const std::exception& e) {
        result_ = false;
        SetMessage(e.what());
    } catch (...) {
        result_ = false;
        SetMessage(kUnknownError);
    }
}

} // namespace OGL_ZEP6_AE
