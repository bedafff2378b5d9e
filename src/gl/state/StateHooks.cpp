// Connects the state snapshot to the GL worker thread and to root-context creation: every job
// runs between a State::Retrieve() and a State::Apply(), and a new root context starts from
// SetDefault(). Only function pointers are assigned at load; no OpenGL call is made then.
#include "gl/context/RootContextHooksPrivate.h"
#include "gl/context/ThreadHooksPrivate.h"
#include "gl/state/State.h"

#include <memory>

namespace OGL_ZEP6_AE {

namespace {

// The worker's capture: every attribute group but textures, all client groups, the model-view
// and projection matrices and two texture units. On the worker thread, root context current.
void* CaptureJobState() {
    std::unique_ptr<State> state(new State(2));
    try {
        state->Retrieve();
    } catch (...) {
        state->Pop();
        throw;
    }
    return state.release();
}

// Puts the captured state back and frees it. The attribute level is given back also when a part
// of the restore throws; otherwise every failed restore would leave one level on the stacks.
void RestoreJobState(void* data) {
    std::unique_ptr<State> state(static_cast<State*>(data));
    try {
        state->Apply();
    } catch (...) {
        state->Pop();
        throw;
    }
    state->Pop();
}

void DiscardJobState(void* data) {
    std::unique_ptr<State> state(static_cast<State*>(data));
    state->Pop();
}

struct InstallStateHooks {
    InstallStateHooks() {
        detail::gJobStateHooks.capture = &CaptureJobState;
        detail::gJobStateHooks.restore = &RestoreJobState;
        detail::gJobStateHooks.discard = &DiscardJobState;
        detail::gApplyDefaultStateHook = &SetDefault;
    }
};
const InstallStateHooks sInstallStateHooks;

} // namespace

} // namespace OGL_ZEP6_AE
