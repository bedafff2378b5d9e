#pragma once

// The screen-aligned plane and triangle that render passes draw their images with, in immediate
// mode, each with normal (0, 0, 1). The library holds one of each, sPlane and sTriangle; they
// have no data, so any number of them may be made.
//
// Drawing runs on the GL worker thread (or a thread that has the root context current).

#include "Export.h"

namespace OGL_ZEP6_AE {

class Region;

class ZEP6_API SimplePlane {
public:
    constexpr SimplePlane() = default;

    // One GL_QUADS quad, corners and texture coordinates in this order: (x1, y1) with
    // (1 - inset, 1 - inset); (x0, y1) with (inset, 1 - inset); (x0, y0) with (inset, inset);
    // (x1, y0) with (1 - inset, inset). The inset pulls the texture in from its edges.
    void Draw(float x0, float y0, float x1, float y1, float inset) const;
    // The square -1...1 of normalised device coordinates, texture inset by 1 %.
    void Draw() const;
    // (0, 0) to (w, h), the whole texture.
    void Draw(float w, float h) const;
    // The region's pixels, the whole texture.
    void Draw(const Region& region) const;
};

class ZEP6_API Triangle {
public:
    constexpr Triangle() = default;

    // One GL_TRIANGLES triangle: (-0.5, 1) with texture (0.0001, 0.9999), (0, -1) with
    // (0.4999, 0.0001), (0.5, 1) with (0.9999, 0.9999).
    void Draw() const;
};

extern ZEP6_API SimplePlane sPlane;
extern ZEP6_API Triangle sTriangle;

} // namespace OGL_ZEP6_AE
