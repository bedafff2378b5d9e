#include "sync/SyncTwins.h"

#include "platform/Sync.h"

namespace OGL_ZEP6_AE {

namespace {
// The longest wait Lock(true) asks for: about 24.8 days rather than no limit at all.
constexpr long kLongestWait = 0x7FFFFFFF;
} // namespace

SyncObj::SyncObj() : handle_(nullptr) {}

SyncObj::~SyncObj() {
    if (handle_)
        platform::CloseHandle(handle_);
}

bool SyncObj::Lock(bool wait) {
    return LockWaitMilliSec(wait ? kLongestWait : 0);
}

bool SyncObj::LockWaitMilliSec(long milliseconds) {
    if (!handle_)
        return false;
    return platform::WaitHandle(handle_, milliseconds) == platform::WaitResult::Signalled;
}

void SyncObj::Unlock() {}

SyncMutex::SyncMutex() {
    handle_ = platform::CreateMutexHandle();
}

void SyncMutex::Unlock() {
    if (handle_)
        platform::ReleaseMutexHandle(handle_);
}

SyncEvent::SyncEvent(bool autoReset) : signalled_(false) {
    handle_ = platform::CreateEventHandle(!autoReset);
}

SyncEvent::~SyncEvent() {
    signalled_.store(false);
}

void SyncEvent::SetEvent() {
    signalled_.store(true);
    if (handle_)
        platform::SetEventHandle(handle_);
}

void SyncEvent::ResetEvent() {
    signalled_.store(false);
    if (handle_)
        platform::ResetEventHandle(handle_);
}

bool SyncEvent::WaitForEvent(long milliseconds) {
    if (!handle_)
        return false;
    return platform::WaitHandle(handle_, milliseconds) == platform::WaitResult::Signalled &&
           signalled_.load();
}

SyncThread::SyncThread() : threadId_(0) {}

SyncThread::~SyncThread() = default;

void SyncThread::StartThread() {
    // Claimed before the thread exists, as XSyncThread does.
    std::uint64_t none = 0;
    const std::uint64_t id = platform::NewThreadId();
    if (!threadId_.compare_exchange_strong(none, id))
        return;
    platform::Handle thread = platform::StartThread(&SyncThread::ThreadStart, this, id);
    if (!thread) {
        threadId_.store(0);
        return;
    }
    platform::CloseHandle(thread);
}

// No try block: an exception out of Process() leaves the thread's start routine and ends the
// process.
unsigned SyncThread::ThreadStart(void* self) {
    SyncThread* thread = static_cast<SyncThread*>(self);
    const bool result = thread->Process();
    thread->threadId_.store(0);
    return result ? 1u : 0u;
}

bool SyncThread::InternalProcess() {
    bool result = false;
    try {
        result = Process();
    } catch (...) {
        result = false;
    }
    threadId_.store(0);
    return result;
}

bool SyncThread::IsThread() const {
    return threadId_.load() == platform::CurrentThreadId();
}

bool SyncThread::IsRunning() const {
    return threadId_.load() != 0;
}

void SyncThread::SetThreadName(const char*, unsigned long) {}

} // namespace OGL_ZEP6_AE
