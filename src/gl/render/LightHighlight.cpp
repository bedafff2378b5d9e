#include "gl/render/LightHighlight.h"

#include "gl/state/Capability.h"

#include <GL/gl.h>

namespace OGL_ZEP6_AE {

namespace {
bool IsStippleOn() {
    Capability stipple(GL_LINE_STIPPLE);
    stipple.Retrieve();
    return stipple.on;
}
} // namespace

Highlight::Highlight() : saved_(Color::sCurrentColor), pushed_(true), stipple_(IsStippleOn()) {
    Color::Bright.Apply();
    glLineStipple(5, 0x5555);
    Capability::Enable(GL_LINE_STIPPLE);
}

Highlight::~Highlight() {
    Capability(GL_LINE_STIPPLE, stipple_).Apply();
    if (pushed_)
        saved_.Apply();
}

} // namespace OGL_ZEP6_AE
