#include "sync/StLock.h"

#include "sync/XSyncObj.h"

namespace ZEP6_AE {

StLock::StLock(XSyncObj& object, long milliseconds)
    : object_(object), locked_(object.LockWaitMilliSec(milliseconds)) {}

StLock::~StLock() {
    if (locked_)
        object_.Unlock();
}

bool StLock::IsLocked() const {
    return locked_;
}

} // namespace ZEP6_AE
