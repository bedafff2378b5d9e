#include "gl/context/Shared.h"

#include "gl/context/Thread.h"
#include "gl/context/ThreadHooksPrivate.h"

#include <condition_variable>
#include <mutex>

namespace OGL_ZEP6_AE {

namespace detail {
void (*gJobEndHook)() = nullptr;
}

namespace {

// Who uses the worker now. A host thread's call counts itself in for as long as it uses the
// worker, and the shutdown waits until no call is in flight before it deletes the worker, so
// the worker never goes away under a caller. While the shutdown runs, arriving calls wait; once
// it is over they start a new worker.
struct WorkerUsers {
    std::mutex lock;
    std::condition_variable changed;
    int inFlight = 0;
    bool closing = false;
};

// Never destroyed: a host thread may still call in while the process's statics go away.
WorkerUsers& Users() {
    static WorkerUsers* users = new WorkerUsers;
    return *users;
}

// One host thread's use of the worker, from before the worker is looked up (or created) until
// the call has returned.
class WorkerUse {
public:
    WorkerUse() : users_(Users()) {
        std::unique_lock<std::mutex> lock(users_.lock);
        users_.changed.wait(lock, [this] { return !users_.closing; });
        // Two host threads calling in for the first time must not both make a worker.
        if (!sThread)
            sThread = new Thread();
        worker_ = sThread;
        ++users_.inFlight;
    }
    ~WorkerUse() {
        bool last = false;
        {
            std::lock_guard<std::mutex> guard(users_.lock);
            last = --users_.inFlight == 0 && users_.closing;
        }
        if (last)
            users_.changed.notify_all();
    }
    WorkerUse(const WorkerUse&) = delete;
    WorkerUse& operator=(const WorkerUse&) = delete;

    Thread& Worker() const { return *worker_; }

private:
    WorkerUsers& users_;
    Thread* worker_ = nullptr;
};

} // namespace

Shared::~Shared() {
    if (detail::gJobEndHook)
        detail::gJobEndHook();
}

bool Shared::ThreadQueue() {
    // A job that queues another runs it at once; the worker is kept alive by its own caller.
    if (Thread* self = detail::RunningWorker())
        return self->Execute(ThreadTask, this);
    WorkerUse use;
    return use.Worker().Execute(ThreadTask, this);
}

bool Shared::ThreadTask(void* job) {
    if (job)
        static_cast<Shared*>(job)->Run();
    return true;
}

// Compares pointers only: another thread's shutdown may be deleting sThread's object, but never
// while the caller is its worker.
bool Shared::IsThread() {
    Thread* running = detail::RunningWorker();
    return running && running == sThread;
}

const char* Shared::ErrorMessage() {
    if (Thread* self = detail::RunningWorker())
        return self->ErrorMessage();
    // Under the lock the shutdown cannot be deleting the worker.
    std::lock_guard<std::mutex> guard(Users().lock);
    Thread* thread = sThread;
    return thread ? thread->ErrorMessage() : "Unknown";
}

} // namespace OGL_ZEP6_AE

namespace OGL_ZEP6_AE {
namespace detail {

namespace {
bool RunLastJob(void* job) {
    reinterpret_cast<void (*)()>(job)();
    return true;
}
} // namespace

void StopAndDeleteWorker(void (*lastJob)()) {
    WorkerUsers& users = Users();
    std::unique_lock<std::mutex> lock(users.lock);
    users.closing = true;
    users.changed.wait(lock, [&users] { return users.inFlight == 0; });
    if (Thread* thread = sThread) {
        if (thread->IsRunning() && lastJob)
            thread->Execute(RunLastJob, reinterpret_cast<void*>(lastJob));
        thread->Finalize();
        sThread = nullptr;
        delete thread;
    }
    users.closing = false;
    lock.unlock();
    users.changed.notify_all();
}

} // namespace detail
} // namespace OGL_ZEP6_AE
