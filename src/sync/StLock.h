#pragma once

#include "Export.h"

namespace ZEP6_AE {

template <int Kind> class BasicSyncObj;
using XSyncObj = BasicSyncObj<0>;

// Scoped lock: takes the object for at most the given time when made, and gives it back when it
// goes, but only when it was obtained.
class ZEP6_API StLock {
public:
    StLock(XSyncObj& object, long milliseconds);
    ~StLock();

    StLock(const StLock&) = delete;
    StLock& operator=(const StLock&) = delete;

    // Whether the lock was obtained.
    bool IsLocked() const;

private:
    XSyncObj& object_;
    bool locked_;
};

} // namespace ZEP6_AE
