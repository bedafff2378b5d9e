#pragma once

#include "Export.h"

#include <atomic>
#include <cstdint>

namespace OGL_ZEP6_AE {

// The synchronisation wrappers under the rendering namespace's names. They behave as
// ZEP6_AE::XSyncObj, XSyncMutex, XSyncEvent and XSyncThread (see sync/XSyncObj.h), with one
// difference: the thread a SyncThread starts runs Process() without catching exceptions, so an
// exception out of Process() ends the process. The library itself uses the ZEP6_AE classes.

class ZEP6_API SyncObj {
public:
    SyncObj();
    virtual ~SyncObj();

    SyncObj(const SyncObj&) = delete;
    SyncObj& operator=(const SyncObj&) = delete;

    virtual bool Lock(bool wait);
    virtual bool LockWaitMilliSec(long milliseconds);
    virtual void Unlock();

protected:
    void* handle_;
};

class ZEP6_API SyncMutex : public SyncObj {
public:
    SyncMutex();
    void Unlock() override;
};

class ZEP6_API SyncEvent : public SyncObj {
public:
    explicit SyncEvent(bool autoReset = true);
    ~SyncEvent() override;

    void SetEvent();
    void ResetEvent();
    bool WaitForEvent(long milliseconds);

private:
    std::atomic<bool> signalled_;
};

class ZEP6_API SyncThread : public SyncObj {
public:
    SyncThread();
    ~SyncThread() override;

    virtual bool Process() = 0;

    void StartThread();
    // Runs Process(), catching every exception, and sets the identifier back to 0. The started
    // thread does not go through here (see above).
    bool InternalProcess();
    bool IsThread() const;
    bool IsRunning() const;
    static void SetThreadName(const char* name, unsigned long threadId);

private:
    static unsigned ThreadStart(void* self);

    std::atomic<std::uint64_t> threadId_;
};

} // namespace OGL_ZEP6_AE
