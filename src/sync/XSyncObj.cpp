#include "sync/XSyncObj.h"

#include "platform/Sync.h"

namespace ZEP6_AE {

namespace platform = OGL_ZEP6_AE::platform;

namespace {
// The longest wait Lock(true) asks for: about 24.8 days rather than no limit at all.
constexpr long kLongestWait = 0x7FFFFFFF;
} // namespace

XSyncObj::XSyncObj() : handle_(nullptr) {}

XSyncObj::~XSyncObj() {
    if (handle_)
        platform::CloseHandle(handle_);
}

bool XSyncObj::Lock(bool wait) {
    return LockWaitMilliSec(wait ? kLongestWait : 0);
}

bool XSyncObj::LockWaitMilliSec(long milliseconds) {
    if (!handle_)
        return false;
    return platform::WaitHandle(handle_, milliseconds) == platform::WaitResult::Signalled;
}

void XSyncObj::Unlock() {}

XSyncMutex::XSyncMutex() {
    handle_ = platform::CreateMutexHandle();
}

void XSyncMutex::Unlock() {
    if (handle_)
        platform::ReleaseMutexHandle(handle_);
}

XSyncEvent::XSyncEvent(bool autoReset) : signalled_(false) {
    handle_ = platform::CreateEventHandle(!autoReset);
}

XSyncEvent::~XSyncEvent() {
    signalled_.store(false);
}

void XSyncEvent::SetEvent() {
    signalled_.store(true);
    if (handle_)
        platform::SetEventHandle(handle_);
}

void XSyncEvent::ResetEvent() {
    signalled_.store(false);
    if (handle_)
        platform::ResetEventHandle(handle_);
}

bool XSyncEvent::WaitForEvent(long milliseconds) {
    if (!handle_)
        return false;
    return platform::WaitHandle(handle_, milliseconds) == platform::WaitResult::Signalled &&
           signalled_.load();
}

XSyncThread::XSyncThread() : threadId_(0) {}

XSyncThread::~XSyncThread() = default;

void XSyncThread::StartThread() {
    // The identifier is claimed before the thread exists: a second caller sees a running thread
    // and starts none, and a thread that ends at once cannot have its reset overwritten.
    std::uint64_t none = 0;
    const std::uint64_t id = platform::NewThreadId();
    if (!threadId_.compare_exchange_strong(none, id))
        return;
    platform::Handle thread = platform::StartThread(&XSyncThread::ThreadStart, this, id);
    if (!thread) {
        threadId_.store(0);
        return;
    }
    // The handle is not needed: the thread is followed through its identifier.
    platform::CloseHandle(thread);
}

unsigned XSyncThread::ThreadStart(void* self) {
    return static_cast<XSyncThread*>(self)->InternalProcess() ? 1u : 0u;
}

bool XSyncThread::InternalProcess() {
    bool result = false;
    try {
        result = Process();
    } catch (...) {
        result = false;
    }
    // Last touch of this object on the thread: once the identifier is 0 the owner may delete it.
    threadId_.store(0);
    return result;
}

bool XSyncThread::IsThread() const {
    return threadId_.load() == platform::CurrentThreadId();
}

bool XSyncThread::IsRunning() const {
    return threadId_.load() != 0;
}

void XSyncThread::SetThreadName(const char*, unsigned long) {}

} // namespace ZEP6_AE
