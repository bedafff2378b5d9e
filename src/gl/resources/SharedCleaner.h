#pragma once

#include "Export.h"
#include "sync/StaticList.h"

namespace OGL_ZEP6_AE {

// The orderly shutdown of the library, run when its last user leaves (the static list's last
// Decrement()): every live resource gives back its OpenGL objects in one last job on the worker,
// the worker stops and deletes the root context, and the worker object is deleted. A later call
// starts everything again.
class ZEP6_API SharedCleaner {
public:
    SharedCleaner() = default;
    bool IsFinalized() const { return finalized_; }

protected:
    bool finalized_ = false;
};

} // namespace OGL_ZEP6_AE

namespace ZEP6_AE {

template <class T> class StaticObject;

// The one instance lives in the library and is linked into the static list at load.
template <> class ZEP6_API StaticObject<OGL_ZEP6_AE::SharedCleaner> : public OGL_ZEP6_AE::SharedCleaner,
                                                                     private StaticList {
public:
    StaticObject() = default;
    ~StaticObject() = default;
    void Finalize() override;
};

} // namespace ZEP6_AE
