#pragma once

// A GLU polygon tessellator: splits concave and self-intersecting outlines into triangles that
// GLU hands to the callbacks set here (usually glBegin, glVertex3dv, glEnd or the caller's own).
// The GLU object lives as long as the Tesselator.

#include "Export.h"

class GLUtesselator;

namespace OGL_ZEP6_AE {

class ZEP6_API Tesselator {
public:
    // The GLU callback type: every callback is passed as this and cast back by GLU according to
    // `which`.
    using Callback = void (*)();

    Tesselator();
    ~Tesselator();
    Tesselator(const Tesselator&) = delete;
    Tesselator& operator=(const Tesselator&) = delete;

    // gluTessCallback(which, fn), e.g. GLU_TESS_VERTEX_DATA.
    void AddTessCallback(unsigned int which, Callback fn);
    // gluTessProperty(which, value), e.g. GLU_TESS_WINDING_RULE.
    void SetTessProperty(unsigned int which, double value);
    // A polygon of contours; data is handed to the *_DATA callbacks.
    void TessBeginPolygon(void* data);
    void TessEndPolygon();
    void TessBeginContour();
    void TessEndContour();
    // coords (three doubles) must stay valid until TessEndPolygon; data is handed to the vertex
    // callback.
    void TessVertex(double* coords, void* data);

    // Whether GLU made the tessellator (every call does nothing without one).
    bool IsValid() const { return tess_ != nullptr; }

private:
    GLUtesselator* tess_;
};

} // namespace OGL_ZEP6_AE
