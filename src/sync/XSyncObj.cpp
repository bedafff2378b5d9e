#include "sync/XSyncObj.h"

#include "platform/Sync.h"

namespace ZEP6_AE {

namespace platform = OGL_ZEP6_AE::platform;

namespace {
// The longest wait Lock(true) asks for: about 24.8 days rather than no limit at all.
constexpr long kLongestWait = 0x7FFFFFFF;
} // namespace

template <int Kind> BasicSyncObj<Kind>::BasicSyncObj() : handle_(nullptr) {}

template <int Kind> BasicSyncObj<Kind>::~BasicSyncObj() {
    if (handle_)
        platform::CloseHandle(handle_);
}

template <int Kind> bool BasicSyncObj<Kind>::Lock(bool wait) {
    return LockWaitMilliSec(wait ? kLongestWait : 0);
}

template <int Kind> bool BasicSyncObj<Kind>::LockWaitMilliSec(long milliseconds) {
    if (!handle_)
        return false;
    return platform::WaitHandle(handle_, milliseconds) == platform::WaitResult::Signalled;
}

template <int Kind> void BasicSyncObj<Kind>::Unlock() {}

template <int Kind> BasicSyncMutex<Kind>::BasicSyncMutex() {
    this->handle_ = platform::CreateMutexHandle();
}

template <int Kind> void BasicSyncMutex<Kind>::Unlock() {
    if (this->handle_)
        platform::ReleaseMutexHandle(this->handle_);
}

template <int Kind> BasicSyncEvent<Kind>::BasicSyncEvent(bool autoReset) : signalled_(false) {
    this->handle_ = platform::CreateEventHandle(!autoReset);
}

template <int Kind> BasicSyncEvent<Kind>::~BasicSyncEvent() {
    signalled_.store(false);
}

template <int Kind> void BasicSyncEvent<Kind>::SetEvent() {
    signalled_.store(true);
    if (this->handle_)
        platform::SetEventHandle(this->handle_);
}

template <int Kind> void BasicSyncEvent<Kind>::ResetEvent() {
    signalled_.store(false);
    if (this->handle_)
        platform::ResetEventHandle(this->handle_);
}

template <int Kind> bool BasicSyncEvent<Kind>::WaitForEvent(long milliseconds) {
    if (!this->handle_)
        return false;
    return platform::WaitHandle(this->handle_, milliseconds) == platform::WaitResult::Signalled &&
           signalled_.load();
}

template <int Kind> BasicSyncThread<Kind>::BasicSyncThread() : threadId_(0) {}

template <int Kind> BasicSyncThread<Kind>::~BasicSyncThread() = default;

template <int Kind> void BasicSyncThread<Kind>::StartThread() {
    // The identifier is claimed before the thread exists: a second caller sees a running thread
    // and starts none, and a thread that ends at once cannot have its reset overwritten.
    std::uint64_t none = 0;
    const std::uint64_t id = platform::NewThreadId();
    if (!threadId_.compare_exchange_strong(none, id))
        return;
    platform::Handle thread = platform::StartThread(&BasicSyncThread::ThreadStart, this, id);
    if (!thread) {
        threadId_.store(0);
        return;
    }
    // The handle is not needed: the thread is followed through its identifier.
    platform::CloseHandle(thread);
}

// The library's own threads catch everything Process() throws.
template <> unsigned BasicSyncThread<0>::ThreadStart(void* self) {
    return static_cast<BasicSyncThread<0>*>(self)->InternalProcess() ? 1u : 0u;
}

// The twins' start routine has no try block: an exception out of Process() leaves the thread's
// start routine and ends the process.
template <> unsigned BasicSyncThread<1>::ThreadStart(void* self) {
    auto* thread = static_cast<BasicSyncThread<1>*>(self);
    const bool result = thread->Process();
    thread->threadId_.store(0);
    return result ? 1u : 0u;
}

template <int Kind> bool BasicSyncThread<Kind>::InternalProcess() {
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

template <int Kind> bool BasicSyncThread<Kind>::IsThread() const {
    return threadId_.load() == platform::CurrentThreadId();
}

template <int Kind> bool BasicSyncThread<Kind>::IsRunning() const {
    return threadId_.load() != 0;
}

template <int Kind> void BasicSyncThread<Kind>::SetThreadName(const char*, unsigned long) {}

template class BasicSyncObj<0>;
template class BasicSyncMutex<0>;
template class BasicSyncEvent<0>;
template class BasicSyncThread<0>;
template class BasicSyncObj<1>;
template class BasicSyncMutex<1>;
template class BasicSyncEvent<1>;
template class BasicSyncThread<1>;

} // namespace ZEP6_AE
