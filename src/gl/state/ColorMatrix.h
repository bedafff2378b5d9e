#pragma once

// The colour matrix of the imaging subset: a 4 x 4 matrix applied to every pixel that goes
// through pixel transfer. Where the driver lacks the imaging subset (GL_ARB_imaging; Mesa's
// llvmpipe, for one) there is no colour matrix: Apply() and Retrieve() then do nothing, rather
// than leave an error behind. They run on the GL worker thread (or a thread with the root context
// current).

#include "Export.h"
#include "gl/state/Color.h"

namespace OGL_ZEP6_AE {

class ZEP6_API ColorMatrix {
public:
    // Column order, as OpenGL stores it: element (row r, column k) is m[4k + r].
    double m[16];

    // All zero (fill it by Retrieve or assignment).
    ColorMatrix();
    // The four colours are the rows: output channel i (red, green, blue, alpha) is the dot
    // product of ci with the input (red, green, blue, alpha).
    ColorMatrix(const Color& c0, const Color& c1, const Color& c2, const Color& c3);

    // Selects GL_COLOR, loads the matrix, selects GL_MODELVIEW.
    void Apply() const;
    // Reads GL_COLOR_MATRIX.
    void Retrieve();

    // Whether the current context has a colour matrix (GL_ARB_imaging); asked once per process.
    static bool IsSupported();
};

// The colour matrix that turns alpha-first data read as (c0, c1, c2, c3) into (c1, c2, c3, c0),
// so that alpha-first pixels uploaded as RGBA come out in RGBA order; optionally scaled by s.
class ZEP6_API ARGBWrite : public ColorMatrix {
public:
    ARGBWrite() : ARGBWrite(1.0f) {}
    explicit ARGBWrite(float s);
};

} // namespace OGL_ZEP6_AE
