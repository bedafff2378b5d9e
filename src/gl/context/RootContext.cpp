#include "gl/context/RootContext.h"

#include "gl/context/EntryPoints.h"
#include "gl/context/RootContextHooksPrivate.h"
#include "platform/Egl.h"

#include <mutex>

namespace OGL_ZEP6_AE {

bool gBlockAllEventsNotNeededForNestedRender = false;

namespace {

// The root state: display, surface and context of the one root context; all null when absent.
platform::ContextBinding& Root() {
    static platform::ContextBinding root;
    return root;
}

std::mutex& RootLock() {
    static std::mutex lock;
    return lock;
}

} // namespace

namespace detail {
void (*gApplyDefaultStateHook)() = nullptr;
}

bool RootContext::Initialize() {
    std::lock_guard<std::mutex> guard(RootLock());
    platform::ContextBinding& root = Root();
    if (root.context)
        return true;

    platform::ContextBinding created;
    if (!platform::CreateRootContext(created))
        return false;
    // Entry points are fetched once per process, in the first root context that exists.
    LoadEntryPoints();
    if (detail::gApplyDefaultStateHook)
        detail::gApplyDefaultStateHook();
    root = created;
    return true;
}

bool RootContext::Select() {
    if (!Initialize())
        return false;
    platform::ContextBinding root;
    {
        std::lock_guard<std::mutex> guard(RootLock());
        root = Root();
    }
    if (!root.context)
        return false;
    if (platform::CurrentBinding() == root)
        return true;
    return platform::MakeCurrent(root);
}

bool RootContext::HasContext() { return platform::HasCurrentContext(); }

void RootContext::Finalize() {
    std::lock_guard<std::mutex> guard(RootLock());
    platform::DestroyRootContext(Root());
}

RootContext::~RootContext() { Finalize(); }

PushOpenGLContext::PushOpenGLContext() {
    const platform::ContextBinding current = platform::CurrentBinding();
    display_ = current.display;
    draw_ = current.draw;
    read_ = current.read;
    context_ = current.context;
}

PushOpenGLContext::~PushOpenGLContext() {
    platform::ContextBinding saved;
    saved.display = display_;
    saved.draw = draw_;
    saved.read = read_;
    saved.context = context_;
    if (platform::CurrentBinding() != saved)
        platform::MakeCurrent(saved);
}

} // namespace OGL_ZEP6_AE
