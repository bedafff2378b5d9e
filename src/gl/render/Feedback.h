#pragma once

// Measures what a drawing covers on screen through OpenGL's feedback buffer: construct a
// Feedback, draw, then ask for the box. Between the two nothing reaches the framebuffer; OpenGL
// writes the transformed, clipped primitives into the buffer instead. The first query returns to
// normal rendering and reads the buffer; later queries give the same box.
//
// One process-wide buffer of kBufferSize floats serves every Feedback, so only one measurement
// can be open at a time, and a drawing must fit the buffer (when it does not, the box covers what
// fitted). Runs on the GL worker thread (or a thread that has the root context current).

#include "Export.h"
#include "geometry/Region.h"
#include "geometry/Vector.h"

namespace OGL_ZEP6_AE {

class ZEP6_API Feedback {
public:
    // GL_2D and GL_3D, the feedback types the box is made from.
    static constexpr unsigned int kType2D = 0x0600;
    static constexpr unsigned int kType3D = 0x0601;
    static constexpr int kBufferSize = 524288;

    // Installs the shared buffer for feedback of this type (GL_2D or GL_3D) and switches to
    // feedback mode.
    explicit Feedback(unsigned int type = kType2D);
    // Returns to render mode if no query did.
    ~Feedback();
    Feedback(const Feedback&) = delete;
    Feedback& operator=(const Feedback&) = delete;

    // The window-space box of everything drawn since construction: x and y in pixels, z the depth
    // for GL_3D and 0 for GL_2D. Invalid when nothing was drawn.
    Region3d GetRegion();
    p3f GetMinimum();
    p3f GetMaximum();

    // Whether the current context is in feedback mode.
    static bool IsFeedbackMode();

    // The box of the vertices in `count` feedback values of the given type (GL_2D, GL_3D,
    // GL_3D_COLOR, GL_3D_COLOR_TEXTURE or GL_4D_COLOR_TEXTURE, the colour read as RGBA). Parsing
    // stops at an unknown token or a record cut short by the end. Needs no context.
    static Region3d Parse(const float* values, int count, unsigned int type);

private:
    // Leaves feedback mode and reads the buffer into the box.
    void GetMinMax();

    unsigned int type_;
    unsigned int mode_;
    Region3d box_;
};

} // namespace OGL_ZEP6_AE
