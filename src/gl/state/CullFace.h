#pragma once

// Face culling. Apply()/Retrieve() run on the GL worker thread (or a thread with the root context
// current).

#include "Export.h"

#include <GL/gl.h>

namespace OGL_ZEP6_AE {

class ZEP6_API CullFace {
public:
    bool flag;
    unsigned int face;

    constexpr CullFace(bool flag_ = false, unsigned int face_ = GL_BACK) : flag(flag_), face(face_) {}

    // glCullFace, then GL_CULL_FACE by the flag.
    void Apply() const;
    void Retrieve();

    bool operator==(const CullFace& c) const { return flag == c.flag && face == c.face; }
    bool operator!=(const CullFace& c) const { return !(*this == c); }

    static void DisableCull();

    static const CullFace Default;
    static const CullFace CullBack;
};

} // namespace OGL_ZEP6_AE
