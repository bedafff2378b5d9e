#pragma once

// Where drawing lands in the framebuffer: the viewport and the scissor box. The library sets
// both to the same rectangle (the part of a target a tile or image uses); they are read back
// separately. Apply()/Retrieve() run on the GL worker thread (or a thread with the root context
// current).

#include "Export.h"

namespace OGL_ZEP6_AE {

class ZEP6_API ViewArea {
public:
    int viewport[4]; // x, y, width, height
    int scissor[4];

    constexpr ViewArea() : viewport{0, 0, 0, 0}, scissor{0, 0, 0, 0} {}
    // The viewport and the scissor box both (x, y, width, height).
    constexpr ViewArea(int x, int y, int width, int height)
        : viewport{x, y, width, height}, scissor{x, y, width, height} {}

    // glViewport and glScissor; the scissor test is left as it is.
    void Apply() const;
    void Retrieve();
};

} // namespace OGL_ZEP6_AE
