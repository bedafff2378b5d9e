#include "gl/resources/SharedCleaner.h"

#include "gl/context/ThreadHooksPrivate.h"
#include "gl/resources/Resource.h"

namespace ZEP6_AE {

namespace {
// Constructed at load; links itself into the static list.
StaticObject<OGL_ZEP6_AE::SharedCleaner> sSharedCleaner;
} // namespace

void StaticObject<OGL_ZEP6_AE::SharedCleaner>::Finalize() {
    // Every resource gives back its OpenGL objects in the worker's last job, while the root
    // context is still current; the caches, older than their buffers, come last and from then
    // on keep nothing. Then the worker stops and deletes the root context.
    OGL_ZEP6_AE::detail::StopAndDeleteWorker(&OGL_ZEP6_AE::Resource::FinalizeAll);
    finalized_ = true;
    FinalizedNext();
}

} // namespace ZEP6_AE
