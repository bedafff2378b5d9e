#include "gl/resources/SharedCleaner.h"

#include "gl/context/ThreadHooksPrivate.h"

namespace ZEP6_AE {

namespace {
// Constructed at load; links itself into the static list.
StaticObject<OGL_ZEP6_AE::SharedCleaner> sSharedCleaner;
} // namespace

void StaticObject<OGL_ZEP6_AE::SharedCleaner>::Finalize() {
    // Resources are finalised in the worker's last job once the resource list exists.
    OGL_ZEP6_AE::detail::StopAndDeleteWorker(nullptr);
    finalized_ = true;
    FinalizedNext();
}

} // namespace ZEP6_AE
