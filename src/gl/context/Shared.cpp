#include "gl/context/Shared.h"

#include "gl/context/Thread.h"
#include "gl/context/ThreadHooksPrivate.h"

#include <mutex>

namespace OGL_ZEP6_AE {

namespace detail {
void (*gJobEndHook)() = nullptr;
}

namespace {
std::mutex& CreationLock() {
    static std::mutex lock;
    return lock;
}
} // namespace

Shared::~Shared() {
    if (detail::gJobEndHook)
        detail::gJobEndHook();
}

bool Shared::ThreadQueue() {
    Thread* thread = nullptr;
    {
        // Two host threads calling in for the first time must not both make a worker.
        std::lock_guard<std::mutex> guard(CreationLock());
        if (!sThread)
            sThread = new Thread();
        thread = sThread;
    }
    return thread->Execute(ThreadTask, this);
}

bool Shared::ThreadTask(void* job) {
    if (job)
        static_cast<Shared*>(job)->Run();
    return true;
}

bool Shared::IsThread() { return sThread && sThread->IsThread(); }

const char* Shared::ErrorMessage() { return sThread ? sThread->ErrorMessage() : "Unknown"; }

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
    std::lock_guard<std::mutex> guard(CreationLock());
    if (!sThread)
        return;
    if (sThread->IsRunning() && lastJob)
        sThread->Execute(RunLastJob, reinterpret_cast<void*>(lastJob));
    sThread->Finalize();
    delete sThread;
    sThread = nullptr;
}

} // namespace detail
} // namespace OGL_ZEP6_AE
