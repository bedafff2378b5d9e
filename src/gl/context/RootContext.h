#pragma once

#include "Export.h"

namespace OGL_ZEP6_AE {

class Thread;

// The one OpenGL context of the process, made headless on first use. Normally only the GL
// worker thread has it current, while a job runs. A plug-in that wants to issue OpenGL calls
// on its own thread outside a job calls Select(), usually inside a PushOpenGLContext scope.
//
// All operations are static; an automatic RootContext object is a guard whose destruction
// tears the root context down (the worker thread keeps one for its whole life).
class ZEP6_API RootContext {
public:
    RootContext() = default;
    ~RootContext();
    RootContext& operator=(const RootContext&) { return *this; }

    // Makes the root context current on the calling thread, creating it when needed. False when
    // it cannot be made, or cannot be made current here (for instance because another thread
    // has it current at this moment).
    static bool Select();

    // Whether the calling thread has any current context.
    static bool HasContext();

private:
    friend class Thread;
    friend class RootContextTestAccess;

    // Makes sure the root context exists; a context created here is current on the calling
    // thread. Returns whether the root context exists.
    static bool Initialize();

    // Deletes the root context, releasing it from the calling thread first.
    static void Finalize();
};

// Saves the calling thread's current context when built and brings it back when destroyed
// (releasing any context when the thread had none).
class ZEP6_API PushOpenGLContext {
public:
    PushOpenGLContext();
    ~PushOpenGLContext();
    PushOpenGLContext(const PushOpenGLContext&) = default;
    PushOpenGLContext& operator=(const PushOpenGLContext&) = default;

private:
    void* display_;
    void* draw_;
    void* read_;
    void* context_;
};

// Every render target that can become the current drawing destination.
class ZEP6_API Context {
public:
    virtual bool Select() = 0;
    virtual bool Deselect() = 0;

protected:
    ~Context() = default;
};

// A flag for the plug-ins' host glue; the library neither reads nor writes it.
extern ZEP6_API bool gBlockAllEventsNotNeededForNestedRender;

} // namespace OGL_ZEP6_AE
