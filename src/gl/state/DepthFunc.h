#pragma once

// The depth test. Apply()/Retrieve() run on the GL worker thread (or a thread with the root
// context current).

#include "Export.h"

#include <GL/gl.h>

namespace OGL_ZEP6_AE {

class ZEP6_API DepthFunc {
public:
    bool flag;
    unsigned int function;

    // The test is on unless the function is GL_ALWAYS.
    constexpr explicit DepthFunc(unsigned int function_ = GL_LESS)
        : flag(function_ != GL_ALWAYS), function(function_) {}

    // glDepthFunc, then GL_DEPTH_TEST by the flag.
    void Apply() const;
    void Retrieve();

    bool operator==(const DepthFunc& d) const { return flag == d.flag && function == d.function; }
    bool operator!=(const DepthFunc& d) const { return !(*this == d); }

    static void DisableDepth();
    // glDepthFunc(function), GL_DEPTH_TEST on and depth writes on (glDepthMask).
    static void EnableWrite(unsigned int function);

    static const DepthFunc Never;
    static const DepthFunc Less;
    static const DepthFunc Equal;
    static const DepthFunc LessEqual;
    static const DepthFunc Greater;
    static const DepthFunc NotEqual;
    static const DepthFunc GreaterEqual;
    static const DepthFunc Always;
};

} // namespace OGL_ZEP6_AE
