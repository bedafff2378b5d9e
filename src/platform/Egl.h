#pragma once

// Headless OpenGL through EGL: the one place that knows about EGL displays, configs, surfaces
// and contexts. The rest of the library sees contexts only through these functions.

namespace OGL_ZEP6_AE {
namespace platform {

// A thread's whole current EGL binding (display, draw and read surfaces, context); all null
// when the thread has no current context.
struct ContextBinding {
    void* display = nullptr;
    void* draw = nullptr;
    void* read = nullptr;
    void* context = nullptr;

    bool operator==(const ContextBinding& o) const {
        return display == o.display && draw == o.draw && read == o.read && context == o.context;
    }
    bool operator!=(const ContextBinding& o) const { return !(*this == o); }
};

// The calling thread's current binding.
ContextBinding CurrentBinding();

// Makes the binding current on the calling thread; a binding without context releases the
// thread's current context. Returns whether EGL accepted it.
bool MakeCurrent(const ContextBinding& binding);

// Whether the calling thread has a current context (any context).
bool HasCurrentContext();

// Creates the root context: the process's EGL display (chosen once and kept initialised for the
// life of the process), a 16 x 16 pbuffer surface (or none where the driver only offers
// surfaceless contexts) and a compatibility-profile OpenGL context, made current on the calling
// thread. On failure returns false and leaves `root` all null.
bool CreateRootContext(ContextBinding& root);

// Releases the root context from the calling thread when it is current there, destroys the
// context and surface, and clears `root`. The display stays initialised.
void DestroyRootContext(ContextBinding& root);

// Releases the calling thread's EGL state before the thread ends.
void ReleaseThread();

// Address of an OpenGL or EGL entry point by name, or null.
void* GetProcAddress(const char* name);

// The window-system (EGL) extension list of the display of the current context, or of the
// process's display when no context is current; null when there is no display.
const char* WindowSystemExtensions();

} // namespace platform
} // namespace OGL_ZEP6_AE
