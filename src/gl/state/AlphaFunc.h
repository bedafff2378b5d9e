#pragma once

// The alpha test. Apply()/Retrieve() run on the GL worker thread (or a thread with the root
// context current).

#include "Export.h"

#include <GL/gl.h>

namespace OGL_ZEP6_AE {

class ZEP6_API AlphaFunc {
public:
    bool flag;
    unsigned int function;
    float reference;

    // The test is on unless the function is GL_ALWAYS.
    constexpr AlphaFunc(unsigned int function_ = GL_ALWAYS, float reference_ = 0.0f)
        : flag(function_ != GL_ALWAYS), function(function_), reference(reference_) {}

    // Only where the alpha test is supported: glAlphaFunc, then GL_ALPHA_TEST by the flag.
    void Apply() const;
    void Retrieve();

    bool operator==(const AlphaFunc& a) const;
    bool operator!=(const AlphaFunc& a) const { return !(*this == a); }

    // Whether the alpha test is supported (it always has been).
    static bool IsSupported();

    static const AlphaFunc Default;
    static const AlphaFunc Always;
};

} // namespace OGL_ZEP6_AE
