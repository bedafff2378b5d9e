#pragma once

#include "Export.h"

namespace OGL_ZEP6_AE {

// The framebuffer-object binding as a state value: Retrieve() reads it, Apply() binds it again.
// Runs on the thread that has the context current (the GL worker thread).
class ZEP6_API FrameBuffer {
public:
    int name;

    explicit FrameBuffer(int name_ = 0) : name(name_) {}

    // Reads GL_FRAMEBUFFER_BINDING_EXT.
    void Retrieve();
    // Binds the name to GL_FRAMEBUFFER_EXT (Unsupported without the framebuffer-object entry
    // points).
    void Apply() const;

    bool operator==(const FrameBuffer& f) const { return name == f.name; }
    bool operator!=(const FrameBuffer& f) const { return name != f.name; }
};

} // namespace OGL_ZEP6_AE
