#pragma once

// The buffer object bound to a pixel-transfer target (GL_PIXEL_PACK_BUFFER or
// GL_PIXEL_UNPACK_BUFFER). While a name other than 0 is bound there, the pixel pointers of
// glReadPixels and glTexSubImage2D are offsets into that buffer, so the binding is state like any
// other and is only changed through PushBufferBinding. Runs on the GL worker thread (or a thread
// with the root context current).

#include "Export.h"

namespace OGL_ZEP6_AE {

// Saves the name bound to `target` and binds `name` there; restores the saved name, or 0 when it
// is no longer a buffer, so that a buffer deleted in the scope is not brought back. Needs the
// buffer-object entry points (Unsupported when they are missing; swallowed in the destructor).
class ZEP6_API PushBufferBinding {
public:
    PushBufferBinding(unsigned int target, unsigned int name);
    ~PushBufferBinding();
    PushBufferBinding(const PushBufferBinding&) = delete;
    PushBufferBinding& operator=(const PushBufferBinding&) = delete;

    // Binds the saved name back now; a second call does nothing.
    void Pop();
    unsigned int Saved() const { return saved_; }

private:
    unsigned int target_;
    unsigned int saved_;
    bool pushed_;
};

} // namespace OGL_ZEP6_AE
