#pragma once

// The values the colour and depth buffers are cleared to. Apply()/Retrieve() run on the GL
// worker thread (or a thread with the root context current).

#include "Export.h"
#include "gl/state/Color.h"

namespace OGL_ZEP6_AE {

class ZEP6_API ClearColor {
public:
    Color color;
    float depth;

    constexpr ClearColor() : color(0.0f, 0.0f, 0.0f, 0.0f), depth(1.0f) {}
    constexpr explicit ClearColor(const Color& c, float depth_ = 1.0f) : color(c), depth(depth_) {}

    // glClearColor, glClearDepth.
    void Apply() const;
    void Retrieve();

    bool operator==(const ClearColor& c) const { return color == c.color && depth == c.depth; }
    bool operator!=(const ClearColor& c) const { return !(*this == c); }

    static const ClearColor Default;
};

} // namespace OGL_ZEP6_AE
