#pragma once

#include "sync/XSyncObj.h"

namespace OGL_ZEP6_AE {

// The synchronisation wrappers under the rendering namespace, for the plug-ins: the same fields,
// operations and behaviour as ZEP6_AE::XSyncObj, XSyncMutex, XSyncEvent and XSyncThread, except
// that SyncThread's start routine does not catch what Process() throws (an exception there ends
// the process). The library itself uses the ZEP6_AE classes.
using SyncObj = ZEP6_AE::BasicSyncObj<1>;
using SyncMutex = ZEP6_AE::BasicSyncMutex<1>;
using SyncEvent = ZEP6_AE::BasicSyncEvent<1>;
using SyncThread = ZEP6_AE::BasicSyncThread<1>;

} // namespace OGL_ZEP6_AE
